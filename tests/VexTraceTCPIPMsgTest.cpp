// What builds messages is tested byte for byte by the tests of the two connections.

#include "VexTraceTCPIPMsg.h"

#include "support/TraceFrames.h"

#include <gtest/gtest.h>

#include <climits>
#include <tuple>

namespace
{
typedef CVexTraceTCPIPMsg CMsg;

CMsg Parsed(const std::string& sBytes)
{
	return CMsg(sBytes.data(), static_cast<int>(sBytes.size()));
}

TEST(CVexTraceTCPIPMsg, ItemsAreReadInOrderFromBehindTheIdentifier)
{
	CMsg oMsg = Parsed(Frame(Word(CMsg::NAME_ID_CNF) + Word(-3) + Item("ab") + Word(5) + "cut") + "next");
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
	EXPECT_EQ(Parsed("effe" + Word(INT_MAX)).GetSize(), INT_MAX);
}

TEST(CVexTraceTCPIPMsg, MarkersLengthAndCommandDecideValidity)
{
	const std::string sCommand = Word(CMsg::STOP_REQ);
	const std::tuple<std::string, bool, std::string> aCases[] = {
		{ Frame(sCommand), true, sCommand },
		{ Frame(""), true, "" },
		{ Frame("abc"), true, "abc" },    // less than a command
		{ "effE" + Frame(sCommand).substr(4), false, sCommand },
		{ "effe" + Word(4) + sCommand + "feeF", false, sCommand },
		{ "effe" + Word(-1) + sCommand + "feef", true, "" },
		{ "effe" + Word(INT_MIN) + sCommand + "feef", true, "" },
		{ "effe" + Word(5) + sCommand + "feef", true, "" },    // one byte too long
		{ "effe" + Word(INT_MAX) + sCommand + "feef", true, "" },
		{ "effe" + Word(3) + sCommand + "feef", false, sCommand.substr(0, 3) },
		{ Frame(Word(0x03000000)), false, Word(0x03000000) },    // commands that there are not
		{ Frame(Word(0x01000000)), false, Word(0x01000000) },
		{ Frame(Word(0x02000A00)), false, Word(0x02000A00) },
		{ Frame(Word(0x01000501)), false, Word(0x01000501) },
	};
	for (const auto& [sBytes, bValid, sPayload] : aCases)
	{
		SCOPED_TRACE(testing::PrintToString(sBytes));
		EXPECT_EQ(Parsed(sBytes).IsValid(), bValid);
		EXPECT_EQ(Parsed(sBytes).GetDataTotal(), sPayload);
	}
}

TEST(CVexTraceTCPIPMsg, ReadingOutsideThePayloadChangesNothing)
{
	const std::string sPayload = Word(CMsg::LOGIN_REQ) + Word(-1) + Word(INT_MAX) + "abcd";
	CMsg oMsg = Parsed(Frame(sPayload));
	const int anPlaces[] = { INT_MIN, -1, 0, 1, 4, 12, 13, 15, 16, 17, INT_MAX };
	for (const int nOffset : anPlaces)
		for (const int nLen : anPlaces)
		{
			SCOPED_TRACE(testing::Message() << nOffset << ", " << nLen);
			const bool bThere = nOffset >= 0 && nLen >= 0 && nOffset <= 16 && nLen <= 16 - nOffset;
			std::string s = "before";
			EXPECT_EQ(oMsg.GetData(s, nOffset, nLen), bThere);
			EXPECT_EQ(s, bThere ? sPayload.substr(std::size_t(nOffset), std::size_t(nLen)) : "before");
			long n = 77;
			EXPECT_EQ(oMsg.GetData(n, nOffset), nOffset >= 0 && nOffset <= 12);
		}
	std::string s;
	EXPECT_FALSE(oMsg.GetData(s));    // a length of -1
	EXPECT_FALSE(oMsg.GetData(s));    // one beyond everything
}

TEST(CVexMessageBase, MarkerOfZeroHasNoFrame)
{
	CVexMessageBase oMsg(1, 0);
	oMsg.AddData(5);
	EXPECT_TRUE(oMsg.IsValid());
	EXPECT_EQ(oMsg.GetMessage(), "");
	EXPECT_EQ(oMsg.GetSize(), 16);
	long n = 0;
	EXPECT_TRUE(oMsg.GetData(n) && n == 5);    // from the first byte on
}
}    // namespace
