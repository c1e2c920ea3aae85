#include "VexSignalEndInternal.h"

#include "VexApplicationEndInternal.h"
#include "VexEchoInternal.h"
#include "VexThread.h"
#include "VexThreadInternal.h"
#include "VexTraceServerInternal.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace VexSignalEnd
{
namespace
{
typedef long long Nanoseconds;

const Nanoseconds nMs = 1000000;
const Nanoseconds nLockWait = 5 * nMs;        // the end thread waits that long before the main thread is let on
const Nanoseconds nSleepWait = 100 * nMs;     // the same while it waits for something else than a lock
const Nanoseconds nAbortWait = 2000 * nMs;    // the same for the first slice of a thread that may be in abort()
const Nanoseconds nSpinWait = 1000 * nMs;     // the same while it runs: it may spin on a lock
const Nanoseconds nAbortSpinWait = 6000 * nMs;
const Nanoseconds nDrainWait = 2 * nAbortWait;         // the trace server's thread may stand still itself
const Nanoseconds nSlice = 1 * nMs;                    // of processor time
const Nanoseconds nFirstTick = nMs / 200;              // a slice is looked at that often at first, then more seldom
const int nMaxCallNaps = 100;                          // of 0.1 ms; a main thread that blocks signals never comes
const int nMaxTicks = 40;                              // of a slice, also if the thread gets no processor time
const Nanoseconds nRealProgress = nAbortWait / 100;    // less processor time in nAbortWait comes of polling

const int anEndSignals[] = { SIGINT, SIGTERM, SIGABRT };
const std::size_t nEndSignals = sizeof(anEndSignals) / sizeof(anEndSignals[0]);

// What a thread does about a signal that ends the process.
struct SHold
{
	enum EState
	{
		eFree,
		eStands,
		eSlice    // let on; the timer brings it back
	};
	volatile EState m_eState = eFree;
	int m_nSignal = 0;
	unsigned m_nTicket = 0;
	bool m_bAbortWait = false;        // no slice yet, and it may be in abort()
	Nanoseconds m_nLastSlice = 0;     // or the begin
	Nanoseconds m_nProgressAt = 0;    // the end thread was last seen to go on
	Nanoseconds m_nEndThreadTime = 0;
	unsigned m_nWritten = 0;
	Nanoseconds m_nLineAt = 0;        // a line was last seen to be written; or the begin, or the last slice
	bool m_bSpin = false;             // the slice is let on though the end thread runs
	Nanoseconds m_nSliceBegin = 0;    // in the thread's processor time
	int m_nTicks = 0;
};

// Touched by its own thread and the handlers on it. Initial-exec: a handler must not be the first to touch lazily
// allocated thread storage.
thread_local SHold t_oHold __attribute__((tls_model("initial-exec")));

std::atomic<pid_t> nProcess{ 0 };    // the one that has the end thread
std::atomic<pid_t> nEndThread{ 0 };
std::atomic<pid_t> nMainThread{ 0 };
std::atomic<pid_t> nAbortedThread{ 0 };    // the last one that got SIGABRT
std::atomic<bool> bTimers{ false };
timer_t aoTimers[nEndSignals];    // bring the main thread back, each with the signal that it stands still for
clockid_t nEndThreadClock;

std::atomic<int> nTakingUp{ 0 };    // the signal that the end thread works on
std::atomic<bool> bMainStands{ false };
std::atomic<bool> bMainCalled{ false };    // the next such signal only calls the main thread into its handler
std::atomic<pid_t> nAwaited{ 0 };          // the thread that it waits for
std::atomic<int> nNeedsOthers{ 0 };        // it waits for something that others must do
std::atomic<int> nSleeps{ 0 };             // it sleeps for a fixed time

sem_t oHandedOver;
std::atomic<unsigned> anHandedOver[NSIG];    // by signal, not yet taken up
std::atomic<unsigned> nHandedOver{ 0 };      // all that were
std::atomic<unsigned> nTakenUp{ 0 };
std::atomic<unsigned> nWritten{ 0 };

Nanoseconds ReadClock(clockid_t nClock)
{
	timespec oTime = {};
	clock_gettime(nClock, &oTime);
	return static_cast<Nanoseconds>(oTime.tv_sec) * 1000 * nMs + oTime.tv_nsec;
}

void Nap(Nanoseconds nSpan)
{
	timespec oSpan = {};
	oSpan.tv_nsec = static_cast<long>(nSpan);
	nanosleep(&oSpan, nullptr);
}

enum EWait
{
	eRuns,
	eWaitsForLock,
	eWaits,    // for something else
	eUnknown
};

bool IsFutex(long nCall)
{
#ifdef SYS_futex_time64
	if (nCall == SYS_futex_time64)
		return true;
#endif
	return nCall == SYS_futex;
}

// What a thread does, as proc(5) shows it: "running", or the number of the system call and its arguments. The C library
// waits for a lock by FUTEX_WAIT; conditions, semaphores and the end of threads it waits for by FUTEX_WAIT_BITSET.
EWait LookAt(pid_t nThread)
{
	char szPath[64] = "/proc/self/task/";
	char* pEnd = szPath + std::strlen(szPath);
	for (pid_t nUnit = 1000000000; nUnit > 0; nUnit /= 10)
		if (nThread >= nUnit)
			*pEnd++ = static_cast<char>('0' + nThread / nUnit % 10);
	std::strcpy(pEnd, "/syscall");
	const int nFile = open(szPath, O_RDONLY | O_CLOEXEC);
	if (nFile < 0)
		return eUnknown;
	char szText[160] = {};
	const ssize_t nRead = read(nFile, szText, sizeof(szText) - 1);
	close(nFile);
	if (nRead <= 0)
		return eUnknown;
	if (szText[0] == 'r')
		return eRuns;
	const char* pAt = szText;
	long nCall = 0;
	for (; *pAt >= '0' && *pAt <= '9'; ++pAt)
		nCall = nCall * 10 + (*pAt - '0');
	if (!IsFutex(nCall))
		return eWaits;
	for (int nBlanks = 0; *pAt && nBlanks < 2;)
		nBlanks += *pAt++ == ' ';
	unsigned nOperation = 0;
	for (pAt += 2; (*pAt >= '0' && *pAt <= '9') || (*pAt >= 'a' && *pAt <= 'f'); ++pAt)
		nOperation = nOperation * 16 + static_cast<unsigned>(*pAt <= '9' ? *pAt - '0' : *pAt - 'a' + 10);
	nOperation &= static_cast<unsigned>(FUTEX_CMD_MASK);
	return nOperation == FUTEX_WAIT || nOperation == FUTEX_LOCK_PI ? eWaitsForLock : eWaits;
}

// The end thread, or the one that it waits for, has been seen to go on.
void SeeProgress(SHold& rHold, Nanoseconds nNow)
{
	const Nanoseconds nTime = ReadClock(nEndThreadClock);
	const unsigned nWrittenNow = nWritten;
	if (nWrittenNow != rHold.m_nWritten || nSleeps != 0)
		rHold.m_nLineAt = nNow;
	if (nWrittenNow != rHold.m_nWritten || nTime - rHold.m_nEndThreadTime > (rHold.m_bAbortWait ? nRealProgress : 0))
	{
		rHold.m_nEndThreadTime = nTime;
		rHold.m_nWritten = nWrittenNow;
		rHold.m_nProgressAt = nNow;
	}
}

bool IsSliceDue(SHold& rHold)
{
	const Nanoseconds nNow = ReadClock(CLOCK_MONOTONIC);
	SeeProgress(rHold, nNow);
	const Nanoseconds nStill = nNow - rHold.m_nProgressAt;
	rHold.m_bSpin = nNow - rHold.m_nLineAt >= (rHold.m_bAbortWait ? nAbortSpinWait : nSpinWait);
	if (rHold.m_bSpin)
		return true;
	if (rHold.m_bAbortWait)
		return nStill >= nAbortWait && LookAt(nEndThread) != eRuns;
	const Nanoseconds nSinceSlice = nNow - rHold.m_nLastSlice;
	if (nSinceSlice < nLockWait)
		return false;
	if (nNeedsOthers != 0)
		return true;
	const bool bSleepDue = nSinceSlice >= nSleepWait && nSleeps == 0 && (nAwaited == 0 || nStill >= nSleepWait);
	if (nStill < nLockWait && !bSleepDue)
		return false;
	const EWait eWait = LookAt(nEndThread);
	if (eWait == eRuns)
		return false;
	const pid_t nThread = nAwaited;
	const bool bLock = eWait != eWaits || (nThread != 0 && LookAt(nThread) == eWaitsForLock);
	return bLock ? nStill >= nLockWait : bSleepDue;
}

timer_t TimerOf(int nSignal)
{
	std::size_t i = 0;
	while (i + 1 < nEndSignals && anEndSignals[i] != nSignal)
		++i;
	return aoTimers[i];
}

void SetTimer(int nSignal, Nanoseconds nSpan)
{
	itimerspec oSpan = {};
	oSpan.it_value.tv_nsec = static_cast<long>(nSpan);
	timer_settime(TimerOf(nSignal), 0, &oSpan, nullptr);
}

// Most locks are held for microseconds; the thread should not run for much longer than that.
void SetTick(const SHold& rHold)
{
	const int nTicksOfOneSpan = 7;
	SetTimer(rHold.m_nSignal, nFirstTick << (rHold.m_nTicks / nTicksOfOneSpan));
}

bool IsTimerOver(int nSignal)
{
	itimerspec oLeft = {};
	return timer_gettime(TimerOf(nSignal), &oLeft) == 0 && oLeft.it_value.tv_sec == 0 && oLeft.it_value.tv_nsec == 0;
}

// The thread may be in abort(), and nothing more is expected of it.
void BeginAbortWait()
{
	VexApplicationEnd::DiscountOwnRewrites(true);
	VexHoldOwnThread();
}

// False if the thread must not go on, since what it uses may be gone.
bool EndAbortWait(SHold& rHold)
{
	if (!rHold.m_bAbortWait)
		return true;
	if (!VexReleaseOwnThread())
		return false;
	VexApplicationEnd::DiscountOwnRewrites(false);
	rHold.m_bAbortWait = false;
	return true;
}

// What abort() does when its handler returns.
void Die()
{
	signal(SIGABRT, SIG_DFL);
	sigset_t oAbort;
	sigemptyset(&oAbort);
	sigaddset(&oAbort, SIGABRT);
	raise(SIGABRT);
	pthread_sigmask(SIG_UNBLOCK, &oAbort, nullptr);
}

// Lets the thread on. One that cannot be brought back goes on for good; the end does without it.
void BeginSlice(SHold& rHold)
{
	rHold.m_nLastSlice = rHold.m_nLineAt = ReadClock(CLOCK_MONOTONIC);
	rHold.m_eState = SHold::eFree;
	if (ThreadId() != nMainThread)
		return;
	bMainStands = false;
	if (!bTimers)
		return;
	rHold.m_eState = SHold::eSlice;
	rHold.m_nEndThreadTime = ReadClock(nEndThreadClock);
	rHold.m_nSliceBegin = ReadClock(CLOCK_THREAD_CPUTIME_ID);
	rHold.m_nTicks = 0;
	SetTick(rHold);
}

// The timer of a slice has come: whether the slice goes on. It counts the thread's processor time, since on a crowded
// machine the thread may not have run at all. It ends as soon as the end thread can go on, even before that one runs:
// from then on Finalize() may delete what this thread uses.
bool GoesOn(SHold& rHold)
{
	if (ReadClock(CLOCK_THREAD_CPUTIME_ID) - rHold.m_nSliceBegin >= nSlice || ++rHold.m_nTicks >= nMaxTicks ||
		(!rHold.m_bSpin && (ReadClock(nEndThreadClock) != rHold.m_nEndThreadTime || LookAt(nEndThread) == eRuns)))
		return false;
	SetTick(rHold);
	return true;
}

bool IsTakenUp(unsigned nTicket)
{
	return static_cast<int>(nTakenUp - nTicket) >= 0;
}

// Returns when the signal has no effect, or with a slice.
void StandStill(SHold& rHold)
{
	rHold.m_eState = SHold::eStands;
	if (ThreadId() == nMainThread)
		bMainStands = true;
	if (rHold.m_bAbortWait)
		BeginAbortWait();
	for (int nRefused = 0;;)
	{
		Nap(nMs);
		const bool bTakenUp = IsTakenUp(rHold.m_nTicket);
		if (!bTakenUp && !IsSliceDue(rHold))
			continue;
		if (rHold.m_bAbortWait && !bTakenUp)
			VexRestoreEcho();    // it may be the end: abort() goes on
		if (EndAbortWait(rHold))
		{
			if (!bTakenUp)
				return BeginSlice(rHold);
			rHold.m_eState = SHold::eFree;
			bMainStands = false;
			return;
		}
		// The main thread may hold what the end waits for, so it has its chance first.
		if (++nRefused > 1)
			Die();
		rHold.m_nProgressAt = ReadClock(CLOCK_MONOTONIC);
	}
}

void Hold(SHold& rHold, int nSignal, unsigned nTicket, bool bAbortWait)
{
	if (rHold.m_eState == SHold::eSlice)
		SetTimer(rHold.m_nSignal, 0);
	rHold.m_nSignal = nSignal;
	rHold.m_nTicket = nTicket;
	rHold.m_bAbortWait = bAbortWait;
	rHold.m_nLastSlice = rHold.m_nProgressAt = rHold.m_nLineAt = ReadClock(CLOCK_MONOTONIC);
	rHold.m_nEndThreadTime = ReadClock(nEndThreadClock);
	rHold.m_nWritten = nWritten;
	StandStill(rHold);
}

unsigned Enter(int nSignal)
{
	++anHandedOver[nSignal];
	const unsigned nTicket = ++nHandedOver;
	sem_post(&oHandedOver);
	return nTicket;
}

// The thread waits for the end thread by itself from now on; no timer is left that would come after the handlers.
void CancelSlice(SHold& rHold)
{
	sigset_t oSignal;
	sigset_t oBefore;
	sigemptyset(&oSignal);
	sigaddset(&oSignal, rHold.m_nSignal);
	pthread_sigmask(SIG_BLOCK, &oSignal, &oBefore);
	SetTimer(rHold.m_nSignal, 0);
	rHold.m_eState = SHold::eFree;
	const timespec oNoWait = {};
	siginfo_t oInfo;
	bool bAnother = false;
	while (sigtimedwait(&oSignal, &oInfo, &oNoWait) == rHold.m_nSignal)
		bAnother = bAnother || oInfo.si_code != SI_TIMER;
	if (bAnother)
		Enter(rHold.m_nSignal);
	pthread_sigmask(SIG_SETMASK, &oBefore, nullptr);
}

bool IsEndSignal(int nSignal)
{
	return nSignal == SIGINT || nSignal == SIGTERM || nSignal == SIGABRT;
}

// On the end thread: abort() in Finalize(), which cannot go on. The trace server's thread writes what is queued. Returns,
// and so lets abort() end the process, if that thread does not go on either.
void EndAborted()
{
	VexRestoreEcho();
	VexApplicationEnd::DiscountOwnRewrites(true);
	VexApplicationEnd::AwaitRewrites(true);
	VexRequestDrain();
	unsigned nSeen = nWritten;
	Nanoseconds nSeenAt = ReadClock(CLOCK_MONOTONIC);
	while (!VexIsDrained())
	{
		Nap(nMs);
		const Nanoseconds nNow = ReadClock(CLOCK_MONOTONIC);
		if (nNow - nSeenAt < nDrainWait)
			continue;
		if (nWritten == nSeen)
			return;
		nSeen = nWritten;
		nSeenAt = nNow;
	}
	_exit(3);
}

}    // namespace

int TakeNext()
{
	for (int nSignal = 1; nSignal < NSIG; ++nSignal)
		if (anHandedOver[nSignal] != 0)
		{
			--anHandedOver[nSignal];
			return nSignal;
		}
	return 0;
}

namespace
{
// Takes the signals up, one after the other.
class CEndThread : public CVexThread
{
public:
	explicit CEndThread(void (*pTakeUp)(int)) : CVexThread(0), m_pTakeUp(pTakeUp) {}
	~CEndThread() override
	{
		m_bStop = true;
		sem_post(&oHandedOver);
		Terminate();
	}
	CEndThread(const CEndThread&) = delete;
	CEndThread& operator=(const CEndThread&) = delete;

	void Initialize() override
	{
		nEndThread = ThreadId();
		pthread_getcpuclockid(pthread_self(), &nEndThreadClock);
	}

	void Run() override
	{
		for (;;)
		{
			while (sem_wait(&oHandedOver) != 0)
			{
			}
			const int nSignal = TakeNext();
			if (nSignal == 0)
			{
				if (m_bStop)
					return;
				continue;
			}
			// SIGABRT comes through from abort() alone, which unblocks it.
			sigset_t oAbort;
			sigset_t oBefore;
			sigemptyset(&oAbort);
			sigaddset(&oAbort, SIGABRT);
			pthread_sigmask(SIG_BLOCK, &oAbort, &oBefore);
			nTakingUp = nSignal;
			m_pTakeUp(nSignal);
			nTakingUp = 0;
			++nTakenUp;
			pthread_sigmask(SIG_SETMASK, &oBefore, nullptr);
		}
	}

private:
	void (*const m_pTakeUp)(int);
	std::atomic<bool> m_bStop{ false };
};

pid_t nOwner = 0;                    // the process that the next two belong to
CEndThread* pEndThread = nullptr;    // owned
int nUsers = 0;

bool MakeTimers(pid_t nThread)
{
	for (std::size_t i = 0; i < nEndSignals; ++i)
	{
		sigevent oEvent = {};
		oEvent.sigev_notify = SIGEV_THREAD_ID;
		oEvent.sigev_signo = anEndSignals[i];
		oEvent._sigev_un._tid = nThread;
		if (timer_create(CLOCK_MONOTONIC, &oEvent, &aoTimers[i]) == 0)
			continue;
		while (i-- > 0)
			timer_delete(aoTimers[i]);
		return false;
	}
	return true;
}

void DeleteTimers()
{
	if (!bTimers.exchange(false))
		return;
	for (timer_t oTimer : aoTimers)
		timer_delete(oTimer);
}
}    // namespace

void Begin(void (*pTakeUp)(int nSignal))
{
	if (nOwner != getpid())
	{
		// What a child after fork has of its parent's is not its own.
		nOwner = getpid();
		nUsers = 0;
		pEndThread = nullptr;
		bTimers = false;
		t_oHold = SHold();
	}
	++nUsers;
	if (pEndThread)
		return;
	sem_init(&oHandedOver, 0, 0);
	for (auto& rnCount : anHandedOver)
		rnCount = 0;
	nTakenUp = nHandedOver.load();
	nTakingUp = 0;
	nMainThread = 0;
	auto poThread = std::make_unique<CEndThread>(pTakeUp);
	if (!poThread->Start())
		return;
	pEndThread = poThread.release();
	nProcess = getpid();
	SetMainThread();
}

void End()
{
	if (nOwner != getpid() || --nUsers > 0 || !pEndThread)
		return;
	nMainThread = 0;
	delete pEndThread;
	pEndThread = nullptr;
	nEndThread = 0;
	nProcess = 0;
	DeleteTimers();
}

bool IsReady()
{
	return nProcess == getpid();
}

void SetMainThread()
{
	const pid_t nThread = ThreadId();
	if (nProcess != getpid() || nMainThread == nThread)
		return;
	nMainThread = 0;
	DeleteTimers();
	bTimers = MakeTimers(nThread);
	nMainThread = nThread;
}

void HandOver(int nSignal)
{
	const int nErrno = errno;
	SHold& rHold = t_oHold;
	const pid_t nThread = ThreadId();
	if (rHold.m_eState == SHold::eSlice && nSignal == rHold.m_nSignal && IsTimerOver(nSignal))
	{
		if (!GoesOn(rHold))
			StandStill(rHold);
	}
	else if (nThread == nMainThread && nSignal == nTakingUp && bMainCalled.exchange(false))
	{
		if (rHold.m_eState == SHold::eFree)
			Hold(rHold, nSignal, nHandedOver, false);
	}
	else if (nProcess == getpid())
	{
		if (nSignal == SIGABRT)
			nAbortedThread = nThread;
		if (nThread == nEndThread && nSignal == SIGABRT && nTakingUp != 0)
			EndAborted();
		else
		{
			const unsigned nTicket = Enter(nSignal);
			const bool bHold = nSignal == SIGABRT || (nThread == nMainThread && rHold.m_eState == SHold::eFree);
			if (IsEndSignal(nSignal) && nThread != nEndThread && rHold.m_eState != SHold::eStands && bHold)
				Hold(rHold, nSignal, nTicket, nSignal == SIGABRT);
		}
	}
	errno = nErrno;
}

void AwaitTakeUp()
{
	if (nProcess != getpid() || ThreadId() == nEndThread)
		return;
	if (t_oHold.m_eState == SHold::eSlice)
		CancelSlice(t_oHold);
	for (const unsigned nTicket = nHandedOver; !IsTakenUp(nTicket);)
		CVexThread::Sleep(0, 1);
}

bool IsTakingUpAbort()
{
	return nTakingUp == SIGABRT;
}

bool HasMainThreadAborted()
{
	return nAbortedThread == nMainThread;
}

void StopMainThread()
{
	if (bMainStands)
		return;
	bMainCalled = true;
	syscall(SYS_tgkill, getpid(), nMainThread.load(), nTakingUp.load());
	for (int i = 0; i < nMaxCallNaps && !bMainStands; ++i)
		Nap(nMs / 10);
}

CNeedsOthers::CNeedsOthers()
{
	++nNeedsOthers;
}

CNeedsOthers::~CNeedsOthers()
{
	--nNeedsOthers;
}

void SleepFixed(long nMilliSec)
{
	++nSleeps;
	CVexThread::Sleep(0, nMilliSec);
	--nSleeps;
}

void SetAwaited(int nThread)
{
	nAwaited = nThread;
}

int ThreadId()
{
	return static_cast<pid_t>(syscall(SYS_gettid));
}

void CountProgress()
{
	nWritten.fetch_add(1, std::memory_order_relaxed);
}
}    // namespace VexSignalEnd
