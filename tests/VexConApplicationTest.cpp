#include "VexConApplication.h"

#include "support/FrameRun.h"

#include "VexThread.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <sstream>

namespace
{
void ExpectInOrder(const std::string& sText, const std::vector<const char*>& aszParts)
{
	std::size_t nAt = 0;
	for (const char* szPart : aszParts)
		ASSERT_NE(nAt = sText.find(szPart, nAt), std::string::npos) << szPart << " in " << sText;
}

bool FinalizedOnce(const SFrameRun& rRun)
{
	const std::string sOutput = rRun.m_oProgram.Output();
	return sOutput.find("Finalize\n") != std::string::npos && sOutput.find("Finalize\n") == sOutput.rfind("Finalize\n");
}

TEST(CVexConApplication, LifeEndsAsItsModeSays)
{
	const struct
	{
		const char* szMode;
		const char* szReady;    // as soon as it has told this,
		int nSignal;            // this signal is sent
		int nStatus;            // or the signal that ends it, negative
		std::vector<const char*> aszOutput;
		std::vector<const char*> aszLog;
	} aCases[] = {
		{ "none",
			"",
			0,
			0,
			{ "exchange 1\nexchange 2\nInitialize\nRun ", "/FrameProgram.ini none \n", "Finalize\n" },
			{ "Trace-Server wurde gestartet\tFile source/VexApplication Line ",
				"FrameProgram Kommandozeilenargumente: none ",
				"INFO\t/CVexBaseApplication\tAnwendung FrameProgram wird gestartet.\tFile source/VexApplication Line ",
				"Anwendung FrameProgram wird beendet.",
				"DEBUG\t/CVexBaseApplication\tTrace-Server wird beendet" } },
		{ "badend", "", 0, 1, { "Run", "Finalize\n" }, { "wird beendet." } },
		{ "noinit", "", 0, 0, { "Initialize\nFinalize\n" }, { "wird gestartet.", "wird beendet." } },
		{ "wait", "Run", SIGINT, 0, {}, { "Signal-Handler: Signal 2 aufgetreten. Die Anwendung wird beendet." } },
		{ "wait", "Run", SIGABRT, 3, {}, { "Signal 6 aufgetreten" } },
		{ "abort", "", 0, 3, {}, { "Signal 6 aufgetreten" } },
		// The handler may interrupt the very event that Finalize() signals.
		{ "poll", "Run", SIGTERM, 0, {}, {} },
		{ "giveback",
			"",
			0,
			3,
			{ "put off\nFinalize\n" },
			{ "given back",
				"WARNING\tGlobal/-\tSignal-Handler: Signal 6 aufgetreten. Die Anwendung wird beendet.\n" } },
		// A second signal is not put off for a use.
		{ "hold", "put off", SIGTERM, 0, { "put off\nFinalize\n" }, {} },
		{ "server-thread", "", 0, 0, {}, { "last words", "Signal 15 aufgetreten", "Trace-Server wird beendet" } },
		{ "child-signal", "", 0, 0, { "child goes on\nchild status 7\nFinalize\n" }, { "wird beendet." } },
		{ "signal-in-finalize", "", 0, 0, {}, { "Signal 15 aufgetreten", "wird beendet." } },
		{ "signal-after-end", "", 0, -SIGINT, {}, {} },
	};
	std::deque<SFrameRun> aoRuns;
	for (const auto& rCase : aCases)
	{
		CProgramRunner& rProgram = aoRuns.emplace_back(rCase.szMode).m_oProgram;
		ASSERT_TRUE(rProgram.WaitForOutput(rCase.szReady)) << rCase.szMode;
		if (rCase.nSignal)
			rProgram.SendSignal(rCase.nSignal);
	}
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(testing::Message() << rCase.szMode << ", signal " << rCase.nSignal);
		CProgramRunner& rProgram = aoRuns.front().m_oProgram;
		ASSERT_TRUE(rProgram.WaitForEnd()) << rProgram.Output();
		EXPECT_EQ(rProgram.ExitStatus(), rCase.nStatus) << rProgram.ErrorOutput();
		EXPECT_TRUE(FinalizedOnce(aoRuns.front()));
		ExpectInOrder(rProgram.Output(), rCase.aszOutput);
		ExpectInOrder(aoRuns.front().Log(), rCase.aszLog);
		aoRuns.pop_front();
	}
}

// Its trace server can never be stopped, but Finalize() shows that the handler ran.
TEST(CVexConApplication, UseThatGetTraceFlagLeavesPutsNoSignalOff)
{
	SFrameRun oRun("flag");
	EXPECT_TRUE(oRun.m_oProgram.WaitForOutput("Finalize\n"));
	EXPECT_FALSE(oRun.m_oProgram.WaitForEnd(1000));
}

TEST(CVexConApplication, SignalEndsAProgramThatTracesWithoutPause)
{
	const char* szRuns = std::getenv("VEX_SIGNAL_RUNS");
	const int anSignals[] = { SIGTERM, SIGINT, SIGABRT }, anStatus[] = { 0, 0, 3 };
#if defined(__SANITIZE_THREAD__)
	const int nSignals = 2;    // it runs handlers of SIGABRT at once, even inside itself
#else
	const int nSignals = 3;
#endif
	for (int i = 0; i < (szRuns ? std::atoi(szRuns) : 4); ++i)
	{
		SCOPED_TRACE(i);
		SFrameRun oRun("busy", "[Trace]\nInfo=1\n");
		ASSERT_TRUE(oRun.m_oProgram.WaitForOutput("busy"));
		CVexThread::Sleep(0, std::rand() % 100);
		oRun.m_oProgram.SendSignal(anSignals[i % nSignals]);
		if (i % 2)
			oRun.m_oProgram.SendSignal(anSignals[i % nSignals]);
		EXPECT_EQ(oRun.m_oProgram.EndStatus(), anStatus[i % nSignals]);
		EXPECT_TRUE(FinalizedOnce(oRun));
		const std::string sLog = oRun.Log();
		EXPECT_EQ(sLog.back(), '\n');
		EXPECT_NE(sLog.find("Die Anwendung wird beendet."), std::string::npos);
	}
}

TEST(CVexConApplication, MessagesOfManyThreadsAreAllInTheLogInOrder)
{
	SFrameRun oRun("many", "[Trace]\nInfo=1\n");
	ASSERT_TRUE(oRun.m_oProgram.WaitForEnd());
	std::istringstream oLog(oRun.Log());
	long anNext[4] = {};
	for (std::string sLine; std::getline(oLog, sLine);)
		if (const std::size_t nClass = sLine.find("/CTracer\t"); nClass != std::string::npos)
		{
			long& rnNext = anNext[sLine[nClass - 1] - '0'];
			ASSERT_EQ(sLine.substr(nClass), "/CTracer\tnumber " + std::to_string(rnNext++));
		}
	for (const long nNext : anNext)
		EXPECT_EQ(nNext, 25000);
}

TEST(StaticObjects, UseTheLibraryBeforeAndAfterMain)
{
	CTempFolder oFolder;
	CProgramRunner oProgram(LinkProgram(VEX_TEST_PROGRAM_DIR "/StaticObjectsProgram", oFolder));
	oProgram.Start();
	EXPECT_EQ(oProgram.EndStatus(), 0);
	EXPECT_EQ(oProgram.Output(), "constructor ok\ndestructor ok\n");
}
}    // namespace
