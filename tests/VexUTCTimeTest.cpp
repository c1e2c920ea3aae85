#include "VexUTCTime.h"

#include <gtest/gtest.h>

#include <climits>
#include <ctime>
#include <iomanip>
#include <random>
#include <sstream>
#include <tuple>
#include <utility>

namespace
{
typedef CVexUTCTime T;
const long long nEpoch = 6216721920000000000;
const T oChristmas(24, 12, 2009, 18, 5, 3, 42, 7, 99);

std::string Text(const T& rTime)
{
	return rTime.Time2Str(T::TTMMJJJJ_HHMMSSmmmuuunnn) + (rTime.IsTimeValid() ? "" : " invalid");
}
}    // namespace

TEST(CVexUTCTime, PartsOutOfRangeAreClampedAndMakeTheTimeInvalid)
{
	const std::pair<T, const char*> aCases[] = {
		{ oChristmas, "24.12.2009 18:05:03.042.007.090" },
		{ T(29, 2, 2000, 0, 0, 0, 0, 0, 0), "29.02.2000 00:00:00.000.000.000" },
		{ T(29, 2, 1900, 0, 0, 0, 0, 0, 0), "28.02.1900 00:00:00.000.000.000 invalid" },
		{ T(0, 13, 2009, 24, 60, 60, 1000, 1000, 0), "01.12.2009 23:59:59.999.999.000 invalid" },
		{ T(1, 1, 2009, 0, 0, 0, 0, 0, 1000), "01.01.2009 00:00:00.000.000.990 invalid" },
		{ T(1, 1, UINT_MAX, 0, 0, 0, 0, 0, 0), "01.02.4195 21:31:08.877.455.360" },    // wraps
	};
	for (const auto& rCase : aCases)
		EXPECT_EQ(Text(rCase.first), rCase.second);
}

// The C library's calendar is the judge.
TEST(CVexUTCTime, CalendarPartsAgreeWithTheCLibraryFromYear0To5844)
{
	std::mt19937_64 oRandom(1);
	const unsigned long long nEnd = 2134843ull * 86400;    // 1.1.5845
	for (int i = 0; i < 20000; ++i)
	{
		const unsigned long long nSeconds = i == 0 ? 0 : i == 1 ? nEnd - 1 : oRandom() % nEnd;
		const time_t nUnix = static_cast<time_t>(nSeconds) - static_cast<time_t>(719528) * 86400;
		tm oParts;
		ASSERT_TRUE(gmtime_r(&nUnix, &oParts));
		const T oTime(static_cast<long long>(nSeconds * 100000000 + 12345678));
		ASSERT_EQ(oTime.GetTotalMonths(), static_cast<unsigned int>((oParts.tm_year + 1900) * 12 + oParts.tm_mon + 1));
		ASSERT_EQ(T::CalcNumOfDays(oTime.GetYear(), oTime.GetMonth(), oTime.GetDay()), nSeconds / 86400) << nUnix;
		ASSERT_EQ((oTime.GetHour() * 60 + oTime.GetMinute()) * 60 + oTime.GetSecond(), nSeconds % 86400);
		// Sunday is 0 there, and here all days are one behind.
		ASSERT_EQ(oTime.GetWeekDay(), (oParts.tm_wday + 5) % 7);
		ASSERT_EQ(oTime.GetTimeval().tv_sec, nUnix);
		ASSERT_EQ(oTime.GetTimeval().tv_usec, 123456);
	}
}

TEST(CVexUTCTime, WeekdaysAreOneBehindKept)
{
	EXPECT_EQ(T(1, 1, 1970, 0, 0, 0, 0, 0, 0).GetHighResolutionLocaltime(), nEpoch);
	EXPECT_EQ(T(nEpoch).GetWeekDay(), T::WEDNESDAY);    // it was a Thursday
	EXPECT_EQ(T(0).GetWeekDay(), T::FRIDAY);
}

TEST(CVexUTCTime, CurrentTimeIsInvalidKept)
{
	const time_t nBefore = time(nullptr);
	const T oNow = T::CurrentTime();
	EXPECT_FALSE(oNow.IsTimeValid());
	EXPECT_TRUE(oNow.GetTimeval().tv_sec >= nBefore && oNow.GetTimeval().tv_sec <= time(nullptr) + 1);
}

TEST(CVexUTCTime, AssignedNumberCountsTenMicrosecondsKept)
{
	T oTime;
	oTime = -1l;
	EXPECT_EQ(oTime.GetHighResolutionLocaltime() - nEpoch, -1000);
	EXPECT_TRUE(oTime.IsTimeValid());
}

TEST(CVexUTCTime, AddTimeAddsTheDayOfTheMonthTooKept)
{
	T oTime(oChristmas);
	oTime.AddTime(1, 2, 3, 4, 5, 6, 79);
	EXPECT_EQ(Text(oTime), "18.01.2010 20:08:07.047.013.160");    // 24 + 1 days
	oTime.SubTime(25, 2, 3, 4, 5, 6, 79);                         // takes the days as they are
	EXPECT_EQ(Text(oTime), Text(oChristmas));
}

TEST(CVexUTCTime, CutsOffTheSmallerParts)
{
	std::string sAll;
	for (int nPart = T::PART_INVALID; nPart <= T::MS; ++nPart)
	{
		T oTime(oChristmas);
		oTime.CutOffParts(static_cast<T::ETimePart>(nPart));
		sAll += VexToString(oTime, T::TTMMJJJJ_HHMMSS) + "|";
	}
	EXPECT_EQ(sAll,
		"24.12.2009 18:05:03|01.01.2009 00:00:00|01.12.2009 00:00:00|24.12.2009 00:00:00|24.12.2009 18:00:00|"
		"24.12.2009 18:05:00|24.12.2009 18:05:03|");
}

TEST(CVexUTCTime, SumsAndDifferencesAreExactOverAnyDistance)
{
	const T oOld(1, 1, 1, 0, 0, 0, 0, 0, 0), oLate(1, 1, 2900, 0, 0, 0, 0, 0, 10);
	EXPECT_TRUE(oOld + (oLate - oOld) == oLate && oLate - (oLate - oOld) == oOld && oOld < oLate);
	T oTime(oOld);
	EXPECT_EQ(Text(oTime += CVexTimeDiff(-1, 0, 10)), "31.12.0000 23:59:59.999.000.010");
}

// The mail form has neither seconds nor another zone.
TEST(CVexUTCTime, WritesEveryTextFormAndABlankBehindTwoDatesKept)
{
	std::string sAll;
	for (int nFormat = 0; nFormat <= T::LAST_FORMAT_ENTRY; ++nFormat)
	{
		const auto eFormat = static_cast<T::ETimeFormat>(nFormat);
		std::ostringstream oStream;
		oStream << CManipUTCTime(eFormat) << std::setfill('*') << std::hex << std::setw(40) << oChristmas;
		const std::string sText = VexToString(oChristmas, eFormat);
		EXPECT_EQ(oStream.str(), sText);
		EXPECT_TRUE(nFormat >= T::RFC0822 || T(sText, eFormat).Time2Str(eFormat) == sText) << sText;
		sAll += sText + "|";
	}
	EXPECT_EQ(sAll,
		"24.12.2009 18:05:03.042|24.12.2009 18:05:03|24.12.2009|24.12.2009 18:05:03.042.007|"
		"24.12.2009 18:05:03.042.007.090|18:05:03|12/24/2009 18:05:03|12/24/2009 |2009-12-24 |18:05:03.042|"
		"2009-12-24 18:05:03.042|24 Dec 09 18:05 +0100||");
	EXPECT_EQ(T(5, 3, 2009, 14, 7, 59, 0, 0, 0).Time2Str(T::RFC0822), "5 Mar 09 14:07 +0100");
}

// From a stream over the text; and from the text, which reads a NUL behind it and so never meets the end of input.
TEST(CVexUTCTime, ReadsLooseTextsAndTellsBadOnes)
{
	const std::tuple<T::ETimeFormat, const char*, bool, const char*, bool> aCases[] = {
		{ T::TTMMJJJJ_HHMMSSmmm, "24.12.2009 18:05:03.042", false, "24.12.2009 18:05:03.042.000.000", true },
		{ T::TTMMJJJJ_HHMMSSmmm, "\n 1.2.9\t7:8:9.5x", false, "01.02.0009 07:08:09.005.000.000", true },
		{ T::TTMMJJJJ_HHMMSSmmmuuunnn, "1.1.1970 0:0:0.0.0.999", false, "01.01.1970 00:00:00.000.000.990", true },
		// Texts that end early, and no times.
		{ T::TTMMJJJJ_HHMMSS, "24.12.2009 18:05", true, "24.12.2009 18:05:00.000.000.000 invalid", true },
		{ T::LAST_FORMAT_ENTRY, "24.12.2009", false, "24.12.2009 18:05:03.042.007.090", true },
	};
	for (const auto& [eFormat, szText, bFails, szRead, bValidFromText] : aCases)
	{
		std::istringstream oStream(szText);
		T oTime(oChristmas), oFromDate(oChristmas), oFromText(oChristmas);
		oStream >> CManipUTCTime(eFormat) >> oTime;
		EXPECT_EQ(Text(oTime), szRead) << szText;
		EXPECT_EQ(oStream.fail(), bFails);
		EXPECT_FALSE(oStream.fail() && oStream.eof());
		oFromDate.SetDate(szText, eFormat);
		EXPECT_EQ(Text(oFromDate), szRead);
		EXPECT_TRUE(VexFromString(oFromText, eFormat, szText) && oFromText == oTime);
		EXPECT_EQ(oFromText.IsTimeValid(), bValidFromText);
	}
}

TEST(CVexUTCTime, ReadsTheMonthOfMailDatesAsANumberKept)
{
	EXPECT_EQ(Text(T("5 3 46 14:07:59", T::RFC0822)), "05.03.1946 14:07:59.000.000.000");
	EXPECT_EQ(Text(T("5 3 45 14:07:59", T::RFC0822)), "05.03.2045 14:07:59.000.000.000");
	EXPECT_EQ(Text(T("5 Mar 09 14:07:59", T::RFC0822)), "05.01.2000 00:00:00.000.000.000 invalid");
}
