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

	bool Login(const S& rServer)
	{
		CVexPassword oPassword(true);
		std::string sPassword = "monitorix";
		oPassword.SetPassword(sPassword);
		return LoginReq("monitorix", oPassword, "127.0.0.1", rServer.Port());
	}

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
	std::size_t nSeen = 0;
	const auto NewBytes = [&]
	{
		const std::string sBytes = oServer.Received().substr(nSeen);
		nSeen += sBytes.size();
		return sBytes;
	};
	ASSERT_TRUE(oClient.Login(oServer));
	// The password in hexadecimal digits of its scrambled form.
	EXPECT_EQ(NewBytes(), Frame(Word(0x01000100) + Item("monitorix") + Item("1c7a1d7d00661d7d0c")));
	EXPECT_TRUE(oClient.StartReq());
	EXPECT_EQ(NewBytes(), std::string("effe\4\0\0\0\0\2\0\1feef", 16));
	EXPECT_TRUE(oClient.StopReq());
	EXPECT_EQ(NewBytes(), Frame(Word(0x01000300)));
	std::string sText = "Who?";
	EXPECT_TRUE(oClient.InfoReq(sText));
	EXPECT_EQ(NewBytes(), Frame(Word(0x01000400) + Item("Who?")));
	EXPECT_EQ(sText, "Program started at 24.12.2009");
	EXPECT_TRUE(oClient.ChangeTraceLevelReq({ { 5, CVexTraceMsg::eDebug }, { -1, CVexTraceMsg::eNone } }));
	EXPECT_EQ(NewBytes(), Frame(Word(0x01000600) + Word(2) + Word(5) + Word(8) + Word(-1) + Word(0)));
	std::vector<Object> aoObjects;
	EXPECT_TRUE(oClient.GetObjectListReq(aoObjects));
	EXPECT_EQ(NewBytes(), Frame(Word(0x01000700)));
	EXPECT_EQ(aoObjects, std::vector<Object>({ { 5, "Name/CClass" } }));
	EXPECT_TRUE(oClient.WatchClassReq("CA", CVexTraceMsg::eDebugL3));
	EXPECT_EQ(NewBytes(), Frame(Word(0x01000800) + Item("CA") + Word(32)));
	EXPECT_TRUE(oClient.NameIDReq(258, sText));
	EXPECT_EQ(NewBytes(), Frame(Word(0x01000900) + Word(258)));
	EXPECT_EQ(sText, "Name/CClass");
}

TEST(CVexTraceClientConnection, NumbersOtherThanZeroFailTheRequest)
{
	const std::pair<int, CTestClient::ELoginRetCode> aCases[] = {
		{ 0, CTestClient::eLoginOK },
		{ 1, CTestClient::eUsernameInvalid },
		{ 2, CTestClient::ePasswordInvalid },
		{ 3, CTestClient::eLoginFailed },
		{ 7, CTestClient::eLoginFailed },    // as it was
	};
	for (const auto& [nCode, eRetCode] : aCases)
	{
		SCOPED_TRACE(nCode);
		S oServer(S::Answering(1, Frame(Word(0x02000100) + Word(nCode))));
		CTestClient oClient;
		EXPECT_EQ(oClient.Login(oServer), nCode == 0);
		EXPECT_EQ(oClient.LoginRetCode(), eRetCode);
		EXPECT_EQ(oClient.StartReq(), nCode == 0);
		EXPECT_TRUE(oClient.StopReq());    // behind it: what StartReq() sends has been received by then
		EXPECT_EQ(oServer.Received().find(std::string("\0\2\0\1", 4)) != std::string::npos, nCode == 0);
	}
	S oWatched(S::Answering(8, Frame(Word(0x02000800) + Word(1))));
	S oChanged(S::Answering(6, Frame(Word(0x02000600) + Word(1))));
	CTestClient aoClients[2];
	ASSERT_TRUE(aoClients[0].Login(oWatched) && aoClients[1].Login(oChanged));
	EXPECT_FALSE(aoClients[0].WatchClassReq("CA", CVexTraceMsg::eDebug));
	EXPECT_FALSE(aoClients[1].ChangeTraceLevelReq({}));
}

TEST(CVexTraceClientConnection, LinesAreConfirmedAndHandedOverInOrderHoweverTheyAreCut)
{
	S oServer;
	CTestClient oClient;
	ASSERT_TRUE(oClient.Login(oServer));
	const std::string sFrames = TraceFrame(5, 4, "one") + TraceFrame(6, 8, "") + TraceFrame(-1, 64, "tw\xF6");
	for (std::size_t nCut = 0; nCut <= sFrames.size(); ++nCut)
	{
		oServer.Send(sFrames.substr(0, nCut));
		std::this_thread::sleep_for(std::chrono::milliseconds(nCut % 8 == 0 ? 2 : 0));    // pieces of their own
		oServer.Send(sFrames.substr(nCut));
	}
	ASSERT_TRUE(oClient.WaitForLines(3 * (sFrames.size() + 1)));
	const std::vector<std::string> asLines = oClient.Lines();
	for (std::size_t i = 0; i < asLines.size(); ++i)
		EXPECT_EQ(asLines[i], (std::vector<std::string>{ "5 4 one", "6 8 ", "-1 0 tw\xF6" }[i % 3]));
	EXPECT_TRUE(oServer.WaitForBytes(ConfirmationOfLine(-1) + ConfirmationOfLine(5)));
}

TEST(CVexTraceClientConnection, BaseTraceIndConfirmsBeforeItWritesToStandardError)
{
	S oServer;
	testing::internal::CaptureStderr();
	{
		CVexTraceClientConnection oClient;
		CVexPassword oPassword(true);
		ASSERT_TRUE(oClient.LoginReq("a", oPassword, "127.0.0.1", oServer.Port()));
		oServer.Send(TraceFrame(77, 1, "gr\xFCn"));
		EXPECT_TRUE(oServer.WaitForBytes(ConfirmationOfLine(77)));
		EXPECT_TRUE(oClient.StopReq());    // answered behind the line
	}
	EXPECT_EQ(testing::internal::GetCapturedStderr(), "gr\xFCn\n");
}

TEST(CVexTraceClientConnection, BytesThatBeginNoFrameAreDroppedUpToTheNextFrame)
{
	const std::string asGarbage[] = {
		"x",
		"effeff",
		"GET / HTTP/1.0\r\n\r\n",
		"effe" + Word(16 * 1024 * 1024 + 1),
		"effe" + Word(-1),
		"effe" + Word(0x7FFFFFFF),
		Frame(Word(0x03000000)),                         // a command that there is not
		Frame(Word(0x01000400) + Item("")),              // one of the other side
		"effe" + Word(4) + Word(0x02000200) + "feeF",    // another end marker
		Frame(Word(0x02000100)),                         // no number
		Frame(Word(0x02000400) + Word(-1)),              // no text
		Frame(Word(0x02000900)),
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
	// Of the other side's command only.
	EXPECT_EQ(
		oTraceServer.Lines(), std::vector<std::string>{ "client/CVexTraceClientConnection Kommando ist unbekannt" });
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
		{ "exact", Word(2) + sTwo, aoTwo },
		{ "fewer than there are", Word(1) + sTwo, { { 1, "a/A" } } },
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

TEST(CVexTraceClientConnection, ARequestEndsWithTheConnection)
{
	S oServer(
		[&](const std::string& sPayload)
		{
			if (sPayload[1] != 4)
				return S::Confirm(sPayload);
			oServer.Hangup();
			return std::string();
		});
	CTestClient oClient;
	ASSERT_TRUE(oClient.Login(oServer));
	EXPECT_FALSE(oClient.Login(oServer));    // connected already
	std::string sInfo;
	const auto oBegin = std::chrono::steady_clock::now();
	EXPECT_FALSE(oClient.InfoReq(sInfo));
	EXPECT_LT(std::chrono::steady_clock::now() - oBegin, std::chrono::seconds(50));    // of a minute
	EXPECT_FALSE(oClient.StopReq());
}

TEST(CVexTraceClientConnection, TheNextConnectionDoesNotCompleteAFrameOfTheLastOne)
{
	S oServer;
	CTestClient oClient;
	const auto oBegin = std::chrono::steady_clock::now();
	for (int i = 0; i < 5; ++i)
	{
		// False as long as the client has not seen the end of the last connection.
		ASSERT_TRUE(ComesTrue([&] { return oClient.Login(oServer); }));
		oServer.Send(TraceFrame(5, 4, std::string(500, 'x')).substr(0, 100));
		oServer.Hangup();
	}
	EXPECT_LT(std::chrono::steady_clock::now() - oBegin, std::chrono::seconds(50));    // of a minute for one request
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

TEST(CVexTraceClientConnection, DestructionAtAnyMomentIsQuick)
{
	S oServer;
	const auto oBegin = std::chrono::steady_clock::now();
	for (int i = 0; i < 40; ++i)
	{
		CTestClient oClient;
		if (i % 4 == 0)
			continue;
		ASSERT_TRUE(oClient.Login(oServer));
		if (i % 4 > 1)
			oServer.Send(TraceFrame(1, 1, "half").substr(0, static_cast<std::size_t>(i % 20)));
		if (i % 4 > 2)
			oServer.Hangup();
	}
	// Each of them has a minute for a request.
	EXPECT_LT(std::chrono::steady_clock::now() - oBegin, std::chrono::seconds(40));
}

TEST(CVexTraceClientConnection, NothingListeningIsAFailedLogin)
{
	CTestClient oClient(300);
	CVexPassword oPassword(true);
	EXPECT_FALSE(oClient.LoginReq("a", oPassword, "127.0.0.1", FindFreePort()));
	std::string sText;
	EXPECT_FALSE(oClient.InfoReq(sText));
	EXPECT_FALSE(oClient.StartReq());
	EXPECT_EQ(oClient.ExecuteReq(CVexTraceTCPIPMsg()), CVexTraceClientConnection::eError);
}
}    // namespace
