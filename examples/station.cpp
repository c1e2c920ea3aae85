// A program on the frame: settings from its ini file, tracing from several threads, a clean end on a signal.
//
//	station [-workers <n>]    -workers: that many threads, in place of the ini file's number

#include "VexCmdLineExchange.h"
#include "VexConApplication.h"
#include "VexIniFile.h"
#include "VexOptionExchange.h"
#include "VexThread.h"
#include "VexTraceServer.h"

#include <atomic>
#include <memory>
#include <vector>

struct CSettings : CVexIniFile
{
	explicit CSettings(const std::string& sFile) : CVexIniFile(sFile.c_str(), eAbsolutePath) {}
	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		IOX_Std(pExchange, "Station", "Workers", m_nWorkers, 3u);
		IOX_Std(pExchange, "Station", "PauseMs", m_nPauseMs, 100u);
		IOX_Std(pExchange, "Statistics", "Starts", m_nStarts, 0u);
	}
	unsigned int m_nWorkers = 0, m_nPauseMs = 0, m_nStarts = 0;
};

struct CWorker : CVexThread
{
	CWorker(const std::string& sName, unsigned int nPauseMs)
		: CVexThread(0), m_oTrace("CWorker", sName.c_str(), nullptr), m_nPauseMs(nPauseMs)
	{
		Start();
	}
	~CWorker() override { Terminate(); }
	void Run() override
	{
		for (unsigned int nRound = 1; !m_oEventTermRequested.Wait(m_nPauseMs); ++nRound)
		{
			m_oTrace.AddMsg(CVexTraceMsg::eInfo, ("round " + VexToString(nRound)).c_str());
			m_oTrace.AddMsg(CVexTraceMsg::eDebug, "waiting for the next one");
		}
	}
	CVexTrace m_oTrace;
	unsigned int m_nPauseMs;
};

struct CStation : CVexConApplication
{
	CStation() : CVexConApplication(nullptr, nullptr, nullptr) {}
	void DoCmdLineExchange(CVexCmdLineApplExchange* pExchange) override
	{
		pExchange->AddParamDescription("workers", true);
		m_bWorkersGiven = pExchange->GetParameter("workers", true, m_sWorkers);
	}
	bool Initialize() override
	{
		m_poSettings = std::make_unique<CSettings>(m_sStdConfigFile);
		m_poSettings->UpdateOptions(false);
		++m_poSettings->m_nStarts;
		return !m_bWorkersGiven || VexFromString(m_poSettings->m_nWorkers, m_sWorkers);
	}
	void Run() override
	{
		while (m_aoWorkers.size() < m_poSettings->m_nWorkers)
			m_aoWorkers.push_back(
				std::make_unique<CWorker>("Worker" + std::to_string(m_aoWorkers.size() + 1), m_poSettings->m_nPauseMs));
		m_bWorking = true;
		m_oNever.Wait(0xFFFFFFFF);    // a signal ends the program, by way of Finalize()
	}
	// On a signal this interrupts Run() wherever it is: what that has not finished is left alone.
	bool Finalize() override
	{
		if (m_bWorking)
			m_aoWorkers.clear();
		return m_poSettings && m_poSettings->UpdateOptions(true);
	}

	std::unique_ptr<CSettings> m_poSettings;
	std::vector<std::unique_ptr<CWorker>> m_aoWorkers;
	std::atomic<bool> m_bWorking{ false };
	CVexEvent m_oNever;
	std::string m_sWorkers;
	bool m_bWorkersGiven = false;
};

int main(int nArgc, char** ppszArgv)
{
	return CStation().Start(nArgc, ppszArgv) ? 0 : 1;
}
