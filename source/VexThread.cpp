#include "VexThread.h"

#include "VexThreadInternal.h"

#include <sys/time.h>
#include <time.h>

#include <algorithm>
#include <cerrno>

namespace
{
// The object whose Run() this platform thread executes; null once that object has been destroyed from its own Run().
thread_local CVexThread* t_pOwner = nullptr;

// Whether the thread stands still because SIGABRT came to it. Initial-exec: a signal handler must not be the first to
// touch lazily allocated thread storage.
enum EHold
{
	eGoesOn,
	eHeld,
	eGivenUp
};
thread_local std::atomic<int> t_eHold __attribute__((tls_model("initial-exec"))){ eGoesOn };

const long nHeldCheckNs = 100000000;    // Join() looks whether the thread can go on that often

void* PlatformThreadProc(void* pThread)
{
	CVexThread::ThreadProc(static_cast<CVexThread*>(pThread));
	return nullptr;
}
}    // namespace

CVexThread::CVexThread(unsigned int nStackSize) : m_nStackSize(nStackSize ? std::max(nStackSize, 16384u) : 0)
{
	InitAttributes();
}

CVexThread::~CVexThread()
{
	if (IsOwnThread())
	{
		{
			const CVexMutexLock oLock(m_oStartLock);
		}
		// Nobody can join it any more; its Run() is still on the stack, so ThreadProc() must not come back here.
		t_pOwner = nullptr;
		pthread_detach(m_nThreadID);
	}
	else
		Terminate();
	pthread_attr_destroy(&m_oAttributes);
}

void CVexThread::InitAttributes()
{
	pthread_attr_init(&m_oAttributes);
	if (m_nStackSize != 0)
		pthread_attr_setstacksize(&m_oAttributes, m_nStackSize);
}

void CVexThread::Initialize() {}

bool CVexThread::Start()
{
	if (m_nThreadState == STATE_INITIALIZING || m_nThreadState == STATE_RUNNING)
		return false;
	if (m_nThreadID != 0)
	{
		// The earlier round ended by itself and was never joined.
		pthread_join(m_nThreadID, nullptr);
		m_nThreadID = 0;
		m_oEventTermRequested.Reset();
	}
	const CVexMutexLock oLock(m_oStartLock);    // its end is the last touch: Run() may delete the object
	m_nThreadState = STATE_INITIALIZING;
	if (pthread_create(&m_nThreadID, &m_oAttributes, PlatformThreadProc, this) != 0)
	{
		m_nThreadID = 0;
		m_nThreadState = STATE_TERMINATED;
		return false;
	}
	Resume();
	m_oEventInitialized.Wait(0xFFFFFFFF);
	return true;
}

void CVexThread::Terminate()
{
	if (IsOwnThread())
	{
		// The request stays for Run(); whoever owns the object joins the thread.
		m_oEventTermRequested.Signal();
		return;
	}
	if (m_nThreadID == 0)
		return;
	m_oEventTermRequested.Signal();
	Resume();
	Join();
	// A fresh set, so that the next Start() finds valid ones.
	pthread_attr_destroy(&m_oAttributes);
	InitAttributes();
	m_oEventTermRequested.Reset();
	m_nThreadID = 0;
}

// Waits for the end of the thread, or until it stands still for good.
void CVexThread::Join()
{
	int nResult = ETIMEDOUT;
	while (nResult == ETIMEDOUT && !GiveUp())
	{
		timespec oNext = {};
		clock_gettime(CLOCK_REALTIME, &oNext);
		oNext.tv_nsec += nHeldCheckNs;
		oNext.tv_sec += oNext.tv_nsec / 1000000000;
		oNext.tv_nsec %= 1000000000;
		nResult = pthread_timedjoin_np(m_nThreadID, nullptr, &oNext);
	}
	if (nResult == ETIMEDOUT)
		pthread_detach(m_nThreadID);
	else
		m_pHold = nullptr;
}

bool CVexThread::IsTerminationRequested()
{
	return m_oEventTermRequested.Wait(0);
}

void CVexThread::Suspend() {}

void CVexThread::Resume() {}

bool CVexThread::IsOwnThread() const
{
	return t_pOwner == this;
}

bool CVexThread::GiveUp()
{
	std::atomic<int>* const pHold = m_pHold;
	int eState = eHeld;
	return pHold && (pHold->compare_exchange_strong(eState, eGivenUp) || eState == eGivenUp);
}

void VexHoldOwnThread()
{
	t_eHold = eHeld;
}

bool VexReleaseOwnThread()
{
	int eState = eHeld;
	return t_eHold.compare_exchange_strong(eState, eGoesOn) || eState == eGoesOn;
}

void CVexThread::ThreadProc(CVexThread* pThread)
{
	t_pOwner = pThread;
	pThread->m_pHold = &t_eHold;
	pThread->Initialize();
	if (t_pOwner != pThread)
		return;
	pThread->m_oEventInitialized.Signal();
	pThread->m_nThreadState = STATE_RUNNING;
	pThread->Run();
	if (t_pOwner != pThread)
		return;
	t_pOwner = nullptr;
	pThread->m_nThreadState = STATE_TERMINATED;
}

void CVexThread::Sleep(long nSec, long nMilliSec)
{
	const long long nSpanMs = static_cast<long long>(nSec) * 1000 + nMilliSec;
	if (nSpanMs <= 0)
		return;
	timespec oLeft = {};
	oLeft.tv_sec = static_cast<time_t>(nSpanMs / 1000);
	oLeft.tv_nsec = static_cast<long>(nSpanMs % 1000) * 1000000;
	while (nanosleep(&oLeft, &oLeft) != 0 && errno == EINTR)
	{
	}
}

void CVexThread::GetTimeCurrent(long* pSec, long* pNanoSec)
{
	GetTime(pSec, pNanoSec, 0, 0);
}

void CVexThread::GetTime(long* pSec, long* pNanoSec, long nAddSec, long nAddNanoSec)
{
	timeval oNow = {};
	gettimeofday(&oNow, nullptr);
	long long nNanoSec = static_cast<long long>(oNow.tv_usec) * 1000 + nAddNanoSec;
	long long nCarry = nNanoSec / 1000000000;
	nNanoSec %= 1000000000;
	if (nNanoSec < 0)
	{
		nNanoSec += 1000000000;
		--nCarry;
	}
	if (pSec)
		*pSec = static_cast<long>(oNow.tv_sec + nAddSec + nCarry);
	if (pNanoSec)
		*pNanoSec = static_cast<long>(nNanoSec);
}

CVexThread::EThreadState CVexThread::GetState() const
{
	return m_nThreadState;
}

bool CVexThread::IsRunning() const
{
	return m_nThreadState == STATE_RUNNING;
}
