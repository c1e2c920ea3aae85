// vexmonitor: follows the trace of a running program through its monitor port.

#include "MonitorOptions.h"
#include "MonitorOutput.h"
#include "MonitorPassword.h"
#include "MonitorSession.h"
#include "MonitorText.h"
#include "VexCmdLineExchange.h"
#include "VexConApplication.h"
#include "VexTraceServer.h"

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace
{
const int nUsageStatus = 2;
const char* const pszDefaultPassword = "monitorix";

class CMonitorApplication : public CVexConApplication
{
public:
	CMonitorApplication() : CVexConApplication(nullptr, "vexmonitor", nullptr)
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

	void DoCmdLineExchange(CVexCmdLineApplExchange* pExchange) override { m_sProblem = m_oOptions.Exchange(pExchange); }

	int Status() const { return m_nStatus; }

protected:
	bool Initialize() override
	{
		if (!m_sProblem.empty())
		{
			CMonitorOutput::Tell(m_sProblem + " (vexmonitor -help lists the options)");
			m_nStatus = nUsageStatus;
			return false;
		}
		if (m_oOptions.m_bHelp || m_oOptions.m_bVersion)
		{
			const std::string sText =
				m_oOptions.m_bHelp ? std::string(pszMonitorHelp) : GetApplName() + " " VEX_MONITOR_VERSION "\n";
			m_nStatus = CMonitorOutput::Write(STDOUT_FILENO, sText) ? 0 : 1;
			return false;
		}
		if (m_oOptions.m_bPassword || FindPassword())
			return true;
		CMonitorOutput::Tell("no password");
		m_nStatus = 1;
		return false;
	}

	void Run() override
	{
		m_poSession = std::make_unique<CMonitorSession>(m_oOptions);
		if (m_poSession->Start())
			m_nStatus = m_poSession->WaitForEnd();
	}

	// On a signal this runs on the main thread, which waits or asks for the password.
	bool Finalize() override
	{
		CMonitorPassword::RestoreTerminal();
		if (m_poSession)
			m_poSession->Stop();
		return true;
	}

private:
	bool FindPassword()
	{
		const char* pszPassword = std::getenv("VEXMONITOR_PASSWORD");
		if (pszPassword)
			m_oOptions.m_sPassword = pszPassword;
		else if (!CMonitorPassword::CanAsk())
			m_oOptions.m_sPassword = pszDefaultPassword;
		else if (!CMonitorPassword::Ask("Password of " + m_oOptions.m_sUser + ": ", m_oOptions.m_sPassword))
			return false;
		m_oOptions.m_sPassword = TextToProgram(m_oOptions.m_sPassword, m_oOptions.m_bTerminalUtf8);
		return true;
	}

	SMonitorOptions m_oOptions;
	std::string m_sProblem;
	std::unique_ptr<CMonitorSession> m_poSession;
	int m_nStatus = 1;    // of a session that could not be started
};
}    // namespace

int main(int nArgc, char** ppszArgv)
{
	// The monitor traces nothing of its own unless a Trace.ini beside it says so.
	SVexTraceServerDefaultSettings oSettings;
	oSettings.m_bSaveMsg = false;
	CVexTraceServer::SetDefaultSettings(oSettings);

	CMonitorApplication oMonitor;
	oMonitor.Start(nArgc, ppszArgv);
	return oMonitor.Status();
}
