#include "VexLocalTime.h"

#include "support/RecordingServer.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdlib>
#include <sstream>
#include <thread>
#include <utility>

namespace
{
typedef CVexLocalTime T;
const long long nTicksPerHour = 360000000000;
const T oNoon(1, 1, 2009, 12, 0, 0, 0, 1);

std::string Text(const T& rTime)
{
	return rTime.Time2Str(T::TTMMJJJJ_HHMMSSmmmuuu) + (rTime.IsTimeValid() ? "" : " invalid");
}
}    // namespace

TEST(CVexLocalTime, ConstructorsTakeTheClockOfTheZoneAndStoreUtc)
{
	EXPECT_EQ(Text(T(1, 1, 2009, 1, 2, 3, 4, 5, 60, 2)), "31.12.2008 23:02:03.004.005");
	EXPECT_EQ(Text(T(1, 1, 2009, 24, 0, 0, 7, -1)), "02.01.2009 00:00:00.007.000 invalid");
	EXPECT_EQ(Text(T("01.01.2009 12:30", T::TTMMJJJJ, -3)), "01.01.2009 03:00:00.000.000");
	EXPECT_EQ(T("", T::TTMMJJJJ, 4).GetTimezone(), 4);
}

TEST(CVexLocalTime, LocaltimeCountsTicksKept)
{
	T oTime(oNoon);
	EXPECT_EQ(oTime.GetLocaltime(), oTime.GetHighResolutionLocaltime() + nTicksPerHour);
	oTime.SetLocaltime(nTicksPerHour + 1);
	EXPECT_EQ(oTime.GetHighResolutionLocaltime(), 1);
}

TEST(CVexLocalTime, PartsAndTextsShowUtcKept)
{
	EXPECT_EQ(oNoon.GetHour(), 11u);
	std::stringstream oStream;
	oStream << oNoon;
	EXPECT_EQ(oStream.str(), "01.01.2009 11:00:00.000");
	T oRead(5);
	oStream >> oRead;
	EXPECT_EQ(oRead.GetHighResolutionLocaltime(), oNoon.GetHighResolutionLocaltime());
	EXPECT_EQ(oRead.GetTimezone(), 5);
}

TEST(CVexLocalTime, ChangeKeepsTheInstantAndAdjustKeepsTheClock)
{
	T oChanged(oNoon), oAdjusted(oNoon);
	oChanged.ChangeTimezone(2);
	EXPECT_EQ(oChanged.GetHour(), 11u);
	oAdjusted.AdjustTimezone(2);
	EXPECT_EQ(oAdjusted.GetHour(), 10u);
	EXPECT_TRUE(oAdjusted == oNoon && oAdjusted >= oNoon && oChanged > oNoon && oNoon < oChanged);
}

TEST(CVexLocalTime, AnyTimezoneIsTakenSilentlyKept)
{
	CRecordingServer oServer(CVexTraceMsg::eError);
	T oTime(oNoon);
	oTime.AdjustTimezone(INT_MAX);
	EXPECT_EQ(oTime.GetTimezone(), INT_MAX);
	EXPECT_TRUE(oTime == oNoon);
	EXPECT_TRUE(oServer.Lines().empty());
}

TEST(CVexLocalTime, ArithmeticTakesMillisecondsForTicksKept)
{
	const CVexTimeDiff oSecond(1000);
	EXPECT_EQ((oNoon + oSecond).GetLocaltime(), oNoon.GetLocaltime() + 1000);
	EXPECT_EQ((oNoon - oSecond).GetLocaltime(), oNoon.GetLocaltime() - 1000);
}

TEST(CVexLocalTime, FindsWeekdaysOfAMonthInTheLibrarysNumbering)
{
	EXPECT_EQ(T::CalcDayFromWeek(3, 2009, T::SUNDAY, 1), 2);    // a Monday
	EXPECT_EQ(T::CalcDayFromWeek(3, 2009, T::SUNDAY, INT_MAX), 30);
	EXPECT_EQ(T::CalcDayFromWeek(2, 2008, T::THURSDAY, 5), 29);
	const int nDay = T::CalcFirstWeekdayOfMonth(INT_MIN, INT_MAX, static_cast<T::EWeekday>(7));
	EXPECT_TRUE(nDay >= 1 && nDay <= 7) << nDay;
}

TEST(CVexLocalTime, CurrentZoneFollowsTheEnvironmentWithinTheSameSecond)
{
	const std::pair<const char*, int> aCases[] = {
		{ "IST-5:30", 5 },
		{ "NST3:30", -3 },
		{ "AAA-1BBB,0/0,J365/25", 2 },     // daylight saving all the year
		{ "EEE-1FFF0,0/0,J365/25", 0 },    // the clock put back in winter
	};
	for (const auto& rCase : aCases)
	{
		setenv("TZ", rCase.first, 1);    // and no tzset()
		T oTime(99);
		oTime.SetTimeZone();
		EXPECT_EQ(oTime.GetTimezone(), rCase.second) << rCase.first;
		EXPECT_EQ(T::CurrentLocalTime().GetTimezone(), rCase.second) << rCase.first;
	}
	unsetenv("TZ");
	tzset();
}

// A child waited for ever for the lock of a thread that it does not have.
TEST(CVexLocalTime, ThreadsAndTheirForkedChildrenAskForTheZoneWithoutWaitingForEver)
{
	std::atomic<bool> bStop(false);
	const auto Ask = [&bStop]
	{
		while (!bStop)
			T::CurrentLocalTime().ChangeTimezone(T::GetCurrentTimezone());
	};
	std::thread aoThreads[] = { std::thread(Ask), std::thread(Ask) };
	for (int i = 0; i < 50 && !HasFailure(); ++i)
	{
		const pid_t nChild = fork();
		if (nChild == 0)
		{
			alarm(60);
			_exit(T::GetCurrentTimezone() == T::CurrentLocalTime().GetTimezone() ? 0 : 1);
		}
		int nStatus = -1;
		EXPECT_EQ(waitpid(nChild, &nStatus, 0), nChild);
		EXPECT_EQ(nStatus, 0);
	}
	bStop = true;
	for (auto& rThread : aoThreads)
		rThread.join();
}
