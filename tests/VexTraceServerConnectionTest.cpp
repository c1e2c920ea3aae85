#include "VexTraceServerConnection.h"

#include "support/ProgramRunner.h"
#include "support/RawMonitor.h"
#include "support/RecordingServer.h"
#include "support/TempFolder.h"

#include "VexPassword.h"
#include "VexStringFunc.h"
#include "VexTrace.h"
#include "VexTraceServerContainer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace
{
typedef std::vector<std::string> CTexts;
typedef std::chrono::steady_clock CClock;

const std::string sAnna = Item("anna");
const std::string sSecretHex = "016207731062";    // "secret", scrambled
const std::string sLogin = Word(0x01000100) + sAnna + Item(sSecretHex);

// The numbers of the acceptance runs; small ones unless the environment asks for all.
int Count(int nUsual, int nFull)
{
	return std::getenv("VEX_FULL_RUNS") ? nFull : nUsual;
}

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

	unsigned short Port() const { return static_cast<unsigned short>(m_sMonitorPort); }

	CVexTraceServerConnection& FirstConnection()
	{
		return dynamic_cast<CVexTraceServerConnection&>(*(*m_poServerContainer)[0]);
	}

	// The thread writes what is queued, and does not sit out its 3 s.
	void WakeUp()
	{
		for (int i = 0; i < 251; ++i)
			AddMsg(new CVexTraceMsg(CVexTraceMsg::eNone, -1, "mark 0"));
	}

	void Trace(CVexTrace& rTrace, CVexTraceMsg::ETraceLevel eLevel, const std::string& sText)
	{
		rTrace.AddMsg(eLevel, sText.c_str());
		WakeUp();
	}
};

// Keeps what it is told, without a client.
class CToldConnection : public CVexTraceServerConnection
{
public:
	explicit CToldConnection(CVexTraceServer& rServer) : CVexTraceServerConnection(nullptr, 0, rServer) {}
	~CToldConnection() override { EndThreads(); }

	void Feed(const std::string& sBytes)
	{
		DataInd(reinterpret_cast<const unsigned char*>(sBytes.data()), static_cast<int>(sBytes.size()));
	}

	std::string Told()
	{
		std::string sTold;
		sTold.swap(m_sTold);
		return sTold;
	}

	void TraceCnf(int nID) override { m_sTold += "cnf " + std::to_string(nID) + ","; }
	void LoginInd(const std::string& sUser, const std::string& sPassword) override
	{
		m_sTold += "login " + sUser + "/" + sPassword + ",";
	}
	void StartInd() override { m_sTold += "start,"; }
	void StopInd() override { m_sTold += "stop,"; }
	void InfoInd() override { m_sTold += "info,"; }
	void ChangeTraceLevelInd(const std::vector<std::pair<long, ETraceLevel>>& aoLevels) override
	{
		m_sTold += "change";
		for (const auto& rLevel : aoLevels)
			m_sTold += " " + std::to_string(rLevel.first) + "=" + std::to_string(rLevel.second);
		m_sTold += ",";
	}
	void GetObjectListInd() override { m_sTold += "list,"; }
	void NameIDInd(long nID) override { m_sTold += "name " + std::to_string(nID) + ","; }

private:
	std::string m_sTold;
};

TEST(CVexTraceServerConnection, FramesAreFoundWhereverTheyAreCut)
{
	CRecordingServer oServer(CVexTraceMsg::eNone);
	CToldConnection oConnection(oServer);
	const std::string sStream = Frame(Word(0x01000100) + Item("u") + Item("effe")) + Frame(Word(0x02000500) + Word(7)) +
		"eff" + Frame(Word(0x01000600) + Word(2) + Word(-1) + Word(8) + Word(3) + Word(99)) + "junk" +
		Frame(Word(0x01000300)) + "effef";
	const std::string sTold = "login u/effe,cnf 7,change -1=8 3=63,stop,";
	for (std::size_t nCut = 0; nCut <= sStream.size(); ++nCut)
	{
		SCOPED_TRACE(nCut);
		oConnection.Feed(sStream.substr(0, nCut));
		oConnection.Feed(sStream.substr(nCut));
		EXPECT_EQ(oConnection.Told(), sTold);
	}
	for (const char c : sStream)
		oConnection.Feed(std::string(1, c));
	EXPECT_EQ(oConnection.Told(), sTold);
}

TEST(CVexTraceServerConnection, WhatIsNoRequestIsPassedOver)
{
	CRecordingServer oServer(CVexTraceMsg::eNone);
	CToldConnection oConnection(oServer);
	const std::string sStart = Frame(Word(0x01000200));
	const int nMiB = 1024 * 1024;
	const std::string sLongest = std::string(nMiB - 12, 'x');
	const struct
	{
		const char* szName;
		std::string sBytes;
		std::string sTold;
	} aCases[] = {
		{ "nothing before the marker", "eefeffff" + sStart, "start," },
		{ "negative length", "effe" + Word(-1) + sStart, "start," },
		{ "lowest length", "effe" + Word(INT_MIN) + sStart, "start," },
		{ "above 1 MiB", "effe" + Word(nMiB + 1) + sStart, "start," },
		{ "1 MiB", Frame(Word(0x01000100) + Item(sLongest) + Item("")), "login " + sLongest + "/," },
		{ "end marker wrong", "effe" + Word(0) + "fee?" + sStart, "start," },
		{ "frame in a cut one", "effe" + Word(20) + "cut" + sStart + sStart, "start,start," },
		{ "less than a command", Frame("abc") + sStart, "start," },
		{ "unknown command", Frame(Word(0x01000A00)) + Frame(Word(0x02000100)) + sStart, "start," },
		{ "login without password", Frame(Word(0x01000100) + Item("u")) + sStart, "start," },
		{ "cut password", Frame(Word(0x01000100) + Item("u") + Word(9) + "01") + sStart, "start," },
		{ "negative text length", Frame(Word(0x01000100) + Word(-4) + Item("u")) + sStart, "start," },
		{ "no identifiers", Frame(Word(0x01000900)) + Frame(Word(0x02000500)) + sStart, "start," },
		{ "more pairs than there are",
			Frame(Word(0x01000600) + Word(INT_MAX) + Word(5) + Word(4) + Word(6)),
			"change 5=4," },
		{ "fewer pairs", Frame(Word(0x01000600) + Word(1) + Word(5) + Word(4) + Word(6) + Word(1)), "change 5=4," },
		{ "negative count", Frame(Word(0x01000600) + Word(-1) + Word(5) + Word(4)), "change," },
		{ "no count", Frame(Word(0x01000600)), "change," },
		{ "others",
			Frame(Word(0x01000400) + Item("?")) + Frame(Word(0x01000700)) + Frame(Word(0x01000900) + Word(4)),
			"info,list,name 4," },
	};
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(rCase.szName);
		oConnection.Feed(rCase.sBytes);
		EXPECT_EQ(oConnection.Told(), rCase.sTold);
		oConnection.ForgetClient();
	}
}

TEST(CVexTraceServerConnection, RequestsAreAnsweredByteForByte)
{
	CMonitoredServer oServer;
	CVexTrace oTrace("CSignal", "north", nullptr);
	oServer.RegisterObject(&oTrace);
	const std::string sID = Word(oTrace.GetID());
	CVexPassword oScrambled(true);
	std::string sSecret = "secret";
	oScrambled.SetPassword(sSecret);
	const struct
	{
		const char* szName;
		std::string sRequest;
		std::string sAnswer;
	} aCases[] = {
		{ "login", sLogin, Word(0x02000100) + Word(0) },
		{ "stored form", Word(0x01000100) + sAnna + Item(oScrambled.GetPassword()), Word(0x02000100) + Word(0) },
		{ "wrong user", Word(0x01000100) + Item("Anna") + Item(sSecretHex), Word(0x02000100) + Word(1) },
		{ "wrong password", Word(0x01000100) + sAnna + Item(sSecretHex + "00"), Word(0x02000100) + Word(2) },
		{ "plain password", Word(0x01000100) + sAnna + Item("secret"), Word(0x02000100) + Word(2) },
		{ "both wrong", Word(0x01000100) + Item("") + Item(""), Word(0x02000100) + Word(3) },
		{ "start", Word(0x01000200), Word(0x02000200) },
		{ "stop", Word(0x01000300), Word(0x02000300) },
		{ "info", Word(0x01000400) + Item("?"), Word(0x02000400) + Item("unknown Application") },
		{ "name", Word(0x01000900) + sID, Word(0x02000900) + sID + Item("north/CSignal") },
		{ "no such name", Word(0x01000900) + Word(-1), Word(0x02000900) + Word(-1) + Item("") },
		{ "levels", Word(0x01000600) + Word(1) + sID + Word(8), Word(0x02000600) + Word(0) },
		{ "no levels", Word(0x01000600) + Word(0), Word(0x02000600) + Word(1) },
		{ "class", Word(0x01000800) + Item("CSignal") + Word(8), Word(0x02000800) + Word(0) },
		{ "class too long", Word(0x01000800) + Item(std::string(1025, 'C')) + Word(8), Word(0x02000800) + Word(1) },
	};
	CRawMonitor oMonitor(oServer.Port());
	for (const auto& rCase : aCases)
		EXPECT_EQ(oMonitor.Ask(rCase.sRequest), rCase.sAnswer) << rCase.szName;

	std::vector<std::pair<long, std::string>> aoObjects;
	oServer.GetObjectList(aoObjects);
	std::string sList = Word(0x02000700) + Word(static_cast<long>(aoObjects.size()));
	for (const auto& rObject : aoObjects)
		sList += Word(rObject.first) + Item(rObject.second);
	EXPECT_EQ(oMonitor.Ask(Word(0x01000700)), sList);
}

TEST(CVexTraceServerConnection, LinesOfWatchedClassesAndObjectsAreSent)
{
	CMonitoredServer oServer(CVexTraceMsg::eInfo);
	CVexTrace oNorth("CSignal", "north", nullptr);
	CVexTrace oPoint("CPoint", "p/1", nullptr);
	for (CVexTrace* pTrace : { &oNorth, &oPoint })
		oServer.RegisterObject(pTrace);
	CRawMonitor oMonitor(oServer.Port());
	oServer.Trace(oNorth, CVexTraceMsg::eError, "before the start");
	oServer.WaitUntilWritten();
	oMonitor.Start();
	oServer.Trace(oNorth, CVexTraceMsg::eError, "nothing is watched");
	oServer.WaitUntilWritten();
	oMonitor.Watch("CSignal", CVexTraceMsg::eInfo);
	oServer.Trace(oNorth, CVexTraceMsg::eError, "a level that is not watched");
	oServer.Trace(oPoint, CVexTraceMsg::eInfo, "a class that is not watched");
	oServer.Trace(oNorth, CVexTraceMsg::eInfo, "one");
	const std::string sLine = oMonitor.Receive();
	EXPECT_EQ(sLine.substr(0, 16),
		Word(0x01000500) + Word(oNorth.GetID()) + Word(CVexTraceMsg::eInfo) +
			Word(static_cast<long>(sLine.size()) - 16));
	EXPECT_EQ(CRawMonitor::TextOf(sLine), "INFO CSignal one");
	oMonitor.Confirm(sLine);

	// The object's own levels, widened and raised for the object.
	oMonitor.Change(oPoint.GetID(), CVexTraceMsg::eDebug);
	EXPECT_EQ(oServer.GetTraceLevels(oPoint.GetID()), 15);
	oServer.Trace(oPoint, CVexTraceMsg::eDebug, "two");
	EXPECT_EQ(oMonitor.ReceiveLine(), "DEBUG CPoint two");
	oServer.Trace(oPoint, CVexTraceMsg::eError, "three");
	EXPECT_EQ(oMonitor.ReceiveLine(), "ERROR CPoint three");

	// All classes but one.
	oMonitor.Change(oPoint.GetID(), CVexTraceMsg::eNone);
	oMonitor.Watch("*", 63);
	oMonitor.Watch("CSignal", CVexTraceMsg::eNone);
	oServer.Trace(oNorth, CVexTraceMsg::eError, "not this one");
	oServer.Trace(oPoint, CVexTraceMsg::eInfo, "four");
	EXPECT_EQ(oMonitor.ReceiveLine(), "INFO CPoint four");
	oMonitor.Ask(Word(0x01000300));
	oServer.Trace(oPoint, CVexTraceMsg::eInfo, "behind the stop");
	oServer.WaitUntilWritten();
	EXPECT_EQ(oMonitor.Receive(0), "none");
}

TEST(CVexTraceServerConnection, ObjectThatRegistersGetsTheLevelsWatchedInItsClass)
{
	CMonitoredServer oServer(CVexTraceMsg::eError);
	CRawMonitor oMonitor(oServer.Port());
	oMonitor.Watch("CSignal", CVexTraceMsg::eDebug);
	CVexTrace oNorth("CSignal", "north", nullptr);
	oServer.RegisterObject(&oNorth);
	EXPECT_EQ(oServer.GetTraceLevels(oNorth.GetID()), 15);
	CVexTrace oOther("COther", "other", nullptr);
	oServer.RegisterObject(&oOther);
	EXPECT_EQ(oServer.GetTraceLevels(oOther.GetID()), 1);
	oMonitor.Change(oOther.GetID(), CVexTraceMsg::eInfo);
	oOther.SetName("renamed", nullptr);
	oServer.RegisterObject(&oOther);
	EXPECT_EQ(oServer.GetTraceLevels(oOther.GetID()), 7);
}

TEST(CVexTraceServerConnection, WatchedClassIsNoRequestedLevelKept)
{
	CMonitoredServer oServer(CVexTraceMsg::eError);
	CRawMonitor oMonitor(oServer.Port());
	oMonitor.Watch("CSignal", CVexTraceMsg::eDebug);
	CVexTrace oNorth("CSignal", "north", nullptr);
	oServer.RegisterObject(&oNorth);
	oNorth.SetName("south", nullptr);
	oServer.RegisterObject(&oNorth);
	EXPECT_EQ(oServer.GetTraceLevels(oNorth.GetID()), 1);
}

TEST(CVexTraceServerConnection, WatchedObjectIsRefreshedTheSecondTimeKept)
{
	CMonitoredServer oServer(CVexTraceMsg::eError);
	CVexTrace oTrace("CSignal", "north", nullptr);
	oServer.RegisterObject(&oTrace);
	CVexTraceServerConnection& rConnection = oServer.FirstConnection();
	rConnection.WatchClassInd("CNone", CVexTraceMsg::eDebug);
	EXPECT_TRUE(rConnection.GetRequestedObjects().empty());
	rConnection.WatchClassInd("CSignal", CVexTraceMsg::eInfo);
	EXPECT_EQ(oServer.GetTraceLevels(oTrace.GetID()), CVexTraceMsg::eError);
	rConnection.WatchClassInd("CSignal", CVexTraceMsg::eDebug);
	EXPECT_EQ(rConnection.GetRequestedTraceLevels(oTrace.GetID()), CVexTraceMsg::eDebug | CVexTraceMsg::eInfo);
	EXPECT_EQ(oServer.GetTraceLevels(oTrace.GetID()), 15);
}

TEST(CVexTraceServerConnection, NextClientStartsClean)
{
	CMonitoredServer oServer(CVexTraceMsg::eError);
	CVexTrace oTrace("CSignal", "north", nullptr);
	oServer.RegisterObject(&oTrace);
	// Each slot in turn.
	for (int i = 0; i < 10; ++i)
	{
		SCOPED_TRACE(i);
		CRawMonitor oMonitor(oServer.Port());
		EXPECT_TRUE(ComesTrue([&] { return oServer.GetTraceLevels(oTrace.GetID()) == CVexTraceMsg::eError; }));
		EXPECT_EQ(oMonitor.Login("anna", sSecretHex), Word(0x02000100) + Word(0));
		oServer.Trace(oTrace, CVexTraceMsg::eError, "wanted by the last one");
		oServer.WaitUntilWritten();
		EXPECT_EQ(oMonitor.Receive(0), "none");
		oMonitor.Start();
		oMonitor.Watch("CSignal", 63);
		oMonitor.Change(oTrace.GetID(), 63);
		EXPECT_EQ(oServer.GetTraceLevels(oTrace.GetID()), 63);
		oMonitor.Send(Frame(Word(0x01000200)).substr(0, 9));
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
	while (asTexts.back() != sLast && asTexts.back() != "end" && asTexts.back() != "none");
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

TEST(CVexTraceServerConnection, NextLineWaitsForTheConfirmationOfItsOwn)
{
	CMonitoredServer oServer;
	CVexTrace oTrace("CSignal", "north", nullptr);
	const auto poMonitor = Follow(oServer, "CSignal");
	for (const char* szText : { "one", "two", "three" })
		oTrace.AddMsg(CVexTraceMsg::eInfo, szText);
	oServer.WakeUp();
	const std::string sLine = poMonitor->Receive();
	EXPECT_EQ(poMonitor->Receive(500), "none");
	EXPECT_EQ(CRawMonitor::TextOf(poMonitor->Receive()), "INFO CSignal two");    // after a second
	poMonitor->Confirm(sLine);                                                   // the first one: too late
	EXPECT_EQ(poMonitor->Receive(500), "none");
	poMonitor->Confirm(sLine);
	EXPECT_EQ(poMonitor->ReceiveLine(300), "INFO CSignal three");
}

TEST(CVexTraceServerConnection, ConfirmationThatIsLeftOutCostsAFewSecondsOnly)
{
	CMonitoredServer oServer;
	CVexTrace oTrace("CSignal", "north", nullptr);
	const auto poMonitor = Follow(oServer, "CSignal");
	for (int i = 0; i < 100; ++i)
		oTrace.AddMsg(CVexTraceMsg::eInfo, std::to_string(i).c_str());
	oServer.WakeUp();
	poMonitor->Receive();
	const auto oBegin = CClock::now();
	EXPECT_EQ(ReceiveLines(*poMonitor, "INFO CSignal 99").size(), 99u);
	EXPECT_LT(CClock::now() - oBegin, std::chrono::seconds(30));
}

TEST(CVexTraceServerConnection, ClientThatLeavesEndsTheWait)
{
	CMonitoredServer oServer;
	CVexTrace oTrace("CSignal", "north", nullptr);
	const auto oBegin = CClock::now();
	const int nClients = 20;
	for (int i = 0; i < nClients; ++i)
	{
		const auto poMonitor = Follow(oServer, "CSignal");
		oServer.Trace(oTrace, CVexTraceMsg::eInfo, "never confirmed");
		EXPECT_EQ(CRawMonitor::TextOf(poMonitor->Receive()), "INFO CSignal never confirmed");
		if (i % 2)
			poMonitor->Reset();
	}
	oServer.WaitUntilWritten();
	EXPECT_LT(CClock::now() - oBegin, std::chrono::seconds(nClients / 2));
}

// While one client lets every line wait for its second.
TEST(CVexTraceServerConnection, RequestsAreAnsweredWhileAConfirmationIsAwaited)
{
	CMonitoredServer oServer(63);
	CVexTrace oTrace("CSignal", "north", nullptr);
	const auto poSilent = Follow(oServer, "CSignal");
	const auto poPrompt = Follow(oServer, "CSignal");
	oTrace.AddMsg(CVexTraceMsg::eInfo, "one");
	oTrace.AddMsg(CVexTraceMsg::eInfo, "two");
	oServer.WakeUp();
	for (int i = 0; i < 2; ++i)
	{
		poSilent->Receive();
		const auto oBegin = CClock::now();
		EXPECT_EQ(poPrompt->Change(oTrace.GetID(), 63 - i), Word(0x02000600) + Word(0));
		EXPECT_EQ(poPrompt->Watch("COther", 63), Word(0x02000800) + Word(0));
		CVexTrace("COther", "registers and goes", nullptr).AddMsg(CVexTraceMsg::eInfo, "x");
		EXPECT_EQ(CRawMonitor(oServer.Port()).Login("anna", sSecretHex), Word(0x02000100) + Word(0));
		EXPECT_LT(CClock::now() - oBegin, std::chrono::milliseconds(800));
	}
}

TEST(CVexTraceServerConnection, ClientThatNeverReadsIsDisconnected)
{
	CMonitoredServer oServer(63);
	CVexTrace oTrace("CSignal", "north", nullptr);
	const auto poDeaf = Follow(oServer, "CSignal");
	// It confirms what it has not read.
	for (int i = 0; i < 1000; ++i)
		poDeaf->Send(Frame(Word(0x02000500) + Word(1)));
	const std::string sLong(1000 * 1000, 'x');
	const auto oBegin = CClock::now();
	for (int i = 0; i < 30; ++i)
		oTrace.AddMsg(CVexTraceMsg::eInfo, sLong.c_str());
	oServer.WaitUntilWritten();
	EXPECT_LT(CClock::now() - oBegin, std::chrono::seconds(20));
	while (CRawMonitor::IsLine(poDeaf->Receive()))
	{
	}
}

TEST(CVexTraceServerConnection, ClosingThePortEndsWaitsAndGivesLevelsBack)
{
	CMonitoredServer oServer;
	CVexTrace oTrace("CSignal", "north", nullptr);
	oServer.RegisterObject(&oTrace);
	std::atomic<bool> bEnd{ false };
	std::thread oRegistering(
		[&]
		{
			while (!bEnd)
				CVexTrace("CShort", "comes and goes", nullptr).AddMsg(CVexTraceMsg::eInfo, "x");
		});
	for (int i = 0; i < 20; ++i)
	{
		const auto poMonitor = Follow(oServer, "CSignal");
		poMonitor->Change(oTrace.GetID(), 63);
		EXPECT_EQ(oServer.GetTraceLevels(oTrace.GetID()), 63);
		oServer.Trace(oTrace, CVexTraceMsg::eInfo, "never confirmed");
		EXPECT_EQ(CRawMonitor::TextOf(poMonitor->Receive()), "INFO CSignal never confirmed");
		const auto oBegin = CClock::now();
		oServer.SetTCPIPMonitorOn(false);
		EXPECT_LT(CClock::now() - oBegin, std::chrono::milliseconds(900));
		EXPECT_EQ(poMonitor->Receive(), "end");
		EXPECT_EQ(oServer.GetTraceLevels(oTrace.GetID()), 7);
		oServer.SetTCPIPMonitorOn(true);
	}
	bEnd = true;
	oRegistering.join();
}

TEST(CVexTraceServerConnection, EndOfTheServerDoesNotWaitForASilentClientLineByLine)
{
	auto poServer = std::make_unique<CMonitoredServer>();
	CVexTrace oTrace("CSignal", "north", nullptr);
	const auto poSilent = Follow(*poServer, "CSignal");
	const auto poPrompt = Follow(*poServer, "CSignal");
	for (int i = 0; i < 1000; ++i)
		oTrace.AddMsg(CVexTraceMsg::eInfo, std::to_string(i).c_str());
	std::thread oReader([&] { EXPECT_EQ(ReceiveLines(*poPrompt, "INFO CSignal 999").size(), 1000u); });
	const auto oBegin = CClock::now();
	poServer.reset();
	EXPECT_LT(CClock::now() - oBegin, std::chrono::seconds(20));
	oReader.join();
	poSilent->Receive();
}

int CountEntries(const std::string& sFolder)
{
	int nEntries = 0;
	for (const auto& rEntry : std::filesystem::directory_iterator(sFolder))
		nEntries += rEntry.exists() ? 1 : 0;
	return nEntries;
}

// The lines of one tracer that the server has written.
std::size_t CountLines(CRecordingServer& rServer, const std::string& sObject)
{
	std::size_t nLines = 0;
	for (const std::string& rsLine : rServer.Lines())
	{
		if (rsLine.compare(0, sObject.size(), sObject) != 0)
			continue;
		EXPECT_EQ(rsLine, sObject + " " + std::to_string(nLines));
		++nLines;
	}
	return nLines;
}

TEST(CVexTraceServerConnection, TwoMonitorsGetEveryLineInOrderAndOneSurvivesTheOther)
{
	const int nLines = Count(2000, 100000);
	CMonitoredServer oServer;
	CVexTrace oTrace("CSignal", "north", nullptr);
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
	for (int i = 0; i < nLines; ++i)
		oTrace.AddMsg(CVexTraceMsg::eInfo, std::to_string(i).c_str());
	oServer.WakeUp();
	for (int i = 0; i < nLines; ++i)
		ASSERT_EQ(poSecond->ReceiveLine(), "INFO CSignal " + std::to_string(i));
	oKilled.join();
	EXPECT_EQ(CountLines(oServer, "north/CSignal"), static_cast<std::size_t>(nLines));
}

TEST(CVexTraceServerConnection, MonitorsComeAndGoWhileLinesFlow)
{
	CMonitoredServer oServer(63);
	std::atomic<bool> bEnd{ false };
	std::atomic<int> nLoginsLeft{ Count(100, 2000) };
	std::atomic<int> nTraced{ 0 };
	std::thread oTracing(
		[&]
		{
			CVexTrace oTrace("CSignal", "north", nullptr);
			for (; !bEnd; CVexThread::Sleep(0, 1))
				for (int i = 0; i < 10; ++i)
					oTrace.AddMsg(CVexTraceMsg::eInfo, std::to_string(nTraced++).c_str());
		});
	const auto ComeAndGo = [&]
	{
		for (int i = 0; nLoginsLeft-- > 0; ++i)
		{
			const auto poMonitor = Follow(oServer, i % 3 ? "*" : "CSignal");
			oServer.WakeUp();
			for (int nLine = i % 4; nLine > 0; --nLine)
				EXPECT_NE(poMonitor->ReceiveLine(), "end");
			if (i % 2)
				poMonitor->Reset();
		}
	};
	ComeAndGo();    // the first ones, on one thread: the slots are filled once
	const int nDescriptors = CountEntries("/proc/self/fd");
	const int nThreads = CountEntries("/proc/self/task");
	nLoginsLeft = Count(100, 2000);
	std::thread aoMonitors[] = { std::thread(ComeAndGo), std::thread(ComeAndGo), std::thread(ComeAndGo) };
	for (std::thread& rMonitor : aoMonitors)
		rMonitor.join();
	bEnd = true;
	oTracing.join();
	EXPECT_EQ(CountLines(oServer, "north/CSignal"), static_cast<std::size_t>(nTraced));
	// Three slots more may be in use than after the first ones, each with two threads.
	EXPECT_LE(CountEntries("/proc/self/task"), nThreads - 1 + 3 * 2);
	EXPECT_LE(CountEntries("/proc/self/fd"), nDescriptors + 3 * 2);
}

// The example of a program on the frame, with its monitor port open.
class CMonitoredProgram
{
public:
	explicit CMonitoredProgram(const std::string& sMode, const std::string& sMore = "")
		: m_oProgram(LinkProgram(VEX_TEST_PROGRAM_DIR "/FrameProgram", m_oFolder)), m_nPort(FindFreePort())
	{
		m_oFolder.WriteFile("Trace.ini",
			"[Trace]\nDebug=3\nMonitorOn=1\n[Monitor]\nIPAddress=127.0.0.1\nPort=" + std::to_string(m_nPort) +
				"\nMaxConnections=5\nReserveConnections=2\n" + sMore);
		m_oProgram.Start({ sMode });
		if (!m_oProgram.WaitForOutput("Run", 60000))
			throw std::runtime_error("the program does not run");
	}
	CProgramRunner& Program() { return m_oProgram; }
	unsigned short Port() const { return m_nPort; }

private:
	CTempFolder m_oFolder;
	CProgramRunner m_oProgram;
	const unsigned short m_nPort;
};

TEST(CVexTraceServerConnection, RequiredLoginComesBeforeAnythingElse)
{
	CMonitoredProgram oProgram("wait", "RequireLogin=1\n");
	CRawMonitor oMonitor(oProgram.Port());
	oMonitor.Send(Frame(Word(0x01000400) + Item("")) + Frame(Word(0x01000800) + Item("*") + Word(63)));
	CVexPassword oPassword(true);
	std::string sPassword = "monitorix";
	oPassword.SetPassword(sPassword);
	EXPECT_EQ(oMonitor.Login("monitorix", VexToString(oPassword)), Word(0x02000100) + Word(0));
	EXPECT_EQ(oMonitor.Ask(Word(0x01000400) + Item("")).compare(0, 4, Word(0x02000400)), 0);
	EXPECT_EQ(oMonitor.Login("monitorix", "00"), Word(0x02000100) + Word(2));
	EXPECT_EQ(oMonitor.Receive(), "end");

	CRawMonitor oWrong(oProgram.Port());
	oWrong.Send(Frame(Word(0x01000100) + Item("a") + Item("b")) + Frame(Word(0x01000200)));
	EXPECT_EQ(oWrong.Receive(), Word(0x02000100) + Word(3));
	EXPECT_EQ(oWrong.Receive(), "end");
	oProgram.Program().SendSignal(SIGTERM);
	EXPECT_TRUE(oProgram.Program().WaitForEnd(60000));
}

TEST(CVexTraceServerConnection, SignalEndsAProgramThatAMonitorFollows)
{
	for (const bool bConfirms : { true, false })
	{
		CMonitoredProgram oProgram("wait");
		CRawMonitor oMonitor(oProgram.Port());
		EXPECT_EQ(oMonitor.Ask(Word(0x01000400) + Item("")).substr(8, 24), "FrameProgram started at ");
		oMonitor.Start();
		oMonitor.Watch("*", 63);
		oProgram.Program().SendSignal(SIGTERM);
		const CTexts asLines = bConfirms ? ReceiveLines(oMonitor, "end") : CTexts();
		EXPECT_TRUE(oProgram.Program().WaitForEnd(60000));
		EXPECT_EQ(oProgram.Program().ExitStatus(), 0);
		const std::string sLast =
			"DEBUG CVexBaseApplication Trace-Server wird beendet\tFile source/VexApplication Line ";
		EXPECT_EQ(bConfirms,
			std::any_of(asLines.begin(),
				asLines.end(),
				[&](const std::string& rsLine) { return rsLine.compare(0, sLast.size(), sLast) == 0; }));
	}
}

TEST(CVexTraceServerConnection, ChildrenTraceWhileThePortIsOpen)
{
	CMonitoredProgram oProgram("fork");
	CRawMonitor oMonitor(oProgram.Port());
	EXPECT_TRUE(oProgram.Program().WaitForEnd(60000));
	EXPECT_EQ(oProgram.Program().ExitStatus(), 0);
	EXPECT_EQ(oProgram.Program().Output().find("failed"), std::string::npos);
}
}    // namespace
