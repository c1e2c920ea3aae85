#pragma once

// One connection of vexmonitor to the program that it follows.

#include "MonitorLines.h"
#include "MonitorOptions.h"
#include "VexTraceClientConnection.h"

#include <atomic>
#include <string>

// Hands the lines that come to their queue: a program never waits for the terminal, only for the confirmation.
//
// Threads: Connect() and the requests on one thread.
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

	// The lines stay the caller's and must outlive this object.
	explicit CMonitorConnection(CMonitorLines& rLines);
	~CMonitorConnection() override;

	void TraceInd(const CVexTraceMsg& oMsg) override;
	void NameIDCnf(int nID, const std::string& sName) override;

	// Connects and logs in; for one call. rsProblem says why not. Ends early when rbStop is set.
	EResult Connect(const SMonitorOptions& oOptions, const std::atomic<bool>& rbStop, std::string& rsProblem);

	bool IsAlive();

	// Disconnects. All lines that have come are in the queue then.
	void End();

private:
	EResult ConnectTo(const SMonitorOptions& oOptions, const std::atomic<bool>& rbStop, std::string& rsProblem);
	EResult LogIn(const SMonitorOptions& oOptions, const std::atomic<bool>& rbStop, std::string& rsProblem);

	CMonitorLines& m_rLines;
};
