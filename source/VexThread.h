#pragma once

// A thread as an object: derive from CVexThread and supply Run().

#include "VexMutex.h"

#include <pthread.h>

#include <atomic>
#include <cstdint>

// Threads:  Start() and Terminate() belong to the owner's thread; Initialize() and Run() run on the new thread.
// Trap:     a deriving class calls Terminate() in its own destructor: by the time this one runs, its Run() is gone.
// Run():    leaves when IsTerminationRequested() answers true, or Terminate() blocks for ever.
class CVexThread
{
public:
	enum EThreadState
	{
		STATE_NEW = 0,
		STATE_INITIALIZING = 1,
		STATE_RUNNING = 2,
		STATE_TERMINATED = 3
	};

	// nStackSize: bytes, raised to at least 16384; 0 takes the platform's default.
	explicit CVexThread(unsigned int nStackSize);

	// Terminates the thread. On the object's own thread it does not wait for Run(), which then must not touch the
	// object any more.
	virtual ~CVexThread();
	CVexThread(const CVexThread&) = delete;
	CVexThread& operator=(const CVexThread&) = delete;

	// The thread's body.
	virtual void Run() = 0;

	// Runs on the new thread before Run(); Start() waits for it.
	virtual void Initialize();

	// False if the thread is starting or running already (nothing changes) or if none could be created (the state is
	// STATE_TERMINATED then). A thread that has ended can be started again, any number of times.
	bool Start();

	// Asks the thread to stop and waits until Run() has returned. Does nothing if there is no thread; on the object's
	// own thread it asks without waiting. A thread that stands still because it has called abort(), and the process
	// ends, is not waited for.
	void Terminate();

	// For Run(): true once per Terminate().
	bool IsTerminationRequested();

	// No effect: kept for programs that call them.
	void Suspend();
	void Resume();

	EThreadState GetState() const;
	bool IsRunning() const;

	// The body of every platform thread of this class.
	static void ThreadProc(CVexThread* pThread);

	// Sleeps nSec seconds and nMilliSec milliseconds; nothing for sums of 0 and below.
	static void Sleep(long nSec, long nMilliSec);

	// The wall clock, and the wall clock plus a span; nanoseconds in 0 to 999,999,999. Null pointers are skipped.
	// Trap: where long has 32 bits the seconds end in 2038; CVexUTCTime::CurrentTime() does not.
	static void GetTimeCurrent(long* pSec, long* pNanoSec);
	static void GetTime(long* pSec, long* pNanoSec, long nAddSec, long nAddNanoSec);

protected:
	// True on the platform thread that runs this object.
	bool IsOwnThread() const;

	// True if the thread has called abort() and stands still while the process ends. It never goes on then, so what it
	// uses may be destroyed, but for what it waits for.
	bool GiveUp();

	pthread_t m_nThreadID = 0;    // 0 while there is no thread to join
	pthread_attr_t m_oAttributes;
	std::uint32_t m_nStackSize;
	CVexEvent m_oEventTermRequested;
	CVexEvent m_oEventInitialized;
	std::atomic<EThreadState> m_nThreadState{ STATE_NEW };

private:
	CVexMutex m_oStartLock;    // held by Start(): a thread that destroys its own object waits until that has returned
	std::atomic<std::atomic<int>*> m_pHold{ nullptr };    // the thread's own; valid until the thread is joined

	void InitAttributes();
	void Join();
};
