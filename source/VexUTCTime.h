#pragma once

// A point in time without time zone, and the manipulator that chooses its text form on a stream.

#include "VexTimeDiff.h"

#include <atomic>
#include <istream>
#include <ostream>
#include <string>

// Calendar instant in ticks of 10 ns since 1 January of year 0, 00:00:00, of the proleptic Gregorian calendar.
//
// Threads: a plain value. The text form of a stream may be chosen from any thread, static constructors and destructors
//          included.
// Errors:  parts out of range give a clamped instant that is marked invalid; a text that cannot be read sets the
//          stream's failbit and marks the time invalid. Nothing is thrown.
// Range:   the calendar parts are right from year 0 to year 5844; comparisons, differences and the tick count itself
//          are signed and right up to year 2921. Beyond, the ticks wrap at 64 bits.
class CVexUTCTime
{
public:
	// Text forms. T is a digit of the day, J of the year, m of the milliseconds, u of the microseconds, n of the
	// nanoseconds.
	enum ETimeFormat
	{
		TTMMJJJJ_HHMMSSmmm = 0,          // 24.12.2009 18:05:03.042
		TTMMJJJJ_HHMMSS = 1,             // 24.12.2009 18:05:03
		TTMMJJJJ = 2,                    // 24.12.2009
		TTMMJJJJ_HHMMSSmmmuuu = 3,       // 24.12.2009 18:05:03.042.000
		TTMMJJJJ_HHMMSSmmmuuunnn = 4,    // 24.12.2009 18:05:03.042.000.000
		HHMMSS = 5,                      // 18:05:03
		MMDDJJJJ_HHMMSS = 6,             // 12/24/2009 18:05:03
		MMDDJJJJ = 7,                    // 12/24/2009 and a blank
		DB_DATE = 8,                     // 2009-12-24 and a blank
		DB_TIME = 9,                     // 18:05:03.042
		DB_TIMESTAMP = 10,               // 2009-12-24 18:05:03.042
		RFC0822 = 11,                    // writes MailFormat(); reads 24 12 09 18:05:03, the month as a number
		LAST_FORMAT_ENTRY = 12
	};

	enum EWeekday
	{
		MONDAY = 0,
		TUESDAY = 1,
		WEDNESDAY = 2,
		THURSDAY = 3,
		FRIDAY = 4,
		SATURDAY = 5,
		SUNDAY = 6
	};

	// The parts that are cut off: MMTTHHMMSSMS leaves the year.
	enum ETimePart
	{
		PART_INVALID = 0,
		MMTTHHMMSSMS = 1,
		TTHHMMSSMS = 2,
		HHMMSSMS = 3,
		MMSSMS = 4,
		SSMS = 5,
		MS = 6
	};

	// What a row of the format table is made of.
	enum EFormatEntry
	{
		ENTRY_DAY = 0,
		ENTRY_MONTH = 1,
		ENTRY_YEAR = 2,
		ENTRY_YEAR_2 = 3,
		ENTRY_HOUR = 4,
		ENTRY_MINUTE = 5,
		ENTRY_SECOND = 6,
		ENTRY_MILLI = 7,
		ENTRY_MICRO = 8,
		ENTRY_NANO = 9,
		ENTRY_SEP_DOT = 10,
		ENTRY_SEP_SLASH = 11,
		ENTRY_SEP_COLON = 12,
		ENTRY_SEP_ALL = 13,
		ENTRY_SEP_WS = 14,
		ENTRY_NONE = 15,
		ENTRY_SEP_MINUS = 16,
		ENTRY_LAST = 17
	};

	// One row of the format table, filled up with ENTRY_NONE.
	struct SFormatDefinition
	{
		EFormatEntry aoFormatEntry[ENTRY_LAST];
	};

	static const int MONTH_PER_YEAR = 12;
	static const int DaysPerMonth[MONTH_PER_YEAR];
	static const char* const pszMonths[MONTH_PER_YEAR];

	// Tick count 0, invalid.
	CVexUTCTime();

	// Valid, whatever the tick count.
	explicit CVexUTCTime(long long nTicks);

	// As SetDate with the same parameters.
	CVexUTCTime(unsigned int nDay, unsigned int nMonth, unsigned int nYear, unsigned int nHour, unsigned int nMinute,
		unsigned int nSecond, unsigned int nMilli, unsigned int nMicro, unsigned int nNano);
	CVexUTCTime(const std::string& rText, ETimeFormat eFormat);

	CVexUTCTime(const CVexUTCTime& rOther);
	virtual ~CVexUTCTime();

	// Reads the time in the stream's text form; leading white space is skipped. Days, months, hours, minutes and
	// seconds take up to 2 digits, years 4, the smaller parts 3; missing digits count as 0 and missing separators are
	// passed over, so most bad texts show as an invalid time only. A text that ends early may fail the stream: its
	// state is then failbit alone, and the time is invalid. With a form outside ETimeFormat nothing is read.
	virtual std::istream& GetStream(std::istream& rStream);

	// Writes the time in the stream's text form, nothing with a form outside ETimeFormat. Fill and flags of the stream
	// do not matter, its width is used up.
	virtual std::ostream& PutStream(std::ostream& rStream) const;

	// Milliseconds since the start of year 0 here; deriving classes have units of their own.
	virtual long long GetLocaltime() const;

	// The tick count. All calendar parts and all arithmetic go through this and its setter. No setter changes the
	// validity.
	virtual long long GetHighResolutionLocaltime() const;
	virtual void SetLocaltime(long long nMilliseconds);
	virtual void SetHighResolutionLocaltime(long long nTicks);

	CVexUTCTime& operator=(const CVexUTCTime& rOther);

	// 1.1.1970 plus nTime times 10 microseconds, NOT seconds; the product is formed in 32 bits and wraps.
	CVexUTCTime& operator=(long nTime);

	// The system clock, in microseconds. The result is marked invalid; CVexLocalTime::CurrentLocalTime() gives a valid
	// one.
	static CVexUTCTime CurrentTime();

	long long GetTotalMilliseconds() const;
	long long GetTotalMicroseconds() const;

	// The distance from 1.1.1970; before that, seconds are negative and microseconds are not.
	timeval GetTimeval() const;

	bool IsTimeValid() const;
	bool IsClassValid() const;

	unsigned int GetYear() const;
	unsigned int GetMonth() const;
	unsigned int GetDay() const;
	unsigned int GetHour() const;
	unsigned int GetMinute() const;
	unsigned int GetSecond() const;
	unsigned int GetMilliSecond() const;
	unsigned int GetMicroSecond() const;
	unsigned int GetNanoSecond() const;
	unsigned int GetTotalMonths() const;
	void CalcDate(unsigned int& rnYear, unsigned int& rnMonth, unsigned int& rnDay) const;

	// The library's own numbering, one day behind the usual one: 1 January 1970, a Thursday, is WEDNESDAY.
	EWeekday GetWeekDay() const;

	static bool IsLeapYear(unsigned int nYear);

	// A month before 1 counts as 1, one behind 12 as 12.
	static unsigned int GetNumOfDaysPerMonth(unsigned int nYear, unsigned int nMonth);

	// Leap years from year 0, which is one, to the year before |nYear|.
	static int NumOfLeapYearsUntilYear(int nYear);

	// Days since 1 January of year 0. Months behind 12 count as the month after December.
	static long long CalcNumOfDays(unsigned int nYear, unsigned int nMonth, unsigned int nDay);

	// Stores the parts, each clamped to its range, and marks the time valid if none had to be. The last digit of the
	// nanoseconds is lost.
	void SetDate(unsigned int nDay, unsigned int nMonth, unsigned int nYear, unsigned int nHour, unsigned int nMinute,
		unsigned int nSecond, unsigned int nMilli, unsigned int nMicro, unsigned int nNano);

	// Reads the text as CVexUTCTime::GetStream does; an overridden GetStream is not asked.
	void SetDate(const std::string& rText, ETimeFormat eFormat);

	// Adds the parts, each of any size. To the days the current day of the month is added first (the 24th plus 1 day
	// moves by 25 days), and no more than 2135038 days in all are added. For exact sums use operator+=.
	void AddTime(unsigned int nDays, unsigned int nHours, unsigned int nMinutes, unsigned int nSeconds,
		unsigned int nMilli, unsigned int nMicro, unsigned int nNano);

	// Subtracts the parts, nDays as they are.
	void SubTime(unsigned int nDays, unsigned int nHours, unsigned int nMinutes, unsigned int nSeconds,
		unsigned int nMilli, unsigned int nMicro, unsigned int nNano);

	void CutOffParts(ETimePart ePart);

	CVexUTCTime operator+(const CVexTimeDiff& rDiff) const;
	CVexUTCTime operator-(const CVexTimeDiff& rDiff) const;
	CVexUTCTime& operator+=(const CVexTimeDiff& rDiff);
	CVexUTCTime& operator-=(const CVexTimeDiff& rDiff);

	// Chooses the text form of the times that are written to or read from the stream from now on. Without it that is
	// TTMMJJJJ_HHMMSSmmm.
	static std::ios_base& SetTimeFlag(std::ios_base& rStream, ETimeFormat eFormat);

	// The text that CVexUTCTime::PutStream writes; an overridden PutStream is not asked.
	std::string Time2Str(ETimeFormat eFormat) const;

	// Form for the "Date" header of mails: 5 Mar 09 14:07 +0100. No seconds, and always that zone. Flushes the stream.
	std::ostream& MailFormat(std::ostream& rStream) const;

protected:
	CVexTimeDiff m_oTime;
	bool m_bValid;
	static std::atomic<int> m_nFormatIdx;    // stream word of the text form, -1 until it is allocated
	static const SFormatDefinition m_aoFormatTable[LAST_FORMAT_ENTRY];

	friend bool VexFromString(CVexUTCTime& rTime, ETimeFormat eFormat, const std::string& rText);
};

// The exact distance, negative if rLeft is the earlier one.
CVexTimeDiff operator-(const CVexUTCTime& rLeft, const CVexUTCTime& rRight);

// The tick counts alone are compared, not the validity.
bool operator==(const CVexUTCTime& rLeft, const CVexUTCTime& rRight);
bool operator!=(const CVexUTCTime& rLeft, const CVexUTCTime& rRight);
bool operator<(const CVexUTCTime& rLeft, const CVexUTCTime& rRight);
bool operator<=(const CVexUTCTime& rLeft, const CVexUTCTime& rRight);
bool operator>(const CVexUTCTime& rLeft, const CVexUTCTime& rRight);
bool operator>=(const CVexUTCTime& rLeft, const CVexUTCTime& rRight);

std::ostream& operator<<(std::ostream& rStream, const CVexUTCTime& rTime);
std::istream& operator>>(std::istream& rStream, CVexUTCTime& rTime);

// What stands between << or >> to choose the text form of a stream.
class CManipUTCTime
{
public:
	explicit CManipUTCTime(const CVexUTCTime::ETimeFormat& reFormat);

private:
	friend std::ostream& operator<<(std::ostream& rStream, const CManipUTCTime& rManip);
	friend std::istream& operator>>(std::istream& rStream, const CManipUTCTime& rManip);

	std::ios_base& (*m_pFunction)(std::ios_base&, CVexUTCTime::ETimeFormat);
	CVexUTCTime::ETimeFormat m_eFormat;
};

std::ostream& operator<<(std::ostream& rStream, const CManipUTCTime& rManip);
std::istream& operator>>(std::istream& rStream, const CManipUTCTime& rManip);

// As CVexUTCTime::Time2Str.
std::string VexToString(const CVexUTCTime& rTime, CVexUTCTime::ETimeFormat eFormat);

// Reads as CVexUTCTime::GetStream does, and what follows the time is ignored; a text that ends early reads as if the
// missing parts were 0. True unless a stream would have failed, also for texts that are no times: ask IsTimeValid().
bool VexFromString(CVexUTCTime& rTime, CVexUTCTime::ETimeFormat eFormat, const std::string& rText);
