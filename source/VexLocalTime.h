#pragma once

// A point in time that knows a time zone.

#include "VexUTCTime.h"

// A UTC instant and a zone of whole hours. Only GetLocaltime() and SetLocaltime(), and with them the comparisons and
// the arithmetic of this class, apply the zone: the calendar parts and the text forms show the stored UTC instant.
//
// Threads: a plain value. CurrentLocalTime() and GetCurrentTimezone() from any thread, static constructors and
//          destructors included, but not while another thread calls setenv() or putenv().
// Units:   zones are hours east of UTC, daylight saving included; any number is taken.
class CVexLocalTime : public CVexUTCTime
{
public:
	// Tick count 0, valid.
	explicit CVexLocalTime(int nTimezone);

	// The parts, or the text, are a reading of the clock in that zone. Validity as with SetDate.
	CVexLocalTime(unsigned int nDay, unsigned int nMonth, unsigned int nYear, unsigned int nHour, unsigned int nMinute,
		unsigned int nSecond, unsigned int nMilli, unsigned int nMicro, unsigned int nNano, int nTimezone);
	CVexLocalTime(unsigned int nDay, unsigned int nMonth, unsigned int nYear, unsigned int nHour, unsigned int nMinute,
		unsigned int nSecond, unsigned int nMilli, int nTimezone);
	CVexLocalTime(const std::string& rText, ETimeFormat eFormat, int nTimezone);

	CVexLocalTime(const CVexLocalTime& rOther);
	~CVexLocalTime() override;
	CVexLocalTime& operator=(const CVexLocalTime& rOther);

	// The local time in TICKS (the base class uses milliseconds).
	long long GetLocaltime() const override;
	void SetLocaltime(long long nTicks) override;

	// The zone that the C library's data give for now. A change of the environment variable TZ or of the system's zone
	// shows at once.
	static int GetCurrentTimezone();

	// Takes GetCurrentTimezone() over; the stored instant stays.
	void SetTimeZone();
	int GetTimezone() const;

	// The stored instant stays, so the local reading moves.
	void ChangeTimezone(int nTimezone);

	// The local reading stays, so the stored instant moves.
	void AdjustTimezone(int nTimezone);

	// Now, cut to milliseconds, valid, in the current zone. Meant to be called often: the zone is asked for once a
	// second, and when the C library's zone has changed (tzset()). Once a zone is known, no call waits for another
	// thread that asks for it.
	static CVexLocalTime CurrentLocalTime();

	// These move the time by the span's MILLISECONDS TAKEN AS TICKS: one second moves it by 10 microseconds. For exact
	// sums use the operators of CVexUTCTime on the same object.
	CVexLocalTime operator+(const CVexTimeDiff& rDiff) const;
	CVexLocalTime operator-(const CVexTimeDiff& rDiff) const;
	CVexLocalTime& operator+=(const CVexTimeDiff& rDiff);
	CVexLocalTime& operator-=(const CVexTimeDiff& rDiff);

	// The local readings are compared.
	bool operator<(const CVexLocalTime& rOther) const;
	bool operator>(const CVexLocalTime& rOther) const;
	bool operator<=(const CVexLocalTime& rOther) const;
	bool operator>=(const CVexLocalTime& rOther) const;

	// The day (1 to 7) of the month's first such weekday, in the numbering of GetWeekDay().
	static int CalcFirstWeekdayOfMonth(int nMonth, int nYear, EWeekday eWeekday);

	// The day of the month's nWeek-th such weekday; the last one if there are fewer, the first one if nWeek is below 1.
	static int CalcDayFromWeek(int nMonth, int nYear, EWeekday eWeekday, int nWeek);

private:
	int m_nTimezone;
};

bool operator==(const CVexLocalTime& rLeft, const CVexLocalTime& rRight);
bool operator!=(const CVexLocalTime& rLeft, const CVexLocalTime& rRight);
