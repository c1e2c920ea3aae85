// The program vexmonitor, against a server that sends exact bytes and against a real program.

#include "support/ProgramRunner.h"
#include "support/ScriptedTraceServer.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>

#include <deque>

namespace
{
const char* const pszMonitor = VEX_TOOL_DIR "/vexmonitor";
const int nLimitMs = 60000;

typedef std::vector<std::string> Args;

// An environment variable for the programs that are started during the object's life; null: none of this name.
class CVariable
{
public:
	CVariable(const char* pszName, const char* pszValue) : m_sName(pszName)
	{
		if (pszValue)
			setenv(pszName, pszValue, 1);
		else
			unsetenv(pszName);
	}
	~CVariable() { unsetenv(m_sName.c_str()); }

private:
	const std::string m_sName;
};

// vexmonitor as a file of a folder of its own.
class CMonitor : public CProgramRunner
{
public:
	CMonitor() : CProgramRunner(Program()) {}

	void StartFor(const CScriptedTraceServer& rServer, Args asArgs = {})
	{
		asArgs.insert(asArgs.begin(), { "-port", std::to_string(rServer.Port()) });
		Start(asArgs);
	}

	int Status() { return WaitForEnd(nLimitMs) ? ExitStatus() : -2; }

	int StatusAfter(int nSignal)
	{
		SendSignal(nSignal);
		return Status();
	}

	bool WaitForError(const std::string& sText)
	{
		return WaitFor(nLimitMs, [&] { return ErrorOutput().find(sText) != std::string::npos; });
	}

	static const CTempFolder& Folder()
	{
		static const CTempFolder oFolder;
		return oFolder;
	}

private:
	static const std::string& Program()
	{
		static const std::string sProgram = LinkProgram(pszMonitor, Folder());
		return sProgram;
	}
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

unsigned short FreePort()
{
	return CScriptedTraceServer().Port();
}

TEST(VexMonitor, UsageErrorsAreOneLineAndStatusTwo)
{
	const struct
	{
		Args asArgs;
		const char* szProblem;
	} aCases[] = {
		{ { "-foo" }, "unknown option -foo" },
		{ { "--help" }, "unknown option --help" },
		{ { "host" }, "unexpected argument host" },
		{ { "-port" }, "-port needs a value" },
		{ { "-port", "65536" }, "-port: no port number: 65536" },
		{ { "-port", "12x" }, "-port: no port number: 12x" },
		{ { "-watch" }, "-watch needs a value" },
		{ { "-object", "five" }, "-object: no number: five" },
		{ { "-watch", "CA", "-level", "LOUD" }, "unknown level LOUD" },
		{ { "-watch", "CA", "-level", "INFO", "-level", "INFO" }, "-level INFO stands behind no -watch or -object" },
	};
	std::deque<CMonitor> aoMonitors;
	for (const auto& rCase : aCases)
		aoMonitors.emplace_back().Start(rCase.asArgs);
	for (std::size_t i = 0; i < aoMonitors.size(); ++i)
	{
		SCOPED_TRACE(aCases[i].szProblem);
		EXPECT_EQ(aoMonitors[i].Status(), 2);
		EXPECT_EQ(aoMonitors[i].Output(), "");
		EXPECT_EQ(aoMonitors[i].ErrorOutput(),
			std::string("vexmonitor: ") + aCases[i].szProblem + " (vexmonitor -help lists the options)\n");
	}
}

TEST(VexMonitor, HelpAndVersionGoToStandardOutput)
{
	CMonitor oHelp;
	CMonitor oVersion;
	oHelp.Start({ "-help" });
	oVersion.Start({ "-version" });
	EXPECT_EQ(oHelp.Status(), 0);
	EXPECT_EQ(oHelp.Output().substr(0, 17), "usage: vexmonitor");
	EXPECT_EQ(oHelp.ErrorOutput(), "");
	EXPECT_EQ(oVersion.Status(), 0);
	EXPECT_EQ(oVersion.Output().substr(0, 11), "vexmonitor ");
}

TEST(VexMonitor, WhatIsWrongIsToldInOneLine)
{
	const struct
	{
		const char* szAnswers;    // number of the login's confirmation
		Args asArgs;
		std::string sProblem;
	} aCases[] = {
		{ "1", {}, "wrong user name" },
		{ "2", {}, "wrong password" },
		{ "3", {}, "wrong user name and password" },
		{ "0", { "-watch", "CNone" }, "unknown class CNone" },
		{ "0", { "-object", "6" }, "unknown object 6" },
	};
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(rCase.sProblem);
		CScriptedTraceServer oServer(
			[&](const std::string& sPayload)
			{
				return sPayload[1] == 1 ? Frame(Word(0x02000100) + Word(std::stoi(rCase.szAnswers)))
										: CScriptedTraceServer::Confirm(sPayload);
			});
		CMonitor oMonitor;
		oMonitor.StartFor(oServer, rCase.asArgs);
		EXPECT_EQ(oMonitor.Status(), 1);
		EXPECT_EQ(oMonitor.ErrorOutput(), "vexmonitor: " + rCase.sProblem + "\n");
	}
	CMonitor oRefused;
	CMonitor oUnknown;
	const std::string sPort = std::to_string(FreePort());
	oRefused.Start({ "-port", sPort });
	oUnknown.Start({ "-host", "unknown.invalid" });
	EXPECT_EQ(oRefused.Status(), 1);
	EXPECT_EQ(oRefused.ErrorOutput(), "vexmonitor: cannot connect to 127.0.0.1:" + sPort + ": Connection refused\n");
	EXPECT_EQ(oUnknown.Status(), 1);
	EXPECT_EQ(oUnknown.ErrorOutput(), "vexmonitor: cannot connect to unknown.invalid:15000: unknown host\n");
}

TEST(VexMonitor, ShowsInfoAndListAndEnds)
{
	CScriptedTraceServer oServer;
	CMonitor oMonitor;
	CMonitor oJson;
	oMonitor.StartFor(oServer, { "-list", "-info" });
	EXPECT_EQ(oMonitor.Status(), 0);
	EXPECT_EQ(oMonitor.Output(), "Program started at 24.12.2009\n5\tName/CClass\n");
	EXPECT_EQ(oServer.Received().find(sStartRequest), std::string::npos);
	oJson.StartFor(oServer, { "-list", "-info", "-json" });
	EXPECT_EQ(oJson.Status(), 0);
	EXPECT_EQ(oJson.Output(),
		"{\"info\":\"Program started at 24.12.2009\",\"host\":\"127.0.0.1\"}\n"
		"{\"object\":5,\"name\":\"Name\",\"class\":\"CClass\",\"host\":\"127.0.0.1\"}\n");
}

TEST(VexMonitor, AsksForTheLevelsOfClassesAndOfTheirObjects)
{
	const struct
	{
		Args asArgs;
		std::string sRequests;    // but for the list
	} aCases[] = {
		{ {}, WatchRequest("*", 7) + LevelRequest(5, 7) },
		{ { "-level", "debug2" }, WatchRequest("*", 31) + LevelRequest(5, 31) },
		{ { "-watch", "CClass", "-level", "DEBUG" }, WatchRequest("CClass", 15) + LevelRequest(5, 15) },
		{ { "-watch", "CClass", "-watch", "*", "-level", "Debug3" },
			WatchRequest("CClass", 7) + WatchRequest("*", 63) + LevelRequest(5, 7) },
		{ { "-level", "none", "-object", "5", "-level", "ERROR", "-watch", "CClass" },
			WatchRequest("CClass", 0) + LevelRequest(5, 1) },
	};
	CScriptedTraceServer oServer;
	for (const auto& rCase : aCases)
	{
		const std::size_t nBefore = oServer.Received().size();
		CMonitor oMonitor;
		oMonitor.StartFor(oServer, rCase.asArgs);
		ASSERT_TRUE(ComesTrue([&] { return oServer.Received().find(sStartRequest, nBefore) != std::string::npos; }));
		std::string sRequests = oServer.Received().substr(nBefore);
		sRequests.erase(sRequests.find(Request(7, "")), Request(7, "").size());
		const std::size_t nLogin = Request(1, Item("monitorix") + Item("monitorixmonitorix")).size();
		EXPECT_EQ(sRequests.substr(nLogin), rCase.sRequests + sStartRequest);
		EXPECT_EQ(oMonitor.StatusAfter(SIGINT), 0);
		EXPECT_EQ(oMonitor.ErrorOutput(), "");
	}
	EXPECT_EQ(std::distance(std::filesystem::directory_iterator(CMonitor::Folder().Path()), {}), 1) << "a log file";
}

TEST(VexMonitor, LinesAreConfirmedAndShownSoThatTheyCannotSteerTheTerminal)
{
	const std::string sTime = "24.12.2009 18:05:03.042 ";
	const std::string sText = "INFO CClass \x1b]0;x\x07 \x9bm\x7f\n\tL\xF6we \"\\";
	const std::string sShown = "INFO CClass \\x1b]0;x\\x07 \\x9bm\\x7f\\x0a\tL";
	const struct
	{
		Args asArgs;
		const char* szLocale;
		std::string sOutput;
	} aCases[] = {
		{ {}, "C", sTime + sShown + "\xF6we \"\\\nfree text\n" },
		{ {}, "C.UTF-8", sTime + sShown + "\xC3\xB6we \"\\\nfree text\n" },
		{ { "-json" },
			"C",
			"{\"time\":\"2009-12-24T18:05:03.042Z\",\"level\":\"INFO\",\"object\":5,\"class\":\"CClass\",\"text\":"
			"\"\\u001b]0;x\\u0007 \\u009bm\\u007f\\u000a\\u0009L\xC3\xB6we \\\"\\\\\",\"host\":\"127.0.0.1\"}\n" },
	};
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(rCase.szLocale);
		const CVariable oLocale("LC_ALL", rCase.szLocale);
		CScriptedTraceServer oServer;
		CMonitor oMonitor;
		oMonitor.StartFor(oServer, rCase.asArgs);
		ASSERT_TRUE(oServer.WaitForBytes(sStartRequest));
		oServer.Send(TraceFrame(5, 4, sTime + sText) + TraceFrame(-1, 1, "free text"));
		EXPECT_TRUE(oServer.WaitForBytes(ConfirmationOfLine(5) + ConfirmationOfLine(-1)));
		EXPECT_TRUE(oMonitor.WaitForOutput("free text", nLimitMs));
		EXPECT_EQ(oMonitor.StatusAfter(SIGTERM), 0);
		EXPECT_EQ(oMonitor.Output().substr(0, rCase.sOutput.size()), rCase.sOutput);
	}
}

TEST(VexMonitor, TextsOfAUtf8CommandLineGoOutInIso8859)
{
	const CVariable oLocale("LC_ALL", "C.UTF-8");
	CScriptedTraceServer oServer;
	CMonitor oMonitor;
	const std::string sNoSuchText = "C\xE2\x82\xAC";    // there is no euro: it goes as it is
	oMonitor.StartFor(oServer, { "-user", "J\xC3\xB6rg", "-watch", "*", "-watch", sNoSuchText });
	EXPECT_EQ(oMonitor.Status(), 1);
	EXPECT_NE(oServer.Received().find(Item("J\xF6rg")), std::string::npos);
	EXPECT_NE(oServer.Received().find(Item(sNoSuchText)), std::string::npos);
}

TEST(VexMonitor, FollowsAgainWhenTheProgramHasRestarted)
{
	CMonitor oMonitor;
	auto poServer = std::make_unique<CScriptedTraceServer>();
	const unsigned short nPort = poServer->Port();
	oMonitor.StartFor(*poServer, { "-object", "5" });
	ASSERT_TRUE(poServer->WaitForBytes(sStartRequest));
	poServer->Send(TraceFrame(5, 1, "last words"));
	ASSERT_TRUE(poServer->WaitForBytes(ConfirmationOfLine(5)));
	poServer.reset();
	const std::string sPeer = "127.0.0.1:" + std::to_string(nPort);
	EXPECT_TRUE(oMonitor.WaitForError("vexmonitor: lost the connection to " + sPeer + "; next try in 0.5 s\n"));
	EXPECT_TRUE(oMonitor.WaitForError(sPeer + ": Connection refused; next try in 1 s\n"));
	// The object has another number now, and is not there at once.
	std::atomic<int> nLists{ 0 };
	poServer = std::make_unique<CScriptedTraceServer>(
		[&](const std::string& sPayload)
		{
			if (sPayload[1] != 7)
				return CScriptedTraceServer::Confirm(sPayload);
			const std::string sList = ++nLists == 1 ? Word(0) : Word(1) + Word(9) + Item("Name/CClass");
			return Frame(Word(0x02000700) + sList);
		},
		nPort);
	EXPECT_TRUE(poServer->WaitForBytes(sStartRequest));
	EXPECT_TRUE(poServer->WaitForBytes(LevelRequest(9, 7)));
	poServer->Send(TraceFrame(9, 1, "first words"));
	EXPECT_TRUE(oMonitor.WaitForOutput("last words\nfirst words\n", nLimitMs));
	EXPECT_EQ(oMonitor.StatusAfter(SIGINT), 0);
	EXPECT_TRUE(oMonitor.WaitForError("vexmonitor: connected again\n"));
}

TEST(VexMonitor, ThePasswordComesFromTheOptionTheEnvironmentOrTheDefault)
{
	// Scrambled and in hexadecimal digits: of one character it is always 01.
	const struct
	{
		const char* szVariable;
		Args asArgs;
		std::string sPassword;
	} aCases[] = {
		{ "x", {}, "01" },
		{ "secret", { "-password", "x" }, "01" },
		{ "", {}, "" },
		{ "secret", { "-password", "" }, "" },
		{ nullptr, {}, "1c7a1d7d00661d7d0c" },
	};
	for (const auto& rCase : aCases)
	{
		const CVariable oVariable("VEXMONITOR_PASSWORD", rCase.szVariable);
		CScriptedTraceServer oServer;
		CMonitor oMonitor;
		Args asArgs = rCase.asArgs;
		asArgs.emplace_back("-info");
		oMonitor.StartFor(oServer, asArgs);
		EXPECT_EQ(oMonitor.Status(), 0);
		const std::string sLogin = Request(1, Item("monitorix") + Item(rCase.sPassword));
		EXPECT_EQ(oServer.Received().substr(0, sLogin.size()), sLogin);
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
	CScriptedTraceServer oServer;
	CMonitor oMonitor;
	oMonitor.Start({ "-port", std::to_string(oServer.Port()), "-info" }, "", nTerminal);
	ASSERT_TRUE(oMonitor.WaitForError("Password of monitorix: "));
	ASSERT_TRUE(ComesTrue([&] { return !Echo(); }));
	EXPECT_EQ(write(nMaster, "x\n", 2), 2);
	EXPECT_EQ(oMonitor.Status(), 0);
	EXPECT_NE(oServer.Received().find(Item("monitorix") + Item("01")), std::string::npos);
	EXPECT_TRUE(Echo());
	char szShown[64];
	EXPECT_LE(read(nMaster, szShown, sizeof szShown), 0);

	CMonitor oInterrupted;
	oInterrupted.Start({}, "", nTerminal);
	ASSERT_TRUE(ComesTrue([&] { return !Echo(); }));
	EXPECT_EQ(oInterrupted.StatusAfter(SIGINT), 0);
	EXPECT_TRUE(Echo());
	close(nTerminal);
	close(nMaster);
}

TEST(VexMonitor, AServerThatNeverAnswersDoesNotKeepItFromEnding)
{
	CScriptedTraceServer oServer([](const std::string&) { return std::string(); });
	CMonitor oMonitor;
	oMonitor.StartFor(oServer);
	ASSERT_TRUE(oServer.WaitForBytes("monitorix"));
	const auto oBegin = std::chrono::steady_clock::now();
	EXPECT_EQ(oMonitor.StatusAfter(SIGINT), 0);
	EXPECT_LT(std::chrono::steady_clock::now() - oBegin, std::chrono::seconds(9));    // of 10 for the answer
}

TEST(VexMonitor, RaisesAClassOfARunningProgramAndLetsItFallBack)
{
	const CTempFolder oFolder;
	const std::string sPort = std::to_string(FreePort());
	oFolder.WriteFile("Trace.ini",
		"[Trace]\nError=1\nMonitorOn=1\n[Monitor]\nIPAddress=127.0.0.1\nPort=" + sPort +
			"\nMaxConnections=3\nReserveConnections=1\n");
	CProgramRunner oProgram(LinkProgram(VEX_TEST_PROGRAM_DIR "/MonitoredProgram", oFolder));
	oProgram.Start();
	ASSERT_TRUE(oProgram.WaitForOutput("ready\n", nLimitMs));
	// Its Trace.ini is the monitor's too, which must not take it for its own.
	CProgramRunner oMonitor(LinkProgram(pszMonitor, oFolder));
	oMonitor.Start({ "-port", sPort, "-watch", "CWorker", "-level", "DEBUG", "-list" });
	EXPECT_TRUE(oMonitor.WaitForOutput("\tworker/CWorker\n", nLimitMs)) << oMonitor.ErrorOutput();
	EXPECT_TRUE(oProgram.WaitForOutput("raised\n", nLimitMs));
	EXPECT_TRUE(oMonitor.WaitForOutput(" DEBUG CWorker step ", nLimitMs));
	oMonitor.SendSignal(SIGINT);
	EXPECT_TRUE(oProgram.WaitForOutput("fell back\n", nLimitMs));
	EXPECT_TRUE(oMonitor.WaitForEnd(nLimitMs));
	EXPECT_EQ(oMonitor.ExitStatus(), 0);
	oProgram.SendSignal(SIGTERM);
	EXPECT_TRUE(oProgram.WaitForEnd(nLimitMs));
	EXPECT_EQ(oProgram.ExitStatus(), 0);
}
}    // namespace
