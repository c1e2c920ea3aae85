#include "VexTraceTCPIPMsg.h"

#include <gtest/gtest.h>

#include <climits>

namespace
{
typedef CVexTraceTCPIPMsg CMsg;
typedef std::vector<std::pair<long, CVexTraceMsg::ETraceLevel>> CLevels;
typedef std::vector<std::pair<long, std::string>> CNames;

// A text with the NULs in it.
template <std::size_t nSize>
std::string Bytes(const char (&szBytes)[nSize])
{
	return std::string(szBytes, nSize - 1);
}

std::string Word(long n)
{
	std::string s;
	for (int nShift = 0; nShift < 32; nShift += 8)
		s += static_cast<char>(static_cast<unsigned long>(n) >> nShift);
	return s;
}

std::string Frame(const std::string& sPayload)
{
	return "effe" + Word(static_cast<long>(sPayload.size())) + sPayload + "feef";
}

CMsg Parsed(const std::string& sBytes)
{
	return CMsg(sBytes.data(), static_cast<int>(sBytes.size()));
}

TEST(CVexTraceTCPIPMsg, EveryBuilderWritesTheBytesOfItsShape)
{
	const struct
	{
		const char* szName;
		void (*pBuild)(CMsg&);
		std::string sFrame;
	} aCases[] = {
		{ "login",
			[](CMsg& r) { r.CreateMsg("me", "01ab"); },
			Bytes("effe\x12\0\0\0\0\x01\0\x01\x02\0\0\0me\x04\0\0\0"
				  "01abfeef") },
		{ "identifier",
			[](CMsg& r) { r.CreateMsg(CMsg::START_REQ); },
			Bytes("effe\x04\0\0\0\0\x02\0\x01"
				  "feef") },
		{ "number",
			[](CMsg& r) { r.CreateMsg(CMsg::TRACE_CNF, -2); },
			Bytes("effe\x08\0\0\0\0\x05\0\x02\xFE\xFF\xFF\xFF"
				  "feef") },
		{ "text",
			[](CMsg& r) { r.CreateMsg(CMsg::INFO_CNF, Bytes("a\0b")); },
			Bytes("effe\x0B\0\0\0\0\x04\0\x02\x03\0\0\0a\0bfeef") },
		{ "line",
			[](CMsg& r) { r.CreateMsg(CMsg::TRACE_REQ, 258, CVexTraceMsg::eDebugL3, "x"); },
			Bytes("effe\x11\0\0\0\0\x05\0\x01\x02\x01\0\0 \0\0\0\x01\0\0\0xfeef") },
		{ "class",
			[](CMsg& r) { r.CreateMsg(CMsg::WATCH_CLASS_REQ, "*", CVexTraceMsg::eInfo); },
			Bytes("effe\x0D\0\0\0\0\x08\0\x01\x01\0\0\0*\x04\0\0\0feef") },
		{ "name",
			[](CMsg& r) { r.CreateMsg(CMsg::NAME_ID_CNF, 7, std::string()); },
			Bytes("effe\x0C\0\0\0\0\x09\0\x02\x07\0\0\0\0\0\0\0feef") },
		{ "levels",
			[](CMsg& r) {
				r.CreateMsg(CMsg::CHANGE_TRACE_LEVEL_REQ, CLevels{ { 3, CVexTraceMsg::eDebug } });
			},
			Bytes("effe\x10\0\0\0\0\x06\0\x01\x01\0\0\0\x03\0\0\0\x08\0\0\0feef") },
		{ "names",
			[](CMsg& r) {
				r.CreateMsg(CMsg::GET_OBJECT_LIST_CNF, CNames{ { 1, "o/C" }, { 2, "" } });
			},
			Bytes("effe\x1B\0\0\0\0\x07\0\x02\x02\0\0\0\x01\0\0\0\x03\0\0\0o/C\x02\0\0\0\0\0\0\0feef") },
	};
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(rCase.szName);
		CMsg oMsg;
		rCase.pBuild(oMsg);
		EXPECT_EQ(oMsg.GetMessage(), rCase.sFrame);
		EXPECT_EQ(oMsg.GetSize(), static_cast<int>(rCase.sFrame.size()));
		const CMsg oParsed = Parsed(rCase.sFrame + "next");
		EXPECT_TRUE(oParsed.IsValid());
		EXPECT_EQ(oParsed.GetMessage(), rCase.sFrame);
	}
}

TEST(CVexTraceTCPIPMsg, ItemsAreReadInOrderFromBehindTheIdentifier)
{
	CMsg oMsg = Parsed(Frame(Word(CMsg::NAME_ID_CNF) + Word(-3) + Word(2) + "ab" + Word(5) + "cut"));
	long n = 0;
	std::string s = "before";
	EXPECT_EQ(oMsg.GetCommand(), CMsg::NAME_ID_RESP);
	EXPECT_TRUE(oMsg.GetData(n) && n == -3);
	EXPECT_TRUE(oMsg.GetData(s) && s == "ab");
	EXPECT_FALSE(oMsg.GetData(s));
	EXPECT_EQ(s, "ab");
	EXPECT_FALSE(oMsg.GetData(n));    // behind the length word of what was cut: three bytes
	EXPECT_EQ(n, -3);
	oMsg.ResetDataOffset();
	EXPECT_TRUE(oMsg.GetData(n) && n == -3);
}

TEST(CVexTraceTCPIPMsg, WhatIsNoWholeFrameHasNoPayload)
{
	const std::string sWhole = Frame(Word(CMsg::INFO_REQ) + Word(0));
	for (std::size_t nLen = 0; nLen < sWhole.size(); ++nLen)
	{
		SCOPED_TRACE(nLen);
		const CMsg oMsg = Parsed(sWhole.substr(0, nLen));
		EXPECT_EQ(oMsg.IsValid(), nLen >= 4);
		EXPECT_EQ(oMsg.GetDataTotal() + oMsg.GetMessage(), "");
		EXPECT_EQ(oMsg.GetDataSize(), nLen < 8 ? 0 : 8);    // what a header announces
		EXPECT_EQ(oMsg.GetCommand(), 0);
	}
	EXPECT_FALSE(CMsg(nullptr, 8).IsValid());
	EXPECT_FALSE(CMsg(sWhole.data(), -1).IsValid());
}

TEST(CVexTraceTCPIPMsg, MarkersLengthAndCommandDecideValidity)
{
	const std::string sCommand = Word(CMsg::STOP_REQ);
	const struct
	{
		const char* szName;
		std::string sBytes;
		bool bValid;
		std::string sPayload;
	} aCases[] = {
		{ "whole", Frame(sCommand), true, sCommand },
		{ "no payload", Frame(""), true, "" },
		{ "less than a command", Frame("abc"), true, "abc" },
		{ "start marker", "effE" + Frame(sCommand).substr(4), false, sCommand },
		{ "end marker", "effe" + Word(4) + sCommand + "feeF", false, sCommand },
		{ "negative length", "effe" + Word(-1) + sCommand + "feef", true, "" },
		{ "lowest length", "effe" + Word(INT_MIN) + sCommand + "feef", true, "" },
		{ "one byte too long", "effe" + Word(5) + sCommand + "feef", true, "" },
		{ "highest length", "effe" + Word(INT_MAX) + sCommand + "feef", true, "" },
		{ "too short", "effe" + Word(3) + sCommand + "feef", false, sCommand.substr(0, 3) },
		{ "third kind", Frame(Word(0x03000000)), false, Word(0x03000000) },
		{ "below the first", Frame(Word(0x01000000)), false, Word(0x01000000) },
		{ "behind the last", Frame(Word(0x02000A00)), false, Word(0x02000A00) },
		{ "in between", Frame(Word(0x01000501)), false, Word(0x01000501) },
	};
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(rCase.szName);
		EXPECT_EQ(Parsed(rCase.sBytes).IsValid(), rCase.bValid);
		EXPECT_EQ(Parsed(rCase.sBytes).GetDataTotal(), rCase.sPayload);
	}
	EXPECT_EQ(Parsed("effe" + Word(INT_MAX)).GetSize(), INT_MAX);
}

TEST(CVexTraceTCPIPMsg, ReadingOutsideThePayloadChangesNothing)
{
	CMsg oMsg = Parsed(Frame(Word(CMsg::LOGIN_REQ) + Word(-1) + Word(INT_MAX) + "abcd"));
	const struct
	{
		int nOffset;
		int nLen;
		bool bThere;
	} aCases[] = { { 0, 16, true },
		{ 16, 0, true },
		{ 12, 4, true },
		{ 0, 17, false },
		{ 13, 4, false },
		{ 17, 0, false },
		{ -1, 4, false },
		{ 0, -1, false },
		{ INT_MIN, INT_MIN, false },
		{ INT_MAX, INT_MAX, false },
		{ 1, INT_MAX, false },
		{ INT_MAX, 1, false } };
	for (const auto& rCase : aCases)
	{
		SCOPED_TRACE(testing::Message() << rCase.nOffset << ", " << rCase.nLen);
		std::string s = "before";
		EXPECT_EQ(oMsg.GetData(s, rCase.nOffset, rCase.nLen), rCase.bThere);
		EXPECT_EQ(s,
			rCase.bThere ? oMsg.GetDataTotal().substr(
							   static_cast<std::size_t>(rCase.nOffset), static_cast<std::size_t>(rCase.nLen))
						 : "before");
		long n = 77;
		EXPECT_EQ(oMsg.GetData(n, rCase.nOffset), rCase.nOffset >= 0 && rCase.nOffset <= 12);
	}
	std::string s;
	EXPECT_FALSE(oMsg.GetData(s));    // a length of -1
	EXPECT_FALSE(oMsg.GetData(s));    // one beyond everything
}

TEST(CVexMessageBase, MarkerOfZeroHasNoFrame)
{
	CVexMessageBase oMsg(1, 0);
	oMsg.AddData(5);
	oMsg.AddData(std::string("ab"));
	EXPECT_TRUE(oMsg.IsValid());
	EXPECT_EQ(oMsg.GetMessage(), "");
	EXPECT_EQ(oMsg.GetSize(), 18);
	long n = 0;
	EXPECT_TRUE(oMsg.GetData(n) && n == 5);    // from the first byte on
}
}    // namespace
