#include "VexConApplication.h"

#include "support/FrameRun.h"
#include "support/PseudoTerminal.h"

#include "VexThread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <random>
#include <set>
#include <sstream>

namespace
{
using namespace std::chrono_literals;

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
		// The signal may interrupt the very event that Finalize() signals.
		{ "poll", "Run", SIGTERM, 0, {}, {} },
		{ "hold", "", 0, 0, { "Finalize\n" }, { "Signal 15 aufgetreten", "returned" } },
		{ "exit", "", 0, 5, {}, { "last words" } },
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
		{ "no-end-thread",
			"",
			0,
			0,
			{},
			{ "ERROR\t/CVexBaseApplication\tSignal-Handler nicht installiert: kein Thread" } },
#endif
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
		EXPECT_EQ(FinalizedOnce(aoRuns.front()), rCase.nStatus != 5);
		ExpectInOrder(rProgram.Output(), rCase.aszOutput);
		ExpectInOrder(aoRuns.front().Log(), rCase.aszLog);
		aoRuns.pop_front();
	}
}

// Its trace server can never be stopped, but Finalize() runs.
TEST(CVexConApplication, UseThatGetTraceFlagLeavesDoesNotKeepFinalizeFromRunning)
{
	SFrameRun oRun("flag");
	EXPECT_TRUE(oRun.m_oProgram.WaitForOutput("Finalize\n"));
	EXPECT_FALSE(oRun.m_oProgram.WaitForEnd(1000));
}

TEST(CVexConApplication, EchoIsOnAgainAfterASignalWhileAPasswordIsRead)
{
	const CPseudoTerminal oTerminal;
	SFrameRun oRun("password", "", "FrameProgram", oTerminal.m_nLine);
	ASSERT_TRUE(ComesTrue([&] { return !oTerminal.Echo(); }));
	EXPECT_EQ(oRun.m_oProgram.EndStatus(SIGTERM), 0);
	EXPECT_TRUE(oTerminal.Echo());
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
const int nEndLimitMs = 40000;
#else
const int nEndLimitMs = 10000;
#endif

// A mode of SignalStressProgram.
struct SStressMode
{
	const char* szMode;
	int nStatus = -1;    // -1: that of the signals
	bool bEndsByItself = false;
	bool bOneSignal = false;    // and none to a thread
	int nQuietMs = 0;           // before the signals

	friend std::ostream& operator<<(std::ostream& rStream, const SStressMode& rMode) { return rStream << rMode.szMode; }
};

// Two signals at most, at a random moment and within a millisecond.
struct SStressRun : SFrameRun
{
	SStressRun(const SStressMode& rMode, unsigned nSeed)
		: SFrameRun(rMode.szMode, "[Trace]\nInfo=1\n", "SignalStressProgram"), m_rMode(rMode), m_oRandom(nSeed)
	{
		m_oSent << "seed " << nSeed << ", signals";
	}

	int Random(int nLimit) { return std::uniform_int_distribution<int>(0, nLimit - 1)(m_oRandom); }

	void SendSignals()
	{
		const bool bReady = m_oProgram.WaitForOutput("ready\n");
		CVexThread::Sleep(0, m_rMode.nQuietMs + Random(100));
		const int anSignals[] = { SIGTERM, SIGINT, SIGABRT, SIGUSR1 };
		std::vector<int> anSend = { anSignals[Random(3)] };
		if (!m_rMode.bOneSignal && Random(2))    // SIGUSR1, which ends nothing, may only come before or after another
			anSend.insert(anSend.begin() + Random(2), anSignals[Random(4)]);
		for (const int nSignal : m_rMode.bEndsByItself || !bReady ? std::vector<int>() : anSend)
		{
			const bool bToThread = !m_rMode.bOneSignal && Random(4) == 0;
			m_oSent << " " << nSignal << (bToThread ? " to a thread" : "");
			if (nSignal != SIGUSR1 && m_rMode.nStatus < 0)
				m_anStatus.insert(nSignal == SIGABRT ? 3 : 0);
			if (bToThread)
				m_oProgram.SendSignalToThread(nSignal, Random(1000));
			else
				m_oProgram.SendSignal(nSignal);
			std::this_thread::sleep_for(Random(1000) * 1us);
		}
		m_oSentAt = std::chrono::steady_clock::now();
	}

	// How long the end took.
	int AwaitEnd()
	{
		const auto SinceSentMs = [this] { return (std::chrono::steady_clock::now() - m_oSentAt) / 1ms; };
		m_bEnded = m_oProgram.WaitForEnd(nEndLimitMs - static_cast<int>(SinceSentMs()));
		return static_cast<int>(SinceSentMs());
	}

	// After AwaitEnd(): empty if the run ended as it should.
	std::string Fault()
	{
		if (!m_bEnded)
			return "no end";
		const int nStatus = m_oProgram.ExitStatus();
		const std::string sMode = m_rMode.szMode, sIni = m_oFolder.ReadFile("Stress.ini"), sLog = Log();
		if (nStatus == -SIGABRT && sMode == "double_free")    // nothing else is certain about a damaged heap
			return "";
		if (m_anStatus.count(nStatus) == 0)
			return "status " + std::to_string(nStatus);
		if (!FinalizedOnce(*this))
			return "not finalized once";
		if (sLog.empty() || sLog.back() != '\n')
			return "torn log";
		if (sLog.find(" aufgetreten. Die Anwendung wird beendet.\n") == std::string::npos)
			return "log without the signal";
		// Each save writes the same text into all options.
		const std::size_t nText = std::min(sIni.find('='), sIni.size());
		const std::string sText = sIni.substr(nText, sIni.find('\n', nText) + 1 - nText);
		std::string sWhole = "\n[Stress]  \n";
		for (int i = 2000; i-- > 0;)
			sWhole += "Option" + std::to_string(i) + sText;
		return sIni == sWhole ? "" : "damaged ini file";
	}

	const SStressMode& m_rMode;
	std::mt19937 m_oRandom;
	std::set<int> m_anStatus = { m_rMode.nStatus };    // each of them is right
	std::ostringstream m_oSent;
	std::chrono::steady_clock::time_point m_oSentAt;
	bool m_bEnded = false;
};

using CSignalStress = testing::TestWithParam<SStressMode>;

// VEX_SIGNAL_RUNS: the runs of each mode, four at a time. VEX_SIGNAL_SEED: of the first run; the next counts on.
TEST_P(CSignalStress, SignalEndsTheProgramWhateverItInterrupts)
{
	const char *szRuns = std::getenv("VEX_SIGNAL_RUNS"), *szSeed = std::getenv("VEX_SIGNAL_SEED");
	const unsigned nRuns = szRuns ? static_cast<unsigned>(std::atoi(szRuns)) : 2;
	unsigned nSeed = szSeed ? static_cast<unsigned>(std::strtoul(szSeed, nullptr, 10)) : std::random_device()();
	int nLongestMs = 0;
	for (unsigned nFirst = 0; nFirst < nRuns; nFirst += 4)
	{
		std::deque<SStressRun> aoRuns;
		while (aoRuns.size() < std::min(4u, nRuns - nFirst))
			aoRuns.emplace_back(GetParam(), nSeed++);
		for (SStressRun& rRun : aoRuns)
			rRun.SendSignals();
		for (SStressRun& rRun : aoRuns)
			nLongestMs = std::max(nLongestMs, rRun.AwaitEnd());
		for (SStressRun& rRun : aoRuns)
			EXPECT_EQ(rRun.Fault(), "") << GetParam() << ", " << rRun.m_oSent.str() << "\n"
										<< rRun.m_oProgram.ErrorOutput().substr(0, 5000);
	}
	if (szRuns)
		std::cout << GetParam() << ": longest end " << nLongestMs << " ms\n";
}

const SStressMode aStressModes[] = {
	{ "trace" },
	{ "strftime" },
	{ "realloc" },
	{ "qsort" },
	{ "time_trace" },
	{ "time", -1, false, false, 1100 },    // the second of the last trace line is over
	{ "cout" },
	{ "printf" },
	{ "stderr" },
	{ "appl_name" },
	{ "ini" },
	{ "ini_finalize" },
	{ "abort_finalize", 3 },
	{ "throw_finalize", 3 },
	{ "abort_indication", 3, true },
	{ "abort_savemsg", 3, true },
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
	{ "double_free", 3, true },
	{ "getpwuid" },    // the thread sanitizer sees its buffer, not its lock
#endif
	{ "destroy", 0, true },
	{ "locale" },
	{ "mutex" },
	{ "own_new" },
	{ "fork_exec" },
	{ "dlopen" },
	{ "lookup" },
	{ "threads", -1, false, true },    // a thread that ends takes its signals along
	{ "exceptions" },
	{ "fwrite" },
	{ "delete" },
};
INSTANTIATE_TEST_SUITE_P(Modes, CSignalStress, testing::ValuesIn(aStressModes),
	[](const auto& rInfo) { return std::string(rInfo.param.szMode); });

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
