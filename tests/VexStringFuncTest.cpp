#include "VexStringFunc.h"

#include <climits>
#include <gtest/gtest.h>

namespace
{
// Digits grouped as in 1.000.
struct CGrouping : std::numpunct<char>
{
	char do_thousands_sep() const override { return '.'; }
	std::string do_grouping() const override { return "\3"; }
};

// What VexFromString reads, or "-" if it fails and has left the value alone.
template <class T>
std::string Read(const char* pszText, const T oBefore)
{
	T oValue = oBefore;
	return VexFromString(oValue, pszText) ? std::to_string(oValue) : oValue == oBefore ? "-" : "changed";
}

}    // namespace

TEST(VexStrTrim, TakesWhiteSpaceOffTheEndsOnly)
{
	const char* const pszNone = nullptr;
	EXPECT_EQ(VexStrRTrim(" \tb\n") + "|" + VexStrLTrim(" \tb\n"), " \tb|b\n");
	EXPECT_EQ(VexStrTrim(" \t\n\v\f\r") + VexStrRTrim(pszNone) + VexStrLTrim(pszNone) + VexStrTrim(pszNone), "");
	EXPECT_EQ(VexStrTrim(" \xE4 \xA0 "), "\xE4 \xA0");    // high bytes are no white space
}

TEST(VexQuoteString, ReplacesOnePairOfQuotesAndAddsThemWhereNeeded)
{
	const char* const aaszCases[][3] = {
		{ "\"a\tb\"", "\"a\tb\"", "\"a\tb\"" },
		{ "\"\"a\"\"", "\"a\"", "\"\"a\"\"" },    // one pair only
		{ "\"", "\"", "\"\"\"" },                 // a lone one is no pair
		{ "", "", "\"\"" },
	};
	for (const auto& [szText, szIfNeeded, szAlways] : aaszCases)
	{
		std::string sIfNeeded = szText, sAlways = szText;
		VexQuoteString(sIfNeeded, true);
		VexQuoteString(sAlways, false);
		EXPECT_EQ(sIfNeeded + "|" + sAlways, std::string(szIfNeeded) + "|" + szAlways);
	}
}

TEST(VexGetParameterList, CutsAtEverySeparatorAndKeepsEmptyPieces)
{
	typedef std::vector<std::string> List;
	EXPECT_EQ(VexGetParameterList("a,,b,", ','), List({ "a", "", "b", "" }));
	EXPECT_EQ(VexGetParameterList(nullptr, ','), List());
	EXPECT_EQ(VexGetParameterList("a", '\0'), List({ "a" }));    // never read behind the end
}

TEST(VexMemDumpLine, HasTheSameWidthForAnyNumberOfBytes)
{
	const char szBytes[] = "0123456789abcdef\x01\xE4Z";
	EXPECT_EQ(
		VexMemDumpLine(szBytes, 19, 0), "0x0000 30 31 32 33 34 35 36 37  38 39 61 62 63 64 65 66 0123456789abcdef");
	EXPECT_EQ(VexMemDumpLine(szBytes, 19, 16), "0x0010 01 e4 5a " + std::string(40, ' ') + "..Z             ");
	EXPECT_EQ(VexMemDumpLine(nullptr, 19, -1), "0xffffffff " + std::string(24 + 1 + 24 + 16, ' '));
}

TEST(VexMemDump, WritesHeaderAndLinesButForThoseInTheMiddle)
{
	const std::string sBytes(20, 'x');
	const auto Line = [&](int nOffset) { return VexMemDumpLine(sBytes.data(), 20, nOffset) + "\n"; };
	const std::string sDump = VexMemDump(sBytes.data(), 20, INT_MAX, INT_MAX);
	EXPECT_EQ(sDump.substr(sDump.find("  L")), "  Length : 0x00000014\n" + Line(0) + Line(16));
	EXPECT_EQ(VexMemDump(reinterpret_cast<void*>(0xAB), INT_MIN), "Address: 0x000000ab  Length : 0x00000000\n");
	EXPECT_EQ(VexMemDump(nullptr, 20), "");
	// At most so many at the beginning and at the end.
	const std::string sHeader = sDump.substr(0, sDump.find('\n') + 1);
	EXPECT_EQ(VexMemDump(sBytes.data(), 20, 1, INT_MIN), sHeader + Line(0) + "...\n");
	EXPECT_EQ(VexMemDump(sBytes.data(), 20, 0, 1), sHeader + "...\n" + Line(16));
}

TEST(VexFromString, ReadsNumbersAsAStreamDoesInTheClassicLocale)
{
	const char* const aaszCases[][4] = {
		{ " \t\r\n\v\f+0001abc", "1", "1", "1" },
		{ "-1", "-1", "4294967295", "-" },
		{ "2147483648", "-", "2147483648", "-" },
		{ "4294967296", "-", "-", "-" },
		{ "1.000", "1", "1", "1" },
		{ "+-1", "-", "-", "-" },
	};
	const std::locale oBefore = std::locale::global(std::locale(std::locale(), new CGrouping));
	for (const auto& rCase : aaszCases)
	{
		EXPECT_EQ(Read(rCase[0], 77), rCase[1]) << rCase[0];
		EXPECT_EQ(Read(rCase[0], 77u), rCase[2]) << rCase[0];
		EXPECT_EQ(Read(rCase[0], false), rCase[3]) << rCase[0];
	}
	EXPECT_EQ(VexToString(INT_MIN) + VexToString(UINT_MAX) + VexToString(-1000LL), "-21474836484294967295-1000");
	std::locale::global(oBefore);
}
