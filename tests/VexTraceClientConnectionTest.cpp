// The trace client against a server that sends exact bytes.

#include "VexTraceClientConnection.h"

#include "VexPassword.h"
#include "support/RecordingServer.h"
#include "support/ScriptedTraceServer.h"

#include <gtest/gtest.h>

#include <tuple>

namespace
{
typedef std::pair<long, std::string> Object;
typedef CScriptedTraceServer S;

// The client with short times, and with what it is told kept.
class CTestClient : public CVexTraceClientConnection
{
public:
	explicit CTestClient(unsigned int nTimeout = 60000) { m_nTimeout = nTimeout; }
	~CTestClient() override { EndReading(); }

	bool Login(unsigned short nPort)
	{
		CVexPassword oPassword(true);
		std::string sPassword = "monitorix";
		oPassword.SetPassword(sPassword);
		return LoginReq("monitorix", oPassword, "127.0.0.1", nPort);
	}
	bool Login(const S& rServer) { return Login(rServer.Port()); }

	using CVexTraceClientConnection::EndReading;

	ELoginRetCode LoginRetCode() const { return m_eLoginRetCode; }

	void TraceInd(const CVexTraceMsg& oMsg) override
	{
		TraceResp(static_cast<int>(oMsg.GetID()));
		std::lock_guard<std::mutex> oLock(m_oMutex);
		m_asLines.push_back(std::to_string(oMsg.GetID()) + " " +
			std::to_string(static_cast<int>(oMsg.GetTraceLevel())) + " " + oMsg.GetText());
	}

	std::vector<std::string> Lines()
	{
		std::lock_guard<std::mutex> oLock(m_oMutex);
		return m_asLines;
	}

	bool WaitForLines(std::size_t nCount)
	{
		return ComesTrue([&] { return Lines().size() >= nCount; });
	}

private:
	std::mutex m_oMutex;
	std::vector<std::string> m_asLines;
};

TEST(CVexTraceClientConnection, SendsExactlyTheBytesOfEveryRequest)
{
	S oServer;
	CTestClient oClient;
	std::string sInfo = "Who?", sName;
	std::vector<Object> aoObjects;
	EXPECT_TRUE(oClient.Login(oServer));
	EXPECT_TRUE(oClient.StartReq());
	EXPECT_TRUE(oClient.StopReq());
	EXPECT_TRUE(oClient.InfoReq(sInfo));
	EXPECT_TRUE(oClient.ChangeTraceLevelReq({ { 5, CVexTraceMsg::eDebug }, { -1, CVexTraceMsg::eNone } }));
	EXPECT_TRUE(oClient.GetObjectListReq(aoObjects));
	EXPECT_TRUE(oClient.WatchClassReq("CA", CVexTraceMsg::eDebugL3));
	EXPECT_TRUE(oClient.NameIDReq(258, sName));
	EXPECT_EQ(sInfo, "Program started at 24.12.2009");
	EXPECT_EQ(aoObjects, std::vector<Object>({ { 5, "Name/CClass" } }));
	EXPECT_EQ(sName, "Name/CClass");
	// The password in hexadecimal digits of its scrambled form.
	EXPECT_EQ(oServer.Received(),
		Frame(Word(0x01000100) + Item("monitorix") + Item("1c7a1d7d00661d7d0c")) +
			std::string("effe\4\0\0\0\0\2\0\1feef", 16) + Frame(Word(0x01000300)) +
			Frame(Word(0x01000400) + Item("Who?")) +
			Frame(Word(0x01000600) + Word(2) + Word(5) + Word(8) + Word(-1) + Word(0)) + Frame(Word(0x01000700)) +
			Frame(Word(0x01000800) + Item("CA") + Word(32)) + Frame(Word(0x01000900) + Word(258)));
}

TEST(CVexTraceClientConnection, NumbersOtherThanZeroFailTheRequest)
{
	const CTestClient::ELoginRetCode aeRetCodes[] = {
		CTestClient::eLoginOK,
		CTestClient::eUsernameInvalid,
		CTestClient::ePasswordInvalid,
		CTestClient::eLoginFailed,
		CTestClient::eLoginFailed    // undefined
	};
	for (int nCode = 0; nCode < 5; ++nCode)
	{
		SCOPED_TRACE(nCode);
		// The number of the login, but for the first one, is that of the two others as well.
		int nLogins = 0;
		S oServer(
			[&](const std::string& sPayload)
			{
				const bool bLogin = sPayload[1] == 1 && nLogins++ > 0;
				const bool bNumber = bLogin || sPayload[1] == 6 || sPayload[1] == 8;
				return bNumber ? Frame(sPayload.substr(0, 3) + '\x02' + Word(nCode)) : S::Confirm(sPayload);
			});
		CTestClient oClient;
		ASSERT_TRUE(oClient.Login(oServer));
		oClient.EndReading();
		EXPECT_EQ(oClient.Login(oServer), nCode == 0);
		EXPECT_EQ(oClient.LoginRetCode(), aeRetCodes[nCode]);
		EXPECT_EQ(oClient.StartReq(), nCode == 0);
		EXPECT_EQ(oClient.WatchClassReq("CA", CVexTraceMsg::eDebug), nCode == 0);
		EXPECT_EQ(oClient.ChangeTraceLevelReq({}), nCode == 0);
		EXPECT_EQ(oServer.Received().find(std::string("\0\2\0\1", 4)) != std::string::npos, nCode == 0);
	}
}

TEST(CVexTraceClientConnection, LinesAreConfirmedAndHandedOverInOrderHoweverTheyAreCut)
{
	S oServer;
	CTestClient oClient;
	ASSERT_TRUE(oClient.Login(oServer));
	const std::string sFrames = TraceFrame(5, 4, "one") + TraceFrame(6, 8, "") + TraceFrame(-1, 64, "tw\xF6");
	std::vector<std::string> asLines;
	for (std::size_t nCut = 0; nCut <= sFrames.size(); ++nCut)
	{
		oServer.Send(sFrames.substr(0, nCut));
		std::this_thread::sleep_for(std::chrono::milliseconds(nCut % 8 == 0 ? 2 : 0));    // pieces of their own
		oServer.Send(sFrames.substr(nCut));
		asLines.insert(asLines.end(), { "5 4 one", "6 8 ", "-1 0 tw\xF6" });
	}
	EXPECT_TRUE(oClient.WaitForLines(asLines.size()));
	EXPECT_EQ(oClient.Lines(), asLines);
	EXPECT_TRUE(oServer.WaitForBytes(ConfirmationOfLine(-1) + ConfirmationOfLine(5)));
}

TEST(CVexTraceClientConnection, BytesThatBeginNoFrameAreDroppedUpToTheNextFrame)
{
	const std::string asGarbage[] = {
		"x",
		"effeff",
		"GET / HTTP/1.0\r\n\r\n",
		"effe" + Word(16 * 1024 * 1024 + 1),
		"effe" + Word(-1),
		Frame(Word(0x03000000)),                         // a command that there is not
		Frame(Word(0x01000400) + Item("")),              // one of the other side
		"effe" + Word(4) + Word(0x02000200) + "feeF",    // another end marker
		Frame(Word(0x02000100)),                         // no number
		Frame(Word(0x02000400) + Word(-1)),              // no text
		Frame(Word(0x01000500) + Word(1) + Word(1) + Word(9)),
		std::string(1000, '\0'),
	};
	CRecordingServer oTraceServer(CVexTraceMsg::eError);
	S oServer;
	CTestClient oClient;
	oClient.SetTraceName("client");
	ASSERT_TRUE(oClient.Login(oServer));
	std::vector<std::string> asLines;
	for (const std::string& rsGarbage : asGarbage)
	{
		oServer.Send(rsGarbage + TraceFrame(5, 4, "line"));
		asLines.push_back("5 4 line");
		EXPECT_TRUE(oClient.WaitForLines(asLines.size())) << testing::PrintToString(rsGarbage);
	}
	EXPECT_EQ(oClient.Lines(), asLines);
	EXPECT_FALSE(oClient.Login(oServer));    // connected
	// The first one is of the other side's command.
	EXPECT_EQ(oTraceServer.Lines(),
		(std::vector<std::string>{ "client/CVexTraceClientConnection Kommando ist unbekannt",
			"client:m_oServer/CVexTCPIPBase Connect-Request failed (not allowed), TCP/IP-Address=127.0.0.1,Port=" +
				std::to_string(oServer.Port()) }));
}

TEST(CVexTraceClientConnection, APartOfAFrameIsDroppedAfterTheTimeout)
{
	S oServer;
	CTestClient oClient(300);
	ASSERT_TRUE(oClient.Login(oServer));
	oServer.Send(TraceFrame(5, 4, "never whole").substr(0, 20));
	std::string sInfo;
	EXPECT_FALSE(oClient.InfoReq(sInfo));    // its confirmation went into the frame
	EXPECT_TRUE(ComesTrue([&] { return oClient.InfoReq(sInfo); }));
	EXPECT_EQ(sInfo, "Program started at 24.12.2009");
}

TEST(CVexTraceClientConnection, CountsOfListsAreNotTrusted)
{
	const std::string sTwo = Word(1) + Item("a/A") + Word(2) + Item("");
	const std::vector<Object> aoTwo = { { 1, "a/A" }, { 2, "" } };
	const std::tuple<const char*, std::string, std::vector<Object>> aCases[] = {
		{ "more than there are", Word(0x7FFFFFFF) + sTwo, aoTwo },
		{ "below zero", Word(-1) + sTwo, {} },
		{ "cut in a name", (Word(3) + sTwo + Word(3) + Item("abc")).substr(0, 30), aoTwo },
		{ "a name of huge length", Word(3) + sTwo + Word(3) + Word(0x7FFFFFFF) + "abc", aoTwo },
	};
	for (const auto& [szName, sItems, aoExpected] : aCases)
	{
		S oServer(S::Answering(7, Frame(Word(0x02000700) + sItems)));
		CTestClient oClient;
		ASSERT_TRUE(oClient.Login(oServer));
		std::vector<Object> aoObjects = { { 9, "old" } };
		EXPECT_TRUE(oClient.GetObjectListReq(aoObjects));
		EXPECT_EQ(aoObjects, aoExpected) << szName;
	}
}

TEST(CVexTraceClientConnection, ALateConfirmationDoesNotAnswerTheNextRequest)
{
	// Information is confirmed when a name is asked for, and names never.
	const S::Script oInsteadOfName = S::Answering(9, Frame(Word(0x02000400) + Item("late")));
	S oServer([&](const std::string& sPayload) { return sPayload[1] == 4 ? "" : oInsteadOfName(sPayload); });
	CTestClient oClient(500);
	ASSERT_TRUE(oClient.Login(oServer));
	std::string sText = "unchanged";
	EXPECT_FALSE(oClient.InfoReq(sText));
	EXPECT_FALSE(oClient.NameIDReq(5, sText));
	EXPECT_EQ(sText, "unchanged");
	EXPECT_TRUE(oClient.StopReq());
}

// Nor is the end of the last connection waited for: a request has a minute.
TEST(CVexTraceClientConnection, TheNextConnectionDoesNotCompleteAFrameOfTheLastOne)
{
	S oServer(
		[&](const std::string& sPayload)
		{
			if (sPayload[1] != 4)
				return S::Confirm(sPayload);
			oServer.Hangup();
			return TraceFrame(5, 4, std::string(500, 'x')).substr(0, 100);
		});
	CTestClient oClient;
	std::string sInfo;
	const auto oBegin = std::chrono::steady_clock::now();
	for (int i = 0; i < 5; ++i)
	{
		// False as long as the client has not seen the end of the last connection.
		ASSERT_TRUE(ComesTrue([&] { return oClient.Login(oServer); }));
		EXPECT_FALSE(oClient.Login(oServer));    // connected already
		EXPECT_FALSE(oClient.InfoReq(sInfo));
		EXPECT_FALSE(oClient.StopReq());
	}
	EXPECT_LT(std::chrono::steady_clock::now() - oBegin, std::chrono::seconds(50));
}

TEST(CVexTraceClientConnection, TheAnswerInFrontOfTheEndOfTheConnectionCounts)
{
	S oServer(
		[&](const std::string&)
		{
			oServer.Hangup();
			return Frame(Word(0x02000100) + Word(2));
		});
	for (int i = 0; i < 20; ++i)
	{
		CTestClient oClient;
		EXPECT_FALSE(oClient.Login(oServer));
		EXPECT_EQ(oClient.LoginRetCode(), CVexTraceClientConnection::ePasswordInvalid);
	}
}

TEST(CVexTraceClientConnection, NothingListeningIsAFailedLogin)
{
	CTestClient oClient(300);
	std::string sText;
	EXPECT_FALSE(oClient.Login(FindFreePort()));
	EXPECT_FALSE(oClient.InfoReq(sText));
	EXPECT_FALSE(oClient.StartReq());
	EXPECT_EQ(oClient.ExecuteReq(CVexTraceTCPIPMsg()), CVexTraceClientConnection::eError);
}
}    // namespace
