#include "VexLocalTime.h"

#include "VexTimeInternal.h"
#include "VexTrace.h"

#include <pthread.h>
#include <time.h>

#include <cstdint>
#include <sstream>

using namespace VexTime;

namespace
{
// One thread at a time asks the C library for the zone. The lock is taken over a fork, or a child could find the
// library's own lock in the hands of a thread that it does not have; nothing is called with it but the library.
pthread_mutex_t oZoneMutex = PTHREAD_MUTEX_INITIALIZER;

void LockZone()
{
	pthread_mutex_lock(&oZoneMutex);
}

void UnlockZone()
{
	pthread_mutex_unlock(&oZoneMutex);
}

// From the library's load on: with the first question it would be too late for a fork at that moment.
const int nForkResult = pthread_atfork(LockZone, UnlockZone, UnlockZone);

class CZoneLock
{
public:
	explicit CZoneLock(bool bWait)
	{
		m_bLocked = (bWait ? pthread_mutex_lock(&oZoneMutex) : pthread_mutex_trylock(&oZoneMutex)) == 0;
	}
	~CZoneLock()
	{
		if (m_bLocked)
			UnlockZone();
	}
	CZoneLock(const CZoneLock&) = delete;
	CZoneLock& operator=(const CZoneLock&) = delete;
	bool IsLocked() const { return m_bLocked; }

private:
	bool m_bLocked;
};

// Whole hours east of UTC: minutes west of UTC in standard time, plus one hour of daylight saving. A clock that some
// zones put back in winter ("negative" daylight saving) is a standard time of its own. With the lock held.
int AskTimezone(time_t nNow)
{
	tzset();
	tm oNow;
	if (!localtime_r(&nNow, &oNow))
		return 0;
	long nStandardEast = oNow.tm_gmtoff;
	int nDaylight = 0;
	if (oNow.tm_isdst > 0 && nStandardEast > -timezone)
	{
		nStandardEast = -timezone;
		nDaylight = 1;
	}
	const long nMinutesWest = -nStandardEast / 60;
	return static_cast<int>(-nMinutesWest / 60) + nDaylight;
}

// The zone of the last second asked for, in one word that threads read without a lock. Bit 63: there is one; bits 40
// to 62: what the C library's zone data looked like; bits 32 to 39: zone + 128; below: the second, without its upper
// half.
typedef std::uint64_t ZoneWord;
const ZoneWord nZoneKnown = ZoneWord(1) << 63;
const ZoneWord nZoneMask = ZoneWord(0xFF) << 32;
std::atomic<ZoneWord> nZoneWord{ 0 };

int ZoneOf(ZoneWord nWord)
{
	return static_cast<int>((nWord & nZoneMask) >> 32) - 128;
}

// Changes when tzset() takes another zone over. Other threads may be in there: each value is read whole, and a mixture
// only costs one question more.
std::uint32_t ZoneFingerprint()
{
	const auto nWest = static_cast<std::uint32_t>(__atomic_load_n(&timezone, __ATOMIC_RELAXED));
	const auto nDaylight = static_cast<std::uint32_t>(__atomic_load_n(&daylight, __ATOMIC_RELAXED));
	const auto nName = reinterpret_cast<std::uintptr_t>(__atomic_load_n(&tzname[0], __ATOMIC_RELAXED));
	const auto nDaylightName = reinterpret_cast<std::uintptr_t>(__atomic_load_n(&tzname[1], __ATOMIC_RELAXED));
	std::uint32_t nHash = (nWest ^ nDaylight) * 0x9E3779B1u;
	nHash = (nHash ^ static_cast<std::uint32_t>(nName)) * 0x85EBCA77u;
	return (nHash ^ static_cast<std::uint32_t>(nDaylightName)) * 0xC2B2AE3Du >> 9;
}

ZoneWord ZoneKey(ZoneWord nSecond)
{
	return nZoneKnown | static_cast<ZoneWord>(ZoneFingerprint()) << 40 | (nSecond & 0xFFFFFFFF);
}

// While another thread asks, the zone known so far will do.
int RefreshTimezone(ZoneWord nSecond, ZoneWord nKnown)
{
	const CZoneLock oLock(nKnown == 0);
	if (!oLock.IsLocked())
		return ZoneOf(nKnown);
	const int nZone = AskTimezone(static_cast<time_t>(nSecond));
	nZoneWord.store(ZoneKey(nSecond) | static_cast<ZoneWord>(nZone + 128) << 32, std::memory_order_relaxed);
	return nZone;
}

int GetTimezoneOf(ZoneWord nSecond)
{
	const ZoneWord nWord = nZoneWord.load(std::memory_order_relaxed);
	return (nWord & ~nZoneMask) == ZoneKey(nSecond) ? ZoneOf(nWord) : RefreshTimezone(nSecond, nWord);
}

Ticks ZoneTicks(int nTimezone)
{
	return static_cast<Ticks>(static_cast<long long>(nTimezone)) * nTicksPerHour;
}

// Weekday of the first of the month, in the numbering of GetWeekDay().
int GetFirstWeekday(int nMonth, int nYear)
{
	const long long nDays =
		CVexUTCTime::CalcNumOfDays(static_cast<unsigned int>(nYear), static_cast<unsigned int>(nMonth), 1);
	return static_cast<int>((nDays + 4) % 7);
}
}    // namespace

CVexLocalTime::CVexLocalTime(int nTimezone) : CVexUTCTime(0)
{
	ChangeTimezone(nTimezone);
}

CVexLocalTime::CVexLocalTime(unsigned int nDay, unsigned int nMonth, unsigned int nYear, unsigned int nHour,
	unsigned int nMinute, unsigned int nSecond, unsigned int nMilli, unsigned int nMicro, unsigned int nNano,
	int nTimezone)
	: CVexUTCTime(nDay, nMonth, nYear, nHour, nMinute, nSecond, nMilli, nMicro, nNano)
{
	ChangeTimezone(nTimezone);
	CVexLocalTime::SetLocaltime(GetHighResolutionLocaltime());
}

CVexLocalTime::CVexLocalTime(unsigned int nDay, unsigned int nMonth, unsigned int nYear, unsigned int nHour,
	unsigned int nMinute, unsigned int nSecond, unsigned int nMilli, int nTimezone)
	: CVexLocalTime(nDay, nMonth, nYear, nHour, nMinute, nSecond, nMilli, 0, 0, nTimezone)
{
}

CVexLocalTime::CVexLocalTime(const std::string& rText, ETimeFormat eFormat, int nTimezone) : CVexUTCTime(rText, eFormat)
{
	ChangeTimezone(nTimezone);
	CVexLocalTime::SetLocaltime(GetHighResolutionLocaltime());
}

CVexLocalTime::CVexLocalTime(const CVexLocalTime& rOther) = default;

CVexLocalTime::~CVexLocalTime() = default;

CVexLocalTime& CVexLocalTime::operator=(const CVexLocalTime& rOther) = default;

// KEPT: ticks here, milliseconds in the base class. Test: CVexLocalTime.LocaltimeCountsTicksKept
// KEPT: the zone counts here alone, not in the inherited calendar parts and texts.
// Test: CVexLocalTime.PartsAndTextsShowUtcKept
long long CVexLocalTime::GetLocaltime() const
{
	return static_cast<long long>(static_cast<Ticks>(GetHighResolutionLocaltime()) + ZoneTicks(m_nTimezone));
}

void CVexLocalTime::SetLocaltime(long long nTicks)
{
	SetHighResolutionLocaltime(static_cast<long long>(static_cast<Ticks>(nTicks) - ZoneTicks(m_nTimezone)));
}

int CVexLocalTime::GetCurrentTimezone()
{
	const CZoneLock oLock(true);
	return AskTimezone(time(nullptr));
}

void CVexLocalTime::SetTimeZone()
{
	m_nTimezone = GetCurrentTimezone();
}

int CVexLocalTime::GetTimezone() const
{
	return m_nTimezone;
}

void CVexLocalTime::ChangeTimezone(int nTimezone)
{
	const bool bTooFarWest = nTimezone < -12;
	const bool bTooFarEast = nTimezone > 12;
	// KEPT: both at once never holds, so every zone is taken silently.
	// Test: CVexLocalTime.AnyTimezoneIsTakenSilentlyKept
	if (bTooFarWest && bTooFarEast)
	{
		std::ostringstream oStream;
		oStream << "CVexLocalTime: Timezone im ung\xFCltigen Bereich: " << nTimezone;
		CVexTrace::m_oGlobalTrace.AddMsg(CVexTraceMsg::eError, oStream);
	}
	m_nTimezone = nTimezone;
}

void CVexLocalTime::AdjustTimezone(int nTimezone)
{
	const long long nLocal = GetLocaltime();
	ChangeTimezone(nTimezone);
	SetLocaltime(nLocal);
}

CVexLocalTime CVexLocalTime::CurrentLocalTime()
{
	timeval oNow;
	gettimeofday(&oNow, nullptr);
	const auto nSecond = static_cast<Ticks>(oNow.tv_sec);
	CVexLocalTime oTime(GetTimezoneOf(nSecond));
	oTime.SetHighResolutionLocaltime(static_cast<long long>(nTicksUntil1970 + nSecond * nTicksPerSecond +
		static_cast<unsigned int>(oNow.tv_usec) / 1000u * nTicksPerMilli));
	return oTime;
}

CVexLocalTime CVexLocalTime::operator+(const CVexTimeDiff& rDiff) const
{
	return CVexLocalTime(*this) += rDiff;
}

CVexLocalTime CVexLocalTime::operator-(const CVexTimeDiff& rDiff) const
{
	return CVexLocalTime(*this) -= rDiff;
}

// KEPT: milliseconds are added to ticks. Test: CVexLocalTime.ArithmeticTakesMillisecondsForTicksKept
CVexLocalTime& CVexLocalTime::operator+=(const CVexTimeDiff& rDiff)
{
	const Ticks nLocal = static_cast<Ticks>(GetLocaltime());
	SetLocaltime(static_cast<long long>(nLocal + static_cast<Ticks>(rDiff.GetTotalMilliSeconds())));
	return *this;
}

CVexLocalTime& CVexLocalTime::operator-=(const CVexTimeDiff& rDiff)
{
	const Ticks nLocal = static_cast<Ticks>(GetLocaltime());
	SetLocaltime(static_cast<long long>(nLocal - static_cast<Ticks>(rDiff.GetTotalMilliSeconds())));
	return *this;
}

bool CVexLocalTime::operator<(const CVexLocalTime& rOther) const
{
	return GetLocaltime() < rOther.GetLocaltime();
}

bool CVexLocalTime::operator>(const CVexLocalTime& rOther) const
{
	return GetLocaltime() > rOther.GetLocaltime();
}

bool CVexLocalTime::operator<=(const CVexLocalTime& rOther) const
{
	return GetLocaltime() <= rOther.GetLocaltime();
}

bool CVexLocalTime::operator>=(const CVexLocalTime& rOther) const
{
	return GetLocaltime() >= rOther.GetLocaltime();
}

int CVexLocalTime::CalcFirstWeekdayOfMonth(int nMonth, int nYear, EWeekday eWeekday)
{
	const int nDaysUntil = (static_cast<int>(eWeekday) - GetFirstWeekday(nMonth, nYear)) % 7;
	return 1 + (nDaysUntil + 7) % 7;
}

int CVexLocalTime::CalcDayFromWeek(int nMonth, int nYear, EWeekday eWeekday, int nWeek)
{
	const auto nDaysInMonth =
		static_cast<int>(GetNumOfDaysPerMonth(static_cast<unsigned int>(nYear), static_cast<unsigned int>(nMonth)));
	int nDay = CalcFirstWeekdayOfMonth(nMonth, nYear, eWeekday);
	for (int k = 1; k < nWeek && nDay + 7 <= nDaysInMonth; ++k)
		nDay += 7;
	return nDay;
}

bool operator==(const CVexLocalTime& rLeft, const CVexLocalTime& rRight)
{
	return rLeft.GetLocaltime() == rRight.GetLocaltime();
}

bool operator!=(const CVexLocalTime& rLeft, const CVexLocalTime& rRight)
{
	return !(rLeft == rRight);
}
