// vexmonitor: follows the trace of a running program through its monitor port.

#include "MonitorOptions.h"
#include "MonitorOutput.h"
#include "MonitorPassword.h"
#include "MonitorSession.h"
#include "VexCmdLine.h"
#include "VexConApplication.h"
#include "VexTraceServer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace
{
const int nUsageStatus = 2;
const char* const pszDefaultPassword = "monitorix";

// Read before the application is made, which takes more than a second to end: too long for a line of help.
class CMonitorCmdLine : public CVexCmdLine
{
public:
	CMonitorCmdLine(int nArgc, char** ppszArgv) : CVexCmdLine(nArgc, ppszArgv) { CVexCmdLine::UpdateOptions(false); }

	SMonitorOptions m_oOptions;
	std::string m_sProblem;

protected:
	void DoOptionExchange(CVexCmdLineExchange* pExchange) override { m_sProblem = m_oOptions.Exchange(pExchange); }
};

class CMonitorApplication : public CVexConApplication
{
public:
	explicit CMonitorApplication(const SMonitorOptions& oOptions)
		: CVexConApplication(nullptr, "vexmonitor", nullptr), m_oOptions(oOptions)
	{
		// A Trace.ini that lies here may be meant for the program to follow, whose port this is.
		if (CVexTraceServer* pServer = CVexTraceServer::GetActiveServer())
		{
			pServer->SetTCPIPMonitorOn(false);
			pServer->DecActiveUser();
		}
	}

	~CMonitorApplication() override { RemoveSignalHandlers(); }
	CMonitorApplication(const CMonitorApplication&) = delete;
	CMonitorApplication& operator=(const CMonitorApplication&) = delete;

	int Status() const { return m_nStatus; }

protected:
	void Run() override
	{
		m_poSession = std::make_unique<CMonitorSession>(m_oOptions);
		if (m_poSession->Start())
			m_nStatus = m_poSession->WaitForEnd();
	}

	// On a signal the main thread stands still in WaitForEnd() meanwhile.
	bool Finalize() override
	{
		if (m_poSession && !m_poSession->HasEnded())
		{
			// The terminal shows Ctrl-C as ^C: what comes next begins a line.
			if (isatty(STDERR_FILENO))
				CMonitorOutput::Write(STDERR_FILENO, "\n");
			m_poSession->Stop();
		}
		return true;
	}

private:
	const SMonitorOptions m_oOptions;
	std::unique_ptr<CMonitorSession> m_poSession;
	int m_nStatus = 1;    // of a session that could not be started
};

// Opens those of the standard descriptors that the program was started without: no file and no connection gets the number
// of one, and its bytes. False if that is impossible.
bool SecureStandardDescriptors()
{
	for (;;)
	{
		const int nFile = open("/dev/null", O_RDWR);
		if (nFile > STDERR_FILENO)
			close(nFile);
		if (nFile < 0 || nFile > STDERR_FILENO)
			return nFile >= 0;
	}
}

EPasswordAnswer FindPassword(SMonitorOptions& rOptions)
{
	const char* pszPassword = std::getenv("VEXMONITOR_PASSWORD");
	if (rOptions.m_bPassword)
		return ePasswordGiven;
	if (!pszPassword && isatty(STDIN_FILENO))
		return AskForPassword("Password of " + rOptions.m_sUser + ": ", rOptions.m_sPassword);
	rOptions.m_sPassword = pszPassword ? pszPassword : pszDefaultPassword;
	return ePasswordGiven;
}
}    // namespace

int main(int nArgc, char** ppszArgv)
{
	if (!SecureStandardDescriptors())
		return 1;
	CMonitorCmdLine oCmdLine(nArgc, ppszArgv);
	SMonitorOptions& rOptions = oCmdLine.m_oOptions;
	if (!oCmdLine.m_sProblem.empty())
	{
		CMonitorOutput::Tell(oCmdLine.m_sProblem + " (vexmonitor -help lists the options)");
		return nUsageStatus;
	}
	if (rOptions.m_bHelp || rOptions.m_bVersion)
	{
		const char* pszText = rOptions.m_bHelp ? pszMonitorHelp : "vexmonitor " VEX_MONITOR_VERSION "\n";
		return CMonitorOutput::Write(STDOUT_FILENO, pszText) ? 0 : 1;
	}
	const EPasswordAnswer eAnswer = FindPassword(rOptions);
	if (eAnswer == ePasswordInterrupted)
		return 0;
	if (eAnswer == ePasswordMissing)
	{
		CMonitorOutput::Tell("no password");
		return 1;
	}

	// The monitor traces nothing of its own unless a Trace.ini beside it says so.
	SVexTraceServerDefaultSettings oSettings;
	oSettings.m_bSaveMsg = false;
	CVexTraceServer::SetDefaultSettings(oSettings);
	CMonitorApplication oMonitor(rOptions);
	oMonitor.Start(nArgc, ppszArgv);
	return oMonitor.Status();
}
