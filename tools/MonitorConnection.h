#pragma once

// One connection of vexmonitor to the program that it follows.

#include "MonitorOptions.h"
#include "VexTraceClientConnection.h"

#include <atomic>
#include <string>
#include <vector>

// Collects the lines that come; a program never waits for the terminal, only for the confirmation.
//
// Threads: Connect() and TakeLines() on one thread.
class CMonitorConnection : public CVexTraceClientConnection
{
public:
	enum EResult
	{
		eLoggedIn,
		eNotReached,    // worth another try
		eRejected,
		eStopped
	};

	// The event is signalled when lines have come. It must outlive this object.
	explicit CMonitorConnection(CVexEvent& rLinesCame);
	~CMonitorConnection() override;

	void TraceInd(const CVexTraceMsg& oMsg) override;

	// Connects and logs in; for one call. rsProblem says why not. Ends early when rbStop is set.
	EResult Connect(const SMonitorOptions& oOptions, const std::atomic<bool>& rbStop, std::string& rsProblem);

	bool IsAlive();

	// Disconnects. All lines that have come can be taken then.
	void End();

	// Moves the lines that have come since the last call. The result is the number of those that were dropped because
	// nobody took them.
	std::size_t TakeLines(std::vector<CVexTraceMsg>& raoLines);

private:
	CVexEvent& m_rLinesCame;
	CVexMutex m_oLinesMutex;    // guards the following two
	std::vector<CVexTraceMsg> m_aoLines;
	std::size_t m_nDropped = 0;
};
