#include "VexMutex.h"

#include "VexThread.h"
#include "VexUTCTime.h"

#include <sched.h>
#include <sys/time.h>
#include <time.h>

#include <cerrno>

namespace
{
// The wall clock in nTimeout milliseconds. Not CVexThread::GetTime(): its long seconds end in 2038 on 32 bit.
timespec GetDeadline(unsigned int nTimeout)
{
	timeval oNow = {};
	gettimeofday(&oNow, nullptr);
	timespec oDeadline = {};
	oDeadline.tv_sec = oNow.tv_sec + static_cast<time_t>(nTimeout / 1000);
	oDeadline.tv_nsec = static_cast<long>(oNow.tv_usec) * 1000 + static_cast<long>(nTimeout % 1000) * 1000000;
	if (oDeadline.tv_nsec > 999999999)
	{
		oDeadline.tv_nsec -= 1000000000;
		++oDeadline.tv_sec;
	}
	return oDeadline;
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

CVexEvent::CVexEvent() : m_poCond(new pthread_cond_t)
{
	pthread_cond_init(m_poCond, nullptr);
}

CVexEvent::~CVexEvent()
{
	// A thread that was woken may destroy the event while Signal() is still at its last step.
	while (m_nSignaling != 0)
		sched_yield();
	pthread_cond_destroy(m_poCond);
	delete m_poCond;
}

void CVexEvent::Signal()
{
	{
		CVexMutexLock oLock(m_oMutex);
		m_bSignaled = true;
		// Wraps instead of overflowing: only the difference counts.
		m_nCount = static_cast<std::int32_t>(static_cast<std::uint32_t>(m_nCount) + 1u);
		++m_nSignaling;
	}
	// Without the lock: the woken threads would only run into it.
	pthread_cond_broadcast(m_poCond);
	--m_nSignaling;
}

void CVexEvent::Reset()
{
	m_bSignaled = false;
}

bool CVexEvent::Wait(unsigned int nTimeout)
{
	CVexMutexLock oLock(m_oMutex);
	const std::int32_t nCountBefore = m_nCount;
	for (;;)
	{
		if (m_bSignaled || m_nCount != nCountBefore)
		{
			m_bSignaled = false;
			return true;
		}
		if (nTimeout == 0)
			return false;
		if (nTimeout == 0xFFFFFFFF)
		{
			pthread_cond_wait(m_poCond, &m_oMutex.m_oMutex);
			continue;
		}
		// Formed anew after every wake-up, as promised: a wake-up without a signal waits in full again.
		const timespec oDeadline = GetDeadline(nTimeout);
		if (pthread_cond_timedwait(m_poCond, &m_oMutex.m_oMutex, &oDeadline) == ETIMEDOUT)
			return false;
	}
}

int CVexEvent::Wait(std::vector<CVexEvent*>& aEvents, unsigned int nTimeout)
{
	// AddTime() would add the day of the month to the span: the sum is formed in ticks instead.
	CVexUTCTime oDeadline = CVexUTCTime::CurrentTime();
	oDeadline += CVexTimeDiff(static_cast<long long>(nTimeout));
	for (;;)
	{
		for (std::size_t i = 0; i < aEvents.size(); ++i)
			if (aEvents[i] && aEvents[i]->Wait(0))
				return static_cast<int>(i);
		if (nTimeout != 0xFFFFFFFF && oDeadline <= CVexUTCTime::CurrentTime())
			return -1;
		CVexThread::Sleep(0, 10);
	}
}

void CVexEvent::SetTraceName(const char* pszName)
{
	m_oTrace.SetName(pszName, nullptr);
}

CVexEvent::CVexTraceEx::CVexTraceEx() : CVexTrace("CVexEvent", nullptr, nullptr) {}
