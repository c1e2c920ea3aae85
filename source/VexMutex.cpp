#include "VexMutex.h"

#include "VexThread.h"

#include <time.h>

#include <cerrno>

namespace
{
// Counts the forks above this process. Mutex and condition of an event may be in use by threads that a child does not
// have; there the first use makes them anew.
std::atomic<unsigned int> nForks{ 0 };
pthread_mutex_t oRenewLock = PTHREAD_MUTEX_INITIALIZER;

void CountFork()
{
	pthread_mutex_init(&oRenewLock, nullptr);
	++nForks;
}

const int nForkResult = pthread_atfork(nullptr, nullptr, CountFork);

void InitCondition(pthread_cond_t* pCondition)
{
	pthread_condattr_t oAttributes;
	pthread_condattr_init(&oAttributes);
	pthread_condattr_setclock(&oAttributes, CLOCK_MONOTONIC);
	pthread_cond_init(pCondition, &oAttributes);
	pthread_condattr_destroy(&oAttributes);
}

// The steady clock in nTimeout milliseconds.
timespec GetDeadline(unsigned int nTimeout)
{
	timespec oDeadline = {};
	clock_gettime(CLOCK_MONOTONIC, &oDeadline);
	oDeadline.tv_sec += static_cast<time_t>(nTimeout / 1000);
	oDeadline.tv_nsec += static_cast<long>(nTimeout % 1000) * 1000000;
	if (oDeadline.tv_nsec > 999999999)
	{
		oDeadline.tv_nsec -= 1000000000;
		++oDeadline.tv_sec;
	}
	return oDeadline;
}

bool IsOver(const timespec& rDeadline)
{
	const timespec oNow = GetDeadline(0);
	return oNow.tv_sec != rDeadline.tv_sec ? oNow.tv_sec > rDeadline.tv_sec : oNow.tv_nsec >= rDeadline.tv_nsec;
}
}    // namespace

CVexMutex::~CVexMutex()
{
	pthread_mutex_destroy(&m_oMutex);
}

// KEPT: true means that locking FAILED, the reverse of Unlock(). Programs rely on it.
// Test: CVexMutex.LockAnswersFalseOnSuccessKept
bool CVexMutex::Lock(unsigned int)
{
	return pthread_mutex_lock(&m_oMutex) != 0;
}

bool CVexMutex::Unlock()
{
	return pthread_mutex_unlock(&m_oMutex) == 0;
}

void CVexMutex::lock()
{
	Lock(0xFFFFFFFF);
}

bool CVexMutex::try_lock()
{
	return pthread_mutex_trylock(&m_oMutex) == 0;
}

void CVexMutex::unlock()
{
	Unlock();
}

CVexMutexLock::CVexMutexLock(CVexMutex& rMutex) : m_rMutex(rMutex)
{
	m_rMutex.Lock(0xFFFFFFFF);
}

CVexMutexLock::~CVexMutexLock()
{
	m_rMutex.Unlock();
}

CVexEvent::CVexEvent() : m_poCond(new pthread_cond_t), m_nForks(nForks.load())
{
	InitCondition(m_poCond);
}

CVexEvent::~CVexEvent()
{
	RenewAfterFork();
	{
		CVexMutexLock oLock(m_oMutex);
		while (m_nWaiters != 0)
			pthread_cond_wait(m_poCond, &m_oMutex.m_oMutex);
	}
	pthread_cond_destroy(m_poCond);
	delete m_poCond;
}

inline void CVexEvent::RenewAfterFork()
{
	if (m_nForks == nForks)
		return;
	pthread_mutex_lock(&oRenewLock);
	if (m_nForks != nForks)
	{
		pthread_mutex_init(&m_oMutex.m_oMutex, nullptr);
		InitCondition(m_poCond);
		m_nWaiters = 0;
		m_nForks = nForks.load();
	}
	pthread_mutex_unlock(&oRenewLock);
}

void CVexEvent::Signal()
{
	RenewAfterFork();
	CVexMutexLock oLock(m_oMutex);
	m_bSignaled = true;
	// Wraps instead of overflowing: only the difference counts.
	m_nCount = static_cast<std::int32_t>(static_cast<std::uint32_t>(m_nCount) + 1u);
	// With the lock held: a thread that wakes up may destroy the event.
	pthread_cond_broadcast(m_poCond);
}

// A waiting thread goes, with the mutex held. The destructor may wait for it.
void CVexEvent::Leave()
{
	if (--m_nWaiters == 0)
		pthread_cond_broadcast(m_poCond);
}

void CVexEvent::Reset()
{
	m_bSignaled = false;
}

bool CVexEvent::Wait(unsigned int nTimeout)
{
	RenewAfterFork();
	CVexMutexLock oLock(m_oMutex);
	const std::int32_t nCountBefore = m_nCount;
	const auto TakeSignal = [&]
	{
		if (!m_bSignaled && m_nCount == nCountBefore)
			return false;
		m_bSignaled = false;
		return true;
	};
	if (TakeSignal())
		return true;
	if (nTimeout == 0)
		return false;
	int nResult = 0;
	bool bSignaled = false;
	++m_nWaiters;
	while (nResult != ETIMEDOUT && !bSignaled)
	{
		// Formed anew after every wake-up, as promised: a wake-up without a signal waits in full again.
		const timespec oDeadline = GetDeadline(nTimeout);
		nResult = nTimeout == 0xFFFFFFFF ? pthread_cond_wait(m_poCond, &m_oMutex.m_oMutex)
										 : pthread_cond_timedwait(m_poCond, &m_oMutex.m_oMutex, &oDeadline);
		bSignaled = nResult != ETIMEDOUT && TakeSignal();
	}
	Leave();
	return bSignaled;
}

int CVexEvent::Wait(std::vector<CVexEvent*>& aEvents, unsigned int nTimeout)
{
	const timespec oDeadline = GetDeadline(nTimeout);
	for (;;)
	{
		for (std::size_t i = 0; i < aEvents.size(); ++i)
			if (aEvents[i] && aEvents[i]->Wait(0))
				return static_cast<int>(i);
		if (nTimeout != 0xFFFFFFFF && IsOver(oDeadline))
			return -1;
		CVexThread::Sleep(0, 10);
	}
}

void CVexEvent::SetTraceName(const char* pszName)
{
	m_oTrace.SetName(pszName, nullptr);
}

CVexEvent::CVexTraceEx::CVexTraceEx() : CVexTrace("CVexEvent", nullptr, nullptr) {}
