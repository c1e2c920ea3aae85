#include "VexTraceServerConnection.h"

#include "support/FrameRun.h"
#include "support/RawMonitor.h"
#include "support/RecordingServer.h"

#include "VexPassword.h"
#include "VexStringFunc.h"
#include "VexTrace.h"
#include "VexTraceServerContainer.h"

#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <memory>
#include <tuple>

namespace
{
typedef std::vector<std::string> CTexts;
typedef std::chrono::steady_clock CClock;

const std::string sAnna = Item("anna");
const std::string sSecretHex = "016207731062";    // "secret", scrambled
const std::string sStart = Frame(Word(0x01000200));
const std::string sStarted = Word(0x02000200);

// VEX_FULL_RUNS: fifty times as many lines, twenty times as many monitors.
const bool bFullRuns = std::getenv("VEX_FULL_RUNS") != nullptr;

// A trace server with its monitor port open.
class CMonitoredServer : public CRecordingServer
{
public:
	explicit CMonitoredServer(int nLevels = CVexTraceMsg::eInfo) : CRecordingServer(nLevels)
	{
		m_sMonitorIPAddress = "127.0.0.1";
		m_sMonitorPort = FindFreePort();
		m_nMaxConnections = 5;
		m_nReserveConnections = 2;
		SetUser("anna", "secret");
		SetTCPIPMonitorOn(true);
	}
	~CMonitoredServer() override { StopServer(); }

	using CVexTraceServer::m_poServerContainer;

	unsigned short Port() const { return static_cast<unsigned short>(m_sMonitorPort); }

	void Trace(CVexTrace& rTrace, CVexTraceMsg::ETraceLevel eLevel, const char* pszText)
	{
		rTrace.AddMsg(eLevel, pszText);
		WakeUp();
	}

	// Numbered lines, from 0 on.
	void TraceNumbers(int nLines)
	{
		while (nLines-- > 0)
			m_oTrace.AddMsg(CVexTraceMsg::eInfo, std::to_string(m_nTraced++).c_str());
	}

	void ExpectNumbersWritten()
	{
		std::size_t nLines = 0;
		for (const std::string& rsLine : Lines())
			if (rsLine.compare(0, 6, "north/") == 0)
			{
				EXPECT_EQ(rsLine, "north/CSignal " + std::to_string(nLines++));
			}
		EXPECT_EQ(nLines, m_nTraced);
	}

	CVexTrace m_oTrace{ "CSignal", "north", nullptr };
	std::size_t m_nTraced = 0;
};

// A monitor, and its connection's input without the network between.
struct SDirectMonitor
{
	SDirectMonitor()
	{
		// There is none other: the first slot is the monitor's.
		EXPECT_TRUE(ComesTrue([this] { return Connection().GetConnectState() == CVexTCPIPBase::eConnected; }));
	}

	CVexTCPIPServerBase& Connection() { return *(*m_oServer.m_poServerContainer)[0]; }

	// Answers to what comes in these two pieces; it is ended by a request for the name of nobody.
	std::string AnswersTo(const std::string& sBytes, std::size_t nCut = 0)
	{
		const std::string sAll = sBytes + Frame(Word(0x01000900) + Word(-1));
		const auto* pBytes = reinterpret_cast<const unsigned char*>(sAll.data());
		Connection().DataInd(pBytes, static_cast<int>(nCut));
		Connection().DataInd(pBytes + nCut, static_cast<int>(sAll.size() - nCut));
		std::string sAnswers;
		for (std::string sAnswer = "none"; sAnswer != sNobody && !sAnswer.empty(); sAnswers += sAnswer)
			sAnswer = m_oMonitor.Receive();
		return sAnswers.substr(0, sAnswers.size() - sNobody.size());
	}

	const std::string sNobody = Word(0x02000900) + Word(-1) + Item("");
	CMonitoredServer m_oServer;
	CRawMonitor m_oMonitor{ m_oServer.Port() };
};

TEST(CVexTraceServerConnection, FramesAreFoundWhereverTheyAreCut)
{
	SDirectMonitor oMonitor;
	const std::string sStream = Frame(Word(0x01000100) + Item("u") + Item("effe")) + "eff" +
		Frame(Word(0x01000600) + Word(2) + Word(-1) + Word(8) + Word(3) + Word(99)) + "junk" + sStart + "effef";
	const std::string sAnswers = Word(0x02000100) + Word(3) + Word(0x02000600) + Word(0) + sStarted;
	for (std::size_t nCut = 0; nCut <= sStream.size(); ++nCut)
		EXPECT_EQ(oMonitor.AnswersTo(sStream, nCut), sAnswers) << nCut;
}

TEST(CVexTraceServerConnection, WhatIsNoRequestIsPassedOver)
{
	SDirectMonitor oMonitor;
	CVexTrace oTrace("CSignal", "north", nullptr);
	oMonitor.m_oServer.RegisterObject(&oTrace);
	const std::string sChange = Word(0x01000600), sID = Word(oTrace.GetID()), sChanged = Word(0x02000600) + Word(0);
	const int nMiB = 1024 * 1024;
	const std::string sLongest = std::string(nMiB - 12, 'x');
	const std::tuple<const char*, std::string, std::string> aCases[] = {
		{ "above 1 MiB", "effe" + Word(nMiB + 1) + sStart, sStarted },
		{ "1 MiB", Frame(Word(0x01000100) + Item(sLongest) + Item("")), Word(0x02000100) + Word(3) },
		{ "end marker wrong", "effe" + Word(0) + "fee?" + sStart, sStarted },
		{ "less than a command", Frame("abc") + sStart, sStarted },
		{ "unknown command", Frame(Word(0x01000A00)) + Frame(Word(0x02000100)) + sStart, sStarted },
		{ "login without password", Frame(Word(0x01000100) + Item("u")) + sStart, sStarted },
		{ "cut password", Frame(Word(0x01000100) + Item("u") + Word(9) + "01") + sStart, sStarted },
		{ "negative text length", Frame(Word(0x01000100) + Word(-4) + Item("u")) + sStart, sStarted },
		{ "no identifiers", Frame(Word(0x01000900)) + Frame(Word(0x02000500)) + sStart, sStarted },
		{ "too many pairs", Frame(sChange + Word(INT_MAX) + sID + Word(8) + Word(6)), sChanged },
		{ "negative count", Frame(sChange + Word(-1) + sID + Word(1)), Word(0x02000600) + Word(1) },
	};
	for (const auto& [szName, sBytes, sAnswers] : aCases)
		EXPECT_EQ(oMonitor.AnswersTo(sBytes), sAnswers) << szName;
	EXPECT_EQ(oMonitor.m_oServer.GetTraceLevels(oTrace.GetID()), 15);
}

TEST(CVexTraceServerConnection, RequestsAreAnsweredByteForByte)
{
	CMonitoredServer oServer;
	oServer.RegisterObject(&oServer.m_oTrace);
	const std::string sID = Word(oServer.m_oTrace.GetID());
	CVexPassword oScrambled(true);
	std::string sSecret = "secret";
	oScrambled.SetPassword(sSecret);
	const std::tuple<const char*, std::string, std::string> aCases[] = {
		{ "login", Word(0x01000100) + sAnna + Item(sSecretHex), Word(0x02000100) + Word(0) },
		{ "stored form", Word(0x01000100) + sAnna + Item(oScrambled.GetPassword()), Word(0x02000100) + Word(0) },
		{ "wrong user", Word(0x01000100) + Item("Anna") + Item(sSecretHex), Word(0x02000100) + Word(1) },
		{ "wrong password", Word(0x01000100) + sAnna + Item(sSecretHex + "00"), Word(0x02000100) + Word(2) },
		{ "plain password", Word(0x01000100) + sAnna + Item("secret"), Word(0x02000100) + Word(2) },
		{ "start", Word(0x01000200), sStarted },
		{ "stop", Word(0x01000300), Word(0x02000300) },
		{ "info", Word(0x01000400) + Item("?"), Word(0x02000400) + Item("unknown Application") },
		{ "name", Word(0x01000900) + sID, Word(0x02000900) + sID + Item("north/CSignal") },
		{ "levels", Word(0x01000600) + Word(1) + sID + Word(8), Word(0x02000600) + Word(0) },
		{ "class", Word(0x01000800) + Item("CSignal") + Word(8), Word(0x02000800) + Word(0) },
		{ "long class", Word(0x01000800) + Item(std::string(700000, 'C')) + Word(8), Word(0x02000800) + Word(0) },
		{ "the same", Word(0x01000800) + Item(std::string(700000, 'C')) + Word(4), Word(0x02000800) + Word(0) },
		{ "over 1 MiB", Word(0x01000800) + Item(std::string(700000, 'D')) + Word(8), Word(0x02000800) + Word(1) },
	};
	CRawMonitor oMonitor(oServer.Port());
	for (const auto& [szName, sRequest, sAnswer] : aCases)
		EXPECT_EQ(oMonitor.Ask(sRequest), sAnswer) << szName;

	const auto List = [&]
	{
		std::vector<std::pair<long, std::string>> aoObjects;
		oServer.GetObjectList(aoObjects);
		std::string sList = Word(0x02000700) + Word(static_cast<long>(aoObjects.size()));
		for (const auto& rObject : aoObjects)
			sList += Word(rObject.first) + Item(rObject.second);
		return sList;
	};
	// The next listening connection may still be registering.
	EXPECT_TRUE(ComesTrue([&] { return oMonitor.Ask(Word(0x01000700)) == List(); }));
}

TEST(CVexTraceServerConnection, LinesOfWatchedClassesAndObjectsAreSent)
{
	CMonitoredServer oServer;
	CVexTrace& rNorth = oServer.m_oTrace;
	CVexTrace oPoint("CPoint", "p/1", nullptr);
	for (CVexTrace* pTrace : { &rNorth, &oPoint })
		oServer.RegisterObject(pTrace);
	CRawMonitor oMonitor(oServer.Port());
	oMonitor.Watch("CSignal", CVexTraceMsg::eInfo);
	rNorth.AddMsg(CVexTraceMsg::eInfo, "before the start");
	oServer.WaitUntilWritten();
	oMonitor.Start();
	rNorth.AddMsg(CVexTraceMsg::eError, "a level that is not watched");
	oPoint.AddMsg(CVexTraceMsg::eInfo, "a class that is not watched");
	oServer.Trace(rNorth, CVexTraceMsg::eInfo, "one");
	const std::string sLine = oMonitor.Receive();
	EXPECT_EQ(sLine.substr(0, 16),
		Word(0x01000500) + Word(rNorth.GetID()) + Word(CVexTraceMsg::eInfo) +
			Word(static_cast<long>(sLine.size()) - 16));
	EXPECT_EQ(CRawMonitor::TextOf(sLine), "INFO CSignal one");
	oMonitor.Confirm(sLine);

	// The object's own levels, widened and raised for the object.
	oMonitor.Change(oPoint.GetID(), CVexTraceMsg::eDebug);
	EXPECT_EQ(oServer.GetTraceLevels(oPoint.GetID()), 15);
	oServer.Trace(oPoint, CVexTraceMsg::eError, "two");
	EXPECT_EQ(oMonitor.ReceiveLine(), "ERROR CPoint two");

	// All classes but one, once the port itself has told all: that its third connection listens comes last.
	EXPECT_TRUE(ComesTrue(
		[&]
		{
			oServer.WaitUntilWritten();
			const auto asLines = oServer.Lines();
			return std::count_if(asLines.begin(),
					   asLines.end(),
					   [](const std::string& sText) { return sText.find("Listening at") != std::string::npos; }) == 3;
		}));
	oMonitor.Change(oPoint.GetID(), CVexTraceMsg::eNone);
	oMonitor.Watch("*", 63);
	oMonitor.Watch("CSignal", CVexTraceMsg::eNone);
	rNorth.AddMsg(CVexTraceMsg::eError, "not this one");
	oServer.Trace(oPoint, CVexTraceMsg::eInfo, "three");
	EXPECT_EQ(oMonitor.ReceiveLine(), "INFO CPoint three");
	oMonitor.Ask(Word(0x01000300));
	oPoint.AddMsg(CVexTraceMsg::eInfo, "behind the stop");
	oServer.WaitUntilWritten();
	EXPECT_EQ(oMonitor.Receive(0), "");
}

// Objects that register get the levels watched in their class, but do not keep them.
TEST(CVexTraceServerConnection, WatchedClassIsNoRequestedLevelKept)
{
	CMonitoredServer oServer(CVexTraceMsg::eError);
	CRawMonitor oMonitor(oServer.Port());
	oMonitor.Watch("CSignal", CVexTraceMsg::eDebug);
	CVexTrace oNorth("CSignal", "north", nullptr);
	CVexTrace oOther("COther", "other", nullptr);
	const auto LevelsOnceRegistered = [&](CVexTrace& rTrace)
	{
		oServer.RegisterObject(&rTrace);
		return oServer.GetTraceLevels(rTrace.GetID());
	};
	EXPECT_EQ(LevelsOnceRegistered(oNorth), 15);
	EXPECT_EQ(LevelsOnceRegistered(oOther), 1);
	oMonitor.Change(oOther.GetID(), CVexTraceMsg::eInfo);
	oNorth.SetName("south", nullptr);
	oOther.SetName("renamed", nullptr);
	EXPECT_EQ(LevelsOnceRegistered(oNorth), 1);
	EXPECT_EQ(LevelsOnceRegistered(oOther), 7);
}

TEST(CVexTraceServerConnection, WatchedObjectIsRefreshedTheSecondTimeKept)
{
	CMonitoredServer oServer(CVexTraceMsg::eError);
	oServer.RegisterObject(&oServer.m_oTrace);
	auto& rConnection = dynamic_cast<CVexTraceServerConnection&>(*(*oServer.m_poServerContainer)[0]);
	rConnection.WatchClassInd("CNone", CVexTraceMsg::eDebug);
	EXPECT_TRUE(rConnection.GetRequestedObjects().empty());
	rConnection.WatchClassInd("CSignal", CVexTraceMsg::eInfo);
	EXPECT_EQ(oServer.GetTraceLevels(oServer.m_oTrace.GetID()), CVexTraceMsg::eError);
	rConnection.WatchClassInd("CSignal", CVexTraceMsg::eDebug);
	EXPECT_EQ(
		rConnection.GetRequestedTraceLevels(oServer.m_oTrace.GetID()), CVexTraceMsg::eDebug | CVexTraceMsg::eInfo);
	EXPECT_EQ(oServer.GetTraceLevels(oServer.m_oTrace.GetID()), 15);
}

TEST(CVexTraceServerConnection, NextClientStartsClean)
{
	CMonitoredServer oServer(CVexTraceMsg::eError);
	oServer.RegisterObject(&oServer.m_oTrace);
	// Each slot in turn.
	for (int i = 0; i < 10; ++i)
	{
		SCOPED_TRACE(i);
		CRawMonitor oMonitor(oServer.Port());
		EXPECT_TRUE(
			ComesTrue([&] { return oServer.GetTraceLevels(oServer.m_oTrace.GetID()) == CVexTraceMsg::eError; }));
		EXPECT_EQ(oMonitor.Login("anna", sSecretHex), Word(0x02000100) + Word(0));
		oServer.Trace(oServer.m_oTrace, CVexTraceMsg::eError, "wanted by the last one");
		oServer.WaitUntilWritten();
		EXPECT_EQ(oMonitor.Receive(0), "");
		oMonitor.Start();
		oMonitor.Watch("CSignal", 63);
		oMonitor.Change(oServer.m_oTrace.GetID(), 63);
		EXPECT_EQ(oServer.GetTraceLevels(oServer.m_oTrace.GetID()), 63);
		oMonitor.Send(sStart.substr(0, 9));
		if (i % 2)
			oMonitor.Reset();
	}
}

// One line after another, each with its number, until the monitor's connection ends or the last one has come.
CTexts ReceiveLines(CRawMonitor& rMonitor, const std::string& sLast)
{
	CTexts asTexts;
	do
		asTexts.push_back(rMonitor.ReceiveLine());
	while (asTexts.back() != sLast && !asTexts.back().empty());
	return asTexts;
}

// A monitor that wants all lines of the class.
std::unique_ptr<CRawMonitor> Follow(const CMonitoredServer& rServer, const std::string& sClass)
{
	auto poMonitor = std::make_unique<CRawMonitor>(rServer.Port());
	poMonitor->Login("anna", sSecretHex);
	poMonitor->Start();
	poMonitor->Watch(sClass, 63);
	return poMonitor;
}

// On one processor the answer to the start often lets the monitor run before the server's thread has gone on.
TEST(CVexTraceServerConnection, LinesTracedAfterTheStartWasConfirmedAreSent)
{
	cpu_set_t oOne;
	CPU_ZERO(&oOne);
	CPU_SET(sched_getcpu(), &oOne);
	sched_setaffinity(0, sizeof oOne, &oOne);
	CMonitoredServer oServer;
	CRawMonitor oMonitor(oServer.Port());
	oMonitor.Watch("CSignal", 63);
	for (int i = 0; i < 200; ++i)
	{
		oMonitor.Start();
		oServer.TraceNumbers(1);
		oServer.WakeUp();
		ASSERT_EQ(oMonitor.ReceiveLine(), "INFO CSignal " + std::to_string(i));
		oMonitor.Ask(Word(0x01000300));
	}
}

TEST(CVexTraceServerConnection, NextLineWaitsForAConfirmationOrASecond)
{
	CMonitoredServer oServer;
	const auto poMonitor = Follow(oServer, "CSignal");
	oServer.TraceNumbers(100);
	oServer.WakeUp();
	const std::string sLine = poMonitor->Receive();
	EXPECT_EQ(poMonitor->Receive(500), "");
	EXPECT_EQ(CRawMonitor::TextOf(poMonitor->Receive()), "INFO CSignal 1");    // after a second
	// The one of the first line comes late: it counts for the second one. From then on only the newest are confirmed.
	poMonitor->Confirm(sLine);
	const auto oBegin = CClock::now();
	EXPECT_EQ(CRawMonitor::TextOf(poMonitor->Receive()), "INFO CSignal 2");
	EXPECT_EQ(ReceiveLines(*poMonitor, "INFO CSignal 99").size(), 97u);
	EXPECT_LT(CClock::now() - oBegin, std::chrono::milliseconds(3500));    // one second for the line left out
}

// While one client lets every line wait for its second.
TEST(CVexTraceServerConnection, RequestsAreAnsweredWhileAConfirmationIsAwaited)
{
	CMonitoredServer oServer(63);
	const auto poSilent = Follow(oServer, "CSignal");
	const auto poPrompt = Follow(oServer, "CSignal");
	oServer.m_oTrace.AddMsg(CVexTraceMsg::eInfo, "one");
	oServer.m_oTrace.AddMsg(CVexTraceMsg::eInfo, "two");
	oServer.WakeUp();
	for (int i = 0; i < 2; ++i)
	{
		poSilent->Receive();
		const auto oBegin = CClock::now();
		EXPECT_EQ(poPrompt->Change(oServer.m_oTrace.GetID(), 63 - i), Word(0x02000600) + Word(0));
		EXPECT_EQ(poPrompt->Watch("COther", 63), Word(0x02000800) + Word(0));
		CVexTrace("COther", "registers and goes", nullptr).AddMsg(CVexTraceMsg::eInfo, "x");
		EXPECT_EQ(CRawMonitor(oServer.Port()).Login("anna", sSecretHex), Word(0x02000100) + Word(0));
		EXPECT_LT(CClock::now() - oBegin, std::chrono::milliseconds(800));
	}
}

TEST(CVexTraceServerConnection, ClientThatNeverReadsIsDisconnected)
{
	CMonitoredServer oServer(63);
	const auto poDeaf = Follow(oServer, "CSignal");
	const std::string sLong(10 * 1000 * 1000, 'x');    // more than the buffers on the way take
	const auto oBegin = CClock::now();
	for (int i = 0; i < 3; ++i)
		oServer.m_oTrace.AddMsg(CVexTraceMsg::eInfo, sLong.c_str());
	oServer.WaitUntilWritten();
	EXPECT_LT(CClock::now() - oBegin, std::chrono::seconds(20));
	while (CRawMonitor::IsLine(poDeaf->Receive()))
	{
	}
	// A slow one is not: it takes several times as long as the second that it may do nothing.
	const std::string sName(24 * 1000 * 1000, 'x');
	CVexTrace oLong("CSignal", sName.c_str(), nullptr);
	oServer.RegisterObject(&oLong);
	CRawMonitor oSlow(oServer.Port());
	oSlow.Send(Frame(Word(0x01000900) + Word(oLong.GetID())));
	std::string sAnswer, sPiece;
	while (sAnswer.size() < sName.size() && !(sPiece = oSlow.CRawPeer::Receive(262144)).empty())
	{
		sAnswer += sPiece;
		CVexThread::Sleep(0, 50);
	}
	EXPECT_GE(sAnswer.size(), sName.size());
}

TEST(CVexTraceServerConnection, ClosingThePortEndsWaitsAndGivesLevelsBack)
{
	CMonitoredServer oServer;
	oServer.RegisterObject(&oServer.m_oTrace);
	std::atomic<bool> bEnd{ false };
	std::thread oRegistering(
		[&]
		{
			while (!bEnd)
				CVexTrace("CShort", "comes and goes", nullptr).AddMsg(CVexTraceMsg::eInfo, "x");
		});
	CClock::duration oShortest = std::chrono::hours(1);
	for (int i = 0; i < 10; ++i)
	{
		const auto poMonitor = Follow(oServer, "CSignal");
		poMonitor->Change(oServer.m_oTrace.GetID(), 63);
		EXPECT_EQ(oServer.GetTraceLevels(oServer.m_oTrace.GetID()), 63);
		oServer.Trace(oServer.m_oTrace, CVexTraceMsg::eInfo, "never confirmed");
		EXPECT_EQ(CRawMonitor::TextOf(poMonitor->Receive()), "INFO CSignal never confirmed");
		const auto oBegin = CClock::now();
		oServer.SetTCPIPMonitorOn(false);
		oShortest = std::min(oShortest, CClock::now() - oBegin);
		EXPECT_TRUE(poMonitor->SeesTheEnd());
		EXPECT_EQ(oServer.GetTraceLevels(oServer.m_oTrace.GetID()), 7);
		oServer.SetTCPIPMonitorOn(true);
	}
	bEnd = true;
	oRegistering.join();
	// A wait for the confirmation would have taken a second each time.
	EXPECT_LT(oShortest, std::chrono::milliseconds(900));
}

TEST(CVexTraceServerConnection, EndOfTheServerDoesNotWaitForASilentClientLineByLine)
{
	auto poServer = std::make_unique<CMonitoredServer>();
	const auto poSilent = Follow(*poServer, "CSignal");
	const auto poPrompt = Follow(*poServer, "CSignal");
	CRawMonitor oLate(poServer->Port());
	oLate.Watch("CSignal", 63);
	poServer->TraceNumbers(1000);
	std::thread oReader([&] { EXPECT_EQ(ReceiveLines(*poPrompt, "INFO CSignal 999").size(), 1000u); });
	const auto oBegin = CClock::now();
	std::thread oEnd([&] { poServer.reset(); });
	while (CVexTraceServer* pServer = CVexTraceServer::GetActiveServer())
		pServer->DecActiveUser();
	// The end has begun: a start does not count any more, and the silent one gets its lines at once, too.
	EXPECT_EQ(oLate.Start(), sStarted);
	EXPECT_TRUE(oLate.SeesTheEnd());
	oEnd.join();
	EXPECT_LT(CClock::now() - oBegin, std::chrono::seconds(20));
	oReader.join();
	int nLines = 0;
	while (CRawMonitor::IsLine(poSilent->Receive()))
		++nLines;
	EXPECT_EQ(nLines, 1000);
}

TEST(CVexTraceServerConnection, TwoMonitorsGetEveryLineInOrderAndOneSurvivesTheOther)
{
	const int nLines = bFullRuns ? 100000 : 2000;
	CMonitoredServer oServer;
	const auto poFirst = Follow(oServer, "CSignal");
	const auto poSecond = Follow(oServer, "CSignal");
	std::thread oKilled(
		[&]
		{
			for (int i = 0; i < nLines / 2; ++i)
				ASSERT_EQ(poFirst->ReceiveLine(), "INFO CSignal " + std::to_string(i));
			poFirst->Receive();    // not confirmed
			poFirst->Reset();
		});
	oServer.TraceNumbers(nLines);
	oServer.WakeUp();
	for (int i = 0; i < nLines; ++i)
		ASSERT_EQ(poSecond->ReceiveLine(), "INFO CSignal " + std::to_string(i));
	oKilled.join();
	oServer.ExpectNumbersWritten();
}

TEST(CVexTraceServerConnection, MonitorsComeAndGoWhileLinesFlow)
{
	CMonitoredServer oServer(63);
	std::atomic<bool> bEnd{ false };
	std::thread oTracing(
		[&]
		{
			for (; !bEnd; CVexThread::Sleep(0, 1))
				oServer.TraceNumbers(10);
		});
	std::atomic<int> nLoginsLeft{ 0 };
	const auto ComeAndGo = [&]
	{
		for (int i = 0; nLoginsLeft-- > 0; ++i)
		{
			const auto poMonitor = Follow(oServer, i % 3 ? "*" : "CSignal");
			oServer.WakeUp();
			for (int nLine = i % 4; nLine > 0; --nLine)
				EXPECT_NE(poMonitor->ReceiveLine(), "");
			if (i % 2)
				poMonitor->Reset();
		}
	};
	nLoginsLeft = 50;
	ComeAndGo();    // the slots are filled once
	const long nDescriptors = CountOwn("fd"), nThreads = CountOwn("task");
	nLoginsLeft = bFullRuns ? 2000 : 100;
	std::thread aoMonitors[] = { std::thread(ComeAndGo), std::thread(ComeAndGo), std::thread(ComeAndGo) };
	for (std::thread& rMonitor : aoMonitors)
		rMonitor.join();
	bEnd = true;
	oTracing.join();
	oServer.ExpectNumbersWritten();
	// Three slots more may be in use than after the first ones, each with two threads.
	EXPECT_LE(CountOwn("task"), nThreads - 1 + 3 * 2);
	EXPECT_LE(CountOwn("fd"), nDescriptors + 3 * 2);
}

TEST(CVexTraceServerConnection, RequiredLoginComesBeforeAnythingElse)
{
	const unsigned short nPort = FindFreePort();
	SFrameRun oRun("wait", SFrameRun::MonitorIni(nPort) + "RequireLogin=1\nMaxUnconfirmed=2\n");
	// These take all slots, but lose them after 10 s.
	std::vector<std::unique_ptr<CRawMonitor>> apSilent;
	for (int i = 0; i < 5; ++i)
		apSilent.push_back(std::make_unique<CRawMonitor>(nPort));
	CRawMonitor oMonitor(nPort);
	oMonitor.Send(Frame(Word(0x01000400) + Item("")) + Frame(Word(0x01000800) + Item("*") + Word(63)));
	CVexPassword oPassword(true);
	std::string sPassword = "monitorix";
	oPassword.SetPassword(sPassword);
	EXPECT_EQ(oMonitor.Login("monitorix", VexToString(oPassword)), Word(0x02000100) + Word(0));
	EXPECT_EQ(oMonitor.Ask(Word(0x01000400) + Item("")).compare(0, 4, Word(0x02000400)), 0);
	EXPECT_EQ(oMonitor.Login("monitorix", "00"), Word(0x02000100) + Word(2));
	EXPECT_TRUE(oMonitor.SeesTheEnd());

	CRawMonitor oUnconfirming(nPort);
	oUnconfirming.Login("monitorix", VexToString(oPassword));
	oUnconfirming.Start();
	oUnconfirming.Watch("*", 63);
	const auto oBegin = CClock::now();
	CRawMonitor oWrong(nPort);
	oWrong.Send(Frame(Word(0x01000100) + Item("a") + Item("b")) + sStart);
	EXPECT_EQ(oWrong.Receive(), Word(0x02000100) + Word(3));
	EXPECT_TRUE(oWrong.SeesTheEnd());
	EXPECT_GE(CClock::now() - oBegin, std::chrono::seconds(1));
	// The lines of that connection: two come, each a second after the other.
	EXPECT_TRUE(CRawMonitor::IsLine(oUnconfirming.Receive()) && CRawMonitor::IsLine(oUnconfirming.Receive()));
	EXPECT_EQ(oUnconfirming.Receive(), "");
	EXPECT_TRUE(oUnconfirming.SeesTheEnd());
}

TEST(CVexTraceServerConnection, SignalEndsAProgramThatAMonitorFollows)
{
	for (const bool bConfirms : { true, false })
	{
		const unsigned short nPort = FindFreePort();
		SFrameRun oRun("wait", SFrameRun::MonitorIni(nPort));
		CRawMonitor oMonitor(nPort);
		ASSERT_TRUE(oRun.m_oProgram.WaitForOutput("Run"));
		EXPECT_EQ(oMonitor.Ask(Word(0x01000400) + Item("")).substr(8, 24), "FrameProgram started at ");
		oMonitor.Start();
		oMonitor.Watch("*", 63);
		oRun.m_oProgram.SendSignal(SIGTERM);
		bool bLastWords = false;
		for (const std::string& rsLine : bConfirms ? ReceiveLines(oMonitor, "") : CTexts())
			bLastWords |= rsLine.find("DEBUG CVexBaseApplication Trace-Server wird beendet\tFile source/") == 0;
		EXPECT_EQ(bLastWords, bConfirms);
		EXPECT_EQ(oRun.m_oProgram.EndStatus(), 0);
	}
}

// The program forks while another thread traces; each child traces and registers an object of its own.
TEST(CVexTraceServerConnection, ChildrenTraceWithoutDeadlockWhileThePortIsOpen)
{
#ifdef __SANITIZE_ADDRESS__
	GTEST_SKIP() << "the sanitizer's allocator is not usable in the child of a process with several threads";
#endif
	const unsigned short nPort = FindFreePort();
	SFrameRun oRun("fork", SFrameRun::MonitorIni(nPort));
	CRawMonitor oMonitor(nPort);
	EXPECT_TRUE(oRun.m_oProgram.WaitForEnd());
	EXPECT_EQ(oRun.m_oProgram.Output().find("failed"), std::string::npos);
	EXPECT_NE(oRun.m_oProgram.Output().find("children done\nFinalize\n"), std::string::npos);
}
}    // namespace
