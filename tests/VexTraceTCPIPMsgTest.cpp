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
		const CMsg oMsg = Parsed(sWhole.substr(0, nLen));
		EXPECT_EQ(oMsg.IsValid(), nLen >= 4) << nLen;
		EXPECT_EQ(oMsg.GetDataTotal() + oMsg.GetMessage(), "") << nLen;
		EXPECT_EQ(oMsg.GetDataSize(), nLen < 8 ? 0 : 8) << nLen;    // what a header announces
	}
	EXPECT_FALSE(CMsg(nullptr, 8).IsValid() || CMsg(sWhole.data(), -1).IsValid());
}

TEST(CVexTraceTCPIPMsg, MarkersLengthAndCommandDecideValidity)
{
	const std::string sCommand = Word(CMsg::STOP_REQ);
	const std::tuple<std::string, bool, std::string> aCases[] = {
		{ Frame(sCommand), true, sCommand },
		{ Frame("abc"), true, "abc" },    // less than a command
		{ "effE" + Frame(sCommand).substr(4), false, sCommand },
		{ "effe" + Word(4) + sCommand + "feeF", false, sCommand },
		{ "effe" + Word(-1) + sCommand + "feef", true, "" },
		{ "effe" + Word(INT_MIN) + sCommand + "feef", true, "" },
		{ "effe" + Word(5) + sCommand + "feef", true, "" },    // one byte too long
		{ "effe" + Word(3) + sCommand + "feef", false, sCommand.substr(0, 3) },
		{ Frame(Word(0x03000000)), false, Word(0x03000000) },    // commands that there are not
		{ Frame(Word(0x02000A00)), false, Word(0x02000A00) },
	};
	for (const auto& [sBytes, bValid, sPayload] : aCases)
	{
		SCOPED_TRACE(testing::PrintToString(sBytes));
		EXPECT_EQ(Parsed(sBytes).IsValid(), bValid);
		EXPECT_EQ(Parsed(sBytes).GetDataTotal(), sPayload);
	}
}

}    // namespace
