#include "VexTCPIPServerContainer.h"

#include "VexListenRetryInternal.h"
#include "VexTCPIPServerBase.h"

#include <algorithm>

namespace
{
// Those that are connected count: their reports come later, and may wait for the container's lock.
bool IsAtWork(const CVexTCPIPServerBase& rServer)
{
	const CVexTCPIPBase::EConState eState = rServer.GetConnectState();
	return eState != CVexTCPIPBase::eDisconnected && eState != CVexTCPIPBase::eClassNotInitialized;
}
}    // namespace

CVexTCPIPServerContainer::CVexTCPIPServerContainer(
	int nMaxConnections, int nReserve, const std::string& sIPAddress, unsigned short nPort)
	: m_nMaxConnections(static_cast<std::uint32_t>(std::max(nMaxConnections, 0))),
	  m_nReserve(static_cast<std::uint32_t>(std::max(nReserve, 0))),
	  m_sIPAddress(sIPAddress),
	  m_nPort(nPort),
	  m_poRetry(CVexListenRetry::Share())
{
	CVexMutexLock oLock(m_oLockContainer);
	m_aoServer.resize(m_nMaxConnections, TCPIPServerInfo(nullptr, eUnused));
}

CVexTCPIPServerContainer::~CVexTCPIPServerContainer()
{
	DeleteServers();
}

void CVexTCPIPServerContainer::DeleteServers()
{
	{
		CVexMutexLock oLock(m_oLockContainer);
		m_bEnding = true;
	}
	// Without the lock, which their last reports take; the slots no longer change.
	for (TCPIPServerInfo& rInfo : m_aoServer)
	{
		CVexTCPIPServerBase* pServer = rInfo.first;
		{
			CVexMutexLock oLock(m_oLockContainer);
			rInfo = TCPIPServerInfo(nullptr, eUnused);
		}
		delete pServer;
	}
	// Last: the threads of the objects may have added it again.
	m_poRetry->Remove(this);
}

CVexTCPIPServerBase* CVexTCPIPServerContainer::CreateNewClass(int)
{
	return nullptr;
}

void CVexTCPIPServerContainer::FillUpReserve()
{
	bool bFailed = false;
	{
		// Held over the calls: nobody else may choose the same slots, and an asynchronous request does not wait.
		CVexMutexLock oLock(m_oLockContainer);
		if (m_bEnding)
			return;
		std::uint32_t nUnused = 0;
		std::uint32_t nListening = 0;
		for (const TCPIPServerInfo& rInfo : m_aoServer)
		{
			nUnused += rInfo.second == eUnused ? 1u : 0u;
			nListening += rInfo.second == eListening ? 1u : 0u;
		}
		// KEPT: unsigned, so that more listening slots than the reserve asks for make all unused ones listen.
		// Test: CVexTCPIPServerContainer.TooManyListeningSlotsMakeAllListenKept
		std::uint32_t nMissing = std::min(m_nReserve - nListening, nUnused);
		// Ahead of the first failure: when that comes, the system may have no thread left.
		if (nMissing > 0)
			m_poRetry->StartUnlessRunning();
		for (auto oInfo = m_aoServer.begin(); oInfo != m_aoServer.end() && nMissing > 0; ++oInfo)
		{
			if (oInfo->second != eUnused)
				continue;
			FillSlot(*oInfo);
			bFailed = bFailed || (oInfo->first && oInfo->second == eUnused);
			--nMissing;
		}
	}
	if (bFailed)
		m_poRetry->Add(this);
}

// With m_oLockContainer held. The slot stays unused if it cannot listen.
void CVexTCPIPServerContainer::FillSlot(TCPIPServerInfo& rInfo)
{
	if (rInfo.first)
	{
		rInfo.first->DisconnectReq(100);
		rInfo.first->AwaitConnectionFromClient(m_sIPAddress.c_str(), m_nPort, -2);
	}
	else
		rInfo.first = CreateNewClass(static_cast<int>(m_nMaxId++));
	if (rInfo.first && IsAtWork(*rInfo.first))
		rInfo.second = eListening;
}

int CVexTCPIPServerContainer::GetListeningCount() const
{
	m_poRetry->StartUnlessRunning();
	CVexMutexLock oLock(m_oLockContainer);
	return static_cast<int>(std::count_if(m_aoServer.begin(),
		m_aoServer.end(),
		[](const TCPIPServerInfo& rInfo)
		{ return rInfo.second == eListening && rInfo.first->GetConnectState() == CVexTCPIPBase::eConnecting; }));
}

void CVexTCPIPServerContainer::Connected(int nID, bool bConnected)
{
	{
		CVexMutexLock oLock(m_oLockContainer);
		TCPIPServerInfo* pInfo = GetServerByID(nID);
		if (!pInfo)
			return;
		pInfo->second = bConnected ? eConnected : eUnused;
	}
	FillUpReserve();
}

CVexTCPIPServerBase* CVexTCPIPServerContainer::operator[](int nIndex)
{
	CVexMutexLock oLock(m_oLockContainer);
	if (nIndex < 0 || static_cast<std::size_t>(nIndex) >= m_aoServer.size())
		return nullptr;
	return m_aoServer[static_cast<std::size_t>(nIndex)].first;
}

CVexTCPIPServerContainer::TCPIPServerInfo* CVexTCPIPServerContainer::GetServerByID(int nID)
{
	for (TCPIPServerInfo& rInfo : m_aoServer)
		if (rInfo.first && rInfo.first->GetID() == nID)
			return &rInfo;
	return nullptr;
}
