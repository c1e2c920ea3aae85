// A program on the frame, for the tests of the application classes: its first argument names what it does. What
// happens is written on standard output, a line each, by write(2): Finalize() may interrupt anything.

#include "VexCmdLineExchange.h"
#include "VexConApplication.h"
#include "VexPassword.h"
#include "VexThread.h"
#include "VexTraceServer.h"

#include <dirent.h>
#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>

namespace
{
const unsigned int nForEver = 0xFFFFFFFF;

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
		Start();
	}
	~CTracer() override { Terminate(); }

	void Run() override
	{
		for (unsigned int i = 0; m_nCount == 0 ? !IsTerminationRequested() : i < m_nCount; ++i)
			m_oTrace.AddMsg(CVexTraceMsg::eInfo, ("number " + std::to_string(i)).c_str());
	}

private:
	CVexTrace m_oTrace;
	const unsigned int m_nCount;
};

class CFrameProgram : public CVexConApplication
{
public:
	CFrameProgram() : CVexConApplication(nullptr, nullptr, nullptr) {}

	void DoCmdLineExchange(CVexCmdLineApplExchange* pExchange) override
	{
		std::string sProgram;
		if (pExchange->GetParameter(nullptr, false, sProgram))
			pExchange->GetParameter(nullptr, false, m_sMode);
		Tell(pExchange->IsInitialized() ? "exchange 2" : "exchange 1");
	}

protected:
	bool Initialize() override
	{
		Tell("Initialize");
		return CVexConApplication::Initialize() && m_sMode != "noinit";
	}

	bool Finalize() override
	{
		Tell("Finalize");
		if (m_sMode == "signal-in-finalize")
			raise(SIGTERM);
		m_oNever.Signal();
		return CVexConApplication::Finalize() && m_sMode != "badend";
	}

	void Run() override
	{
		Tell("Run " + m_sStdConfigFile + " " + GetCommandLine());
		const std::map<std::string, std::function<void()>> oModes = {
			{ "wait", [&] { m_oNever.Wait(nForEver); } },
			{ "poll", [&] { Poll(); } },
			{ "busy", [&] { TraceBusily(); } },
			{ "many", TraceMany },
			{ "raised", [&] { TellWhenRaised(); } },
			{ "hold", [&] { HoldAUse(); } },
			{ "exit", [&] { m_oTrace.AddMsg(CVexTraceMsg::eInfo, "last words"), std::exit(5); } },
			{ "abort", [&] { m_oTrace.GetServerObject(CVexTraceMsg::eError), std::abort(); } },
			{ "password", [] { CVexPassword(true).ReadPassword(); } },
			{ "flag", [&] { m_oTrace.GetTraceFlag("Any"), raise(SIGTERM); } },
			{ "server-thread", [&] { SignalTheServerThread(); } },
			{ "fork", [&] { TraceInChildren(); } },
			{ "child-signal", SignalAChild },
		};
		if (const auto oMode = oModes.find(m_sMode); oMode != oModes.end())
			oMode->second();
	}

private:
	void Poll()
	{
		while (!m_oNever.Wait(0))
			continue;
	}

	void TraceBusily()
	{
		CTracer aoTracers[] = { { 1, 0 }, { 2, 0 }, { 3, 0 } };
		Tell("busy");
		for (;;)
			m_oTrace.AddMsg(CVexTraceMsg::eInfo, "number");
	}

	static void TraceMany()
	{
		CTracer aoTracers[] = { { 0, 25000 }, { 1, 25000 }, { 2, 25000 }, { 3, 25000 } };
		for (CTracer& rTracer : aoTracers)
			while (rTracer.GetState() != CVexThread::STATE_TERMINATED)
				CVexThread::Sleep(0, 10);
	}

	// Traces while its object is raised to debug level.
	void TellWhenRaised()
	{
		m_oTrace.AddMsg(CVexTraceMsg::eError, "known to the server from now on");
		Tell("ready");
		for (bool bRaised = false;; CVexThread::Sleep(0, 5))
		{
			CVexTraceServer* pServer = m_oTrace.GetServerObject(CVexTraceMsg::eDebug);
			if (bRaised != (pServer != nullptr))
				Tell(bRaised ? "fell back" : "raised");
			bRaised = pServer != nullptr;
			if (pServer)
				m_oTrace.AddMsg(CVexTraceMsg::eDebug, "step", pServer);
		}
	}

	// A use of the server, without which it cannot stop, is returned after the signal only.
	void HoldAUse()
	{
		CVexTraceServer* pServer = m_oTrace.GetServerObject(CVexTraceMsg::eError);
		raise(SIGTERM);
		m_oTrace.AddMsg(CVexTraceMsg::eError, "returned", pServer);
		m_oNever.Wait(nForEver);
	}

	void SignalTheServerThread()
	{
		DIR* pDir = opendir("/proc/self/task");
		while (const dirent* pEntry = readdir(pDir))
			if (const int nThread = std::atoi(pEntry->d_name); nThread > 0 && nThread != getpid())
				syscall(SYS_tgkill, getpid(), nThread, SIGTERM);
		closedir(pDir);
		m_oTrace.AddMsg(CVexTraceMsg::eInfo, "last words");
		m_oNever.Wait(nForEver);
	}

	// The end status of a child that does this. A child that hangs is killed.
	template <class TAction>
	static int RunInChild(TAction oAction)
	{
		const pid_t nChild = fork();
		if (nChild == 0)
		{
			alarm(30);
			oAction();
			_exit(7);
		}
		int nStatus = 0;
		waitpid(nChild, &nStatus, 0);
		return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
	}

	void TraceInChildren()
	{
		CTracer oTracer(1, 0);
		const auto Trace = [this]
		{
			for (int j = 0; j < 1000; ++j)
				m_oTrace.AddMsg(CVexTraceMsg::eInfo, "from the child");
			CVexTrace("COwn", "child", nullptr).AddMsg(CVexTraceMsg::eError, "registers");
		};
		for (int i = 0; i < 50; ++i)
			if (RunInChild(Trace) != 7)
				Tell("child failed");
		Tell("children done");
	}

	static void SignalAChild()
	{
		const int nStatus = RunInChild([] { raise(SIGTERM), raise(SIGABRT), Tell("child goes on"); });
		Tell("child status " + std::to_string(nStatus));
	}

	CVexEvent m_oNever;
	std::string m_sMode;
};
}    // namespace

bool bNoEndThread = false;

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)    // they replace it themselves

// The first thread is the trace server's; the second one cannot be made.
extern "C" int pthread_create(pthread_t* pThread, const pthread_attr_t* pAttributes, void* (*pRun)(void*), void* pData)
{
	static int nThreads = 0;
	typedef decltype(&pthread_create) TCreate;
	static const auto pCreate = reinterpret_cast<TCreate>(dlsym(RTLD_NEXT, "pthread_create"));
	return bNoEndThread && ++nThreads == 2 ? EAGAIN : pCreate(pThread, pAttributes, pRun, pData);
}
#endif

int main(int nArgc, char** ppszArgv)
{
	bNoEndThread = nArgc > 1 && std::strcmp(ppszArgv[1], "no-end-thread") == 0;
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
