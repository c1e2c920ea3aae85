#include "VexTraceServer.h"

#include "support/RecordingServer.h"
#include "support/TempFolder.h"

#include "VexProcess.h"
#include "VexTrace.h"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <thread>

namespace
{
typedef std::vector<std::pair<long, std::string>> CObjectList;

class CSavingServer : public CRecordingServer
{
public:
	using CRecordingServer::CRecordingServer;
	using CVexTraceServer::DeRegisterObject;
};

TEST(CVexTraceServer, LevelMaskIsWidened)
{
	CSavingServer oServer(CVexTraceMsg::eError);
	const struct
	{
		unsigned int nMask;
		int nLevels;
	} aCases[] = { { 0, 0 },
		{ 1, 1 },
		{ 2, 3 },
		{ 4, 7 },
		{ 5, 7 },
		{ 8, 15 },
		{ 16, 31 },
		{ 19, 31 },
		{ 31, 31 },
		{ 32, 63 },
		{ 64, 63 },
		{ 0xFFFFFFFF, 63 } };
	for (const auto& rCase : aCases)
		EXPECT_EQ(oServer.GetTracelevelMask(rCase.nMask), rCase.nLevels) << rCase.nMask;
}

TEST(CVexTraceServer, ListsItsObjects)
{
	CSavingServer oServer(CVexTraceMsg::eInfo);
	EXPECT_EQ(oServer.GetObjectId("B"), -1);
	EXPECT_EQ(oServer.GetTraceLevels(1), CVexTraceMsg::eInfo);    // unknown: not widened
	CVexTrace oFirst("A", "one", nullptr);
	CVexTrace oSecond("B", "two", nullptr);
	CVexTrace oThird("B", "three", nullptr);
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
	oServer.RefreshClientTraceLevels(2, true);
	EXPECT_EQ(oServer.GetSyncFlag(), nFlag + 1);

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
	CSavingServer oServer(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr);
	oServer.WaitUntilWritten();
	const std::size_t nBefore = 251;    // all that it sent have to be through
	while (oServer.SaveCalls() < nBefore)
		CVexThread::Sleep(0, 1);
	for (int i = 0; i < 250; ++i)
		oTrace.AddMsg(CVexTraceMsg::eInfo, "x");
	CVexThread::Sleep(0, 100);
	EXPECT_EQ(oServer.SaveCalls(), nBefore);
	const auto oBegin = std::chrono::steady_clock::now();
	oTrace.AddMsg(CVexTraceMsg::eInfo, "x");
	while (oServer.SaveCalls() < nBefore + 251)
		CVexThread::Sleep(0, 1);
	EXPECT_LT(std::chrono::steady_clock::now() - oBegin, std::chrono::milliseconds(2500));
}

TEST(CVexTraceServer, StopWaitsForUsersAndWritesWhatIsLeft)
{
	auto poServer = std::make_unique<CSavingServer>(CVexTraceMsg::eInfo);
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
	EXPECT_TRUE(bStopped);
}

TEST(CVexTraceServer, SwitchesDecideWhereLinesGo)
{
	CSavingServer oServer(CVexTraceMsg::eInfo);
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
	CSavingServer oServer(CVexTraceMsg::eInfo);
	std::string sUser;
	std::string sPassword;
	oServer.SetUser("anna", "secret");
	oServer.GetUser(sUser, sPassword);
	EXPECT_EQ(sUser, "anna");
	EXPECT_EQ(sPassword.size(), 6u);
	EXPECT_NE(sPassword, "secret");
}

TEST(CVexTraceServer, DefaultSettingsAreTheStart)
{
	const SVexTraceServerDefaultSettings oBefore = CVexTraceServer::m_oSettings;
	EXPECT_EQ(oBefore.m_nDefaultTraceLevels, 1);
	EXPECT_EQ(oBefore.m_sMonitorIPAddress, "0.0.0.0");
	EXPECT_EQ(oBefore.m_sMonitorPort, 15000);
	EXPECT_EQ(oBefore.m_sUsername + oBefore.m_sPassword, "monitorixmonitorix");
	EXPECT_TRUE(oBefore.m_bSaveMsg && !oBefore.m_bMonitorOn && !oBefore.m_bConsoleOuput);
	SVexTraceServerDefaultSettings oSettings = oBefore;
	oSettings.m_bSaveMsg = false;
	CVexTraceServer::SetDefaultSettings(oSettings);
	{
		class CCountingServer : public CVexTraceServer
		{
		public:
			~CCountingServer() override { StopServer(); }
			bool SaveMsg(const CVexTraceMsg&, const char*) override { return ++m_nCalls > 0; }
			std::atomic<int> m_nCalls{ 0 };
		} oServer;
		for (int i = 0; i < 251; ++i)
			oServer.AddMsg(new CVexTraceMsg(CVexTraceMsg::eError, -1, "not saved"));
		EXPECT_EQ(oServer.m_nCalls, 0);
	}
	CVexTraceServer::SetDefaultSettings(oBefore);
}
}    // namespace
