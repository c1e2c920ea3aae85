#include "VexTraceServerContainer.h"

#include "VexTraceServer.h"
#include "VexTraceServerConnection.h"

#include <algorithm>
#include <memory>

namespace
{
// More cannot be connected at once anyway: each takes a descriptor and two threads.
const unsigned int nMaxSlots = 65535;
}    // namespace

CVexTraceServerContainer::CVexTraceServerContainer(unsigned int nMaxConnections, unsigned int nReserveConnections,
	const std::string& sIPAddress, unsigned short nPort, CVexTraceServer& oTraceServer)
	: CVexTCPIPServerContainer(static_cast<int>(std::min(nMaxConnections, nMaxSlots)),
		  static_cast<int>(std::min(nReserveConnections, nMaxSlots)), sIPAddress, nPort),
	  m_oTraceServer(oTraceServer),
	  m_sIPAddress(sIPAddress),
	  m_nPort(nPort)
{
	FillUpReserve();
}

CVexTraceServerContainer::~CVexTraceServerContainer()
{
	DeleteServers();
}

void CVexTraceServerContainer::Listen(unsigned int nReserveConnections)
{
	{
		CVexMutexLock oLock(m_oLockContainer);
		m_nReserve = std::min(nReserveConnections, nMaxSlots);
	}
	FillUpReserve();
}

CVexTCPIPServerBase* CVexTraceServerContainer::CreateNewClass(int nIndex)
{
	auto poConnection = std::make_unique<CVexTraceServerConnection>(this, nIndex, m_oTraceServer);
	{
		CVexMutexLock oLock(m_oLockClients);
		m_aoClients.emplace_back(nIndex, poConnection.get());
	}
	poConnection->AwaitConnectionFromClient(m_sIPAddress.c_str(), m_nPort, -2);
	return poConnection.release();
}

void CVexTraceServerContainer::Connected(int nIndex, bool bConnected)
{
	CVexTraceServerConnection* pClient = bConnected ? nullptr : FindClient(nIndex);
	std::vector<long> anRequested;
	if (pClient)
	{
		anRequested = pClient->GetRequestedObjects();
		// Before the base class lets the slot listen for the next one.
		pClient->ForgetClient();
	}
	CVexTCPIPServerContainer::Connected(nIndex, bConnected);
	for (const long nID : anRequested)
		m_oTraceServer.RefreshClientTraceLevels(nID, true);
}

CVexTraceServerConnection* CVexTraceServerContainer::GetClient(std::size_t nPosition)
{
	CVexMutexLock oLock(m_oLockClients);
	return nPosition < m_aoClients.size() ? m_aoClients[nPosition].second : nullptr;
}

// By the identifiers alone: at the end of the container some of the connections are gone.
CVexTraceServerConnection* CVexTraceServerContainer::FindClient(int nIndex)
{
	CVexMutexLock oLock(m_oLockClients);
	for (const Client& rClient : m_aoClients)
		if (rClient.first == nIndex)
			return rClient.second;
	return nullptr;
}

// Without a lock while a client is waited for: others come and go, and change their levels meanwhile.
void CVexTraceServerContainer::TraceReq(const CVexTraceMsg& oMsg)
{
	for (std::size_t i = 0; CVexTraceServerConnection* pClient = GetClient(i); ++i)
		if (pClient->IsTraceWanted() && !pClient->TraceReq(oMsg) && m_bEnding)
			pClient->StopTrace();
}

// KEPT: what is watched of the object's class does not count here, only when the object registers.
// Test: CVexTraceServerConnection.WatchedClassIsNoRequestedLevelKept
int CVexTraceServerContainer::GetClientTraceLevels(long nID)
{
	int nLevels = 0;
	CVexMutexLock oLock(m_oLockClients);
	for (const Client& rClient : m_aoClients)
		nLevels |= rClient.second->GetRequestedTraceLevels(nID);
	return nLevels;
}

int CVexTraceServerContainer::GetWatchMask(const std::string& sClass)
{
	int nLevels = 0;
	CVexMutexLock oLock(m_oLockClients);
	for (const Client& rClient : m_aoClients)
		nLevels |= rClient.second->GetWatchLevels(sClass);
	return nLevels;
}

void CVexTraceServerContainer::StopTrace()
{
	for (std::size_t i = 0; CVexTraceServerConnection* pClient = GetClient(i); ++i)
		pClient->StopTrace();
}

void CVexTraceServerContainer::ExpectEnd()
{
	m_bEnding = true;
}
