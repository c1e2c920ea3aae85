#include "VexTimeDiff.h"

#include <gtest/gtest.h>

#include <climits>
#include <iomanip>
#include <sstream>
#include <tuple>

namespace
{
std::string Ticks(const CVexTimeDiff& rDiff)
{
	std::string sTicks;
	rDiff.Time2Str(sTicks);
	return sTicks;
}

typedef CVexTimeDiff D;
const D::EDiffFormat eNoFormat = static_cast<D::EDiffFormat>(7);
const D oDay(1, 1, 2, 3, 4, 5, 69);
const D oMost(LLONG_MAX / 100000, 758, 70), oLeast = D() - oMost - D(0, 0, 10);
}    // namespace

TEST(CVexTimeDiff, IsTheSumOfItsPartsAndWrapsAt64Bits)
{
	EXPECT_EQ(Ticks(D(-1)), "-100000");
	EXPECT_EQ(Ticks(D(1, 2, 3, 4, 5, 6, 79)), "9378400500607");
	EXPECT_EQ(Ticks(D(0, -1, -30, 0, 0, 0, -19)), "-540000000001");
	EXPECT_EQ(Ticks(D(INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN, INT_MIN)), "-8264907968517819596");
}

TEST(CVexTimeDiff, TotalsCountWholeUnitsAndPartsAreCutDownToThem)
{
	EXPECT_TRUE(oDay.GetTotalDays() == 1 && oDay.GetTotalHours() == 25 && oDay.GetTotalMinutes() == 1502);
	EXPECT_TRUE(oDay.GetTotalSeconds() == 90123 && oDay.GetTotalNanoSeconds() == 90123004005060);
	const D aoCut[] = { D(86400000), D(25 * 3600000), D(1502 * 60000), D(90123000) };
	for (int i = D::HHMMSSMS; i <= D::MS; ++i)
	{
		D oCut(oDay);
		oCut.CutOffParts(static_cast<D::ETimeDiffPart>(i));
		EXPECT_EQ(Ticks(oCut), Ticks(aoCut[i]));
	}
}

TEST(CVexTimeDiff, TotalsOfNegativeSpansAreHugeKept)
{
	EXPECT_EQ(D(-1000).GetTotalSeconds(), 184467440736);
	EXPECT_EQ(D(-1000).GetTotalNanoSeconds(), -1000000000);
	EXPECT_EQ(Ticks(D(-1000) / 2), "9223372036804775808");
}

TEST(CVexTimeDiff, CalculatesAndComparesSignedTicks)
{
	const D oThree(3);
	EXPECT_EQ(Ticks(2 * oThree + oThree * 2 - oThree / 0), "900000");
	EXPECT_TRUE(oMost + D(0, 0, 10) == oLeast && D(-1) < oThree && oThree > D(-1) && oThree <= oThree);
}

TEST(CVexTimeDiff, AssignmentChangesConstObjectsKept)
{
	const D oConst(1);
	oConst = D(2);
	EXPECT_EQ(Ticks(oConst), "200000");
}

// Also in the form of streams that were never given one.
TEST(CVexTimeDiff, MilliSecondsFormatCountsTicksKept)
{
	std::ostringstream oStream;
	oStream << D(1);
	EXPECT_EQ(oStream.str(), "100000");
}

TEST(CVexTimeDiff, WritesEveryTextForm)
{
	std::string sAll;
	for (int nFormat = 0; nFormat <= eNoFormat; ++nFormat)
		for (const D& rDiff : { oDay, oLeast })
		{
			const auto eFormat = static_cast<D::EDiffFormat>(nFormat);
			std::ostringstream oStream;
			oStream << DiffTimeFormat(eFormat) << std::setfill('*') << std::hex << std::setw(40) << rDiff;
			EXPECT_EQ(oStream.str(), VexToString(rDiff, eFormat));
			sAll += oStream.str() + "|";
		}
	EXPECT_EQ(sAll,
		"9012300400506|-9223372036854775808|25:02|-25620477:52|25:02:03|-25620477:52:48|25:02:03.004|"
		"-25620477:52:48.547|25:02:03.004.005|-25620477:52:48.547.758|25:02:03.004.005.060|"
		"-25620477:52:48.547.758.080|1#01:02:03|-1067519#21:52:48|Fehler |-Fehler |");
}

// From a stream; and from the text alone, which leaves the target as it was on failure.
TEST(CVexTimeDiff, ReadsEveryTextFormAndFailsAtAWrongSeparator)
{
	const std::tuple<const char*, D::EDiffFormat, bool, D, const char*> aCases[] = {
		{ "25:02x", D::HHMM, true, D(0, 25, 2, 0, 0, 0, 0), "x" },
		{ "123:00", D::HHMM, false, D(0, 12, 0, 0, 0, 0, 0), "3:00" },
		{ "01:02:03.0045", D::HHMMSSmmm, true, D(0, 1, 2, 3, 4, 0, 0), "5" },
		{ "9999#01:02:03", D::DDHHMMSS, true, D(9999, 1, 2, 3, 0, 0, 0), "" },
		{ " -300000 ", D::MILLI_SECONDS, true, D(-3), " " },
		{ "-99999999999999999999,", D::MILLI_SECONDS, false, oLeast, "," },
	};
	for (const auto& [szText, eFormat, bReads, oExpected, szRest] : aCases)
	{
		std::istringstream oStream(szText);
		D oDiff(5), oFromText(5);
		oStream >> DiffTimeFormat(eFormat) >> oDiff;
		EXPECT_EQ(oStream.fail(), !bReads);
		EXPECT_EQ(Ticks(oDiff), Ticks(oExpected)) << szText;
		oStream.clear();
		EXPECT_EQ(std::string(std::istreambuf_iterator<char>(oStream), {}), szRest);
		EXPECT_EQ(VexFromString(oFromText, eFormat, szText), bReads);
		EXPECT_EQ(Ticks(oFromText), Ticks(bReads ? oExpected : D(5)));
	}
}

TEST(CVexTimeDiff, FormsThatAreOnlyWrittenReadAsNothingKept)
{
	for (const auto eFormat : { D::HHMMSSmmmuuu, D::HHMMSSmmmuuunnn, eNoFormat })
	{
		std::istringstream oStream("01:02:03.004.005");
		D oDiff(5);
		oStream >> DiffTimeFormat(eFormat) >> oDiff;
		EXPECT_TRUE(oDiff == D() && oStream.good() && oStream.tellg() == 0);
	}
}
