#pragma once

// When a recurring job is due.

#include "VexLocalTime.h"
#include "VexTimeDiff.h"

#include <istream>
#include <ostream>

// A start date, an interval, an end date or a number of repetitions, a daily window and a set of weekdays. The due
// times are the start date and what follows it in steps of the interval, as far as IsNextTimeNotInException() lets them
// pass.
//
// Interval: TAKES ITS MILLISECONDS AS TICKS OF 10 ns, as all arithmetic of CVexLocalTime does. CVexTimeDiff(1000), which
//           is one second, steps by 10 microseconds; a step of n seconds is CVexTimeDiff(n * 100000000LL). The longest
//           step is 21 days and 8 hours; a negative interval counts as that one. Below a millisecond it is no step.
// Window,
// weekdays: are those of the stored UTC instant, whatever the zone of the start date, and weekdays are numbered as
//           CVexUTCTime::GetWeekDay() does: one day behind the calendar's.
// Threads:  a plain value.
// Errors:   nothing is checked when it is set; a schedule of nonsense is due never. Nothing is thrown.
class CVexScheduleInfo
{
public:
	enum EInfoType
	{
		E_RECURRING = 0,    // a number of repetitions
		E_FROM_TO = 1       // until an end date
	};

	// E_FROM_TO from and to the year 0, with no weekday: never due.
	CVexScheduleInfo();

	// nTage: a bit 1 << CVexUTCTime::EWeekday for each permitted weekday; other bits do not matter. The window is a time
	// of day, both ends inclusive: 0 to 23:59:59.999 is the whole day, and an end before the start permits nothing.

	// E_RECURRING. Up to LONG_MAX repetitions count.
	CVexScheduleInfo(CVexLocalTime oStart, unsigned int nWiederholungen, CVexTimeDiff oAbstand, short nTage,
		CVexTimeDiff oStartZeit, CVexTimeDiff oEndeZeit);

	// E_FROM_TO.
	CVexScheduleInfo(CVexLocalTime oStart, CVexLocalTime oEnde, CVexTimeDiff oAbstand, short nTage,
		CVexTimeDiff oStartZeit, CVexTimeDiff oEndeZeit);

	// E_FROM_TO, to oStart + oDauer: the duration takes its milliseconds as ticks like the interval.
	CVexScheduleInfo(CVexLocalTime oStart, CVexTimeDiff oDauer, CVexTimeDiff oAbstand, short nTage,
		CVexTimeDiff oStartZeit, CVexTimeDiff oEndeZeit);

	CVexScheduleInfo(const CVexScheduleInfo& rOther);
	virtual ~CVexScheduleInfo();
	CVexScheduleInfo& operator=(const CVexScheduleInfo& rOther);

	// Reads what PutStream writes, in the time and span formats of the stream. The text may end behind the fourth, fifth
	// or sixth field: the rest stays. Zones stay too, a text has none. Sets failbit, and changes nothing, if a field
	// cannot be read, a separator (any character) is missing or the type is none; a date that does not exist is read as
	// CVexUTCTime::GetStream() does.
	virtual std::istream& GetStream(std::istream& rStream);

	// Type, start date, interval, end date or repetitions, start and end of the window, weekday bits; ',' between them.
	// Dates as their UTC instant in the time format of the stream, spans in its span format. The finer span formats, and
	// the time format RFC0822, cannot be read back.
	virtual std::ostream& PutStream(std::ostream& rStream) const;

	// Sets E_RECURRING. Negative numbers count as 0.
	void SetWiederholungen(long nWiederholungen);
	void SetStartDatum(const CVexLocalTime& rStart);
	// Sets E_FROM_TO.
	void SetEndeDatum(const CVexLocalTime& rEnde);
	void SetStartZeit(const CVexTimeDiff& rStartZeit);
	void SetEndeZeit(const CVexTimeDiff& rEndeZeit);
	void SetTage(short nTage);
	void SetAbstand(const CVexTimeDiff& rAbstand);
	void SetType(EInfoType eType);

	long GetWiederholungen() const;
	const CVexLocalTime& GetStartDatum() const;
	const CVexLocalTime& GetEndeDatum() const;
	const CVexTimeDiff& GetStartZeit() const;
	const CVexTimeDiff& GetEndeZeit() const;
	short GetTage() const;
	CVexTimeDiff GetAbstand() const;
	EInfoType GetType() const;

	// True if window and weekdays permit the time; its microseconds do not matter.
	bool IsNextTimeNotInException(const CVexLocalTime& rTime) const;

	// The first due time from now on, this very millisecond included, in the zone of the start date. E_FROM_TO: the end
	// date is the last one. E_RECURRING: over when so many permitted times behind the start date have passed; the start
	// date itself is no repetition.
	//
	// False, and rNext unchanged, if there is none, nor would be if one searched for ever. Times end in the year 2921
	// (CVexUTCTime). Takes microseconds, however long ago the start date is and however small the interval.
	bool GetNextTime(CVexLocalTime& rNext) const;

protected:
	long m_nWiederholungen = 0;
	CVexLocalTime m_oStartDatum{ 0 };
	CVexLocalTime m_oEndeDatum{ 0 };
	CVexTimeDiff m_oStartZeit;
	CVexTimeDiff m_oEndeZeit;
	CVexTimeDiff m_oAbstand;
	short m_nTageKodiert = 0;
	EInfoType m_eType = E_FROM_TO;
};

// Through PutStream and GetStream.
std::ostream& operator<<(std::ostream& rStream, const CVexScheduleInfo& rInfo);
std::istream& operator>>(std::istream& rStream, CVexScheduleInfo& rInfo);
