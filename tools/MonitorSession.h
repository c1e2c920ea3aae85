#pragma once

// The work of vexmonitor, on a thread of its own: connects, asks, follows, and connects again.

#include "MonitorConnection.h"
#include "MonitorLines.h"
#include "MonitorOptions.h"
#include "MonitorOutput.h"
#include "MonitorWatches.h"
#include "VexThread.h"

#include <atomic>
#include <memory>
#include <string>

// Follows one program.
class CMonitorSession : public CVexThread
{
public:
	explicit CMonitorSession(const SMonitorOptions& oOptions);
	~CMonitorSession() override;

	void Run() override;

	bool HasEnded() const { return GetState() == STATE_TERMINATED; }

	// Asks the session to end and waits for at most a second: neither a program that does not answer nor a blocked output
	// keeps the monitor. What it has raised falls back with the end of the connection. Any thread, also while a signal has
	// stopped the one in WaitForEnd().
	void Stop();

	// Blocks until the session has ended; its exit status.
	int WaitForEnd();

private:
	bool Work();
	bool Connect();
	bool ConnectAgain();
	CMonitorConnection::EResult TryToConnect(std::string& rsProblem);
	bool Ask();
	bool Follow();
	bool WatchClasses();
	bool RaiseObjects();
	bool FindObjects(const MonitorObjects& aoObjects);
	bool ShowLines();
	bool Show(bool bAwaitNames, bool& rbShown);
	bool Fail(const std::string& sProblem);
	bool FailAtFirst(const std::string& sProblem);
	void Pause(unsigned int nPauseMs);

	const SMonitorOptions m_oOptions;
	const CMonitorOutput m_oOutput;
	CMonitorWatches m_oWatches;
	bool m_bObjectsMissing = false;
	bool m_bFollowed = false;    // the program has been followed before
	CVexEvent m_oWakeUp;         // lines or names have come, or the session is to end
	CMonitorLines m_oLines{ m_oWakeUp };
	std::unique_ptr<CMonitorConnection> m_poConnection;
	std::atomic<bool> m_bStop{ false };
	std::atomic<int> m_nStatus{ 0 };
};
