#include "VexTCPIPBase.h"

#include "support/RawPeer.h"
#include "support/RecordingServer.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <list>
#include <sys/resource.h>

namespace
{
typedef CVexTCPIPBase C;
const char* const szLocal = "127.0.0.1";

class CConnection : public CVexTCPIPBase
{
public:
	~CConnection() override { EndThreads(); }

	void ConInd(bool bConnected, int nSocket) override
	{
		(bConnected ? m_nConnected : m_nDisconnected) += 1;
		CVexTCPIPBase::ConInd(bConnected, nSocket);
	}
	void DataInd(const unsigned char* pData, int nLen) override
	{
		std::lock_guard<std::mutex> oLock(m_oMutex);
		m_asBlocks.emplace_back(reinterpret_cast<const char*>(pData), static_cast<std::size_t>(nLen));
	}
	std::vector<std::string> Blocks()
	{
		std::lock_guard<std::mutex> oLock(m_oMutex);
		return m_asBlocks;
	}
	bool Holds(std::size_t nBytes)
	{
		CVexMutexLock oLock(m_oRecvBufferMutex);
		return m_aRecvBuffer.size() == nBytes;
	}

	std::atomic<int> m_nConnected{ 0 };
	std::atomic<int> m_nDisconnected{ 0 };

private:
	std::mutex m_oMutex;
	std::vector<std::string> m_asBlocks;
};

// A connection and the raw socket at its other end.
struct CPair
{
	CPair()
	{
		EXPECT_EQ(m_oConnection.ConnectToServer(szLocal, m_oListener.Port(), 60000), C::eOK);
		m_poPeer = m_oListener.Accept();
	}
	CRawListener m_oListener;
	std::unique_ptr<CRawPeer> m_poPeer;
	CConnection m_oConnection;
};

template <class TAction>
double Seconds(TAction oAction)
{
	const auto oBegin = std::chrono::steady_clock::now();
	oAction();
	return std::chrono::duration<double>(std::chrono::steady_clock::now() - oBegin).count();
}

TEST(CVexTCPIPBase, ConnectsExchangesAndDisconnectsWithinMilliseconds)
{
	CPair oPair;
	CConnection& rConnection = oPair.m_oConnection;
	EXPECT_EQ(rConnection.ConnectToServer(szLocal, 1, 0), C::eCallNotAllowed);
	std::string sAddress;
	unsigned short nPort = 0;
	EXPECT_EQ(rConnection.GetRemoteAddr(sAddress, nPort), C::eOK);
	EXPECT_EQ(sAddress + ":" + std::to_string(nPort), "127.0.0.1:" + std::to_string(oPair.m_oListener.Port()));
	EXPECT_EQ(rConnection.DataReq("a\0b\xFF", 4, 0), C::eOK);
	EXPECT_EQ(rConnection.DataReq("a", -1, 0), C::eSocketError);
	EXPECT_EQ(oPair.m_poPeer->Receive(4), std::string("a\0b\xFF", 4));
	EXPECT_LT(Seconds([&] { EXPECT_EQ(rConnection.DisconnectReq(60000), C::eOK); }), 0.5);
	EXPECT_TRUE(oPair.m_poPeer->SeesTheEnd());
	EXPECT_EQ(rConnection.m_nDisconnected, 1);
	EXPECT_STREQ(rConnection.GetConnectStateString(), "disconnected");
	EXPECT_EQ(rConnection.DisconnectReq(0), C::eCallNotAllowed);
	for (const int nLength : { 1, -1 })
		EXPECT_EQ(rConnection.DataReq("a", nLength, 0), C::eCallNotAllowed);
	EXPECT_EQ(rConnection.GetRemoteAddr(sAddress, nPort), C::eSocketError);
}

TEST(CVexTCPIPBase, APeerThatLeavesIsIndicatedOnce)
{
	void (CRawPeer::*const apLeave[])() = { &CRawPeer::Close, &CRawPeer::HalfClose, &CRawPeer::Reset };
	for (const auto pLeave : apLeave)
	{
		CPair oPair;
		oPair.m_poPeer->Send("xyz");
		std::string sData;
		EXPECT_EQ(oPair.m_oConnection.WaitForData(3, sData, 60000), C::eOK);
		(*oPair.m_poPeer.*pLeave)();
		EXPECT_TRUE(ComesTrue([&] { return oPair.m_oConnection.GetConnectState() == C::eDisconnected; }));
		EXPECT_EQ(oPair.m_oConnection.m_nDisconnected, 1);
	}
}

TEST(CVexTCPIPBase, WaitForDataTakesUpToTheEndOfWhatItFound)
{
	const struct
	{
		const char* szReceived;
		int nLength;    // -1: the texts
		std::vector<std::string> asTexts;
		C::ERetCode eResult;
		const char* szTaken;
	} aCases[] = {
		{ "abc\r\ndef", -1, { "\r\n" }, C::eOK, "abc\r\n" },
		{ "abc\rdef", -1, { "\r\n" }, C::eTimeout, "abc\rdef" },
		{ "abcdef", 4, {}, C::eOK, "abcd" },
		{ "abc", 5, {}, C::eTimeout, "abc" },
		{ "abc", 0, {}, C::eOK, "" },
		{ "abcdef", -1, { "x", "ef", "bc" }, C::eOK, "abcdef" },    // the first one of the list, not of the bytes
		{ "aab aac", -1, { "aac", "aab" }, C::eOK, "aab aac" },
		{ "abcdef", -1, { "x", "y" }, C::eTimeout, "abcdef" },
	};
	for (const auto& rCase : aCases)
		for (const bool bBefore : { true, false })
		{
			SCOPED_TRACE(rCase.szReceived);
			CPair oPair;
			const std::string sReceived = rCase.szReceived;
			oPair.m_poPeer->Send(bBefore ? sReceived : "", true);
			EXPECT_TRUE(ComesTrue([&] { return !bBefore || oPair.m_oConnection.Holds(sReceived.size()); }));
			std::thread oSender([&] { oPair.m_poPeer->Send(bBefore ? "" : sReceived, true); });
			auto asTexts = rCase.asTexts;
			std::string sTaken;
			std::string sRest;
			const int nTimeout = rCase.eResult == C::eOK ? 60000 : 300;
			const C::ERetCode eResult = rCase.nLength >= 0
				? oPair.m_oConnection.WaitForData(rCase.nLength, sTaken, nTimeout)
				: asTexts.size() == 1 ? oPair.m_oConnection.WaitForData(asTexts[0], sTaken, nTimeout)
									  : oPair.m_oConnection.WaitForData(asTexts, sTaken, nTimeout);
			oSender.join();
			EXPECT_EQ(eResult, rCase.eResult);
			const bool bOtherOrder = !bBefore && asTexts.size() > 1;    // byte by byte another one is complete first
			EXPECT_TRUE(sTaken == rCase.szTaken || bOtherOrder) << sTaken;
			const int nRest = static_cast<int>(sReceived.size() - sTaken.size());
			EXPECT_EQ(oPair.m_oConnection.WaitForData(nRest, sRest, 60000), C::eOK);
			EXPECT_EQ(sTaken + sRest, sReceived);
		}
}

// It took seconds where each piece moved, or each search began with, all that lies behind.
TEST(CVexTCPIPBase, ManySmallPiecesOfALongBacklogAreTakenInLinearTime)
{
	const std::size_t nPieces = 250000;
	CPair oPair;
	std::string sAll;
	for (std::size_t i = 0; i < nPieces; ++i)
		sAll += "line of 15 b.\r\n";
	oPair.m_poPeer->Send(sAll);
	EXPECT_TRUE(ComesTrue([&] { return oPair.m_oConnection.Holds(sAll.size()); }));
	std::vector<std::string> asTexts = { "never", "\r\n" };
	std::string sPiece;
	std::size_t nTaken = 0;
	EXPECT_LT(Seconds(
				  [&]
				  {
					  while (nTaken < nPieces && oPair.m_oConnection.WaitForData(asTexts, sPiece, 0) == C::eOK)
						  nTaken += sPiece == "line of 15 b.\r\n" ? 1u : nPieces;
				  }),
		20);
	EXPECT_EQ(nTaken, nPieces);
}

void ExpectTelegrams(C::ETelegramLengthFormat eFormat, C::EByteOrder eOrder, const std::vector<std::string>& asPieces,
	std::size_t nTelegrams)
{
	std::string sBytes;
	for (const std::string& rsPiece : asPieces)
		sBytes += rsPiece;
	SCOPED_TRACE(testing::PrintToString(sBytes));
	for (const bool bByteByByte : { false, true })
	{
		CPair oPair;
		oPair.m_oConnection.SetTelegramLength(eFormat, eOrder);
		oPair.m_poPeer->Send(sBytes, bByteByByte);
		oPair.m_poPeer->Close();
		EXPECT_TRUE(ComesTrue([&] { return oPair.m_oConnection.m_nDisconnected == 1; }));
		EXPECT_EQ(oPair.m_oConnection.Blocks(),
			std::vector<std::string>(asPieces.begin(), asPieces.begin() + static_cast<long>(nTelegrams)));
	}
}

TEST(CVexTCPIPBase, TelegramsAreCutByTheirLengths)
{
	typedef std::string S;
	ExpectTelegrams(C::eWordData, C::eBigEndian, { S("\0\3ABC", 5), S("\0\1X", 3), S("\0", 1) }, 2);
	ExpectTelegrams(C::eWordData, C::eLittleEndian, { S("\x80\0", 2) + S(128, 'a'), S("\1\0b", 3) }, 2);
	ExpectTelegrams(C::eByteData, C::eBigEndian, { S("\0", 1), S("\2xy", 3), S("\5xy", 3) }, 2);
	ExpectTelegrams(C::eLongData, C::eBigEndian, { S("\0\0\1\1", 4) + S(257, 'a'), S("\0\0\0", 3) }, 1);
	ExpectTelegrams(C::eLongData, C::eLittleEndian, { S("\0\0\0\0", 4), S("\1\0\0\0x", 5), S("\2\0\0\0x", 5) }, 2);
}

TEST(CVexTCPIPBase, TelegramLengthBytesHaveASignKept)
{
	typedef std::string S;
	ExpectTelegrams(C::eByteData, C::eLittleEndian, { "\x85 abcdefgh" }, 0);
	ExpectTelegrams(C::eByteData, C::eLittleEndian, { "\xFF" }, 0);                            // a total of 0
	ExpectTelegrams(C::eWordData, C::eBigEndian, { S("\1\xFF", 2) + S(255, 'a'), "b" }, 1);    // 256 too short
	ExpectTelegrams(C::eWordData, C::eBigEndian, { S("\0", 1), S("\xFF\0\xFE", 3) }, 1);       // 1 in all; 0 behind it
	ExpectTelegrams(C::eLongData, C::eBigEndian, { S("\0\0\1\xFF", 4) + S(255, 'a'), "b" }, 1);
	ExpectTelegrams(C::eLongData, C::eLittleEndian, { "\xFF\xFF\xFF\x7F" }, 0);    // too long for a signed number
}

TEST(CVexTCPIPBase, AFailedConnectIsIndicatedAndEndsInATimeout)
{
	const unsigned short nPort = FindFreePort();
	CConnection oConnection;
	EXPECT_GE(Seconds([&] { EXPECT_EQ(oConnection.ConnectToServer(szLocal, nPort, 200), C::eTimeout); }), 0.2);
	EXPECT_EQ(oConnection.m_nDisconnected, 1);
	EXPECT_EQ(oConnection.GetConnectState(), C::eDisconnected);
	EXPECT_EQ(oConnection.AwaitConnectionFromClient("300.1.1.1", nPort, -2), C::eSocketError);
}

// A listener whose queue is full: a further connect hangs until a place is free.
struct CFullListener : CRawListener
{
	CFullListener() : CRawListener(0)
	{
		for (auto& rpoFiller : m_apoFillers)
			rpoFiller = CRawPeer::ConnectTo(Port(), false);
	}
	std::unique_ptr<CRawPeer> m_apoFillers[3];
};

TEST(CVexTCPIPBase, ATimedOutConnectIsOver)
{
	CFullListener oFull;
	CRawListener oOther;
	CConnection oConnection;
	EXPECT_EQ(oConnection.ConnectToServer(szLocal, oFull.Port(), 50), C::eTimeout);
	EXPECT_EQ(oConnection.ConnectToServer(szLocal, oOther.Port(), 60000), C::eOK);
	for (int i = 0; i < 3; ++i)
		oFull.Accept(1500);
	EXPECT_EQ(oConnection.m_nConnected, 1);
	EXPECT_EQ(oConnection.m_nDisconnected, 0);
}

TEST(CVexTCPIPBase, TheDestructorEndsAHangingConnectAtOnceAndAListeningOneWithinASecond)
{
	CFullListener oFull;
	const unsigned short nPort = FindFreePort();
	EXPECT_LT(Seconds(
				  [&]
				  {
					  for (int i = 0; i < 100; ++i)
					  {
						  CConnection oConnection;
						  EXPECT_EQ(oConnection.ConnectToServer(szLocal, oFull.Port(), -2), C::eOK);
						  if (i % 2)
							  std::this_thread::sleep_for(std::chrono::microseconds(50 * i));
					  }
				  }),
		10);
	for (int i = 0; i < 5; ++i)
	{
		CConnection aoConnections[3];
		for (CConnection& rConnection : aoConnections)    // the port is free again at once
			EXPECT_EQ(
				rConnection.AwaitConnectionFromClient(szLocal, nPort, i == 0 ? 20 : -2), i ? C::eOK : C::eTimeout);
		CRawPeer::ConnectTo(nPort);
		EXPECT_LT(Seconds([&] { CVexTCPIPBase oUnused; }), 1);
	}
	EXPECT_THROW(CRawPeer::ConnectTo(nPort), std::runtime_error);
}

TEST(CVexTCPIPBase, ConnectionsOnOnePortShareItAndGetOneClientEach)
{
	const unsigned short nPort = FindFreePort();
	CConnection aoConnections[2];
	EXPECT_EQ(aoConnections[0].AwaitConnectionFromClient(szLocal, nPort, 1), C::eTimeout);    // goes on listening
	EXPECT_EQ(aoConnections[1].AwaitConnectionFromClient(szLocal, nPort, -2), C::eOK);
	const auto poFirst = CRawPeer::ConnectTo(nPort);
	const auto poSecond = CRawPeer::ConnectTo(nPort);
	for (CConnection& rConnection : aoConnections)
		EXPECT_TRUE(ComesTrue([&] { return rConnection.GetConnectState() == C::eConnected; }));
	EXPECT_EQ(aoConnections[0].m_nConnected + aoConnections[1].m_nConnected, 2);
}

// A client of one port waited while each other port's turn of a second passed.
TEST(CVexTCPIPBase, ClientsOfManyPortsAreServedPromptlyAlsoAboveDescriptor1023)
{
	rlimit oLimit = {};
	getrlimit(RLIMIT_NOFILE, &oLimit);
	oLimit.rlim_cur = std::min<rlim_t>(oLimit.rlim_max, 4096);
	setrlimit(RLIMIT_NOFILE, &oLimit);
	std::vector<int> anDescriptors;
	while (anDescriptors.empty() || (anDescriptors.back() >= 0 && anDescriptors.back() < 1100))
		anDescriptors.push_back(dup(0));
	EXPECT_GE(anDescriptors.back(), 1024);
	std::list<CConnection> aoConnections;
	std::vector<unsigned short> anPorts;
	for (int i = 0; i < 10; ++i)
	{
		anPorts.push_back(FindFreePort());
		EXPECT_EQ(aoConnections.emplace_back().AwaitConnectionFromClient(szLocal, anPorts.back(), -2), C::eOK);
	}
	auto itConnection = aoConnections.rbegin();
	double nSeconds = 0;
	for (auto itPort = anPorts.rbegin(); itPort != anPorts.rend(); ++itPort, ++itConnection)
	{
		const auto poPeer = CRawPeer::ConnectTo(*itPort);
		nSeconds +=
			Seconds([&] { EXPECT_TRUE(ComesTrue([&] { return itConnection->GetConnectState() == C::eConnected; })); });
		EXPECT_EQ(itConnection->DataReq("x", 1, 0), C::eOK);
		EXPECT_EQ(poPeer->Receive(1), "x");
	}
	EXPECT_LT(nSeconds, 2);
	for (const int nDescriptor : anDescriptors)
		close(nDescriptor);
}

// A connection whose indications are written in the test.
class CScripted : public CVexTCPIPBase
{
public:
	~CScripted() override { EndThreads(); }

	void ConInd(bool bConnected, int nSocket) override
	{
		m_oConInd(bConnected, nSocket);
		m_nDisconnected += bConnected ? 0 : 1;
	}
	void DataInd(const unsigned char*, int) override { m_oDataInd(); }
	void Base(bool bConnected, int nSocket) { CVexTCPIPBase::ConInd(bConnected, nSocket); }

	std::function<void(bool, int)> m_oConInd = [this](bool bConnected, int nSocket) { Base(bConnected, nSocket); };
	std::function<void()> m_oDataInd = [] {};
	std::atomic<int> m_nDisconnected{ 0 };
};

// It waited for ever in the request that the indication had begun.
TEST(CVexTCPIPBase, TheDestructorEndsARequestThatAnIndicationHasBegun)
{
	CFullListener oSilent;
	for (const bool bBefore : { true, false })
	{
		CRawListener oListener;
		auto poConnection = std::make_unique<CScripted>();
		CScripted& rConnection = *poConnection;
		rConnection.m_oConInd = [&](bool bConnected, int nSocket)
		{
			rConnection.Base(bConnected, nSocket);
			if (!bConnected)
				rConnection.ConnectToServer(szLocal, oSilent.Port(), -1);
		};
		EXPECT_EQ(rConnection.ConnectToServer(szLocal, oListener.Port(), 60000), C::eOK);
		if (bBefore)
			oListener.Accept()->Close();
		EXPECT_TRUE(
			ComesTrue([&] { return rConnection.GetConnectState() == (bBefore ? C::eConnecting : C::eConnected); }));
		EXPECT_LT(Seconds([&] { poConnection.reset(); }), 10);
	}
}

// It was told of the same end without pause.
TEST(CVexTCPIPBase, AnOverrideThatLeavesOutTheBaseVersionIsNotToldWithoutEnd)
{
	CRawListener oListener;
	CScripted oConnection;
	oConnection.m_oConInd = [&](bool bConnected, int nSocket)
	{
		if (bConnected)
			oConnection.Base(bConnected, nSocket);
	};
	EXPECT_EQ(oConnection.ConnectToServer(szLocal, oListener.Port(), 60000), C::eOK);
	oListener.Accept()->Close();
	EXPECT_TRUE(ComesTrue([&] { return oConnection.m_nDisconnected > 0; }));
	oConnection.DisconnectReq(200);
	EXPECT_LE(oConnection.m_nDisconnected, 3);
}

// It waited for the override without limit, and indefinitely when the override waited for the requester.
TEST(CVexTCPIPBase, ARequestKeepsItsTimeoutWhileAnIndicationRuns)
{
	enum
	{
		eConnects,
		eFails,
		eAccepts
	};
	for (const int eCase : { eConnects, eFails, eAccepts })
	{
		SCOPED_TRACE(eCase);
		CRawListener oListener;
		CRawListener oOther;
		const unsigned short nFree = FindFreePort();
		std::atomic<bool> bHeld{ true };    // what the requester holds and the override waits for
		CScripted oConnection;
		oConnection.m_oConInd = [&](bool bConnected, int nSocket)
		{
			EXPECT_TRUE(ComesTrue([&] { return !bHeld; }, 20000));
			oConnection.Base(bConnected, nSocket);
		};
		int nClient = -1;
		std::thread oClient(
			[&] {
				EXPECT_TRUE(eCase != eAccepts || ComesTrue([&] { return (nClient = ConnectToLoopback(nFree)) >= 0; }));
			});
		const unsigned short nPortOf[] = { oListener.Port(), nFree, nFree };
		EXPECT_EQ(oConnection.ConnectReq(szLocal, nPortOf[eCase], eCase != eAccepts, 300), C::eTimeout);
		oClient.join();
		EXPECT_EQ(oConnection.GetConnectState(), C::eDisconnected);
		EXPECT_TRUE(eCase != eConnects || oListener.Accept()->SeesTheEnd());
		// A client that was accepted counts later.
		EXPECT_EQ(eCase == eAccepts ? C::eOK : oConnection.ConnectToServer(szLocal, oOther.Port(), -2), C::eOK);
		bHeld = false;
		EXPECT_TRUE(ComesTrue([&] { return oConnection.GetConnectState() == C::eConnected; }));
		std::string sAddress;
		unsigned short nPort = 0;
		EXPECT_EQ(oConnection.GetRemoteAddr(sAddress, nPort), C::eOK);
		EXPECT_EQ(nPort == oOther.Port(), eCase != eAccepts);
		EXPECT_EQ(oConnection.m_nDisconnected, eCase == eFails ? 1 : 0);
		close(nClient);
	}
}

TEST(CVexTCPIPBase, AnIndicationDisconnectsWithoutWaiting)
{
	for (const bool bInConInd : { true, false })
	{
		CRawListener oListener;
		CScripted oConnection;
		const auto Disconnect = [&] { EXPECT_EQ(oConnection.DisconnectReq(60000), C::eOK); };
		if (!bInConInd)
			oConnection.m_oDataInd = Disconnect;
		oConnection.m_oConInd = [&](bool bConnected, int nSocket)
		{
			oConnection.Base(bConnected, nSocket);
			if (bConnected && bInConInd)
				Disconnect();
			EXPECT_TRUE(!bConnected || oConnection.m_nDisconnected == 0);    // the end is told last
		};
		EXPECT_EQ(oConnection.ConnectToServer(szLocal, oListener.Port(), 60000), C::eOK);
		const auto poPeer = oListener.Accept();
		EXPECT_LT(Seconds(
					  [&]
					  {
						  poPeer->Send("x");
						  EXPECT_TRUE(poPeer->SeesTheEnd());
						  EXPECT_TRUE(ComesTrue([&] { return oConnection.m_nDisconnected == 1; }));
					  }),
			20);
	}
}

// Each of the other port's listeners took its client first.
TEST(CVexTCPIPBase, OnePortsClientsDoNotKeepAnotherPortsWaiting)
{
	const unsigned short anPorts[] = { FindFreePort(), FindFreePort() };
	std::atomic<int> nFirst{ 0 };
	std::atomic<int> nBeforeSecond{ -1 };
	std::list<CScripted> aoConnections(21);
	std::vector<std::unique_ptr<CRawPeer>> apoPeers;
	int nIndex = 0;
	for (CScripted& rConnection : aoConnections)
	{
		const bool bSecond = nIndex++ == 20;
		rConnection.m_oConInd = [&, bSecond](bool bConnected, int nSocket)
		{
			rConnection.Base(bConnected, nSocket);
			if (bConnected && bSecond)
				nBeforeSecond = nFirst.load();
			else if (bConnected && ++nFirst == 1)
			{
				for (int i = 0; i < 20; ++i)
					apoPeers.push_back(CRawPeer::ConnectTo(anPorts[i == 19]));
				// Time for all listeners to come up: they wait while this runs.
				std::this_thread::sleep_for(std::chrono::milliseconds(300));
			}
		};
		EXPECT_EQ(rConnection.AwaitConnectionFromClient(szLocal, anPorts[bSecond], -2), C::eOK);
	}
	const auto poPeer = CRawPeer::ConnectTo(anPorts[0]);
	EXPECT_TRUE(ComesTrue([&] { return nFirst == 20 && nBeforeSecond >= 0; }));
	EXPECT_LE(nBeforeSecond, 2);
}

TEST(CVexTCPIPBase, ABlockedSendEndsWithTheConnection)
{
	CPair oPair;    // its peer never reads
	const std::string sBlock(32u << 20, 'x');
	std::thread oSender([&] { oPair.m_oConnection.DataReq(sBlock.data(), static_cast<int>(sBlock.size()), 0); });
	EXPECT_LT(Seconds([&] { EXPECT_EQ(oPair.m_oConnection.DisconnectReq(60000), C::eOK); }), 10);
	oSender.join();
}

TEST(CVexTCPIPBase, TraceTextsHaveHexadecimalHandlesDecimalNumbersAndTheSystemsReasons)
{
	CRecordingServer oServer(63);
	CRawListener oListener;
	const std::string sPort = std::to_string(oListener.Port());
	const std::string sFree = std::to_string(FindFreePort());
	{
		C aoConnections[2];
		EXPECT_EQ(aoConnections[0].ConnectToServer(szLocal, oListener.Port(), 60000), C::eOK);
		EXPECT_EQ(aoConnections[1].AwaitConnectionFromClient(szLocal, oListener.Port(), -2), C::eSocketError);
		EXPECT_EQ(aoConnections[1].ConnectToServer(szLocal, static_cast<unsigned short>(std::stoi(sFree)), -2), C::eOK);
		EXPECT_TRUE(ComesTrue([&] { return aoConnections[1].GetConnectState() == C::eDisconnected; }));
	}
	std::string sLines;
	for (const std::string& rsLine : oServer.Lines())
		sLines += rsLine + "\n";
	for (const std::string& rsText : { "Address=127.0.0.1, Port=" + sPort + "Active=1\tFile source/VexTCPIPBase Line ",
			 ",Port=" + sPort + ",Active=1,Timeout=60000,socket=0x",
			 "Connected to TCP/IP-Address=127.0.0.1, Port=" + sPort + "\n",
			 "/CVexTCPIPBase::CConnectThread TCP/IP-Address=127.0.0.1,Port=" + sPort + ": Address already in use\n",
			 "/CVexTCPIPBase TCP/IP-Address=127.0.0.1,Port=" + sPort + ": Address already in use\n",
			 "/CVexTCPIPBase::CConnectThread TCP/IP-Address=127.0.0.1,Port=" + sFree + ": Connection refused\n" })
		EXPECT_NE(sLines.find(rsText), std::string::npos) << rsText << " not in\n" << sLines;
}

// VEX_FULL_RUNS: 10,000 of them.
TEST(CVexTCPIPBase, ConnectionsThatComeAndGoLeaveNothing)
{
	const int nRounds = getenv("VEX_FULL_RUNS") ? 10000 : 200;
	long anBefore[2] = {};
	long nPagesBefore = 0;
	const auto Pages = []
	{
		long nTotal = 0;
		long nResident = 0;
		std::ifstream("/proc/self/statm") >> nTotal >> nResident;
		return nResident;
	};
	for (int i = 0; i < nRounds; ++i)
	{
		CPair oPair;
		oPair.m_poPeer->Send("hello");
		std::string sData;
		EXPECT_EQ(oPair.m_oConnection.WaitForData("hello", sData, 60000), C::eOK);
		EXPECT_EQ(i % 2 ? C::eOK : oPair.m_oConnection.DisconnectReq(60000), C::eOK);
		if (i == nRounds / 10 + 1)    // one that is still connected, as the last one is
		{
			anBefore[0] = CountOwn("fd");
			anBefore[1] = CountOwn("task");
			nPagesBefore = Pages();
		}
	}
	CPair oPair;
	EXPECT_EQ(CountOwn("fd"), anBefore[0]);
	EXPECT_EQ(CountOwn("task"), anBefore[1]);
	EXPECT_LT(Pages() - nPagesBefore, 1024);
}
}    // namespace
