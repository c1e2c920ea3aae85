#include "VexScheduleInfo.h"

#include "fuzz/ScheduleFuzz.cpp"    // compares one schedule with the rule that walks its steps

#include <gtest/gtest.h>

#include <climits>
#include <random>
#include <sstream>

namespace
{
const long long nHour = 3600 * 100000000LL;    // an interval: its milliseconds count as ticks

// Day of March 2009, time of day. The 5th was a Thursday, weekday bit 4.
CVexLocalTime At(const std::string& rTime)
{
	return CVexLocalTime(rTime.substr(0, 2) + ".03.2009" + rTime.substr(2), CVexUTCTime::TTMMJJJJ_HHMMSSmmm, 0);
}

std::string NextText(const CVexScheduleInfo& rInfo, const CVexLocalTime& rNow)
{
	CVexLocalTime oNext(0);
	const bool bDue = VexSchedule::FindNextTime(rInfo, rNow, oNext);
	return bDue ? oNext.Time2Str(CVexUTCTime::TTMMJJJJ_HHMMSSmmm).erase(2, 8) : "never";
}

CVexTimeDiff Hours(int nHours)
{
	return CVexTimeDiff(0, nHours, 0, 0, 0, 0, 0);
}

TEST(CVexScheduleInfo, NextTimeIsThatOfTheStepByStepRule)
{
	std::mt19937 oRandom(20090305);
	for (int i = 0; i < 1500; ++i)
	{
		std::uint8_t aBytes[64];
		for (std::uint8_t& rnByte : aBytes)
			rnByte = static_cast<std::uint8_t>(oRandom());
		LLVMFuzzerTestOneInput(aBytes, sizeof aBytes);    // aborts if not
	}
}

TEST(CVexScheduleInfo, NextTimeObeysIntervalWindowWeekdaysAndEnd)
{
	const struct
	{
		const char* szName;
		long long nStep;
		short nDays;
		int nFrom, nTo;
		long nRepetitions;    // -1: until the 30th
		const char *szNow, *szNext;
	} aCases[] = {
		{ "end of the window", nHour, 127, 9, 11, -1, "05 10:30:00.000", "05 11:00:00.000" },
		{ "next week", nHour, 4, 9, 11, -1, "05 12:00:00.000", "12 09:00:00.000" },
		{ "behind the end", nHour, 127, 0, 24, -1, "30 00:00:00.001", "never" },
		{ "reversed window", nHour, 127, 11, 9, LONG_MAX, "05 09:00:00.000", "never" },
		{ "no weekday", 10, 128, 0, 24, LONG_MAX, "05 09:00:00.000", "never" },
		{ "no step, start not permitted", 0, 127, 9, 24, LONG_MAX, "05 08:00:00.000", "never" },
		{ "negative step", -nHour, 127, 0, 24, -1, "05 08:00:00.001", "26 15:24:34.407" },
		{ "tiny step", 1, 1, 9, 9, 200001, "20 08:00:00.000", "24 09:00:00.000" },
	};
	const CVexLocalTime oStart = At("05 08:00:00.000");
	for (const auto& rCase : aCases)
	{
		const CVexTimeDiff oFrom = Hours(rCase.nFrom), oTo = Hours(rCase.nTo);
		CVexScheduleInfo oInfo(oStart, At("30 00:00:00.000"), rCase.nStep, rCase.nDays, oFrom, oTo);
		if (rCase.nRepetitions != -1)
			oInfo.SetWiederholungen(rCase.nRepetitions);
		EXPECT_EQ(NextText(oInfo, At(rCase.szNow)), rCase.szNext) << rCase.szName;
	}
}

TEST(CVexScheduleInfo, SpansCountMillisecondsAsTicksKept)
{
	CVexLocalTime oNow = At("05 08:00:00.000"), oNext(0);
	const CVexScheduleInfo oInfo(oNow, CVexTimeDiff(nHour), CVexTimeDiff(1000), 127, 0, Hours(24));
	EXPECT_EQ(oInfo.GetEndeDatum(), At("05 09:00:00.000"));
	oNow.SetLocaltime(oNow.GetLocaltime() + 1);
	ASSERT_TRUE(VexSchedule::FindNextTime(oInfo, oNow, oNext));
	EXPECT_EQ(oNext.GetLocaltime(), oNow.GetLocaltime() + 999);
}

TEST(CVexScheduleInfo, WindowAndWeekdayAreThoseOfTheUtcInstantKept)
{
	const CVexScheduleInfo oInfo(CVexLocalTime(0), 5u, 0, short(1 << CVexUTCTime::WEDNESDAY), Hours(23), Hours(23));
	EXPECT_TRUE(oInfo.IsNextTimeNotInException(CVexLocalTime(6, 3, 2009, 1, 0, 0, 0, 2)));    // Thursday, 23:00 UTC
	EXPECT_FALSE(oInfo.IsNextTimeNotInException(CVexLocalTime(5, 3, 2009, 23, 0, 0, 0, 2)));
}

TEST(CVexScheduleInfo, TimeOfThisMillisecondIsStillDueKept)
{
	const CVexLocalTime oNow = At("05 08:00:00.000");
	EXPECT_EQ(NextText(CVexScheduleInfo(oNow, 5u, nHour, 127, 0, Hours(24)), oNow), "05 08:00:00.000");
}

TEST(CVexScheduleInfo, TextReadsBackAndMayStopBehindTheFourthField)
{
	CVexScheduleInfo oInfo;
	std::ostringstream oOut;
	for (const char* szText : { "1,05.03.2009 08:00:00.000,-5,01.04.2009 00:00:00.000,3240,0,-3",
			 "0,05.03.2009 08:00:00.000,36000,1000000,0,1,127",
			 "0,05.03.2009 08:00:00.000,1,7" })    // the rest stays as it is
	{
		std::istringstream oIn(szText);
		EXPECT_TRUE(oIn >> oInfo);
		oOut << std::hex << oInfo << "|";
	}
	EXPECT_EQ(oOut.str(),
		"1,05.03.2009 08:00:00.000,-5,01.04.2009 00:00:00.000,3240,0,-3|"
		"0,05.03.2009 08:00:00.000,36000,1000000,0,1,127|0,05.03.2009 08:00:00.000,1,7,0,1,127|");
}

TEST(CVexScheduleInfo, TextThatIsNoScheduleChangesNothing)
{
	const std::string sStart = "0,05.03.2009 08:00:00.000,1,";
	for (const std::string& rText :
		{ std::string(), "2" + sStart.substr(1) + "7", sStart.substr(0, 12), sStart, sStart + "7,0,0,32768" })
	{
		CVexScheduleInfo oInfo(At("05 08:00:00.000"), 3u, 5, 9, 11, 13);
		std::istringstream oIn(rText);
		std::ostringstream oOut;
		EXPECT_FALSE(oIn >> oInfo) << rText;
		oOut << oInfo;
		EXPECT_EQ(oOut.str(), "0,05.03.2009 08:00:00.000,500000,3,1100000,1300000,9") << rText;
	}
}
}    // namespace
