// The program vexmonitor, against a server that sends exact bytes and against a real program.

#include "support/FrameRun.h"
#include "support/PseudoTerminal.h"
#include "support/ScriptedTraceServer.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <algorithm>
#include <future>
#include <tuple>

namespace
{
typedef std::vector<std::string> Args;
typedef CScriptedTraceServer S;

const std::string sRun = "exec \"$0\" \"$@\"";

// Started by a line of the shell.
struct SMonitor : CProgramRunner
{
	explicit SMonitor(Args asArgs, int nStdin = -1, const std::string& sLine = sRun) : CProgramRunner("/bin/sh")
	{
		asArgs.insert(asArgs.begin(), { "-c", sLine, VEX_TOOL_DIR "/vexmonitor" });
		Start(asArgs, "", nStdin);
	}

	bool WaitForError(const std::string& sText)
	{
		return ComesTrue([&] { return ErrorOutput().find(sText) != std::string::npos; });
	}
};

// The port comes first: options behind it may name another one.
Args WithPort(unsigned short nPort, Args asArgs)
{
	asArgs.insert(asArgs.begin(), { "-port", std::to_string(nPort) });
	return asArgs;
}

// A monitor and the server that it follows.
struct SMonitored
{
	explicit SMonitored(const Args& asArgs = {}, const S::Script& oScript = S::Confirm, int nStdin = -1,
		const std::string& sLine = sRun)
		: m_oServer(oScript), m_oMonitor(WithPort(m_oServer.Port(), asArgs), nStdin, sLine)
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
	const std::pair<Args, std::string> aCases[] = {
		{ { "-foo" }, "unknown option -foo" },
		{ { "-port", "65536" }, "-port: no port number: 65536" },
		{ { "-object", "five" }, "-object: no number: five" },
		{ { "-watch", "CA", "-level", "LOUD" }, "unknown level LOUD" },
		{ { "-level", "INFO", "-level", "INFO" }, "-level INFO stands behind no -watch or -object" },
		{ { "-watch", "CA", "-level", "INFO", "-level", "INFO" }, "-level INFO stands behind no -watch or -object" },
	};
	for (const auto& [asArgs, sError] : aCases)
	{
		SMonitor oMonitor(asArgs);
		EXPECT_EQ(oMonitor.EndStatus(), 2);
		EXPECT_EQ(oMonitor.Output(), "");
		EXPECT_EQ(oMonitor.ErrorOutput(), "vexmonitor: " + sError + " (vexmonitor -help lists the options)\n");
	}
	SMonitor oHelp({ "-help" });
	EXPECT_EQ(oHelp.EndStatus(), 0);
	EXPECT_EQ(oHelp.Output().substr(0, 17), "usage: vexmonitor");
}

TEST(VexMonitor, WhatIsWrongIsToldInOneLine)
{
	const std::string sPort = std::to_string(FindFreePort());
	const std::tuple<int, Args, std::string> aCases[] = {
		{ 1, {}, "wrong user name" },    // the number of the login's confirmation
		{ 2, {}, "wrong password" },
		{ 3, {}, "wrong user name and password" },
		{ 7, {}, "wrong user name and password" },    // undefined: no login
		{ 0, { "-watch", "CNone" }, "unknown class CNone" },
		{ 0, { "-object", "6" }, "unknown object 6" },
		{ 0, { "-host", "unknown.invalid", "-port", "7" }, "cannot connect to unknown.invalid:7: unknown host" },
		{ 0, { "-port", sPort }, "cannot connect to 127.0.0.1:" + sPort + ": Connection refused" },
	};
	for (const auto& [nAnswer, asArgs, sProblem] : aCases)
	{
		SMonitored oRun(asArgs, S::Answering(1, Frame(Word(0x02000100) + Word(nAnswer))));
		EXPECT_EQ(oRun.m_oMonitor.EndStatus(), 1);
		EXPECT_EQ(oRun.m_oMonitor.ErrorOutput(), "vexmonitor: " + sProblem + "\n");
	}
}

TEST(VexMonitor, ShowsInfoAndListAndEnds)
{
	setenv("VEXMONITOR_PASSWORD", "secret", 1);
	const std::tuple<Args, const char*, const char*> aCases[] = {
		{ { "-list", "-info" }, "016207731062", "Program started at 24.12.2009\n5\tName/CClass\n" },
		{ { "-list", "-info", "-json", "-password", "ab" },
			"0161",
			"{\"info\":\"Program started at 24.12.2009\",\"host\":\"127.0.0.1\"}\n"
			"{\"object\":5,\"name\":\"Name\",\"class\":\"CClass\",\"host\":\"127.0.0.1\"}\n" },
	};
	for (const auto& [asArgs, szPassword, szOutput] : aCases)
	{
		SMonitored oRun(asArgs);
		EXPECT_EQ(oRun.m_oMonitor.EndStatus(), 0);
		EXPECT_EQ(oRun.m_oMonitor.Output(), szOutput);
		// Scrambled and in hexadecimal digits.
		EXPECT_NE(oRun.m_oServer.Received().find(Item("monitorix") + Item(szPassword)), std::string::npos);
		EXPECT_EQ(oRun.m_oServer.Received().find(sStartRequest), std::string::npos);
	}
	// Without standard descriptors: the connection had the number of one, and the answer went there.
	SMonitored oClosed({ "-info" }, S::Confirm, -1, sRun + " <&- >&- 2>&-");
	EXPECT_EQ(oClosed.m_oMonitor.EndStatus(), 0);
	EXPECT_EQ(oClosed.m_oServer.Received().find("Program started"), std::string::npos);
	SMonitored oFull({}, S::Confirm, -1, sRun + " >/dev/full");
	oFull.m_oServer.WaitForBytes(sStartRequest);
	oFull.m_oServer.Send(TraceFrame(5, 4, "text"));
	EXPECT_EQ(oFull.m_oMonitor.EndStatus(), 1);
	EXPECT_EQ(oFull.m_oMonitor.ErrorOutput(), "vexmonitor: cannot write to standard output\n");
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
	for (const auto& [asArgs, sExpected] : aCases)
	{
		SMonitored oRun(asArgs);
		ASSERT_TRUE(oRun.m_oServer.WaitForBytes(sStartRequest));
		std::string sRequests = oRun.m_oServer.Received();
		sRequests.erase(sRequests.find(Request(7, "")), Request(7, "").size());
		// The default password, scrambled and in hexadecimal digits.
		EXPECT_EQ(sRequests, Request(1, Item("monitorix") + Item("1c7a1d7d00661d7d0c")) + sExpected + sStartRequest);
		EXPECT_EQ(oRun.m_oMonitor.ErrorOutput(), "");
	}
}

TEST(VexMonitor, LinesAreConfirmedAndShownSoThatTheyCannotSteerTheTerminal)
{
	const std::string sTime = "24.12.2009 18:05:03.042 ";
	const std::string sText = "INFO CClass \x1b]0;x\x07 \x9bm\x7f\n\tL\xF6we \"\\";
	const std::string sShown = "INFO Name/CClass \\x1b]0;x\\x07 \\x9bm\\x7f\\x0a\tL";
	const std::string sLater = sTime + "INFO Later/My Class ";
	const std::string sOthers = sLater + "one\n" + sTime + "INFO C two\n" + sLater + "gone\nfree text\n";
	const std::string sJson = "{\"time\":\"2009-12-24T18:05:03.042Z\",\"level\":\"INFO\",\"object\":";
	const std::string sJsonEnd = ",\"host\":\"127.0.0.1\"}\n";
	const std::tuple<Args, const char*, std::string> aCases[] = {
		{ {}, "C", sTime + sShown + "\xF6we \"\\\n" + sOthers },
		{ {}, "C.UTF-8", sTime + sShown + "\xC3\xB6we \"\\\n" + sOthers },
		{ { "-json" },
			"C",
			sJson + "5,\"name\":\"Name\",\"class\":\"CClass\",\"text\":" +
				"\"\\u001b]0;x\\u0007 \\u009bm\\u007f\\u000a\\u0009L\xC3\xB6we \\\"\\\\\"" + sJsonEnd + sJson +
				"6,\"name\":\"Later\",\"class\":\"My Class\",\"text\":\"one\"" + sJsonEnd + sJson +
				"7,\"name\":\"\",\"class\":\"C\",\"text\":\"two\"" + sJsonEnd },
	};
	// Of the objects that are not in the list, 6 has a name, and for 7 there is no answer.
	const S::Script oAnswer = [](const std::string& sPayload)
	{
		const std::string sName = Frame(Word(0x02000900) + Word(6) + Item("Later/My Class"));
		return sPayload[1] != 9 ? S::Confirm(sPayload) : sPayload[4] == 6 ? sName : "";
	};
	for (const auto& [asArgs, szLocale, sOutput] : aCases)
	{
		setenv("LC_ALL", szLocale, 1);
		SMonitored oRun(asArgs, oAnswer);
		ASSERT_TRUE(oRun.m_oServer.WaitForBytes(sStartRequest));
		oRun.m_oServer.Send(TraceFrame(5, 4, sTime + sText) + TraceFrame(6, 4, sTime + "INFO My Class one") +
			TraceFrame(7, 4, sTime + "INFO C two") + TraceFrame(6, 4, sTime + "INFO  gone") +
			TraceFrame(-1, 1, "free text"));
		// Each name is asked for once, while the object is sure to exist.
		EXPECT_TRUE(oRun.m_oServer.WaitForBytes(ConfirmationOfLine(5) + Request(9, Word(6)) + ConfirmationOfLine(6) +
			Request(9, Word(7)) + ConfirmationOfLine(7) + ConfirmationOfLine(6) + ConfirmationOfLine(-1)));
		EXPECT_TRUE(oRun.m_oMonitor.WaitForOutput("free text"));
		EXPECT_EQ(oRun.m_oMonitor.Output().substr(0, sOutput.size()), sOutput);
	}
}

TEST(VexMonitor, DropsLinesBeyond64MiBWhileTheOutputIsBlockedAndSaysHowMany)
{
	int anPipe[2] = {};
	ASSERT_EQ(pipe2(anPipe, O_CLOEXEC), 0);
	SMonitored oRun({}, S::Confirm, anPipe[1], sRun + " >&0 </dev/null");
	close(anPipe[1]);
	ASSERT_TRUE(oRun.m_oServer.WaitForBytes(sStartRequest));
	const int nLines = 80;
	const std::string sLine(1024 * 1024, 'x');
	const std::size_t nExpected = oRun.m_oServer.Received().size() + nLines * ConfirmationOfLine(5).size();
	for (int i = 0; i < nLines; ++i)
		oRun.m_oServer.Send(TraceFrame(5, 4, sLine));
	EXPECT_TRUE(ComesTrue([&] { return oRun.m_oServer.Received().size() == nExpected; }));

	auto oShown = std::async(std::launch::async,
		[&]
		{
			std::string sOutput;
			for (std::string sMore(65536, ' '); const ssize_t n = read(anPipe[0], sMore.data(), sMore.size());)
				sOutput.append(sMore, 0, static_cast<std::size_t>(n));
			return static_cast<int>(std::count(sOutput.begin(), sOutput.end(), '\n'));
		});
	oRun.m_oServer.Hangup();
	EXPECT_TRUE(oRun.m_oMonitor.WaitForError("lost the connection"));
	EXPECT_EQ(oRun.m_oMonitor.EndStatus(SIGTERM), 0);
	const int nShown = oShown.get();
	close(anPipe[0]);
	EXPECT_NEAR(nShown, 64, 4);
	const std::string sDropped =
		"vexmonitor: " + std::to_string(nLines - nShown) + " lines dropped: the output is too slow\n";
	EXPECT_EQ(oRun.m_oMonitor.ErrorOutput().substr(0, sDropped.size()), sDropped);
}

TEST(VexMonitor, TextsOfAUtf8CommandLineGoOutInIso8859AndAreShownAsTyped)
{
	setenv("LC_ALL", "C.UTF-8", 1);
	const std::pair<std::string, std::string> aClasses[] = {
		{ "L\xC3\xB6we", "L\xF6we" }, { "C\xE2\x82\xAC", "C\xE2\x82\xAC" },    // there is no euro: it goes as it is
	};
	for (const auto& [sTyped, sSent] : aClasses)
	{
		SMonitored oRun({ "-user", "J\xC3\xB6rg", "-watch", "*", "-watch", sTyped });
		EXPECT_TRUE(oRun.m_oServer.WaitForBytes(Item("J\xF6rg")));
		EXPECT_TRUE(oRun.m_oServer.WaitForBytes(Item(sSent)));
		EXPECT_EQ(oRun.m_oMonitor.EndStatus(), 1);
		EXPECT_EQ(oRun.m_oMonitor.ErrorOutput(), "vexmonitor: unknown class " + sTyped + "\n");
	}
	// A host name that begins with a digit, in a file of hosts of its own.
	CTempFolder oFolder;
	oFolder.WriteFile("hosts", "127.0.0.1 1l\xC3\xB6we\n");
	setenv("HOSTS", oFolder.Path("hosts").c_str(), 1);
	const std::string sMount = "exec unshare -rm sh -c 'mount --bind \"$HOSTS\" /etc/hosts && " + sRun + "' ";
	if (std::system((sMount + "true").c_str()) != 0)
		GTEST_SKIP() << "mounting is not allowed";
	SMonitored oRun({ "-host", "1l\xC3\xB6we", "-info", "-json" }, S::Confirm, -1, sMount + "\"$0\" \"$@\"");
	EXPECT_EQ(oRun.m_oMonitor.EndStatus(), 0) << oRun.m_oMonitor.ErrorOutput();
	EXPECT_EQ(oRun.m_oMonitor.Output(), "{\"info\":\"Program started at 24.12.2009\",\"host\":\"1l\xC3\xB6we\"}\n");
}

TEST(VexMonitor, FollowsAgainWhenTheProgramHasRestarted)
{
	int nLists = 0;
	auto poServer = std::make_unique<S>();
	const unsigned short nPort = poServer->Port();
	SMonitor oMonitor(WithPort(nPort, { "-object", "5" }));
	ASSERT_TRUE(poServer->WaitForBytes(sStartRequest));
	poServer->Send(TraceFrame(5, 1, "last words"));
	ASSERT_TRUE(poServer->WaitForBytes(ConfirmationOfLine(5)));
	const auto oLost = std::chrono::steady_clock::now();
	poServer.reset();
	const std::string sPeer = "127.0.0.1:" + std::to_string(nPort);
	EXPECT_TRUE(oMonitor.WaitForError("vexmonitor: lost the connection to " + sPeer + "; next try in 0.5 s\n"));
	EXPECT_TRUE(oMonitor.WaitForError(sPeer + ": Connection refused; next try in 1 s\n"));
	EXPECT_GE(std::chrono::steady_clock::now() - oLost, std::chrono::milliseconds(500));
	// The object comes after the start, and with another number.
	const auto List = [&]
	{ return Word(0x02000700) + (++nLists == 1 ? Word(0) : Word(1) + Word(9) + Item("Name/CClass")); };
	poServer = std::make_unique<S>(
		[&](const std::string& sPayload) { return sPayload[1] == 7 ? Frame(List()) : S::Confirm(sPayload); }, nPort);
	EXPECT_TRUE(poServer->WaitForBytes(sStartRequest));
	EXPECT_TRUE(poServer->WaitForBytes(LevelRequest(9, 7)));
	poServer->Send(TraceFrame(9, 1, "first words"));
	EXPECT_TRUE(oMonitor.WaitForOutput("last words\nfirst words\n"));
	EXPECT_EQ(oMonitor.EndStatus(SIGTERM), 0);
	EXPECT_TRUE(oMonitor.WaitForError("vexmonitor: connected again\n"));
}

TEST(VexMonitor, AsksForThePasswordWithoutEchoOnATerminal)
{
	CPseudoTerminal oTerminal;
	S oServer;
	SMonitor oMonitor(WithPort(oServer.Port(), {}), oTerminal.m_nLine);
	ASSERT_TRUE(oMonitor.WaitForError("Password of monitorix: "));
	ASSERT_TRUE(ComesTrue([&] { return !oTerminal.Echo(); }));
	EXPECT_EQ(write(oTerminal.m_nDevice, "x\n", 2), 2);
	EXPECT_TRUE(oServer.WaitForBytes(Item("monitorix") + Item("01")));
	EXPECT_TRUE(oTerminal.Echo());
	EXPECT_FALSE(HasInput(oTerminal.m_nDevice, 0));    // nothing was shown
	EXPECT_EQ(oMonitor.EndStatus(SIGTERM), 0);

	SMonitor oNoAnswer({}, oTerminal.m_nLine);
	ASSERT_TRUE(ComesTrue([&] { return !oTerminal.Echo(); }));
	EXPECT_EQ(write(oTerminal.m_nDevice, "\x04", 1), 1);    // Ctrl-D
	EXPECT_EQ(oNoAnswer.EndStatus(), 1);

	setenv("LC_ALL", "C.UTF-8", 1);
	const std::string sPrompt = "Password of J\xC3\xB6rg: ";
	for (const int nSignal : { SIGINT, SIGQUIT, SIGHUP })
	{
		SMonitor oInterrupted({ "-user", "J\xC3\xB6rg" }, oTerminal.m_nLine, "ulimit -c 0; " + sRun);
		ASSERT_TRUE(ComesTrue([&] { return !oTerminal.Echo(); }));
		oInterrupted.SendSignal(SIGTSTP);
		EXPECT_TRUE(oInterrupted.WaitForError(sPrompt + '\n'));
		// Again and again: the program may stand still a moment later only.
		const std::string sAgain = sPrompt + '\n' + sPrompt;
		EXPECT_TRUE(ComesTrue(
			[&]
			{
				oInterrupted.SendSignal(SIGCONT);
				return oInterrupted.ErrorOutput() == sAgain;
			}));
		EXPECT_FALSE(oTerminal.Echo());
		EXPECT_EQ(oInterrupted.EndStatus(nSignal), nSignal == SIGINT ? 0 : -nSignal);
		EXPECT_TRUE(oTerminal.Echo());
		EXPECT_EQ(oInterrupted.ErrorOutput(), sAgain + '\n');
	}
}

TEST(VexMonitor, AServerThatNeverAnswersDoesNotKeepItFromEnding)
{
	CPseudoTerminal oTerminal;
	const S::Script oSilence = [](const std::string&) { return std::string(); };
	SMonitored oRun({ "-password", "x" }, oSilence, oTerminal.m_nLine, sRun + " 2>&0");
	ASSERT_TRUE(oRun.m_oServer.WaitForBytes("monitorix"));
	const auto oBegin = std::chrono::steady_clock::now();
	EXPECT_EQ(oRun.m_oMonitor.EndStatus(SIGINT), 0);
	EXPECT_LT(std::chrono::steady_clock::now() - oBegin, std::chrono::seconds(9));    // of 10 for the answer
	char szShown[9] = "";
	EXPECT_EQ(HasInput(oTerminal.m_nDevice, 0) ? read(oTerminal.m_nDevice, szShown, 8) : 0, 2);
	EXPECT_STREQ(szShown, "\r\n");    // ends the line in which the terminal has shown ^C
}

TEST(VexMonitor, RaisesAClassOfARunningProgramAndLetsItFallBack)
{
	const unsigned short nPort = FindFreePort();
	SFrameRun oRun("raised", SFrameRun::MonitorIni(nPort, "Error=1"));
	ASSERT_TRUE(oRun.m_oProgram.WaitForOutput("ready\n"));
	// Its Trace.ini is the monitor's too, which must not take it for its own.
	CProgramRunner oMonitor(LinkProgram(VEX_TOOL_DIR "/vexmonitor", oRun.m_oFolder));
	oMonitor.Start({ "-port", std::to_string(nPort), "-watch", "CVexBaseApplication", "-level", "DEBUG", "-list" });
	EXPECT_TRUE(oMonitor.WaitForOutput("\t/CVexBaseApplication\n")) << oMonitor.ErrorOutput();
	EXPECT_TRUE(oRun.m_oProgram.WaitForOutput("raised\n"));
	EXPECT_TRUE(oMonitor.WaitForOutput(" DEBUG CVexBaseApplication step"));
	EXPECT_EQ(oMonitor.EndStatus(SIGINT), 0);
	EXPECT_TRUE(oRun.m_oProgram.WaitForOutput("fell back\n"));
	EXPECT_EQ(oRun.Log().find("vexmonitor"), std::string::npos);    // it has no log file
	EXPECT_EQ(oRun.m_oProgram.EndStatus(SIGTERM), 0);
	CProgramRunner oAlone(oRun.m_oFolder.Path("vexmonitor"));
	oAlone.Start({ "-port", std::to_string(nPort) });
	EXPECT_EQ(oAlone.EndStatus(), 1);    // it has not connected to itself
}
}    // namespace
