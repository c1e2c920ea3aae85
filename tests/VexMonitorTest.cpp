// The program vexmonitor, against a server that sends exact bytes and against a real program.

#include "support/FrameRun.h"
#include "support/ScriptedTraceServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>

#include <deque>
#include <tuple>

namespace
{
const int nLimitMs = 60000;

typedef std::vector<std::string> Args;
typedef CScriptedTraceServer S;

// For the programs that are started from now on; null: no variable of this name.
void SetVariable(const char* pszName, const char* pszValue)
{
	unsetenv(pszName);
	if (pszValue)
		setenv(pszName, pszValue, 1);
}

struct SMonitor : CProgramRunner
{
	explicit SMonitor(const Args& asArgs, int nStdin = -1) : CProgramRunner(VEX_TOOL_DIR "/vexmonitor")
	{
		Start(asArgs, "", nStdin);
	}

	int Status() { return WaitForEnd(nLimitMs) ? ExitStatus() : -2; }

	int StatusAfter(int nSignal)
	{
		SendSignal(nSignal);
		return Status();
	}

	bool WaitForError(const std::string& sText)
	{
		return ComesTrue([&] { return ErrorOutput().find(sText) != std::string::npos; });
	}
};

Args WithPort(unsigned short nPort, Args asArgs)
{
	asArgs.insert(asArgs.end(), { "-port", std::to_string(nPort) });
	return asArgs;
}

// A monitor and the server that it follows. Rows of a test run at the same time.
struct SMonitored
{
	explicit SMonitored(const Args& asArgs = {}, const S::Script& oScript = S::Confirm)
		: m_oServer(oScript), m_oMonitor(WithPort(m_oServer.Port(), asArgs))
	{
	}
	S m_oServer;
	SMonitor m_oMonitor;
};

std::string Request(int nExchange, const std::string& sItems)
{
	return Frame(Word(0x01000000 + 0x100 * nExchange) + sItems);
}

std::string WatchRequest(const std::string& sClass, int nLevels)
{
	return Request(8, Item(sClass) + Word(nLevels));
}

std::string LevelRequest(long nObject, int nLevels)
{
	return Request(6, Word(1) + Word(nObject) + Word(nLevels));
}

const std::string sStartRequest = Request(2, "");

TEST(VexMonitor, UsageErrorsAreOneLineAndStatusTwo)
{
	const std::pair<Args, const char*> aCases[] = {
		{ { "-foo" }, "unknown option -foo" },
		{ { "host" }, "unexpected argument host" },
		{ { "-port" }, "-port needs a value" },
		{ { "-port", "65536" }, "-port: no port number: 65536" },
		{ { "-port", "12x" }, "-port: no port number: 12x" },
		{ { "-object", "five" }, "-object: no number: five" },
		{ { "-watch", "CA", "-level", "LOUD" }, "unknown level LOUD" },
		{ { "-watch", "CA", "-level", "INFO", "-level", "INFO" }, "-level INFO stands behind no -watch or -object" },
	};
	SMonitor oHelp({ "-help" });
	std::deque<SMonitor> aoMonitors;
	for (const auto& rCase : aCases)
		aoMonitors.emplace_back(rCase.first);
	for (const auto& rCase : aCases)
	{
		EXPECT_EQ(aoMonitors.front().Status(), 2);
		EXPECT_EQ(aoMonitors.front().Output(), "");
		EXPECT_EQ(aoMonitors.front().ErrorOutput(),
			std::string("vexmonitor: ") + rCase.second + " (vexmonitor -help lists the options)\n");
		aoMonitors.pop_front();
	}
	EXPECT_EQ(oHelp.Status(), 0);
	EXPECT_EQ(oHelp.Output().substr(0, 17), "usage: vexmonitor");
	EXPECT_EQ(oHelp.ErrorOutput(), "");
}

TEST(VexMonitor, WhatIsWrongIsToldInOneLine)
{
	const std::tuple<int, Args, std::string> aCases[] = {
		{ 1, {}, "wrong user name" },    // the number of the login's confirmation
		{ 2, {}, "wrong password" },
		{ 3, {}, "wrong user name and password" },
		{ 0, { "-watch", "CNone" }, "unknown class CNone" },
		{ 0, { "-object", "6" }, "unknown object 6" },
	};
	const std::string sPort = std::to_string(FindFreePort());
	SMonitor oRefused({ "-port", sPort });
	SMonitor oUnknown({ "-host", "unknown.invalid" });
	std::deque<SMonitored> aoRuns;
	for (const auto& [nAnswer, asArgs, sProblem] : aCases)
		aoRuns.emplace_back(asArgs, S::Answering(1, Frame(Word(0x02000100) + Word(nAnswer))));
	for (const auto& rCase : aCases)
	{
		EXPECT_EQ(aoRuns.front().m_oMonitor.Status(), 1);
		EXPECT_EQ(aoRuns.front().m_oMonitor.ErrorOutput(), "vexmonitor: " + std::get<2>(rCase) + "\n");
		aoRuns.pop_front();
	}
	EXPECT_EQ(oRefused.Status(), 1);
	EXPECT_EQ(oRefused.ErrorOutput(), "vexmonitor: cannot connect to 127.0.0.1:" + sPort + ": Connection refused\n");
	EXPECT_EQ(oUnknown.Status(), 1);
	EXPECT_EQ(oUnknown.ErrorOutput(), "vexmonitor: cannot connect to unknown.invalid:15000: unknown host\n");
}

TEST(VexMonitor, ShowsInfoAndListAndEnds)
{
	SMonitored oRun({ "-list", "-info" });
	SMonitored oJson({ "-list", "-info", "-json" });
	EXPECT_EQ(oRun.m_oMonitor.Status(), 0);
	EXPECT_EQ(oRun.m_oMonitor.Output(), "Program started at 24.12.2009\n5\tName/CClass\n");
	EXPECT_EQ(oRun.m_oServer.Received().find(sStartRequest), std::string::npos);
	EXPECT_EQ(oJson.m_oMonitor.Status(), 0);
	EXPECT_EQ(oJson.m_oMonitor.Output(),
		"{\"info\":\"Program started at 24.12.2009\",\"host\":\"127.0.0.1\"}\n"
		"{\"object\":5,\"name\":\"Name\",\"class\":\"CClass\",\"host\":\"127.0.0.1\"}\n");
}

TEST(VexMonitor, AsksForTheLevelsOfClassesAndOfTheirObjects)
{
	const std::pair<Args, std::string> aCases[] = {
		{ {}, WatchRequest("*", 7) + LevelRequest(5, 7) },
		{ { "-level", "debug2" }, WatchRequest("*", 31) + LevelRequest(5, 31) },
		{ { "-watch", "CClass", "-watch", "*", "-level", "Debug3" },
			WatchRequest("CClass", 7) + WatchRequest("*", 63) + LevelRequest(5, 7) },
		{ { "-level", "none", "-object", "5", "-level", "ERROR", "-watch", "CClass" },
			WatchRequest("CClass", 0) + LevelRequest(5, 1) },
	};
	std::deque<SMonitored> aoRuns;
	for (const auto& rCase : aCases)
		aoRuns.emplace_back(rCase.first);
	for (const auto& [asArgs, sExpected] : aCases)
	{
		S& rServer = aoRuns.front().m_oServer;
		ASSERT_TRUE(rServer.WaitForBytes(sStartRequest));
		std::string sRequests = rServer.Received();
		sRequests.erase(0, Request(1, Item("monitorix") + Item("monitorixmonitorix")).size());
		sRequests.erase(sRequests.find(Request(7, "")), Request(7, "").size());
		EXPECT_EQ(sRequests, sExpected + sStartRequest);
		EXPECT_EQ(aoRuns.front().m_oMonitor.ErrorOutput(), "");
		aoRuns.pop_front();
	}
}

TEST(VexMonitor, LinesAreConfirmedAndShownSoThatTheyCannotSteerTheTerminal)
{
	const std::string sTime = "24.12.2009 18:05:03.042 ";
	const std::string sText = "INFO CClass \x1b]0;x\x07 \x9bm\x7f\n\tL\xF6we \"\\";
	const std::string sShown = "INFO CClass \\x1b]0;x\\x07 \\x9bm\\x7f\\x0a\tL";
	const std::tuple<Args, const char*, std::string> aCases[] = {
		{ {}, "C", sTime + sShown + "\xF6we \"\\\nfree text\n" },
		{ {}, "C.UTF-8", sTime + sShown + "\xC3\xB6we \"\\\nfree text\n" },
		{ { "-json" },
			"C",
			"{\"time\":\"2009-12-24T18:05:03.042Z\",\"level\":\"INFO\",\"object\":5,\"class\":\"CClass\",\"text\":"
			"\"\\u001b]0;x\\u0007 \\u009bm\\u007f\\u000a\\u0009L\xC3\xB6we \\\"\\\\\",\"host\":\"127.0.0.1\"}\n" },
	};
	for (const auto& [asArgs, szLocale, sOutput] : aCases)
	{
		SetVariable("LC_ALL", szLocale);
		SMonitored oRun(asArgs);
		ASSERT_TRUE(oRun.m_oServer.WaitForBytes(sStartRequest));
		oRun.m_oServer.Send(TraceFrame(5, 4, sTime + sText) + TraceFrame(-1, 1, "free text"));
		EXPECT_TRUE(oRun.m_oServer.WaitForBytes(ConfirmationOfLine(5) + ConfirmationOfLine(-1)));
		EXPECT_TRUE(oRun.m_oMonitor.WaitForOutput("free text", nLimitMs));
		EXPECT_EQ(oRun.m_oMonitor.Output().substr(0, sOutput.size()), sOutput);
	}
}

TEST(VexMonitor, TextsOfAUtf8CommandLineGoOutInIso8859)
{
	SetVariable("LC_ALL", "C.UTF-8");
	const std::string sNoSuchText = "C\xE2\x82\xAC";    // there is no euro: it goes as it is
	SMonitored oRun({ "-user", "J\xC3\xB6rg", "-watch", "*", "-watch", sNoSuchText });
	EXPECT_TRUE(oRun.m_oServer.WaitForBytes(Item("J\xF6rg")));
	EXPECT_TRUE(oRun.m_oServer.WaitForBytes(Item(sNoSuchText)));
}

TEST(VexMonitor, FollowsAgainWhenTheProgramHasRestarted)
{
	auto poServer = std::make_unique<S>();
	const unsigned short nPort = poServer->Port();
	SMonitor oMonitor(WithPort(nPort, { "-object", "5" }));
	ASSERT_TRUE(poServer->WaitForBytes(sStartRequest));
	poServer->Send(TraceFrame(5, 1, "last words"));
	ASSERT_TRUE(poServer->WaitForBytes(ConfirmationOfLine(5)));
	poServer.reset();
	const std::string sPeer = "127.0.0.1:" + std::to_string(nPort);
	EXPECT_TRUE(oMonitor.WaitForError("vexmonitor: lost the connection to " + sPeer + "; next try in 0.5 s\n"));
	EXPECT_TRUE(oMonitor.WaitForError(sPeer + ": Connection refused; next try in 1 s\n"));
	// The object has another number now, and is not there at once.
	std::atomic<int> nLists{ 0 };
	poServer = std::make_unique<S>(
		[&](const std::string& sPayload)
		{
			if (sPayload[1] != 7)
				return S::Confirm(sPayload);
			const std::string sList = ++nLists == 1 ? Word(0) : Word(1) + Word(9) + Item("Name/CClass");
			return Frame(Word(0x02000700) + sList);
		},
		nPort);
	EXPECT_TRUE(poServer->WaitForBytes(sStartRequest));
	EXPECT_TRUE(poServer->WaitForBytes(LevelRequest(9, 7)));
	poServer->Send(TraceFrame(9, 1, "first words"));
	EXPECT_TRUE(oMonitor.WaitForOutput("last words\nfirst words\n", nLimitMs));
	EXPECT_EQ(oMonitor.StatusAfter(SIGTERM), 0);
	EXPECT_TRUE(oMonitor.WaitForError("vexmonitor: connected again\n"));
}

TEST(VexMonitor, ThePasswordComesFromTheOptionTheEnvironmentOrTheDefault)
{
	// Scrambled and in hexadecimal digits: of one character it is always 01.
	const std::tuple<const char*, Args, std::string> aCases[] = {
		{ "x", {}, "01" },
		{ "secret", { "-password", "x" }, "01" },
		{ "", {}, "" },
		{ "secret", { "-password", "" }, "" },
		{ nullptr, {}, "1c7a1d7d00661d7d0c" },
	};
	for (const auto& [szVariable, asArgs, sPassword] : aCases)
	{
		SetVariable("VEXMONITOR_PASSWORD", szVariable);
		SMonitored oRun(asArgs);
		ASSERT_TRUE(oRun.m_oServer.WaitForBytes(sStartRequest));
		const std::string sLogin = Request(1, Item("monitorix") + Item(sPassword));
		EXPECT_EQ(oRun.m_oServer.Received().substr(0, sLogin.size()), sLogin);
	}
}

TEST(VexMonitor, AsksForThePasswordWithoutEchoOnATerminal)
{
	int nMaster = -1;
	int nTerminal = -1;
	ASSERT_EQ(openpty(&nMaster, &nTerminal, nullptr, nullptr, nullptr), 0);
	fcntl(nMaster, F_SETFL, O_NONBLOCK);
	const auto Echo = [&]
	{
		termios oAttributes = {};
		return tcgetattr(nTerminal, &oAttributes) == 0 && (oAttributes.c_lflag & ECHO) != 0;
	};
	S oServer;
	SMonitor oMonitor(WithPort(oServer.Port(), { "-info" }), nTerminal);
	ASSERT_TRUE(oMonitor.WaitForError("Password of monitorix: "));
	ASSERT_TRUE(ComesTrue([&] { return !Echo(); }));
	EXPECT_EQ(write(nMaster, "x\n", 2), 2);
	EXPECT_EQ(oMonitor.Status(), 0);
	EXPECT_NE(oServer.Received().find(Item("monitorix") + Item("01")), std::string::npos);
	EXPECT_TRUE(Echo());
	char szShown[64];
	EXPECT_LE(read(nMaster, szShown, sizeof szShown), 0);

	SMonitor oInterrupted({}, nTerminal);
	ASSERT_TRUE(ComesTrue([&] { return !Echo(); }));
	EXPECT_EQ(oInterrupted.StatusAfter(SIGINT), 0);
	EXPECT_TRUE(Echo());
	close(nTerminal);
	close(nMaster);
}

TEST(VexMonitor, AServerThatNeverAnswersDoesNotKeepItFromEnding)
{
	SMonitored oRun({}, [](const std::string&) { return std::string(); });
	ASSERT_TRUE(oRun.m_oServer.WaitForBytes("monitorix"));
	const auto oBegin = std::chrono::steady_clock::now();
	EXPECT_EQ(oRun.m_oMonitor.StatusAfter(SIGINT), 0);
	EXPECT_LT(std::chrono::steady_clock::now() - oBegin, std::chrono::seconds(9));    // of 10 for the answer
}

TEST(VexMonitor, RaisesAClassOfARunningProgramAndLetsItFallBack)
{
	const unsigned short nPort = FindFreePort();
	SFrameRun oRun("raised", SFrameRun::MonitorIni(nPort, "Error=1"));
	ASSERT_TRUE(oRun.m_oProgram.WaitForOutput("ready\n", nLimitMs));
	// Its Trace.ini is the monitor's too, which must not take it for its own.
	CProgramRunner oMonitor(LinkProgram(VEX_TOOL_DIR "/vexmonitor", oRun.m_oFolder));
	oMonitor.Start({ "-port", std::to_string(nPort), "-watch", "CVexBaseApplication", "-level", "DEBUG", "-list" });
	EXPECT_TRUE(oMonitor.WaitForOutput("\t/CVexBaseApplication\n", nLimitMs)) << oMonitor.ErrorOutput();
	EXPECT_TRUE(oRun.m_oProgram.WaitForOutput("raised\n", nLimitMs));
	EXPECT_TRUE(oMonitor.WaitForOutput(" DEBUG CVexBaseApplication step", nLimitMs));
	oMonitor.SendSignal(SIGINT);
	EXPECT_TRUE(oRun.m_oProgram.WaitForOutput("fell back\n", nLimitMs));
	EXPECT_TRUE(oMonitor.WaitForEnd(nLimitMs));
	EXPECT_EQ(oMonitor.ExitStatus(), 0);
	EXPECT_EQ(oRun.Log().find("vexmonitor"), std::string::npos);    // it has no log file
}
}    // namespace
