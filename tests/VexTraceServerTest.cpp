#include "VexTraceServer.h"

#include "support/RecordingServer.h"
#include "support/Waiting.h"

#include "VexTrace.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <new>
#include <unistd.h>

namespace
{
typedef std::vector<std::pair<long, std::string>> CObjectList;

struct CTestServer : CRecordingServer
{
	using CRecordingServer::CRecordingServer;
	~CTestServer() override { StopServer(); }    // before the thread could see a part of the object only
	using CVexTraceServer::DeRegisterObject;
	using CVexTraceServer::StopServer;

protected:
	bool SaveMsg(const CVexTraceMsg& oMsg, const char* pszObjectName) override
	{
		if (oMsg.GetText() == "no memory")
			throw std::bad_alloc();
		return CRecordingServer::SaveMsg(oMsg, pszObjectName);
	}
};

// A pipe in the place of descriptor 2. Neither end blocks.
class CStderrPipe
{
public:
	CStderrPipe()
	{
		pipe2(m_anEnds, O_NONBLOCK);
		dup2(m_anEnds[1], STDERR_FILENO);
	}
	~CStderrPipe()
	{
		dup2(m_nBefore, STDERR_FILENO);
		for (const int nEnd : { m_anEnds[0], m_anEnds[1], m_nBefore })
			close(nEnd);
	}
	CStderrPipe(const CStderrPipe&) = delete;
	CStderrPipe& operator=(const CStderrPipe&) = delete;

	std::string Read()
	{
		std::string sText(1 << 20, '\0');
		const ssize_t nRead = read(m_anEnds[0], sText.data(), sText.size());
		sText.resize(static_cast<std::size_t>(std::max<ssize_t>(nRead, 0)));
		return sText;
	}
	void LoseReader() { close(std::exchange(m_anEnds[0], -1)); }

private:
	const int m_nBefore = dup(STDERR_FILENO);
	int m_anEnds[2] = {};
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

TEST(CVexTraceServer, ConsoleLosesOnlyTheLinesThatCannotBeWritten)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr);
	oServer.SetConsoleOutput(true);
	signal(SIGPIPE, SIG_DFL);
	const auto Trace = [&](const std::string& sText)
	{
		oTrace.AddMsg(CVexTraceMsg::eInfo, sText.c_str());
		oServer.WaitUntilWritten();
		oServer.WaitUntilWritten();    // the thread has left the console
	};
	{
		CStderrPipe oPipe;
		Trace(std::string(200000, 'x'));    // more than a pipe takes: torn
		Trace("lost");
		EXPECT_EQ(oPipe.Read().find("lost"), std::string::npos);
		Trace("whole");
		const std::string sText = oPipe.Read();
		EXPECT_EQ(sText.substr(0, 1), "\n");    // ends the torn line
		EXPECT_NE(sText.find(" INFO o/C whole\n"), std::string::npos);
		oPipe.LoseReader();
		Trace("without a reader");
	}
	CStderrPipe oPipe;
	Trace("again");
	EXPECT_NE(oPipe.Read().find(" INFO o/C again\n"), std::string::npos);
	EXPECT_TRUE(std::cerr.good());
}

TEST(CVexTraceServer, MessageWithoutMemoryIsDroppedAndTracingGoesOn)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr);
	oTrace.AddMsg(CVexTraceMsg::eInfo, "no memory");
	oTrace.AddMsg(CVexTraceMsg::eInfo, "next");
	EXPECT_EQ(oServer.Lines(), (std::vector<std::string>{ "o/C next" }));
}

// Only the thread sanitizer sees a fault.
TEST(CVexTraceServer, OptionsAreReadWhileTheMonitorPortOpensAndCloses)
{
	CTestServer oServer(CVexTraceMsg::eInfo);
	std::thread oReader(
		[&]
		{
			for (int i = 0; i < 200; ++i)
				oServer.ReadOptionsFromIniFile();
		});
	for (int i = 0; i < 200; ++i)
		oServer.SetTCPIPMonitorOn(i % 2 == 0);
	oReader.join();
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
