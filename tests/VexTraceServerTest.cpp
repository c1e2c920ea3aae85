#include "VexTraceServer.h"

#include "support/RecordingServer.h"
#include "support/Waiting.h"

#include "VexTrace.h"

#include <gtest/gtest.h>

#include <iostream>
#include <memory>
#include <sstream>

namespace
{
typedef std::vector<std::pair<long, std::string>> CObjectList;

struct CTestServer : CRecordingServer
{
	using CRecordingServer::CRecordingServer;
	using CVexTraceServer::DeRegisterObject;
	using CVexTraceServer::StopServer;
};

TEST(CVexTraceServer, ListsItsObjectsAndTheirLevels)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	EXPECT_EQ(oServer.GetObjectId("B"), -1);
	EXPECT_EQ(oServer.GetTraceLevels(1), CVexTraceMsg::eInfo);    // unknown: not widened
	CVexTrace oFirst("A", "one", nullptr), oSecond("B", "two", nullptr), oThird("B", "three", nullptr);
	for (CVexTrace* pTrace : { &oFirst, &oSecond, &oThird })
		oServer.RegisterObject(pTrace);
	CObjectList aoList{ { 99, "cleared" } };
	oServer.GetObjectList(aoList);
	EXPECT_EQ(aoList, (CObjectList{ { 1, "one/A" }, { 2, "two/B" }, { 3, "three/B" } }));
	EXPECT_EQ(oServer.GetObjectId("B"), 2);
	EXPECT_EQ(oServer.GetObjectId("two"), -1);
	EXPECT_EQ(oServer.GetTraceLevels(2), 7);

	const long nFlag = oServer.GetSyncFlag();
	oServer.SetTraceLevels(2, CVexTraceMsg::eDebugL2);
	oServer.SetTraceLevels(2, CVexTraceMsg::eDebugL2);    // no change
	oServer.SetTraceLevels(77, CVexTraceMsg::eDebug);     // nobody
	EXPECT_EQ(oServer.GetSyncFlag(), nFlag + 1);
	EXPECT_EQ(oServer.GetTraceLevels(2), 31);
	const std::pair<unsigned int, int> aMasks[] = { { 0, 0 }, { 1, 1 }, { 5, 7 }, { 19, 31 }, { 64, 63 }, { ~0u, 63 } };
	for (const auto& [nMask, nWidened] : aMasks)
		EXPECT_EQ(oServer.GetTracelevelMask(nMask), nWidened) << nMask;

	oServer.DeRegisterObject(77);
	oServer.DeRegisterObject(1);
	EXPECT_EQ(oServer.GetObjectName(1), "");
	CVexTrace oFourth("C", "four", nullptr);
	oServer.RegisterObject(&oFourth);
	EXPECT_EQ(oFourth.GetID(), 4);    // identifiers are never used again
}

// No more than 250 messages wait for the 3 s; the loops wait for states, the clock only bounds them from below.
TEST(CVexTraceServer, MoreThan250MessagesWakeTheThread)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr);
	oServer.WaitUntilWritten();
	const std::size_t nBefore = 251;    // all that it sent have to be through
	EXPECT_TRUE(ComesTrue([&] { return oServer.SaveCalls() == nBefore; }));
	for (int i = 0; i < 250; ++i)
		oTrace.AddMsg(CVexTraceMsg::eInfo, "x");
	CVexThread::Sleep(0, 100);
	EXPECT_EQ(oServer.SaveCalls(), nBefore);
	const auto oBegin = std::chrono::steady_clock::now();
	oTrace.AddMsg(CVexTraceMsg::eInfo, "x");
	EXPECT_TRUE(ComesTrue([&] { return oServer.SaveCalls() == nBefore + 251; }));
	EXPECT_LT(std::chrono::steady_clock::now() - oBegin, std::chrono::milliseconds(2500));
}

TEST(CVexTraceServer, StopWaitsForUsersAndWritesWhatIsLeft)
{
	auto poServer = std::make_unique<CTestServer>(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr);
	CVexTraceServer* pUse = oTrace.GetServerObject(CVexTraceMsg::eInfo);
	std::atomic<bool> bStopped{ false };
	std::thread oStopper(
		[&]
		{
			poServer.reset();
			bStopped = true;
		});
	while (CVexTraceServer* pActive = CVexTraceServer::GetActiveServer())
	{
		pActive->DecActiveUser();
		CVexThread::Sleep(0, 1);
	}
	EXPECT_EQ(oTrace.GetServerObject(CVexTraceMsg::eInfo), nullptr);
	CVexThread::Sleep(0, 700);
	EXPECT_FALSE(bStopped);
	pUse->DecActiveUser();
	oStopper.join();
	oTrace.AddMsg(CVexTraceMsg::eError, "nobody there");
	EXPECT_EQ(oTrace.GetID(), -1);
}

TEST(CVexTraceServer, SwitchesDecideWhereLinesGo)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr);
	std::ostringstream oConsole;
	std::streambuf* pConsole = std::cerr.rdbuf(oConsole.rdbuf());
	oServer.SetConsoleOutput(true);
	oTrace.AddMsg(CVexTraceMsg::eInfo, "both");
	oServer.WaitUntilWritten();
	oServer.WaitUntilWritten();    // the thread has left the console
	oServer.SetConsoleOutput(false);
	oServer.WaitUntilWritten();
	std::cerr.rdbuf(pConsole);
	EXPECT_NE(oConsole.str().find(" INFO o/C both\n"), std::string::npos);
	oServer.AddMsg(nullptr);
	EXPECT_EQ(oServer.Lines(), (std::vector<std::string>{ "o/C both" }));
}

TEST(CVexTraceServer, PasswordIsKeptAndGivenBackScrambledKept)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	std::string sUser, sPassword;
	oServer.SetUser("anna", "ab");
	oServer.GetUser(sUser, sPassword);
	EXPECT_EQ(sUser + sPassword, "anna\x01\x61");
}

TEST(CVexTraceServer, MessagesAreNotSavedWhenTheSettingsSaySo)
{
	SVexTraceServerDefaultSettings oSettings = CVexTraceServer::m_oSettings;
	oSettings.m_bSaveMsg = false;
	CVexTraceServer::SetDefaultSettings(oSettings);
	CTestServer oServer(CVexTraceMsg::eInfo);
	for (int i = 0; i < 251; ++i)
		oServer.AddMsg(new CVexTraceMsg(CVexTraceMsg::eError, -1, "not saved"));
	oServer.StopServer();
	EXPECT_EQ(oServer.SaveCalls(), 0u);
	CVexTraceServer::SetDefaultSettings(SVexTraceServerDefaultSettings());
}
}    // namespace
