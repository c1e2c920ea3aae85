#include "VexListenRetryInternal.h"

#include "VexTCPIPServerContainer.h"

#include <algorithm>

namespace
{
const unsigned int nRetryMs = 2000;
const unsigned int nDoneCheckMs = 100;
}    // namespace

std::shared_ptr<CVexListenRetry> CVexListenRetry::Share()
{
	// Never destroyed: containers may be static objects.
	static CVexMutex& rLock = *new CVexMutex;
	static std::weak_ptr<CVexListenRetry>& rpoShared = *new std::weak_ptr<CVexListenRetry>;
	CVexMutexLock oLock(rLock);
	std::shared_ptr<CVexListenRetry> poRetry = rpoShared.lock();
	if (!poRetry)
	{
		poRetry = std::make_shared<CVexListenRetry>();
		rpoShared = poRetry;
	}
	return poRetry;
}

CVexListenRetry::CVexListenRetry() : CVexThread(0) {}

CVexListenRetry::~CVexListenRetry()
{
	m_bQuit = true;
	m_oAdded.Signal();
	m_oQuit.Signal();
	Terminate();
}

void CVexListenRetry::Add(CVexTCPIPServerContainer* pContainer)
{
	CVexMutexLock oLock(m_oLock);
	if (std::find(m_apContainers.begin(), m_apContainers.end(), pContainer) == m_apContainers.end())
		m_apContainers.push_back(pContainer);
	m_oAdded.Signal();
}

void CVexListenRetry::Remove(CVexTCPIPServerContainer* pContainer)
{
	const auto IsRunning = [&]
	{
		CVexMutexLock oLock(m_oLock);
		m_apContainers.erase(
			std::remove(m_apContainers.begin(), m_apContainers.end(), pContainer), m_apContainers.end());
		return m_pRunning == pContainer;
	};
	while (IsRunning())
		m_oDone.Wait(nDoneCheckMs);
}

void CVexListenRetry::StartUnlessRunning()
{
	CVexMutexLock oLock(m_oLock);
	Start();
}

void CVexListenRetry::Run()
{
	while (!m_bQuit)
	{
		m_oAdded.Wait(0xFFFFFFFF);
		if (!m_oQuit.Wait(nRetryMs))
			RetryAll();
	}
}

// A container that fails again adds itself at the end; its turn is in the next round.
void CVexListenRetry::RetryAll()
{
	std::size_t nCount = 0;
	{
		CVexMutexLock oLock(m_oLock);
		nCount = m_apContainers.size();
	}
	for (; nCount > 0; --nCount)
	{
		{
			CVexMutexLock oLock(m_oLock);
			if (m_apContainers.empty())
				return;
			m_pRunning = m_apContainers.front();
			m_apContainers.pop_front();
		}
		m_pRunning->FillUpReserve();
		{
			CVexMutexLock oLock(m_oLock);
			m_pRunning = nullptr;
		}
		m_oDone.Signal();
	}
}
