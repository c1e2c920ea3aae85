#pragma once

// Mutex, scoped lock and auto-resetting event.

#include "VexTrace.h"

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <vector>

// A mutex of the platform's default kind: not recursive.
class CVexMutex
{
public:
	constexpr CVexMutex() : m_oMutex(PTHREAD_MUTEX_INITIALIZER) {}
	virtual ~CVexMutex();
	CVexMutex(const CVexMutex&) = delete;
	CVexMutex& operator=(const CVexMutex&) = delete;

	// Waits without limit, whatever nTimeout says. True if locking FAILED, false when the caller holds the mutex.
	bool Lock(unsigned int nTimeout);

	// True on success.
	bool Unlock();

	// The names of the standard library: std::lock_guard and its like take a CVexMutex. try_lock() answers true when the
	// caller holds the mutex.
	void lock();
	bool try_lock();
	void unlock();

private:
	friend class CVexEvent;
	pthread_mutex_t m_oMutex;
};

// Holds a mutex from construction to destruction.
class CVexMutexLock
{
public:
	explicit CVexMutexLock(CVexMutex& rMutex);
	~CVexMutexLock();
	CVexMutexLock(const CVexMutexLock&) = delete;
	CVexMutexLock& operator=(const CVexMutexLock&) = delete;

private:
	CVexMutex& m_rMutex;
};

// A signal that threads wait for. A signal that nobody waits for is kept until the next wait takes it; every thread
// that already waits when Signal is called wakes up. In a child after fork an event has no waiting threads.
//
// Units: milliseconds; 0xFFFFFFFF waits indefinitely, 0 only looks. Changes of the wall clock do not matter.
class CVexEvent
{
public:
	class CVexTraceEx : public CVexTrace
	{
	public:
		CVexTraceEx();
	};

	CVexEvent();

	// Waits until threads that Signal() has woken have left Wait().
	virtual ~CVexEvent();
	CVexEvent(const CVexEvent&) = delete;
	CVexEvent& operator=(const CVexEvent&) = delete;

	void Signal();
	void Reset();

	// True if the event came (it is taken: the next wait waits again), false after the time-out. A wake-up that finds
	// no signal starts the time-out again.
	bool Wait(unsigned int nTimeout);

	// Polls the events every 10 ms. Index of the first one in the list that came (only that one is taken), -1 after
	// the time-out. Null entries never come.
	static int Wait(std::vector<CVexEvent*>& aEvents, unsigned int nTimeout);

	void SetTraceName(const char* pszName);

private:
	CVexTraceEx m_oTrace;
	CVexMutex m_oMutex;    // guards all below, but for Reset()
	pthread_cond_t* m_poCond;
	std::atomic<bool> m_bSignaled{ false };
	std::int32_t m_nCount = 0;
	unsigned int m_nWaiters = 0;
	std::atomic<unsigned int> m_nForks;    // the forks above this process when mutex and condition were made

	void RenewAfterFork();
	void Leave();
};
