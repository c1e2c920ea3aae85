// A program on the frame, for the tests of the application classes: its first argument names what it does. What
// happens is told on standard output, a line each, by write(2): a handler may interrupt anything.

#include "VexCmdLineExchange.h"
#include "VexConApplication.h"
#include "VexThread.h"
#include "VexTraceServer.h"

#include <dirent.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>

namespace
{
void Tell(const std::string& sText)
{
	const std::string sLine = sText + "\n";
	if (write(STDOUT_FILENO, sLine.data(), sLine.size()) < 0)
		_exit(9);
}

// Traces numbered lines: nCount of them, or, with 0, until it is terminated.
class CTracer : public CVexThread
{
public:
	CTracer(unsigned int nNumber, unsigned int nCount)
		: CVexThread(0), m_oTrace("CTracer", ("T" + std::to_string(nNumber)).c_str(), nullptr), m_nCount(nCount)
	{
	}
	~CTracer() override { Terminate(); }

	void Run() override
	{
		for (unsigned int i = 0; m_nCount == 0 ? !IsTerminationRequested() : i < m_nCount; ++i)
			m_oTrace.AddMsg(CVexTraceMsg::eInfo, ("number " + std::to_string(i)).c_str());
	}

private:
	CVexTrace m_oTrace;
	unsigned int m_nCount;
};

class CFrameProgram : public CVexConApplication
{
public:
	CFrameProgram() : CVexConApplication(nullptr, nullptr, nullptr) {}

	void DoCmdLineExchange(CVexCmdLineApplExchange* pExchange) override
	{
		pExchange->AddParamDescription("log", true);
		std::string sProgram;
		if (pExchange->GetParameter(nullptr, false, sProgram))
			pExchange->GetParameter(nullptr, false, m_sMode);
		Tell(pExchange->IsInitialized() ? "exchange 2" : "exchange 1");
	}

protected:
	bool Initialize() override
	{
		Tell("Initialize");
		return m_sMode != "noinit";
	}

	bool Finalize() override
	{
		Tell("Finalize");
		if (m_sMode == "signal-in-finalize")
			raise(SIGTERM);
		m_oNever.Signal();
		return m_sMode != "badend";
	}

	void Run() override
	{
		Tell("Run " + m_sStdConfigFile + " " + GetCommandLine());
		const std::map<std::string, std::function<void()>> oModes = {
			{ "wait", [this] { m_oNever.Wait(0xFFFFFFFF); } },
			{ "busy", [this] { TraceBusily(); } },
			{ "million", [] { TraceAMillion(); } },
			{ "poll",
				[this]
				{
					Tell("busy");
					while (!m_oNever.Wait(0))
					{
					}
				} },
			{ "abort",
				[this]
				{
					m_oTrace.GetServerObject(CVexTraceMsg::eError);
					std::abort();
				} },
			{ "hold", [this] { HoldAUse(); } },
			{ "giveback", [this] { GiveAUseBack(); } },
			{ "flag",
				[this]
				{
					m_oTrace.GetTraceFlag("Any");
					raise(SIGTERM);
				} },
			{ "server-thread", [this] { SignalTheServerThread(); } },
			{ "fork", [this] { TraceInChildren(); } },
			{ "child-signal", [this] { SignalAChild(); } },
		};
		const auto oMode = oModes.find(m_sMode);
		if (oMode != oModes.end())
			oMode->second();
	}

private:
	void TraceBusily()
	{
		std::unique_ptr<CTracer> apoTracers[3];
		for (unsigned int i = 0; i < 3; ++i)
		{
			apoTracers[i] = std::make_unique<CTracer>(i + 1, 0);
			apoTracers[i]->Start();
		}
		Tell("busy");
		for (unsigned int i = 0;; ++i)
			if (CVexTraceServer* pServer = m_oTrace.GetServerObject(CVexTraceMsg::eInfo))
			{
				std::ostringstream oStream;
				oStream << "number " << i;
				m_oTrace.AddMsg(CVexTraceMsg::eInfo, oStream, pServer);
			}
	}

	static void TraceAMillion()
	{
		std::unique_ptr<CTracer> apoTracers[4];
		for (unsigned int i = 0; i < 4; ++i)
		{
			apoTracers[i] = std::make_unique<CTracer>(i, 250000);
			apoTracers[i]->Start();
		}
		for (auto& rpoTracer : apoTracers)
			while (rpoTracer->GetState() != CVexThread::STATE_TERMINATED)
				CVexThread::Sleep(0, 10);
	}

	void HoldAUse()
	{
		m_oTrace.GetServerObject(CVexTraceMsg::eError);
		Tell("holding");
		raise(SIGTERM);
		Tell("put off");
		m_oNever.Wait(0xFFFFFFFF);
	}

	void GiveAUseBack()
	{
		CVexTraceServer* pServer = m_oTrace.GetServerObject(CVexTraceMsg::eError);
		raise(SIGABRT);
		Tell("put off");
		m_oTrace.AddMsg(CVexTraceMsg::eError, "given back", pServer);
		Tell("not reached");
	}

	void SignalTheServerThread()
	{
		DIR* pDir = opendir("/proc/self/task");
		while (const dirent* pEntry = readdir(pDir))
			if (const int nThread = std::atoi(pEntry->d_name); nThread > 0 && nThread != getpid())
				syscall(SYS_tgkill, getpid(), nThread, SIGTERM);
		closedir(pDir);
		m_oTrace.AddMsg(CVexTraceMsg::eInfo, "last words");
		m_oNever.Wait(0xFFFFFFFF);
	}

	void TraceInChildren()
	{
		CTracer oTracer(1, 0);
		oTracer.Start();
		for (int i = 0; i < 50; ++i)
		{
			const pid_t nChild = fork();
			if (nChild == 0)
			{
				alarm(30);    // a child that hangs is killed, and told by its status
				for (int j = 0; j < 1000; ++j)
					m_oTrace.AddMsg(CVexTraceMsg::eInfo, "from the child");
				CVexTrace oOwn("COwn", "child", nullptr);
				oOwn.AddMsg(CVexTraceMsg::eError, "registers");
				_exit(0);
			}
			int nStatus = 0;
			if (waitpid(nChild, &nStatus, 0) != nChild || nStatus != 0)
				Tell("child failed");
		}
		Tell("children done");
	}

	void SignalAChild()
	{
		const pid_t nChild = fork();
		if (nChild == 0)
		{
			alarm(30);
			raise(SIGTERM);
			raise(SIGABRT);
			Tell("child goes on");
			_exit(7);
		}
		int nStatus = 0;
		waitpid(nChild, &nStatus, 0);
		Tell("child status " + std::to_string(WEXITSTATUS(nStatus)));
	}

	CVexEvent m_oNever;
	std::string m_sMode;
};
}    // namespace

int main(int nArgc, char** ppszArgv)
{
	bool bResult = false;
	{
		CFrameProgram oProgram;
		bResult = oProgram.Start(nArgc, ppszArgv);
	}
	// After the object's end the system's default action is back.
	if (nArgc > 1 && std::strcmp(ppszArgv[1], "signal-after-end") == 0)
		raise(SIGINT);
	return bResult ? 0 : 1;
}
