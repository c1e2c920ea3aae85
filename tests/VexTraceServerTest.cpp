#include "VexTraceServer.h"

#include "support/RecordingServer.h"
#include "support/Waiting.h"

#include "VexTrace.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
typedef std::vector<std::pair<long, std::string>> CObjectList;

struct CTestServer : CRecordingServer
{
	using CRecordingServer::CRecordingServer;
	~CTestServer() override { StopServer(); }    // before the thread could see a part of the object only
	using CVexTraceServer::DeRegisterObject;
	using CVexTraceServer::StopServer;
};

TEST(CVexTraceServer, ListsItsObjectsAndTheirLevels)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	EXPECT_EQ(oServer.GetTraceLevels(1), CVexTraceMsg::eInfo);    // unknown: not widened
	CVexTrace oFirst("A", "one", nullptr), oSecond("B", "two", nullptr), oThird("B", "three", nullptr);
	for (CVexTrace* pTrace : { &oFirst, &oSecond, &oThird })
		oServer.RegisterObject(pTrace);
	CObjectList aoList{ { 99, "cleared" } };
	oServer.GetObjectList(aoList);
	EXPECT_EQ(aoList, (CObjectList{ { 1, "one/A" }, { 2, "two/B" }, { 3, "three/B" } }));
	EXPECT_EQ(oServer.GetObjectId("B"), 2);
	EXPECT_EQ(oServer.GetTraceLevels(2), 7);

	const long nFlag = oServer.GetSyncFlag();
	oServer.SetTraceLevels(2, CVexTraceMsg::eDebugL2);
	oServer.SetTraceLevels(2, CVexTraceMsg::eDebugL2);    // no change
	EXPECT_EQ(oServer.GetSyncFlag(), nFlag + 1);
	EXPECT_EQ(oServer.GetTraceLevels(2), 31);
	for (const auto& [nMask, nWidened] : { std::pair(0u, 0), { 5u, 7 }, { 19u, 31 }, { 64u, 63 } })
		EXPECT_EQ(oServer.GetTracelevelMask(nMask), nWidened) << nMask;

	oServer.DeRegisterObject(77);
	oServer.DeRegisterObject(1);
	EXPECT_EQ(oServer.GetObjectName(1), "");
	CVexTrace oFourth("C", "four", nullptr);
	oServer.RegisterObject(&oFourth);
	EXPECT_EQ(oFourth.GetID(), 4);    // identifiers are never used again
}

TEST(CVexTraceServer, MoreThan250MessagesWakeTheThread)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr);
	oServer.WaitUntilWritten();    // by 251 messages
	EXPECT_TRUE(ComesTrue([&] { return oServer.SaveCalls() == 251; }));
	for (int i = 0; i < 250; ++i)
		oTrace.AddMsg(CVexTraceMsg::eInfo, "x");
	CVexThread::Sleep(0, 100);
	EXPECT_EQ(oServer.SaveCalls(), 251u);
	oTrace.AddMsg(CVexTraceMsg::eInfo, "x");
	EXPECT_TRUE(ComesTrue([&] { return oServer.SaveCalls() == 502; }, 2500));
}

TEST(CVexTraceServer, StopWaitsForUsers)
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
	EXPECT_TRUE(ComesTrue([&] { return (oTrace.AddMsg(CVexTraceMsg::eError, "x"), oTrace.GetID()) == -1; }));
	CVexThread::Sleep(0, 700);
	EXPECT_FALSE(bStopped);
	pUse->DecActiveUser();
	oStopper.join();
}

TEST(CVexTraceServer, SwitchesDecideWhereLinesGo)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr);
	oServer.SetConsoleOutput(true);
	testing::internal::CaptureStderr();
	oTrace.AddMsg(CVexTraceMsg::eInfo, "both");
	oServer.AddMsg(nullptr);
	EXPECT_EQ(oServer.Lines(), (std::vector<std::string>{ "o/C both" }));
	oServer.WaitUntilWritten();    // the thread has left the console
	EXPECT_NE(testing::internal::GetCapturedStderr().find(" INFO o/C both\n"), std::string::npos);
}

TEST(CVexTraceServer, PasswordIsKeptAndGivenBackScrambledKept)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	std::string sUser, sPassword;
	oServer.SetUser("anna", "ab");
	oServer.GetUser(sUser, sPassword);
	EXPECT_EQ(sUser + sPassword, "anna\x01\x61");
}

}    // namespace
