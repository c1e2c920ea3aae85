// The trace client against a server that sends exact bytes.

#include "VexTraceClientConnection.h"

#include "VexPassword.h"
#include "support/RecordingServer.h"
#include "support/ScriptedTraceServer.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
typedef std::pair<long, std::string> Object;

// The client with short times, and with what it is told kept.
class CTestClient : public CVexTraceClientConnection
{
public:
	explicit CTestClient(unsigned int nTimeout = 60000) { m_nTimeout = nTimeout; }
	~CTestClient() override { EndReading(); }

	using CVexTraceClientConnection::EndReading;
	using CVexTraceClientConnection::MsgInterpretation;

	bool Login(const CScriptedTraceServer& rServer)
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

// Confirms the login with the number.
CScriptedTraceServer::Script LoginAnswer(int nCode)
{
	return [nCode](const std::string& sPayload)
	{ return sPayload[1] == 1 ? Frame(Word(0x02000100) + Word(nCode)) : CScriptedTraceServer::Confirm(sPayload); };
}

TEST(CVexTraceClientConnection, SendsExactlyTheBytesOfEveryRequest)
{
	typedef std::vector<std::pair<long, CVexTraceMsg::ETraceLevel>> Levels;
	std::string sText = "Who?";
	std::vector<Object> aoObjects;
	const struct
	{
		const char* szRequest;
		std::function<bool(CTestClient&)> oRequest;
		std::string sBytes;
	} aCases[] = {
		{ "start", [](CTestClient& r) { return r.StartReq(); }, std::string("effe\4\0\0\0\0\2\0\1feef", 16) },
		{ "stop", [](CTestClient& r) { return r.StopReq(); }, std::string("effe\4\0\0\0\0\3\0\1feef", 16) },
		{ "info",
			[&](CTestClient& r) { return r.InfoReq(sText); },
			std::string("effe\14\0\0\0\0\4\0\1\4\0\0\0Who?feef", 24) },
		{ "list",
			[&](CTestClient& r) { return r.GetObjectListReq(aoObjects); },
			std::string("effe\4\0\0\0\0\7\0\1feef", 16) },
		{ "levels",
			[](CTestClient& r) {
				return r.ChangeTraceLevelReq(Levels{ { 5, CVexTraceMsg::eDebug }, { -1, CVexTraceMsg::eNone } });
			},
			std::string("effe\30\0\0\0\0\6\0\1\2\0\0\0\5\0\0\0\10\0\0\0\xFF\xFF\xFF\xFF\0\0\0\0feef", 36) },
		{ "watch",
			[](CTestClient& r) { return r.WatchClassReq("CA", CVexTraceMsg::eDebugL3); },
			std::string("effe\16\0\0\0\0\10\0\1\2\0\0\0CA\40\0\0\0feef", 26) },
		{ "name",
			[&](CTestClient& r) { return r.NameIDReq(258, sText); },
			std::string("effe\10\0\0\0\0\11\0\1\2\1\0\0feef", 20) },
	};
	CScriptedTraceServer oServer;
	CTestClient oClient;
	ASSERT_TRUE(oClient.Login(oServer));
	// The password in hexadecimal digits of its scrambled form.
	std::string sExpected("effe\47\0\0\0\0\1\0\1\11\0\0\0monitorix\22\0\0\0", 29);
	ASSERT_EQ(oServer.Received().substr(0, sExpected.size()), sExpected);
	std::size_t nDone = oServer.Received().size();
	EXPECT_EQ(nDone, sExpected.size() + 18 + 4);
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(rCase.szRequest);
		EXPECT_TRUE(rCase.oRequest(oClient));
		EXPECT_EQ(oServer.Received().substr(nDone), rCase.sBytes);
		nDone = oServer.Received().size();
	}
	EXPECT_EQ(sText, "Name/CClass");
	EXPECT_EQ(aoObjects, std::vector<Object>({ { 5, "Name/CClass" } }));
}

TEST(CVexTraceClientConnection, LoginSucceedsOnlyWithTheNumberZero)
{
	const struct
	{
		int nCode;
		bool bResult;
		CVexTraceClientConnection::ELoginRetCode eRetCode;
	} aCases[] = {
		{ 0, true, CVexTraceClientConnection::eLoginOK },
		{ 1, false, CVexTraceClientConnection::eUsernameInvalid },
		{ 2, false, CVexTraceClientConnection::ePasswordInvalid },
		{ 3, false, CVexTraceClientConnection::eLoginFailed },
		{ 7, false, CVexTraceClientConnection::eLoginFailed },    // as it was
	};
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(rCase.nCode);
		CScriptedTraceServer oServer(LoginAnswer(rCase.nCode));
		CTestClient oClient;
		EXPECT_EQ(oClient.Login(oServer), rCase.bResult);
		EXPECT_EQ(oClient.LoginRetCode(), rCase.eRetCode);
		EXPECT_EQ(oClient.StartReq(), rCase.bResult);
		EXPECT_TRUE(oClient.StopReq());    // behind it: what StartReq() sends has been received by then
		EXPECT_EQ(oServer.Received().find(std::string("\0\2\0\1", 4)) != std::string::npos, rCase.bResult);
	}
}

TEST(CVexTraceClientConnection, NumbersOtherThanZeroFailTheRequest)
{
	CScriptedTraceServer oServer(
		[](const std::string& sPayload)
		{
			if (sPayload[1] != 6 && sPayload[1] != 8)
				return CScriptedTraceServer::Confirm(sPayload);
			return Frame(sPayload.substr(0, 3) + '\x02' + Word(1));
		});
	CTestClient oClient;
	ASSERT_TRUE(oClient.Login(oServer));
	EXPECT_FALSE(oClient.WatchClassReq("CA", CVexTraceMsg::eDebug));
	EXPECT_FALSE(oClient.ChangeTraceLevelReq({}));
	EXPECT_TRUE(oClient.StartReq());
}

TEST(CVexTraceClientConnection, LinesAreConfirmedAndHandedOverInOrderHoweverTheyAreCut)
{
	CScriptedTraceServer oServer;
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
	CScriptedTraceServer oServer;
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
	const std::string sHuge = "effe" + Word(16 * 1024 * 1024 + 1);
	const std::string asGarbage[] = {
		"x",
		"eff",
		"effeff",
		"xxxxxeff",
		"GET / HTTP/1.0\r\n\r\n",
		sHuge,
		"effe" + Word(-1),
		"effe" + Word(0x7FFFFFFF),
		Frame(Word(0x03000000)),                         // a command that there is not
		"effe" + Word(4) + Word(0x02000200) + "feeF",    // another end marker
		Frame(Word(0x02000100)),                         // no number
		Frame(Word(0x02000400) + Word(-1)),              // no text
		Frame(Word(0x01000500) + Word(1) + Word(1) + Word(9)),
		Frame(""),
		std::string(1000, '\0'),
	};
	CScriptedTraceServer oServer;
	CTestClient oClient;
	ASSERT_TRUE(oClient.Login(oServer));
	std::size_t nLines = 0;
	for (const std::string& rsGarbage : asGarbage)
	{
		SCOPED_TRACE(testing::PrintToString(rsGarbage));
		oServer.Send(rsGarbage + TraceFrame(5, 4, "line"));
		EXPECT_TRUE(oClient.WaitForLines(++nLines));
		EXPECT_TRUE(oClient.StopReq());
	}
	EXPECT_EQ(oClient.Lines(), std::vector<std::string>(nLines, "5 4 line"));
}

TEST(CVexTraceClientConnection, APartOfAFrameIsDroppedAfterTheTimeout)
{
	CScriptedTraceServer oServer;
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
	const struct
	{
		const char* szCase;
		std::string sItems;
		std::vector<Object> aoObjects;
	} aCases[] = {
		{ "exact", Word(2) + sTwo, aoTwo },
		{ "fewer than there are", Word(1) + sTwo, { { 1, "a/A" } } },
		{ "more than there are", Word(0x7FFFFFFF) + sTwo, aoTwo },
		{ "below zero", Word(-1) + sTwo, {} },
		{ "cut in a name", (Word(3) + sTwo + Word(3) + Item("abc")).substr(0, 30), aoTwo },
		{ "a name of huge length", Word(3) + sTwo + Word(3) + Word(0x7FFFFFFF) + "abc", aoTwo },
	};
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(rCase.szCase);
		CTestClient oClient;
		CScriptedTraceServer oServer(
			[&](const std::string& sPayload) {
				return sPayload[1] == 7 ? Frame(Word(0x02000700) + rCase.sItems)
										: CScriptedTraceServer::Confirm(sPayload);
			});
		ASSERT_TRUE(oClient.Login(oServer));
		std::vector<Object> aoObjects = { { 9, "old" } };
		EXPECT_TRUE(oClient.GetObjectListReq(aoObjects));
		EXPECT_EQ(aoObjects, rCase.aoObjects);
	}
}

TEST(CVexTraceClientConnection, ALateConfirmationDoesNotAnswerTheNextRequest)
{
	// Information is confirmed when a name is asked for, and names never.
	CScriptedTraceServer oServer(
		[](const std::string& sPayload)
		{
			return sPayload[1] == 4 ? ""
				: sPayload[1] == 9  ? Frame(Word(0x02000400) + Item("late"))
									: CScriptedTraceServer::Confirm(sPayload);
		});
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
	std::atomic<CScriptedTraceServer*> pServer{ nullptr };
	CScriptedTraceServer oServer(
		[&](const std::string& sPayload)
		{
			if (sPayload[1] != 4)
				return CScriptedTraceServer::Confirm(sPayload);
			pServer.load()->Hangup();
			return std::string();
		});
	pServer = &oServer;
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
	CScriptedTraceServer oServer;
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
	std::atomic<CScriptedTraceServer*> pServer{ nullptr };
	CScriptedTraceServer oServer(
		[&](const std::string&)
		{
			pServer.load()->Hangup();
			return Frame(Word(0x02000100) + Word(2));
		});
	pServer = &oServer;
	for (int i = 0; i < 20; ++i)
	{
		CTestClient oClient;
		EXPECT_FALSE(oClient.Login(oServer));
		EXPECT_EQ(oClient.LoginRetCode(), CVexTraceClientConnection::ePasswordInvalid);
	}
}

TEST(CVexTraceClientConnection, ACommandOfTheOtherSideIsTracedAsUnknown)
{
	CRecordingServer oTraceServer(CVexTraceMsg::eError);
	CScriptedTraceServer oServer;
	CTestClient oClient;
	oClient.SetTraceName("client");
	ASSERT_TRUE(oClient.Login(oServer));
	oServer.Send(Frame(Word(0x01000400) + Item("")) + Frame(Word(0x02000500) + Word(1)));
	EXPECT_TRUE(ComesTrue([&] { return oTraceServer.Lines().size() == 2; }));
	const std::string sLine = "client/CVexTraceClientConnection Kommando ist unbekannt";
	EXPECT_EQ(oTraceServer.Lines(), std::vector<std::string>(2, sLine));
}

TEST(CVexTraceClientConnection, DestructionAtAnyMomentIsQuick)
{
	CScriptedTraceServer oServer;
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
	unsigned short nPort = 0;
	{
		CScriptedTraceServer oServer;
		nPort = oServer.Port();
	}
	CTestClient oClient(300);
	CVexPassword oPassword(true);
	EXPECT_FALSE(oClient.LoginReq("a", oPassword, "127.0.0.1", nPort));
	std::string sText;
	EXPECT_FALSE(oClient.InfoReq(sText));
	EXPECT_FALSE(oClient.StartReq());
	EXPECT_EQ(oClient.ExecuteReq(CVexTraceTCPIPMsg()), CVexTraceClientConnection::eError);
}

// Every prefix of every frame and every frame with each byte changed, straight into the dispatch.
TEST(CVexTraceClientConnection, DamagedFramesChangeNothingWorseThanResults)
{
	const std::string asFrames[] = {
		Frame(Word(0x02000100) + Word(0)),
		Frame(Word(0x02000400) + Item("info")),
		Frame(Word(0x02000600) + Word(1)),
		Frame(Word(0x02000700) + Word(2) + Word(1) + Item("a/A") + Word(2) + Item("b/B")),
		Frame(Word(0x02000900) + Word(1) + Item("a/A")),
		TraceFrame(1, 4, "text"),
	};
	CTestClient oClient;
	const auto Interpret = [&](const std::string& sFrame)
	{
		CVexTraceTCPIPMsg oMsg(sFrame.data(), static_cast<int>(sFrame.size()));
		if (oMsg.IsValid())
			oClient.MsgInterpretation(oMsg);
	};
	for (const std::string& rsFrame : asFrames)
		for (std::size_t i = 0; i < rsFrame.size(); ++i)
		{
			Interpret(rsFrame.substr(0, i));
			for (int nByte = 0; nByte < 256; ++nByte)
			{
				std::string sChanged = rsFrame;
				sChanged[i] = static_cast<char>(nByte);
				Interpret(sChanged);
			}
		}
	for (const std::string& rsLine : oClient.Lines())
		EXPECT_LE(rsLine.size(), sizeof "-2147483648 32 text");
}
}    // namespace
