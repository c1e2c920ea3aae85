#include "VexTCPIPServerBase.h"
#include "VexTCPIPServerContainer.h"

#include "support/RawPeer.h"

#include <gtest/gtest.h>

#include <ctime>
#include <sys/resource.h>

namespace
{
class CEcho : public CVexTCPIPServerBase
{
public:
	using CVexTCPIPServerBase::CVexTCPIPServerBase;
	~CEcho() override { EndThreads(); }

	void ConInd(bool bConnected, int nSocket) override
	{
		CVexTCPIPServerBase::ConInd(bConnected, nSocket);
		const int anExpected[][3] = { { SOL_SOCKET, SO_KEEPALIVE, 1 },
			{ IPPROTO_TCP, TCP_NODELAY, 1 },
			{ IPPROTO_TCP, TCP_KEEPIDLE, 60 },
			{ IPPROTO_TCP, TCP_KEEPINTVL, 10 },
			{ IPPROTO_TCP, TCP_KEEPCNT, 3 } };
		for (const auto& rExpected : anExpected)
		{
			int nValue = rExpected[2];
			socklen_t nSize = sizeof nValue;
			getsockopt(nSocket, rExpected[0], rExpected[1], &nValue, &nSize);
			EXPECT_EQ(nValue, rExpected[2]) << "option " << rExpected[1];
		}
	}
	void DataInd(const unsigned char* pData, int nLen) override
	{
		DataReq(reinterpret_cast<const char*>(pData), nLen, 0);
	}
};

class CServer : public CVexTCPIPServerContainer
{
public:
	CServer(int nMaxConnections, int nReserve, unsigned short nPort = FindFreePort())
		: CVexTCPIPServerContainer(nMaxConnections, nReserve, "127.0.0.1", nPort)
	{
		FillUpReserve();
	}
	~CServer() override { DeleteServers(); }

	CVexTCPIPServerBase* CreateNewClass(int nID) override
	{
		auto poEcho = std::make_unique<CEcho>(this, nID);
		poEcho->AwaitConnectionFromClient(m_sIPAddress.c_str(), m_nPort, -2);
		return poEcho.release();
	}
	void Connected(int nID, bool bConnected) override
	{
		++m_nReports;
		CVexTCPIPServerContainer::Connected(nID, bConnected);
	}

	// The states of all slots, sorted; "-" without an object. Which of the listening slots takes a client is not said.
	std::string Slots()
	{
		std::string sSlots;
		CVexMutexLock oLock(m_oLockContainer);
		for (const TCPIPServerInfo& rInfo : m_aoServer)
			sSlots += rInfo.first ? "ULC"[rInfo.second] : '-';
		std::sort(sSlots.begin(), sSlots.end());
		return sSlots;
	}
	bool BecomesSlots(const char* szSlots)
	{
		return ComesTrue([&] { return Slots() == szSlots; });
	}
	void SetReserve(unsigned int nReserve) { m_nReserve = nReserve; }
	unsigned short Port() const { return m_nPort; }

	std::atomic<int> m_nReports{ 0 };
};

std::string Echo(CRawPeer& rPeer, int nLimitMs = 60000)
{
	rPeer.Send("hello");
	return rPeer.Receive(5, nLimitMs);
}

TEST(CVexTCPIPServerContainer, KeepsItsReserveListening)
{
	CServer oServer(5, 2);
	EXPECT_EQ(oServer.Slots(), "---LL");
	EXPECT_EQ(oServer[1]->GetID(), 1);
	for (const int nIndex : { -1, 4, 5 })
		EXPECT_EQ(oServer[nIndex], nullptr);
	auto poPeer = CRawPeer::ConnectTo(oServer.Port());
	EXPECT_EQ(Echo(*poPeer), "hello");
	EXPECT_TRUE(oServer.BecomesSlots("--CLL"));
	poPeer->Reset();
	EXPECT_TRUE(oServer.BecomesSlots("--LLU"));
	poPeer = CRawPeer::ConnectTo(oServer.Port());
	EXPECT_EQ(Echo(*poPeer), "hello");
	EXPECT_TRUE(oServer.BecomesSlots("--CLL"));    // a slot is used again
	oServer.Connected(7, true);
	EXPECT_EQ(oServer.Slots(), "--CLL");
}

TEST(CVexTCPIPServerContainer, FurtherClientsWaitInTheQueueUntilASlotIsFree)
{
	for (const int nSlots : { 1, 2 })
	{
		CServer oServer(nSlots, nSlots);
		std::unique_ptr<CRawPeer> apoPeers[3];
		for (int i = 0; i <= nSlots; ++i)
		{
			apoPeers[i] = CRawPeer::ConnectTo(oServer.Port());
			EXPECT_EQ(Echo(*apoPeers[i], i < nSlots ? 60000 : 100), i < nSlots ? "hello" : "");
		}
		apoPeers[0]->Close();
		EXPECT_EQ(apoPeers[nSlots]->Receive(5), "hello");
	}
}

TEST(CVexTCPIPServerContainer, TooManyListeningSlotsMakeAllListenKept)
{
	CServer oServer(5, 2);
	oServer.SetReserve(1);
	oServer.FillUpReserve();
	EXPECT_EQ(oServer.Slots(), "LLLLL");
}

TEST(CVexTCPIPServerContainer, AcceptingPausesWithoutDescriptorsAndRecovers)
{
	CServer oServer(5, 2);
	auto poPeer = CRawPeer::ConnectTo(oServer.Port());
	EXPECT_EQ(Echo(*poPeer), "hello");
	EXPECT_TRUE(ComesTrue([&] { return oServer.m_nReports == 1; }));
	const int nNext = socket(AF_INET, SOCK_STREAM, 0);
	sockaddr_in oAddress = {};
	oAddress.sin_family = AF_INET;
	oAddress.sin_port = htons(oServer.Port());
	oAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	rlimit oLimit = {};
	getrlimit(RLIMIT_NOFILE, &oLimit);
	const rlimit oFew = { 64, oLimit.rlim_max };
	setrlimit(RLIMIT_NOFILE, &oFew);
	std::vector<int> anDescriptors;
	while (anDescriptors.empty() || anDescriptors.back() >= 0)
		anDescriptors.push_back(dup(0));
	EXPECT_EQ(connect(nNext, reinterpret_cast<sockaddr*>(&oAddress), sizeof oAddress), 0);
	CRawPeer oNext(nNext);
	const std::clock_t nBegin = std::clock();
	EXPECT_EQ(Echo(oNext, 500), "");
	EXPECT_GE(oServer.m_nReports, 2);
	EXPECT_LE(oServer.m_nReports, 60);    // two slots, each at most 20 times a second
	EXPECT_LT(std::clock() - nBegin, CLOCKS_PER_SEC / 4);
	setrlimit(RLIMIT_NOFILE, &oLimit);
	for (const int nDescriptor : anDescriptors)
		close(nDescriptor);
	EXPECT_EQ(oNext.Receive(5), "hello");
	EXPECT_EQ(Echo(*poPeer), "hello");
}

// Its slots counted as listening and never were.
TEST(CVexTCPIPServerContainer, ListensAsSoonAsItCan)
{
	unsigned short nPort = 0;
	const int nTaken = ListenOnLoopback(nPort);
	CServer oPortTaken(3, 2, nPort);
	pthread_attr_t oDefault;
	pthread_attr_t oHuge;
	pthread_getattr_default_np(&oDefault);
	pthread_attr_init(&oHuge);
	pthread_attr_setstacksize(&oHuge, ~static_cast<std::size_t>(0) / 8 * 7);
	pthread_setattr_default_np(&oHuge);
	CServer oNoThreads(3, 2);
	pthread_setattr_default_np(&oDefault);
	for (CServer* pServer : { &oPortTaken, &oNoThreads })
	{
		EXPECT_EQ(pServer->GetListeningCount(), 0);
		EXPECT_EQ(pServer->Slots(), "-UU");
	}
	close(nTaken);
	for (CServer* pServer : { &oPortTaken, &oNoThreads })
	{
		EXPECT_TRUE(pServer->BecomesSlots("-LL"));
		EXPECT_EQ(pServer->GetListeningCount(), 2);
		EXPECT_EQ(Echo(*CRawPeer::ConnectTo(pServer->Port())), "hello");
	}
}

// VEX_FULL_RUNS: 150 at once, 10,000 one after the other.
TEST(CVexTCPIPServerContainer, ServesManyClientsAtOnceAndOneAfterTheOtherAndEndsWithThem)
{
	const bool bFull = getenv("VEX_FULL_RUNS");
	const std::size_t nAtOnce = bFull ? 150 : 30;
	const long nDescriptors = CountOwn("fd");
	const long nThreads = CountOwn("task");
	{
		CServer oServer(static_cast<int>(nAtOnce), 5);
		for (int i = 0; i < (bFull ? 10000 : 200); ++i)
		{
			auto poPeer = CRawPeer::ConnectTo(oServer.Port());
			EXPECT_EQ(Echo(*poPeer), "hello");
			if (i % 2)
				poPeer->Reset();
			poPeer.reset();
			EXPECT_TRUE(ComesTrue([&] { return oServer.Slots().find('C') == std::string::npos; }));
		}
		std::vector<std::unique_ptr<CRawPeer>> apoPeers;
		while (apoPeers.size() < nAtOnce)
			apoPeers.push_back(CRawPeer::ConnectTo(oServer.Port()));
		for (const auto& rpoPeer : apoPeers)
			EXPECT_EQ(Echo(*rpoPeer), "hello");
		EXPECT_TRUE(oServer.BecomesSlots(std::string(nAtOnce, 'C').c_str()));
		apoPeers.resize(nAtOnce / 2);    // the others leave while the container goes
	}
	EXPECT_LE(CountOwn("fd"), nDescriptors + 1);    // one is kept for listening
	EXPECT_LE(CountOwn("task"), nThreads + 1);      // a sanitizer may start one of its own
}
}    // namespace
