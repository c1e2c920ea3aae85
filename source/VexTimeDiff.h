#pragma once

// A signed span of time, and the manipulator that chooses its text form on a stream.

#include <sys/time.h>

#include <atomic>
#include <istream>
#include <ostream>
#include <string>

// A program with 32-bit times would get eight bytes too many written over its timeval.
static_assert(sizeof(timeval::tv_sec) == 8,
	"VexCommon needs 64-bit times: compile 32-bit programs with -D_TIME_BITS=64 -D_FILE_OFFSET_BITS=64");

typedef long long VexInt64;

class CVexUTCTime;

// Span of time in ticks of 10 ns; about 2922 years fit into each direction.
//
// Threads: a plain value. The text form of a stream may be chosen from any thread, static constructors and destructors
//          included.
// Errors:  a text that cannot be read sets the stream's failbit. All arithmetic wraps at 64 bits.
class CVexTimeDiff
{
public:
	// Text forms. Hours are all whole hours of the span, without padding; a negative span gets a leading "-".
	enum EDiffFormat
	{
		MILLI_SECONDS = 0,      // the number of ticks (not milliseconds), in decimal
		HHMM = 1,               // 25:00
		HHMMSS = 2,             // 25:00:00
		HHMMSSmmm = 3,          // 25:00:00.000
		HHMMSSmmmuuu = 4,       // 25:00:00.000.000, only written
		HHMMSSmmmuuunnn = 5,    // 25:00:00.000.000.000, only written
		DDHHMMSS = 6            // 1#01:00:00
	};

	// The parts that are cut off.
	enum ETimeDiffPart
	{
		HHMMSSMS = 0,
		MMSSMS = 1,
		SSMS = 2,
		MS = 3
	};

	CVexTimeDiff();
	CVexTimeDiff(long long nMilli);
	CVexTimeDiff(long long nMilli, unsigned int nMicro, unsigned int nNano);
	CVexTimeDiff(int nDays, int nHours, int nMinutes, int nSeconds, int nMilli, int nMicro, int nNano);
	CVexTimeDiff(const CVexTimeDiff& rOther);

	// Assigns also to a const object.
	const CVexTimeDiff& operator=(const CVexTimeDiff& rOther) const;

	// The sum of the parts, each of any size and sign. The last digit of the nanoseconds is lost.
	void SetTime(int nDays, int nHours, int nMinutes, int nSeconds, int nMilli, int nMicro, int nNano);

	// The whole span in one unit, rounded down. The ticks are divided as an unsigned number: a negative span gives a
	// huge value. GetTotalNanoSeconds() keeps the sign; it wraps for spans over 292 years.
	VexInt64 GetTotalDays() const;
	VexInt64 GetTotalHours() const;
	VexInt64 GetTotalMinutes() const;
	VexInt64 GetTotalSeconds() const;
	VexInt64 GetTotalMilliSeconds() const;
	VexInt64 GetTotalMicroSeconds() const;
	VexInt64 GetTotalNanoSeconds() const;

	// GetTotalMicroSeconds() as seconds and microseconds.
	timeval GetTimeval() const;

	// Cuts down to whole days, hours, minutes or seconds; unsigned like the totals.
	void CutOffParts(ETimeDiffPart ePart);

	CVexTimeDiff operator+(const CVexTimeDiff& rOther) const;
	CVexTimeDiff operator-(const CVexTimeDiff& rOther) const;
	CVexTimeDiff& operator+=(const CVexTimeDiff& rOther);
	CVexTimeDiff& operator-=(const CVexTimeDiff& rOther);
	CVexTimeDiff operator*(const unsigned long long& rnFactor) const;
	CVexTimeDiff& operator*=(const unsigned long long& rnFactor);

	// Divides the ticks as an unsigned number; by 0 leaves them unchanged.
	CVexTimeDiff operator/(const unsigned long long& rnDivisor) const;
	CVexTimeDiff& operator/=(const unsigned long long& rnDivisor);

	bool operator<(const CVexTimeDiff& rOther) const;
	bool operator>(const CVexTimeDiff& rOther) const;
	bool operator<=(const CVexTimeDiff& rOther) const;
	bool operator>=(const CVexTimeDiff& rOther) const;

	// Chooses the text form of the spans that are written to or read from the stream from now on. Without it that is
	// MILLI_SECONDS.
	static std::ios_base& SetDiffTimeFlag(std::ios_base& rStream, EDiffFormat eFormat);

	// "Fehler " for a form that is no EDiffFormat. Fill and flags of the stream do not matter, its width is used up.
	std::ostream& PutStream(std::ostream& rStream) const;

	// Reads what PutStream writes, without a sign but for MILLI_SECONDS; up to 2 digits a part, 3 for milliseconds, 4
	// for days. A wrong separator fails the stream: the span is then the parts before it. The forms that are only
	// written, and numbers that are no EDiffFormat, give 0 and read nothing.
	std::istream& GetStream(std::istream& rStream);

	// The number of ticks in decimal, whatever the text form.
	void Time2Str(std::string& rText) const;

private:
	friend class CVexUTCTime;
	friend CVexTimeDiff operator-(const CVexUTCTime& rLeft, const CVexUTCTime& rRight);
	friend bool operator==(const CVexTimeDiff& rLeft, const CVexTimeDiff& rRight);
	friend std::string VexToString(const CVexTimeDiff& rDiff, EDiffFormat eFormat);
	friend bool VexFromString(CVexTimeDiff& rDiff, EDiffFormat eFormat, const std::string& rText);

	mutable VexInt64 m_nMTime;
	static std::atomic<int> m_nTimeDiffFlagIdx;
};

bool operator==(const CVexTimeDiff& rLeft, const CVexTimeDiff& rRight);
bool operator!=(const CVexTimeDiff& rLeft, const CVexTimeDiff& rRight);
CVexTimeDiff operator*(unsigned long long nFactor, const CVexTimeDiff& rDiff);

std::ostream& operator<<(std::ostream& rStream, const CVexTimeDiff& rDiff);
std::istream& operator>>(std::istream& rStream, CVexTimeDiff& rDiff);

// What stands between << or >> to choose the text form of a stream; made by DiffTimeFormat.
class CManipTimeDiff
{
public:
	explicit CManipTimeDiff(CVexTimeDiff::EDiffFormat eFormat);

private:
	friend std::ostream& operator<<(std::ostream& rStream, const CManipTimeDiff& rManip);
	friend std::istream& operator>>(std::istream& rStream, const CManipTimeDiff& rManip);

	std::ios_base& (*m_pFunction)(std::ios_base&, CVexTimeDiff::EDiffFormat);
	CVexTimeDiff::EDiffFormat m_eFormat;
};

CManipTimeDiff DiffTimeFormat(CVexTimeDiff::EDiffFormat eFormat);
std::ostream& operator<<(std::ostream& rStream, const CManipTimeDiff& rManip);
std::istream& operator>>(std::istream& rStream, const CManipTimeDiff& rManip);

// The text that PutStream writes.
std::string VexToString(const CVexTimeDiff& rDiff, CVexTimeDiff::EDiffFormat eFormat);

// Reads as GetStream does; what follows the span is ignored. False if that fails: rDiff is unchanged then.
bool VexFromString(CVexTimeDiff& rDiff, CVexTimeDiff::EDiffFormat eFormat, const std::string& rText);
