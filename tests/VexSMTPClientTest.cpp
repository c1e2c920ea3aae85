// The SMTP client against a server that sends exact bytes.

#include "VexSMTPClient.h"

#include "VexMail.h"
#include "VexMailAddress.h"
#include "support/RecordingServer.h"
#include "support/ScriptedMailServer.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{
typedef CVexSMTPClient Client;

const CScriptedMailServer::Answers asGood = {
	{ "", "250 ok\r\n" }, { "DATA", "354 go\r\n" }, { "QUIT", "221 x\r\n" }, { "greeting", "220 x\r\n" }
};
const std::string sText = "From: <a@b>\r\n\r\nline\r\n.dot\r\n";

Client::ERetCode Send(Client& rClient, unsigned short nPort, const std::string& sMail, const std::string& sTo = "c@d")
{
	const Client::ERetCode eResult = rClient.ConnectToServer("127.0.0.1", nPort);
	return eResult != Client::eSmtpOK
		? eResult
		: rClient.SendMessage(CVexMail(sMail), { CVexMailAddress(sTo), CVexMailAddress("e@f") });
}

TEST(CVexSMTPClient, SpeaksExactlyThisDialogueKept)
{
	// Answers the first four commands with its greeting, and the text and the next three commands together with DATA.
	const CScriptedMailServer::Answers asEarly = {
		{ "greeting", "220-a\r\n220-b\r\n220 c\r\n250-d\r\n250 e\r\n250 f\r\n250 g\r\n250 h\r\n" },
		{ "DATA", "354-a\r\n354 b\r\n250 c\r\n250 d\r\n250 e\r\n250 f\r\n" }
	};
	for (const bool bEarly : { false, true })
	{
		CScriptedMailServer oServer(bEarly ? asEarly : asGood, !bEarly);
		Client oClient;
		EXPECT_EQ(Send(oClient, oServer.Port(), sText), Client::eSmtpOK);
		EXPECT_EQ(oClient.SendMessage(CVexMail(), {}), Client::eOK);
		EXPECT_EQ(oClient.LogOut(), bEarly ? Client::eSmtpOK : Client::eServiceNotAvailable);
		const std::string sEach = "DATA|" + sText + "|";
		EXPECT_EQ(oServer.Lines(12),
			"HELO 127.0.0.1|RSET|MAIL FROM: a@b|RCPT TO: c@d|" + sEach + "RSET|MAIL FROM: a@b|RCPT TO: e@f|" + sEach +
				"QUIT|");
	}
}

TEST(CVexSMTPClient, AFailureAtAnyPointEndsTheSendingWithItsResult)
{
	const std::tuple<const char*, std::string, Client::ERetCode, int> aCases[] = {
		{ "greeting", "421 no\r\n", Client::eServiceNotAvailable, 0 },
		{ "HELO", "250", Client::eTimeout, 1 },    // no line end
		{ "RSET", "221 x\r\n", Client::eServiceNotAvailable, 2 },
		{ "RSET", std::string(10000000, 'x') + "\r\n", Client::eSmtpError, 2 },
		{ "RSET", "354 x\r\n", Client::eSendData, 2 },
		{ "MAIL", "250-a\r\n250-b\r\n550 c\r\n", Client::eMailboxNotFound, 4 },      // its second line answers nothing
		{ "RCPT", "250-a\r\n250 b\r\n550 c\r\a\n", Client::eMailboxNotFound, 5 },    // answers DATA
		{ "RCPT", std::string("550\0\r\n250 ok\r\n", 14), Client::eMailboxNotFound, 4 },
		{ "DATA", "\v", Client::eTimeout, 5 },
		{ "DATA", "250 ok\r\n", Client::eSmtpOK, 9 },            // the text is not sent
		{ "DATA", "354 go\r\n\a\v", Client::eTCPIPError, 5 },    // takes nothing of the message
		{ "From", "552 full\r\n", Client::eStorageAllocationExceeded, 6 },
	};
	for (const auto& [szLine, sAnswer, eResult, nLines] : aCases)
	{
		CScriptedMailServer::Answers asAnswers = asGood;
		asAnswers[szLine] = sAnswer;
		CScriptedMailServer oServer(asAnswers);
		Client oClient;
		oClient.SetTimeout(eResult == Client::eTimeout ? 300 : 60000);
		const bool bLarge = eResult == Client::eTCPIPError;
		const Client::ERetCode eGot = Send(oClient, oServer.Port(), sText + std::string(bLarge ? 64000000 : 1, 'x'));
		// A slow machine finds the connection gone before it sends.
		EXPECT_TRUE(eGot == eResult || (bLarge && eGot == Client::eError)) << eGot << szLine << sAnswer.substr(0, 99);
		const std::string sLines = oServer.Lines(nLines);
		EXPECT_EQ(std::count(sLines.begin(), sLines.end(), '|'), nLines);
	}
}

TEST(CVexSMTPClient, TracesGoodCommandsAsZeroAndSendsNoLineBreaksKept)
{
	CRecordingServer oTrace(CVexTraceMsg::eError | CVexTraceMsg::eDebug);
	CScriptedMailServer oServer(asGood);
	Client oClient;
	EXPECT_EQ(oClient.ConnectToServer("", 0), Client::ePortInvalid);
	EXPECT_EQ(oClient.ConnectToServer(nullptr, 25), Client::eIPAddressInvalid);
	EXPECT_EQ(Send(oClient, oServer.Port(), sText, "c@d\nQUIT"), Client::eIllegalParameterOfCommand);
	EXPECT_EQ(oServer.Lines(), "HELO 127.0.0.1|RSET|MAIL FROM: a@b|");
	const std::vector<std::string> asLines = oTrace.Lines();
	for (const char* szLine : { "HELO 127.0.0.1 (Retcode=0,OK)\tFile source/VexSMTPClient Line 329",
			 "RCPT TO: c@d\nQUIT (Retcode=12,501 Parameter des Kommandos ist nicht korrekt)" })
		EXPECT_EQ(
			std::count(
				asLines.begin(), asLines.end(), std::string("CVexSMTPClient/CVexSMTPClient SMTP-Command ") + szLine),
			1)
			<< szLine;
}
}    // namespace
