#pragma once

// Lets server containers try again to listen, on one thread for the whole process.

#include "VexMutex.h"
#include "VexThread.h"

#include <atomic>
#include <deque>
#include <memory>

class CVexTCPIPServerContainer;

// Calls FillUpReserve() of each container that was added, once, after two seconds.
//
// Threads:   all functions from any thread; Remove() without the lock of the container.
// Ownership: the containers of the process share the object; the last one ends it.
class CVexListenRetry : public CVexThread
{
public:
	static std::shared_ptr<CVexListenRetry> Share();

	CVexListenRetry();
	~CVexListenRetry() override;
	CVexListenRetry(const CVexListenRetry&) = delete;
	CVexListenRetry& operator=(const CVexListenRetry&) = delete;

	void Add(CVexTCPIPServerContainer* pContainer);

	// Blocks while the container's FillUpReserve() runs.
	void Remove(CVexTCPIPServerContainer* pContainer);

	// If the system has no thread left, the containers wait for the next call.
	void StartUnlessRunning();

	void Run() override;

private:
	void RetryAll();

	CVexMutex m_oLock;    // guards the next two and starting the thread
	std::deque<CVexTCPIPServerContainer*> m_apContainers;
	CVexTCPIPServerContainer* m_pRunning = nullptr;
	CVexEvent m_oAdded;
	CVexEvent m_oDone;
	CVexEvent m_oQuit;
	std::atomic<bool> m_bQuit{ false };
};
