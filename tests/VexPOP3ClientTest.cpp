// The POP3 client against a server that sends exact bytes.

#include "VexPOP3Client.h"

#include "VexMail.h"
#include "support/RecordingServer.h"
#include "support/ScriptedMailServer.h"

#include <gtest/gtest.h>

#include <ctime>
#include <tuple>

namespace
{
typedef CVexPOP3Client Client;

class CTestClient : public CVexPOP3Client
{
public:
	ERetCode LogInAt(const CScriptedMailServer& rServer) { return LogIn("127.0.0.1", rServer.Port(), "me", "secret"); }

	// The mail before, behind the result, if there is no new one.
	std::string Fetch(unsigned int n)
	{
		CVexMail oMail(std::string("old\r\n\r\n"));
		const ERetCode eResult = GetMessage(oMail, n);
		return (eResult == eOK ? "" : std::to_string(eResult)) + oMail.GetTotalMail();
	}
};

TEST(CVexPOP3Client, SpeaksExactlyThisDialogueAndLeavesDotsDoubledKept)
{
	const std::string sMail("Subject: s\r\n\r\nnul \0.\r\n..\r\n.\r\n.x", 31);
	const CScriptedMailServer::Answers asAnswers = { { "", "+OK\r\n" },
		{ "STAT", "+OK 3 4711\r\n" },
		{ "LIST", "+OK\r\n" },
		{ "LIST 2", "+OK\t 2  1234 x\r\n" },
		{ "LIST 3", "+OK 3 -1\r\n" },
		{ "LIST 5", "-ERR 5 1\r\n" },
		{ "RETR", "+OK\r\n" + sMail + "\r\n.\r\n" },
		{ "RETR 7", "+OK\r\n.\r\n" },
		{ "TOP", "+OK\r\nSubject: t\r\n\r\n\r\n.\r\n" } };
	for (const bool bByteByByte : { false, true })
	{
		CScriptedMailServer oServer(asAnswers, bByteByByte);
		CTestClient oClient;
		CVexMail oTop;
		EXPECT_EQ(oClient.LogInAt(oServer), Client::eOK);
		EXPECT_EQ(oClient.GetNumberOfMessage(), 3u);
		for (const unsigned int n : { 1u, 2u, 3u, 4u, 5u })
			EXPECT_EQ(oClient.GetSizeOfMessage(n), n == 2 ? 1234u : 0u);
		EXPECT_EQ(oClient.Fetch(1), sMail);
		EXPECT_EQ(oClient.Fetch(7), "\r\n\r\n");    // nothing but the end mark
		EXPECT_EQ(oClient.GetTopOfMessage(oTop, 4000000000), Client::eOK);
		EXPECT_EQ(oTop.GetSubject(), "t");
		EXPECT_EQ(oClient.DeleteMessage(3), Client::eOK);
		EXPECT_EQ(oClient.LogOut(), Client::eOK);
		EXPECT_EQ(oServer.Lines(),
			"USER me|PASS secret|STAT|LIST 1|LIST 2|LIST 3|LIST 4|LIST 5|RETR 1|RETR 7|TOP 4000000000 0|DELE 3|QUIT|");
	}
}

TEST(CVexPOP3Client, AFailureAtAnyPointAndAFailedConnectAreWhatTheStatusLineTellsKept)
{
	const std::tuple<const char*, std::string, Client::ERetCode> aCases[] = {
		{ "USER", "+OK", Client::eTimeout },    // no line end
		{ "PASS", "-ERR Invalid userid/passwort!\r\n", Client::eLoginFailed },
		{ "RETR", "\v", Client::eTimeout },
		{ "RETR", "-ERR\r\n", Client::eError },
		{ "RETR", std::string(10000000, '\0') + "\r\n", Client::eError },
		{ "RETR", "-ERR no such msg 1\r\n", Client::eMessageNotFound },
	};
	for (const auto& [szLine, sAnswer, eResult] : aCases)
	{
		CScriptedMailServer oServer({ { "", "+OK\r\n" }, { szLine, sAnswer } });
		CTestClient oClient;
		oClient.SetTimeout(eResult == Client::eTimeout ? 300 : 60000);
		const Client::ERetCode eLogIn = oClient.LogInAt(oServer);
		EXPECT_EQ(eLogIn == Client::eOK ? oClient.Fetch(1) : std::to_string(eLogIn) + "old\r\n\r\n",
			std::to_string(eResult) + "old\r\n\r\n")
			<< szLine << sAnswer.substr(0, 99);
	}
	Client oClient;
	oClient.SetTimeout(100);
	EXPECT_EQ(oClient.GetTimeout(), 100u);
	EXPECT_EQ(oClient.LogIn("127.0.0.1", FindFreePort(), "", ""), Client::eTimeout);
	EXPECT_EQ(oClient.LogIn("", 0, "", ""), Client::ePortInvalid);
	EXPECT_EQ(oClient.LogIn(nullptr, 110, "", ""), Client::eIPAddressInvalid);
}

TEST(CVexPOP3Client, AMessageInPiecesIsJoinedHoweverLongThePausesAreKept)
{
	// With a pause at every place in the end mark.
	for (std::size_t nCut = 14; nCut < 19; ++nCut)
	{
		const std::string sAnswer = "+OK\r\na: b\r\n\r\nc\r\n.\r\nrest";
		CScriptedMailServer oServer({ { "", "+OK\r\n" }, { "RETR", std::string(sAnswer).insert(nCut, 1, '\a') } });
		CTestClient oClient;
		oClient.LogInAt(oServer);
		oClient.SetTimeout(299);
		EXPECT_EQ(oClient.Fetch(1), "a: b\r\n\r\nc");
	}
}

// In a process of its own, which ends with 0 if the fetch still waits then, without using the processor.
void FetchFromAServerThatHangsUp()
{
	CScriptedMailServer oServer({ { "", "+OK\r\n" }, { "RETR", "+OK\r\nFrom: half a message\v" } });
	CTestClient oClient;
	std::atomic<bool> bBack{ false };
	oClient.LogInAt(oServer);
	std::thread oFetch([&] { bBack = !oClient.Fetch(1).empty(); });
	const bool bBroken =
		ComesTrue([&] { return oClient.m_oVexTCPIPBase.GetConnectState() == CVexTCPIPBase::eDisconnected; });
	const std::clock_t nBefore = std::clock();
	CVexThread::Sleep(2, 0);
	std::exit(bBroken && !bBack && std::clock() - nBefore < CLOCKS_PER_SEC / 2 ? 0 : 1);
}

TEST(CVexPOP3Client, AMessageWithoutItsEndIsWaitedForUntilTheProcessEndsKept)
{
	EXPECT_EXIT(FetchFromAServerThatHangsUp(), testing::ExitedWithCode(0), "");
}

TEST(CVexPOP3Client, TracesGoodCommandsAsZeroAndThePasswordAndSendsNoLineBreaksKept)
{
	CRecordingServer oTrace(CVexTraceMsg::eError | CVexTraceMsg::eDebug);
	CScriptedMailServer oServer({ { "", "+OK\r\n" }, { "DELE", "-ERR no\r\n+OK late\r\n" } });
	CTestClient oClient;
	EXPECT_EQ(oClient.LogInAt(oServer), Client::eOK);
	// What is left of the first answer is that to the second command.
	EXPECT_EQ(oClient.DeleteMessage(1), Client::eError);
	EXPECT_EQ(oClient.DeleteMessage(2), Client::eOK);
	oClient.m_oVexTCPIPBase.DisconnectReq(60000);
	EXPECT_EQ(oClient.LogIn("127.0.0.1", oServer.Port(), nullptr, "a\r\nDELE 1"), Client::eIllegalCommand);
	EXPECT_EQ(oServer.Lines(), "USER me|PASS secret|DELE 1|DELE 2|USER |");
	std::string sLines;
	for (const std::string& sLine : oTrace.Lines())
		sLines += sLine;
	for (const char* szPart :
		{ "CVexPOP3Client/CVexPOP3Client POP3-Command PASS secret (Retcode=0,OK)\tFile source/VexPOP3Client Line 565",
			"PASS a\r\nDELE 1 (Retcode=8,Kommando ist nicht korrekt.,Data=Address: 0x",
			"DELE 1 (Retcode=9,Fehler ist undefiniert,Data=Address: 0x",
			"\n0x0000 2d 45 52 52 20 6e 6f 0d  0a                      -ERR no..       \n)" })
		EXPECT_NE(sLines.find(szPart), std::string::npos) << szPart;
	EXPECT_EQ(sLines.find("2b 4f 4b"), std::string::npos);    // no "+OK" of the command before
}
}    // namespace
