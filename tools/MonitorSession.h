#pragma once

// The work of vexmonitor, on a thread of its own: connects, asks, follows, and connects again.

#include "MonitorConnection.h"
#include "MonitorOptions.h"
#include "MonitorOutput.h"
#include "VexThread.h"

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class CMonitorSession : public CVexThread
{
public:
	explicit CMonitorSession(const SMonitorOptions& oOptions);
	~CMonitorSession() override;

	void Run() override;

	// Asks the session to end, and waits for it a moment: a program that does not answer must not keep the monitor.
	// What it has raised falls back with the end of the connection. May be called from a signal's handler on the thread
	// that is in WaitForEnd().
	void Stop();

	// Blocks until the session has ended; its exit status.
	int WaitForEnd();

private:
	typedef std::vector<std::pair<long, std::string>> ObjectList;

	bool Work();
	bool Connect();
	bool ConnectAgain();
	bool Ask();
	bool Follow();
	bool WatchClasses();
	bool RaiseObjects();
	bool ResolveObjects(const ObjectList& aoObjects);
	bool HasClass(const ObjectList& aoObjects, const std::string& sClass) const;
	const SMonitorWatch* WatchOf(long nObject, const std::string& sFullName) const;
	bool ShowLines();
	bool Show();
	bool Fail(const std::string& sProblem);
	bool FailAtFirst(const std::string& sProblem);
	void Pause(unsigned int nPauseMs);

	const SMonitorOptions m_oOptions;
	const CMonitorOutput m_oOutput;
	std::vector<SMonitorWatch> m_aoWatches;      // objects with the numbers that they have now
	std::vector<std::string> m_asObjectNames;    // of the objects in m_aoWatches: by these they are found again
	bool m_bObjectsMissing = false;
	bool m_bFollowed = false;    // the program has been followed before
	CVexEvent m_oWakeUp;         // lines have come, or the session is to end
	std::unique_ptr<CMonitorConnection> m_poConnection;
	std::atomic<bool> m_bStop{ false };
	std::atomic<int> m_nStatus{ 0 };
};
