#include "VexTraceServerContainer.h"

#include "VexSignalEndInternal.h"
#include "VexThread.h"
#include "VexTraceServer.h"
#include "VexTraceServerConnection.h"

#include <algorithm>

namespace
{
// More cannot be connected at once anyway: each takes a descriptor and two threads.
const unsigned int nMaxSlots = 65535;

const unsigned int nLoginCheckMs = 1000;
const long nSentCheckMs = 10;
const long nSentWaitMs = 1000;
}    // namespace

// Frees the slots of clients that do not log in.
class CVexTraceServerContainer::CLoginWatch : public CVexThread
{
public:
	explicit CLoginWatch(CVexTraceServerContainer& rContainer) : CVexThread(0), m_rContainer(rContainer) {}

	~CLoginWatch() override { Terminate(); }
	CLoginWatch(const CLoginWatch&) = delete;
	CLoginWatch& operator=(const CLoginWatch&) = delete;

	void Run() override
	{
		while (!m_oEventTermRequested.Wait(nLoginCheckMs))
			m_rContainer.DisconnectOverdue();
	}

private:
	CVexTraceServerContainer& m_rContainer;
};

CVexTraceServerContainer::CVexTraceServerContainer(unsigned int nMaxConnections, unsigned int nReserveConnections,
	const std::string& sIPAddress, unsigned short nPort, CVexTraceServer& oTraceServer)
	: CVexTCPIPServerContainer(static_cast<int>(std::min(nMaxConnections, nMaxSlots)),
		  static_cast<int>(std::min(nReserveConnections, nMaxSlots)), sIPAddress, nPort),
	  m_oTraceServer(oTraceServer),
	  m_sIPAddress(sIPAddress),
	  m_nPort(nPort),
	  m_poLoginWatch(std::make_unique<CLoginWatch>(*this))
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
		if (m_bEnding)
			poConnection->ExpectEnd();
	}
	poConnection->AwaitConnectionFromClient(m_sIPAddress.c_str(), m_nPort, -2);
	return poConnection.release();
}

void CVexTraceServerContainer::Connected(int nIndex, bool bConnected)
{
	if (bConnected && m_oTraceServer.IsLoginRequired())
		m_poLoginWatch->Start();    // unless it runs
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
		if (pClient->IsTraceWanted())
			pClient->TraceReq(oMsg);
}

// With the lock of the slots: no connection is deleted meanwhile.
void CVexTraceServerContainer::DisconnectOverdue()
{
	CVexMutexLock oLock(m_oLockContainer);
	for (const TCPIPServerInfo& rInfo : m_aoServer)
		if (auto* pClient = rInfo.second == eConnected ? FindClient(rInfo.first->GetID()) : nullptr)
			pClient->DisconnectOverdue();
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
	ExpectEnd();
	for (std::size_t i = 0; CVexTraceServerConnection* pClient = GetClient(i); ++i)
		pClient->StopTrace();
}

void CVexTraceServerContainer::ExpectEnd()
{
	CVexMutexLock oLock(m_oLockClients);
	m_bEnding = true;
	for (const Client& rClient : m_aoClients)
		rClient.second->ExpectEnd();
}

// What arrives after a connection was closed resets it, and what was not taken yet is lost then.
void CVexTraceServerContainer::AwaitSent()
{
	const auto IsSending = [this]
	{
		CVexMutexLock oLock(m_oLockClients);
		return std::any_of(
			m_aoClients.begin(), m_aoClients.end(), [](const Client& rClient) { return rClient.second->IsSending(); });
	};
	for (long nWaitedMs = 0; nWaitedMs < nSentWaitMs && IsSending(); nWaitedMs += nSentCheckMs)
		VexSignalEnd::SleepFixed(nSentCheckMs);
}
