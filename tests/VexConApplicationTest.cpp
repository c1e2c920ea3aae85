#include "VexConApplication.h"

#include "support/ProgramRunner.h"
#include "support/TempFolder.h"

#include "VexThread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

namespace
{
const int nLimitMs = 60000;

// The program in a folder of its own, with all levels on unless the ini file's text says otherwise.
class CFrameRun
{
public:
	explicit CFrameRun(const std::string& sMode, const std::string& sTraceIni = "[Trace]\nDebug=3\n")
		: m_oProgram(LinkProgram(VEX_TEST_PROGRAM_DIR "/FrameProgram", m_oFolder))
	{
		m_oFolder.WriteFile("Trace.ini", sTraceIni);
		m_oProgram.Start({ sMode });
	}

	std::string Log() const
	{
		std::string sLog;
		for (const auto& rEntry : std::filesystem::directory_iterator(m_oFolder.Path()))
			if (rEntry.path().extension() == ".log")
				sLog += m_oFolder.ReadFile(rEntry.path().filename().string());
		return sLog;
	}

	std::string Output() const { return m_oProgram.Output(); }
	CProgramRunner& Program() { return m_oProgram; }

private:
	CTempFolder m_oFolder;
	CProgramRunner m_oProgram;
};

std::size_t CountOf(const std::string& sText, const std::string& sPart)
{
	std::size_t nCount = 0;
	for (std::size_t nAt = sText.find(sPart); nAt != std::string::npos; nAt = sText.find(sPart, nAt + 1))
		++nCount;
	return nCount;
}

TEST(CVexConApplication, LifeEndsAsItsModeSays)
{
	const struct
	{
		const char* szMode;
		int nStatus;
		std::vector<const char*> aszOutput;    // in this order
		std::vector<const char*> aszLog;
	} aCases[] = {
		{ "none",
			0,
			{ "exchange 1\nexchange 2\nInitialize\nRun ", "/FrameProgram.ini none \n", "Finalize\n" },
			{ "Trace-Server wurde gestartet\tFile source/VexApplication Line ",
				"FrameProgram Kommandozeilenargumente: none ",
				"INFO\t/CVexBaseApplication\tAnwendung FrameProgram wird gestartet.\tFile source/VexApplication Line ",
				"Anwendung FrameProgram wird beendet.",
				"DEBUG\t/CVexBaseApplication\tTrace-Server wird beendet" } },
		{ "badend", 1, { "Run", "Finalize\n" }, { "wird beendet." } },
		{ "noinit", 0, { "Initialize\nFinalize\n" }, { "wird gestartet.", "wird beendet." } },
		{ "signal-in-finalize", 0, { "Run", "Finalize\n" }, { "Signal 15 aufgetreten", "wird beendet." } },
		{ "child-signal", 0, { "child goes on\nchild status 7\nFinalize\n" }, { "wird beendet." } },
		{ "abort", 3, { "Run", "Finalize\n" }, { "Signal 6 aufgetreten" } },
		{ "giveback",
			3,
			{ "put off\nFinalize\n" },
			{ "given back",
				"WARNING\tGlobal/-\tSignal-Handler: Signal 6 aufgetreten. Die Anwendung wird beendet.\n" } },
		{ "server-thread",
			0,
			{ "Run", "Finalize\n" },
			{ "last words", "Signal 15 aufgetreten", "Trace-Server wird beendet" } },
	};
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(rCase.szMode);
		CFrameRun oRun(rCase.szMode);
		ASSERT_TRUE(oRun.Program().WaitForEnd(nLimitMs)) << oRun.Output();
		EXPECT_EQ(oRun.Program().ExitStatus(), rCase.nStatus) << oRun.Program().ErrorOutput();
		EXPECT_EQ(CountOf(oRun.Output(), "Finalize\n"), 1u) << oRun.Output();
		std::size_t nAt = 0;
		const std::string sOutput = oRun.Output();
		for (const char* szPart : rCase.aszOutput)
			EXPECT_NE(nAt = sOutput.find(szPart, nAt == std::string::npos ? 0 : nAt), std::string::npos)
				<< szPart << " in " << sOutput;
		nAt = 0;
		const std::string sLog = oRun.Log();
		for (const char* szPart : rCase.aszLog)
			EXPECT_NE(nAt = sLog.find(szPart, nAt == std::string::npos ? 0 : nAt), std::string::npos)
				<< szPart << " in " << sLog;
	}
}

TEST(CVexConApplication, SignalEndsAWaitingProgramCleanly)
{
	const struct
	{
		int nSignal;
		int nStatus;
	} aCases[] = { { SIGINT, 0 }, { SIGTERM, 0 }, { SIGABRT, 3 } };
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(rCase.nSignal);
		CFrameRun oRun("wait");
		ASSERT_TRUE(oRun.Program().WaitForOutput("Run", nLimitMs));
		oRun.Program().SendSignal(rCase.nSignal);
		ASSERT_TRUE(oRun.Program().WaitForEnd(nLimitMs));
		EXPECT_EQ(oRun.Program().ExitStatus(), rCase.nStatus);
		EXPECT_EQ(CountOf(oRun.Output(), "Finalize\n"), 1u);
		EXPECT_EQ(CountOf(oRun.Log(),
					  "Signal-Handler: Signal " + std::to_string(rCase.nSignal) +
						  " aufgetreten. Die Anwendung wird beendet."),
			1u);
	}
}

TEST(CVexConApplication, SecondSignalIsNotPutOffForAUse)
{
	CFrameRun oRun("hold");
	ASSERT_TRUE(oRun.Program().WaitForOutput("put off", nLimitMs));
	EXPECT_EQ(CountOf(oRun.Output(), "Finalize"), 0u);
	oRun.Program().SendSignal(SIGTERM);
	ASSERT_TRUE(oRun.Program().WaitForEnd(nLimitMs));
	EXPECT_EQ(oRun.Program().ExitStatus(), 0);
	EXPECT_EQ(CountOf(oRun.Output(), "Finalize\n"), 1u);
}

// The program forks while another thread traces; each child traces and registers an object of its own.
TEST(CVexConApplication, ChildAfterForkTracesWithoutDeadlock)
{
#ifdef __SANITIZE_ADDRESS__
	GTEST_SKIP() << "the sanitizer's allocator is not usable in the child of a process with several threads";
#endif
	CFrameRun oRun("fork");
	ASSERT_TRUE(oRun.Program().WaitForEnd(nLimitMs));
	EXPECT_EQ(oRun.Program().ExitStatus(), 0);
	EXPECT_EQ(CountOf(oRun.Output(), "child failed"), 0u);
	EXPECT_EQ(CountOf(oRun.Output(), "children done\nFinalize\n"), 1u);
}

// The handler may interrupt the very event that Finalize() signals.
TEST(CVexConApplication, SignalEndsAProgramThatPollsTheEventOfItsEnd)
{
	for (int i = 0; i < 5; ++i)
	{
		CFrameRun oRun("poll");
		ASSERT_TRUE(oRun.Program().WaitForOutput("busy", nLimitMs));
		oRun.Program().SendSignal(SIGTERM);
		ASSERT_TRUE(oRun.Program().WaitForEnd(nLimitMs));
		EXPECT_EQ(oRun.Program().ExitStatus(), 0);
	}
}

// Its trace server can never be stopped, but Finalize() shows that the handler ran.
TEST(CVexConApplication, UseThatGetTraceFlagLeavesPutsNoSignalOff)
{
	CFrameRun oRun("flag");
	EXPECT_TRUE(oRun.Program().WaitForOutput("Finalize\n", nLimitMs));
	EXPECT_FALSE(oRun.Program().WaitForEnd(1000));
}

TEST(CVexConApplication, AfterItsEndSignalsHaveTheDefaultAction)
{
	CFrameRun oRun("signal-after-end");
	ASSERT_TRUE(oRun.Program().WaitForEnd(nLimitMs));
	EXPECT_EQ(oRun.Program().EndSignal(), SIGINT);
}

// Signals at any moment of a program that traces without pause. VEX_SIGNAL_RUNS asks for more runs.
TEST(CVexConApplication, SignalEndsAProgramThatTracesWithoutPause)
{
	const char* szRuns = std::getenv("VEX_SIGNAL_RUNS");
	const int nRuns = szRuns ? std::atoi(szRuns) : 6;
	for (int i = 0; i < nRuns; ++i)
	{
		SCOPED_TRACE(i);
		const int nSignal = i % 3 == 0 ? SIGTERM : i % 3 == 1 ? SIGINT : SIGABRT;
		CFrameRun oRun("busy", "[Trace]\nInfo=1\n");
		ASSERT_TRUE(oRun.Program().WaitForOutput("busy", nLimitMs));
		CVexThread::Sleep(0, std::rand() % 100);
		oRun.Program().SendSignal(nSignal);
		if (i % 2)
			oRun.Program().SendSignal(SIGTERM);
		ASSERT_TRUE(oRun.Program().WaitForEnd(nLimitMs)) << "run " << i;
		// Of two signals either may be the one that ends it.
		const bool bMayBeEither = nSignal == SIGABRT && i % 2 != 0;
		EXPECT_TRUE(bMayBeEither || oRun.Program().ExitStatus() == (nSignal == SIGABRT ? 3 : 0))
			<< oRun.Program().ExitStatus();
		EXPECT_EQ(CountOf(oRun.Output(), "Finalize\n"), 1u);
		const std::string sLog = oRun.Log();
		ASSERT_FALSE(sLog.empty());
		EXPECT_EQ(sLog.back(), '\n');
		EXPECT_NE(sLog.find("Die Anwendung wird beendet."), std::string::npos);
	}
}

TEST(CVexConApplication, AMillionMessagesAreAllInTheLogInOrder)
{
	CFrameRun oRun("million", "[Trace]\nInfo=1\n");
	ASSERT_TRUE(oRun.Program().WaitForEnd(2 * nLimitMs));
	EXPECT_EQ(oRun.Program().ExitStatus(), 0);
	std::istringstream oLog(oRun.Log());
	long anNext[4] = {};
	for (std::string sLine; std::getline(oLog, sLine);)
	{
		const std::size_t nName = sLine.find("\tT");
		const std::size_t nNumber = sLine.find("number ");
		if (nName == std::string::npos || nNumber == std::string::npos)
			continue;
		ASSERT_EQ(std::atol(sLine.c_str() + nNumber + 7), anNext[sLine[nName + 2] - '0']++);
	}
	for (const long nNext : anNext)
		EXPECT_EQ(nNext, 250000);
}

TEST(StaticObjects, UseTheLibraryBeforeAndAfterMain)
{
	CTempFolder oFolder;
	CProgramRunner oProgram(LinkProgram(VEX_TEST_PROGRAM_DIR "/StaticObjectsProgram", oFolder));
	oProgram.Start();
	ASSERT_TRUE(oProgram.WaitForEnd(nLimitMs));
	EXPECT_EQ(oProgram.ExitStatus(), 0);
	EXPECT_EQ(oProgram.Output(), "constructor ok\ndestructor ok\n");
}
}    // namespace
