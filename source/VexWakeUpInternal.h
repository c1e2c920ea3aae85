#pragma once

// Wakes one thread. Not a CVexEvent, which is signalled with its mutex held: where both threads share a processor the
// woken one would run into that mutex at once.

#include <semaphore.h>

// Not hidden like other internals: the threads of CVexTCPIPBase have one each.
class CVexWakeUp
{
public:
	CVexWakeUp() { sem_init(&m_oSemaphore, 0, 0); }
	~CVexWakeUp() { sem_destroy(&m_oSemaphore); }
	CVexWakeUp(const CVexWakeUp&) = delete;
	CVexWakeUp& operator=(const CVexWakeUp&) = delete;

	void Signal() { sem_post(&m_oSemaphore); }

	// Blocks until Signal() has been called, perhaps before; several calls count as one. For one thread only.
	void Wait()
	{
		while (sem_wait(&m_oSemaphore) != 0)    // interrupted by a signal handler
		{
		}
		while (sem_trywait(&m_oSemaphore) == 0)
		{
		}
	}

private:
	sem_t m_oSemaphore;
};
