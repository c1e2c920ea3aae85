#pragma once

// A trace server that keeps what it writes, and is the active one while it lives.

#include "VexThread.h"
#include "VexTraceServer.h"

#include <mutex>
#include <string>
#include <vector>

class CRecordingServer : public CVexTraceServer
{
public:
	explicit CRecordingServer(int nDefaultLevels)
	{
		SetDefaultTraceLevels(nDefaultLevels);
		SetActiveServer(this);
	}
	~CRecordingServer() override { StopServer(); }

	// The thread writes what is queued, and does not sit out its 3 s.
	void WakeUp(long nMark = 0)
	{
		for (int i = 0; i < 251; ++i)
			AddMsg(new CVexTraceMsg(CVexTraceMsg::eNone, -1, ("mark " + std::to_string(nMark)).c_str()));
	}

	// Until the thread has taken the last message of the queue: the messages before it are written then, as is a
	// request to forget an object.
	void WaitUntilWritten()
	{
		const long nMark = ++m_nMarks;
		WakeUp(nMark);
		while (m_nMarkSeen != nMark)
			CVexThread::Sleep(0, 1);
	}

	// "name/class text" of every line written so far.
	std::vector<std::string> Lines()
	{
		WaitUntilWritten();
		std::lock_guard<std::mutex> oLock(m_oMutex);
		return m_asLines;
	}

	long Users()
	{
		CVexMutexLock oLock(m_oLockActiveServer);
		return m_nActiveUserCount;
	}

	std::size_t SaveCalls() const { return m_nSaveCalls; }

protected:
	bool SaveMsg(const CVexTraceMsg& oMsg, const char* pszObjectName) override
	{
		++m_nSaveCalls;
		if (oMsg.GetTraceLevel() == CVexTraceMsg::eNone)
		{
			m_nMarkSeen = std::stol(oMsg.GetText().substr(5));
			return true;
		}
		std::lock_guard<std::mutex> oLock(m_oMutex);
		m_asLines.push_back(pszObjectName + (" " + oMsg.GetText()));
		return true;
	}

private:
	std::mutex m_oMutex;
	std::vector<std::string> m_asLines;
	std::atomic<std::size_t> m_nSaveCalls{ 0 };
	long m_nMarks = 0;
	std::atomic<long> m_nMarkSeen{ 0 };
};
