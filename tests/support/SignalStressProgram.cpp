// A program on the frame that does one thing again and again, for the test that signals end it whatever they interrupt.
// Its first argument names the thing. "ready" and "Finalize" are written by write(2), which may interrupt anything.

#include "VexConApplication.h"
#include "VexIniFile.h"
#include "VexOptionExchange.h"
#include "VexProcess.h"
#include "VexScheduler.h"
#include "VexTraceServerStd.h"

#include <dlfcn.h>
#include <grp.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <locale>
#include <mutex>
#include <new>
#include <thread>

namespace
{
const int nTellFile = dup(STDOUT_FILENO);
std::FILE* const pNull = std::fopen("/dev/null", "w");
std::atomic<bool> bRunEnds{ false }, bSaveAborts{ false }, bOwnNew{ false };
std::atomic<long> nWorker{ 0 }, nWorkerTurns{ 0 };
std::mutex oMutex, oNewMutex;
void* pBlock = nullptr;
unsigned nBlockSize = 1;
std::vector<std::string>* pasTexts = new std::vector<std::string>(100);

void Tell(const char* szLine)
{
	if (write(nTellFile, szLine, std::strlen(szLine)) < 0)
		_exit(9);
}

void Trace()
{
	CVexTrace::m_oGlobalTrace.AddMsg(CVexTraceMsg::eInfo, "a line of the program");
}

void GetName()
{
	CVexBaseApplication::GetApplication()->GetApplName();
}

void UseTimes()
{
	const std::time_t nNow = std::time(nullptr);
	std::tm oTime;
	localtime_r(&nNow, &oTime);
	gmtime_r(&nNow, &oTime);
	std::mktime(std::localtime(&nNow));
}

void FormatTime()
{
	const std::tm oTime = {};
	char szText[100];
	std::strftime(szText, sizeof szText, "%A %d %B %Y %H:%M:%S %Z %c", &oTime);
}

void Sort()
{
	static int anNumbers[2000];
	const auto Compare = [](const void* p1, const void* p2) { return std::memcmp(p1, p2, sizeof(int)); };
	std::qsort(anNumbers, std::size(anNumbers), sizeof(int), Compare);
}

void Throw()
{
	try
	{
		throw 1;
	}
	catch (int)
	{
	}
}

void Spin(int nTurns)
{
	for (volatile int i = 0; i < nTurns; i = i + 1)
		continue;
}

void HoldMutex()
{
	oMutex.lock(), Spin(50000);
	oMutex.unlock(), Spin(5000);
}

void Execute()
{
	const pid_t nChild = fork();
	if (nChild == 0)
		_exit(execl("/bin/true", "true", nullptr));
	waitpid(nChild, nullptr, 0);
}

void UseTexts()
{
	for (std::string& rsText : *pasTexts)
		rsText.assign(rsText.size() % 100 + 1, 'x');
}

void FreeTwice()
{
	void* volatile pTwice = std::malloc(3000);
	void* volatile pNext = std::malloc(3000);
	std::free(pTwice);
	std::free(pTwice);
	std::free(pNext);
}

// Each save writes one text into all options, and each another one of another length.
struct CSettings : CVexIniFile
{
	CSettings() : CVexIniFile("Stress.ini", eRelativeToPWD) {}

	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		static std::atomic<int> nSave{ 0 };
		const int nText = nSave++ % 26;
		std::string sText(static_cast<std::size_t>(60 - nText), static_cast<char>('a' + nText));
		for (int i = 0; i < 2000; ++i)
			IOX_Std<std::string>(pExchange, "Stress", ("Option" + std::to_string(i)).c_str(), sText, "");
	}
};

void SaveIni()
{
	CSettings().UpdateOptions(true);
}

struct CAbortingScheduler : CVexScheduler
{
	explicit CAbortingScheduler(const CVexScheduleInfo& rInfo) : CVexScheduler(rInfo)
	{
		m_pScheduleThread->AddItem(nullptr);
	}
	void SignalIndication() override { std::abort(); }
};

CVexScheduler* pScheduler = nullptr;

void AbortInIndication()
{
	const CVexTimeDiff oSecond(100000000LL), oDay(86400000LL * 100000);    // in ticks of 10 ns
	const CVexLocalTime oStart = CVexLocalTime::CurrentLocalTime() + oSecond;
	pScheduler = new CAbortingScheduler(CVexScheduleInfo(oStart, 1000, oSecond, 127, 0, oDay));
	pause();
}

// Its thread stands still in abort().
void DeleteScheduler()
{
	delete pScheduler;
}

struct CAbortingServer : CVexTraceServerStd
{
	using CVexTraceServerStd::CVexTraceServerStd;
	~CAbortingServer() override { StopServer(); }

	bool SaveMsg(const CVexTraceMsg& oMsg, const char* szObject) override
	{
		return bSaveAborts.exchange(false) ? std::abort(), false : CVexTraceServerStd::SaveMsg(oMsg, szObject);
	}
};

void AllocateOnAWorker()
{
	const auto Allocate = []
	{
		for (nWorker = syscall(SYS_gettid);; ++nWorkerTurns)
			std::free(std::malloc(3000));
	};
	std::thread(Allocate).detach();
	usleep(10000);
	bRunEnds = true;
}

bool HasPendingSignal(long nThread)
{
	std::ifstream oStatus("/proc/self/task/" + std::to_string(nThread) + "/status");
	std::string sWord;
	while (oStatus >> sWord && sWord != "SigPnd:")
		continue;
	return oStatus >> sWord && sWord.find_first_not_of('0') != std::string::npos;
}

// Returns when the worker, which is inside malloc as a rule, has been through the signal's handler.
void SignalWorker()
{
	syscall(SYS_tgkill, getpid(), nWorker.load(), SIGTERM);
	while (HasPendingSignal(nWorker))
		continue;
	for (const long nTurns = nWorkerTurns; nTurns == nWorkerTurns;)
		continue;
}

const struct SMode
{
	const char* szName;
	void (*pRun)();                   // again and again
	void (*pFinalize)() = nullptr;    // once, in Finalize()
} aModes[] = {
	{ "trace", Trace },    // on three more threads too
	{ "strftime", FormatTime },
	{ "realloc", [] { pBlock = std::realloc(pBlock, nBlockSize = nBlockSize * 7 % 99991); } },
	{ "qsort", [] { Sort(), Trace(); } },
	{ "time_trace", [] { UseTimes(), Trace(); } },
	{ "time", UseTimes },
	{ "cout", [] { std::cout << "line " << 1 << std::endl; } },
	{ "printf", [] { std::printf("line %d\n", 1); } },
	{ "stderr", [] { std::fprintf(stderr, "line %d\n", 1); } },    // with trace lines on it
	{ "appl_name", GetName, GetName },
	{ "ini", SaveIni },
	{ "ini_finalize", SaveIni, SaveIni },
	{ "abort_finalize", [] { pause(); }, std::abort },
	{ "throw_finalize", [] { pause(); }, [] { throw 1; } },
	{ "abort_indication", AbortInIndication, DeleteScheduler },
	{ "abort_savemsg", [] { bSaveAborts = true, Trace(), pause(); } },
	{ "double_free", FreeTwice },
	{ "destroy", AllocateOnAWorker },
	{ "locale", [] { std::locale(); }, [] { std::locale(); } },
	{ "getpwuid", [] { getpwuid(0); }, [] { getpwuid(0); } },
	{ "mutex", HoldMutex, [] { oMutex.lock(), oMutex.unlock(); } },
	{ "own_new", [] { delete new int; } },
	{ "fork_exec", Execute },
	{ "dlopen", [] { dlclose(dlopen("libresolv.so.2", RTLD_NOW)); } },
	{ "lookup", [] { getpwnam("root"), getgrgid(0), (void)std::filesystem::is_empty("/"); } },
	{ "threads", [] { std::thread([] {}).join(); } },
	{ "exceptions", Throw },
	{ "fwrite", [] { std::fwrite("text", 1, 4, pNull); } },
	{ "delete", UseTexts, [] { delete std::exchange(pasTexts, nullptr), usleep(50000); } },
};

class CStressProgram : public CVexConApplication
{
public:
	explicit CStressProgram(const SMode& rMode) : CVexConApplication(nullptr, nullptr, nullptr), m_rMode(rMode)
	{
		struct sigaction oAction;
		sigaction(SIGTERM, nullptr, &oAction);
		sigaction(SIGUSR1, &oAction, nullptr);
	}

	~CStressProgram() override
	{
		if (nWorker != 0)
			SignalWorker();
	}

	bool Initialize() override
	{
		SaveIni();
		for (int i = 0; i < 3 && m_rMode.pRun == Trace; ++i)
			std::thread([this] { Run(); }).detach();
		return true;
	}

	bool Finalize() override
	{
		Tell("Finalize\n");
		if (m_rMode.pFinalize)
			m_rMode.pFinalize();
		return true;
	}

	void Run() override
	{
		for (Tell("ready\n"); !bRunEnds;)
			m_rMode.pRun();
	}

private:
	const SMode& m_rMode;
};
}    // namespace

#if defined(__SANITIZE_THREAD__)
// The program may end between the making and the joining of a thread.
extern "C" const char* __tsan_default_options()
{
	return "report_thread_leaks=0";
}

// Without it, localtime() reads the zone anew at each call, under a lock that the sanitizer does not see.
static const int nZoneSet = setenv("TZ", "UTC", 0);
#elif !defined(__SANITIZE_ADDRESS__)    // the sanitizers replace these themselves
static std::unique_lock<std::mutex> LockNew()
{
	return bOwnNew ? std::unique_lock<std::mutex>(oNewMutex) : std::unique_lock<std::mutex>();
}

void* operator new(std::size_t nSize)
{
	const auto oLock = LockNew();
	void* p = std::malloc(nSize);
	return p ? p : throw std::bad_alloc();
}

void operator delete(void* p) noexcept
{
	const auto oLock = LockNew();
	std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
	operator delete(p);
}
#endif

int main(int nArgc, char** ppszArgv)
{
	const std::string sMode = nArgc > 1 ? ppszArgv[1] : "";
	const auto pMode = std::find_if(std::begin(aModes), std::end(aModes), [&](auto& r) { return r.szName == sMode; });
	if (pMode == std::end(aModes))
		return 9;
	const rlimit oNoCore = {};
	setrlimit(RLIMIT_CORE, &oNoCore);
	dup2(fileno(pNull), STDOUT_FILENO);
	if (sMode == "stderr")
		dup2(fileno(pNull), STDERR_FILENO);
	CVexTraceServer::m_oSettings.m_bConsoleOuput = sMode == "stderr";
	bOwnNew = sMode == "own_new";
	if (sMode == "locale")    // only copies of a locale that is not the classic one take a lock
		std::locale::global(std::locale(std::locale(), new std::numpunct<char>));
	if (sMode == "abort_savemsg")
	{
		static CAbortingServer oServer(CVexProcess::GetCurrentProgDir().c_str(), nullptr);
		oServer.ReadOptionsFromIniFile();
		CVexTraceServer::SetActiveServer(&oServer);
	}
	return CStressProgram(*pMode).Start(nArgc, ppszArgv) ? 0 : 1;
}
