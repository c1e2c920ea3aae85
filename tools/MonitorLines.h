#pragma once

// The trace lines that wait for the output, and the names of the objects that wrote them.

#include "MonitorLine.h"
#include "VexMutex.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

// Keeps lines of 64 MiB. When these are full, all new lines are dropped until half of the waiting ones have been taken:
// one gap instead of many.
//
// Threads: all operations on any thread, except that lines are taken on one.
class CMonitorLines
{
public:
	// The event is signalled when lines or names have come. It must outlive this object.
	explicit CMonitorLines(CVexEvent& rWakeUp);

	// True once for each object whose name is not known yet: the caller asks the program for it. The object's lines wait
	// for the answer, but no longer than a second.
	bool ClaimQuestion(long nObject);

	// The object's name, "/", its class; empty if the program does not know it either.
	void SetName(long nObject, const std::string& sFullName);

	// For a new connection: the program may have been started again, and its numbers mean other objects.
	void ForgetNames();

	void Add(const CVexTraceMsg& oLine);

	// Moves about 64 KiB of the oldest lines. With bAwaitNames, lines whose names are still to come stay.
	void Take(std::vector<SMonitorLine>& raoLines, bool bAwaitNames);

	// How many lines the last gap has swallowed; 0 while it still grows. Each gap is reported once.
	std::size_t TakeDropped();

	// The lines that have come and were neither taken nor reported as dropped.
	std::size_t GetLost();

private:
	struct SName
	{
		std::string m_sFullName;
		std::chrono::steady_clock::time_point m_oAwaitedUntil;    // past when it has come
	};

	SName& EnterName(long nObject);

	CVexEvent& m_rWakeUp;
	CVexMutex m_oMutex;    // guards the following
	std::deque<CVexTraceMsg> m_aoLines;
	std::size_t m_nBytes = 0;    // of these lines
	bool m_bDropping = false;
	std::size_t m_nDropped = 0;
	std::map<long, SName> m_oNames;
	std::size_t m_nNameBytes = 0;
};
