#include "VexUTCTime.h"

#include "VexTimeInternal.h"

#include <algorithm>
#include <cstdint>

using namespace VexTime;

namespace
{
typedef CVexUTCTime::EFormatEntry EEntry;
typedef CVexUTCTime::SFormatDefinition SRow;

constexpr EEntry GetEntry(char cSign)
{
	switch (cSign)
	{
	case 'D':
		return CVexUTCTime::ENTRY_DAY;
	case 'M':
		return CVexUTCTime::ENTRY_MONTH;
	case 'Y':
		return CVexUTCTime::ENTRY_YEAR;
	case 'y':
		return CVexUTCTime::ENTRY_YEAR_2;
	case 'h':
		return CVexUTCTime::ENTRY_HOUR;
	case 'm':
		return CVexUTCTime::ENTRY_MINUTE;
	case 's':
		return CVexUTCTime::ENTRY_SECOND;
	case 'i':
		return CVexUTCTime::ENTRY_MILLI;
	case 'u':
		return CVexUTCTime::ENTRY_MICRO;
	case 'n':
		return CVexUTCTime::ENTRY_NANO;
	case '.':
		return CVexUTCTime::ENTRY_SEP_DOT;
	case '/':
		return CVexUTCTime::ENTRY_SEP_SLASH;
	case ':':
		return CVexUTCTime::ENTRY_SEP_COLON;
	case '-':
		return CVexUTCTime::ENTRY_SEP_MINUS;
	case ' ':
		return CVexUTCTime::ENTRY_SEP_WS;
	default:
		return CVexUTCTime::ENTRY_NONE;
	}
}

// An entry for each sign; the rest is filled up.
constexpr SRow MakeRow(const char* pszSigns)
{
	SRow oRow{};
	for (EEntry& reEntry : oRow.aoFormatEntry)
		reEntry = GetEntry(*pszSigns ? *pszSigns++ : '\0');
	return oRow;
}
}    // namespace

std::atomic<int> CVexUTCTime::m_nFormatIdx{ -1 };

const int CVexUTCTime::MONTH_PER_YEAR;
const int CVexUTCTime::DaysPerMonth[MONTH_PER_YEAR] = { 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };
const char* const CVexUTCTime::pszMonths[MONTH_PER_YEAR] = {
	"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"
};

// KEPT: MMDDJJJJ and DB_DATE end in a blank. Test: CVexUTCTime.WritesEveryTextFormAndABlankBehindTwoDatesKept
// KEPT: RFC0822 is only read so, with the month as a number; what is written has its name.
// Test: CVexUTCTime.ReadsTheMonthOfMailDatesAsANumberKept
const SRow CVexUTCTime::m_aoFormatTable[LAST_FORMAT_ENTRY] = {
	MakeRow("D.M.Y h:m:s.i"),        // TTMMJJJJ_HHMMSSmmm
	MakeRow("D.M.Y h:m:s"),          // TTMMJJJJ_HHMMSS
	MakeRow("D.M.Y"),                // TTMMJJJJ
	MakeRow("D.M.Y h:m:s.i.u"),      // TTMMJJJJ_HHMMSSmmmuuu
	MakeRow("D.M.Y h:m:s.i.u.n"),    // TTMMJJJJ_HHMMSSmmmuuunnn
	MakeRow("h:m:s"),                // HHMMSS
	MakeRow("M/D/Y h:m:s"),          // MMDDJJJJ_HHMMSS
	MakeRow("M/D/Y "),               // MMDDJJJJ
	MakeRow("Y-M-D "),               // DB_DATE
	MakeRow("h:m:s.i"),              // DB_TIME
	MakeRow("Y-M-D h:m:s.i"),        // DB_TIMESTAMP
	MakeRow("D M y h:m:s"),          // RFC0822
};

namespace
{
const std::size_t nMaxText = 48;

int GetStreamWord()
{
	static const int nIndex = std::ios_base::xalloc();
	return nIndex;
}

// Allocates the word when the library is loaded. A static object that came before has caused it already.
struct SWordAtLoad : CVexUTCTime
{
	static int Allocate() { return m_nFormatIdx = GetStreamWord(); }
};
[[maybe_unused]] const int nWordAtLoad = SWordAtLoad::Allocate();

bool IsFormat(long nFormat)
{
	return nFormat >= 0 && nFormat < CVexUTCTime::LAST_FORMAT_ENTRY;
}

// The calendar parts, by the format entry that stands for them.
struct SParts
{
	unsigned int anPart[CVexUTCTime::ENTRY_NANO + 1] = {};
};

// Digits of each part.
const unsigned char anWidth[CVexUTCTime::ENTRY_NANO + 1] = { 2, 2, 4, 2, 2, 2, 2, 3, 3, 3 };

// '\0' for entries that stand for no character.
char GetSeparator(EEntry eEntry)
{
	switch (eEntry)
	{
	case CVexUTCTime::ENTRY_SEP_DOT:
		return '.';
	case CVexUTCTime::ENTRY_SEP_SLASH:
		return '/';
	case CVexUTCTime::ENTRY_SEP_COLON:
		return ':';
	case CVexUTCTime::ENTRY_SEP_MINUS:
		return '-';
	case CVexUTCTime::ENTRY_SEP_WS:
		return ' ';
	default:
		return '\0';
	}
}

// Inverse of CalcNumOfDays. Years start in March here, so that the leap day is a year's last; 400 years that are added
// keep January and February of year 0 above zero.
void SplitDays(unsigned int nDays, unsigned int& rnYear, unsigned int& rnMonth, unsigned int& rnDay)
{
	const unsigned int nDaysPer400Years = 146097;
	nDays += nDaysPer400Years - 60;
	const unsigned int nDayOfEra = nDays % nDaysPer400Years;
	const unsigned int nYearOfEra = (nDayOfEra - nDayOfEra / 1460 + nDayOfEra / 36524 - nDayOfEra / 146096) / 365;
	const unsigned int nDayOfYear = nDayOfEra - (nYearOfEra * 365 + nYearOfEra / 4 - nYearOfEra / 100);
	const unsigned int nMonth = (nDayOfYear * 5 + 2) / 153;    // 0: March
	rnDay = nDayOfYear - (nMonth * 153 + 2) / 5 + 1;
	rnMonth = nMonth < 10 ? nMonth + 3 : nMonth - 9;
	rnYear = nDays / nDaysPer400Years * 400 + nYearOfEra - 400 + (rnMonth <= 2 ? 1 : 0);
}

SParts SplitTicks(Ticks nTicks)
{
	const Ticks nSeconds = nTicks / nTicksPerSecond;
	const unsigned int nFraction = static_cast<unsigned int>(nTicks - nSeconds * nTicksPerSecond);
	const unsigned int nDays = static_cast<unsigned int>(nSeconds / 86400);
	const unsigned int nSecondOfDay = static_cast<unsigned int>(nSeconds - nDays * Ticks(86400));
	SParts oParts;
	unsigned int* const pPart = oParts.anPart;
	SplitDays(nDays, pPart[CVexUTCTime::ENTRY_YEAR], pPart[CVexUTCTime::ENTRY_MONTH], pPart[CVexUTCTime::ENTRY_DAY]);
	pPart[CVexUTCTime::ENTRY_YEAR_2] = pPart[CVexUTCTime::ENTRY_YEAR] % 100;
	pPart[CVexUTCTime::ENTRY_HOUR] = nSecondOfDay / 3600;
	pPart[CVexUTCTime::ENTRY_MINUTE] = nSecondOfDay / 60 % 60;
	pPart[CVexUTCTime::ENTRY_SECOND] = nSecondOfDay % 60;
	pPart[CVexUTCTime::ENTRY_MILLI] = nFraction / static_cast<unsigned int>(nTicksPerMilli);
	pPart[CVexUTCTime::ENTRY_MICRO] = nFraction / static_cast<unsigned int>(nTicksPerMicro) % 1000;
	pPart[CVexUTCTime::ENTRY_NANO] = nFraction % static_cast<unsigned int>(nTicksPerMicro) * 10;
	return oParts;
}

char* WriteRow(char* pOut, const SRow& rRow, const SParts& rParts)
{
	for (const EEntry eEntry : rRow.aoFormatEntry)
	{
		if (eEntry <= CVexUTCTime::ENTRY_NANO)
			pOut = WriteDigits(pOut, rParts.anPart[eEntry], anWidth[eEntry]);
		else if (const char cSeparator = GetSeparator(eEntry))
			pOut = WriteChar(pOut, cSeparator);
	}
	return pOut;
}

// KEPT: no seconds, and the zone is always +0100. Test: CVexUTCTime.WritesEveryTextFormAndABlankBehindTwoDatesKept
char* WriteMailForm(char* pOut, const SParts& rParts)
{
	const unsigned int nDay = rParts.anPart[CVexUTCTime::ENTRY_DAY];
	pOut = WriteDigits(pOut, nDay, nDay < 10 ? 1 : 2);
	pOut = WriteChar(pOut, ' ');
	pOut = std::copy_n(CVexUTCTime::pszMonths[rParts.anPart[CVexUTCTime::ENTRY_MONTH] - 1], 3, pOut);
	pOut = WriteChar(pOut, ' ');
	pOut = WriteDigits(pOut, rParts.anPart[CVexUTCTime::ENTRY_YEAR_2], 2);
	pOut = WriteChar(pOut, ' ');
	pOut = WriteDigits(pOut, rParts.anPart[CVexUTCTime::ENTRY_HOUR], 2);
	pOut = WriteChar(pOut, ':');
	pOut = WriteDigits(pOut, rParts.anPart[CVexUTCTime::ENTRY_MINUTE], 2);
	return std::copy_n(" +0100", 6, pOut);
}

template <class TSource>
void ReadEntry(TSource& rSource, EEntry eEntry, SParts& rParts)
{
	if (eEntry <= CVexUTCTime::ENTRY_NANO)
		rParts.anPart[eEntry] = ReadPart(rSource, anWidth[eEntry]);
	else if (eEntry == CVexUTCTime::ENTRY_SEP_WS)
		SkipWhiteSpace(rSource);
	else if (eEntry == CVexUTCTime::ENTRY_SEP_ALL)
		RemoveNonDigit(rSource);
	else if (const char cSeparator = GetSeparator(eEntry))
		ReadSeparator(rSource, cSeparator, false);
	if (eEntry == CVexUTCTime::ENTRY_YEAR_2)
	{
		const unsigned int nYear = rParts.anPart[CVexUTCTime::ENTRY_YEAR_2];
		rParts.anPart[CVexUTCTime::ENTRY_YEAR] = nYear + (nYear >= 46 ? 1900 : 2000);
	}
}

template <class TSource>
void ReadRow(TSource& rSource, const SRow& rRow, CVexUTCTime& rTime)
{
	SParts oParts;
	for (const EEntry eEntry : rRow.aoFormatEntry)
		ReadEntry(rSource, eEntry, oParts);
	const unsigned int* const pPart = oParts.anPart;
	rTime.SetDate(pPart[CVexUTCTime::ENTRY_DAY],
		pPart[CVexUTCTime::ENTRY_MONTH],
		pPart[CVexUTCTime::ENTRY_YEAR],
		pPart[CVexUTCTime::ENTRY_HOUR],
		pPart[CVexUTCTime::ENTRY_MINUTE],
		pPart[CVexUTCTime::ENTRY_SECOND],
		pPart[CVexUTCTime::ENTRY_MILLI],
		pPart[CVexUTCTime::ENTRY_MICRO],
		pPart[CVexUTCTime::ENTRY_NANO]);
}

Ticks GetTicks(const CVexUTCTime& rTime)
{
	return static_cast<Ticks>(rTime.GetHighResolutionLocaltime());
}

void SetTicks(CVexUTCTime& rTime, Ticks nTicks)
{
	rTime.SetHighResolutionLocaltime(static_cast<long long>(nTicks));
}

// One part of the time of day.
unsigned int GetPart(const CVexUTCTime& rTime, Ticks nUnit, unsigned int nModulo)
{
	return static_cast<unsigned int>(GetTicks(rTime) / nUnit % nModulo);
}

unsigned int GetDatePart(const CVexUTCTime& rTime, EEntry eEntry)
{
	return SplitTicks(GetTicks(rTime)).anPart[eEntry];
}
}    // namespace

CVexUTCTime::CVexUTCTime() : m_bValid(false) {}

CVexUTCTime::CVexUTCTime(long long nTicks) : m_bValid(true)
{
	m_oTime.m_nMTime = nTicks;
}

CVexUTCTime::CVexUTCTime(unsigned int nDay, unsigned int nMonth, unsigned int nYear, unsigned int nHour,
	unsigned int nMinute, unsigned int nSecond, unsigned int nMilli, unsigned int nMicro, unsigned int nNano)
{
	SetDate(nDay, nMonth, nYear, nHour, nMinute, nSecond, nMilli, nMicro, nNano);
}

CVexUTCTime::CVexUTCTime(const std::string& rText, ETimeFormat eFormat) : m_bValid(false)
{
	SetDate(rText, eFormat);
}

CVexUTCTime::CVexUTCTime(const CVexUTCTime& rOther) = default;

CVexUTCTime::~CVexUTCTime() = default;

std::istream& CVexUTCTime::GetStream(std::istream& rStream)
{
	const long nFormat = GetStreamFormat(rStream, m_nFormatIdx);
	CStreamSource oSource(rStream);
	SkipWhiteSpace(oSource);
	if (!IsFormat(nFormat))
		return rStream;
	ReadRow(oSource, m_aoFormatTable[nFormat], *this);
	if (oSource.HasFailed())
	{
		m_bValid = false;
		rStream.clear(std::ios_base::failbit);
	}
	return rStream;
}

std::ostream& CVexUTCTime::PutStream(std::ostream& rStream) const
{
	const long nFormat = GetStreamFormat(rStream, m_nFormatIdx);
	if (!IsFormat(nFormat))
		return rStream;
	if (nFormat == RFC0822)
		return MailFormat(rStream);
	char szText[nMaxText];
	return WriteText(rStream, szText, WriteRow(szText, m_aoFormatTable[nFormat], SplitTicks(GetTicks(*this))));
}

long long CVexUTCTime::GetLocaltime() const
{
	return GetTotalMilliseconds();
}

long long CVexUTCTime::GetHighResolutionLocaltime() const
{
	return m_oTime.m_nMTime;
}

void CVexUTCTime::SetLocaltime(long long nMilliseconds)
{
	SetTicks(*this, static_cast<Ticks>(nMilliseconds) * nTicksPerMilli);
}

void CVexUTCTime::SetHighResolutionLocaltime(long long nTicks)
{
	m_oTime.m_nMTime = nTicks;
}

CVexUTCTime& CVexUTCTime::operator=(const CVexUTCTime& rOther) = default;

// KEPT: the number counts 1000 ticks, in 32 bits, and no seconds.
// Test: CVexUTCTime.AssignedNumberCountsTenMicrosecondsKept
CVexUTCTime& CVexUTCTime::operator=(long nTime)
{
	const auto nProduct = static_cast<std::int32_t>(static_cast<std::uint32_t>(nTime) * 1000u);
	SetDate(1, 1, 1970, 0, 0, 0, 0, 0, 0);
	SetTicks(*this, GetTicks(*this) + static_cast<Ticks>(static_cast<long long>(nProduct)));
	return *this;
}

// KEPT: the result is marked invalid. Test: CVexUTCTime.CurrentTimeIsInvalidKept
CVexUTCTime CVexUTCTime::CurrentTime()
{
	timeval oNow;
	gettimeofday(&oNow, nullptr);
	CVexUTCTime oTime;
	SetTicks(oTime,
		static_cast<Ticks>(oNow.tv_sec) * nTicksPerSecond + static_cast<Ticks>(oNow.tv_usec) * nTicksPerMicro +
			nTicksUntil1970);
	return oTime;
}

long long CVexUTCTime::GetTotalMilliseconds() const
{
	return static_cast<long long>(GetTicks(*this) / nTicksPerMilli);
}

long long CVexUTCTime::GetTotalMicroseconds() const
{
	return static_cast<long long>(GetTicks(*this) / nTicksPerMicro);
}

timeval CVexUTCTime::GetTimeval() const
{
	const long long nMicro = GetTotalMicroseconds() - static_cast<long long>(nTicksUntil1970 / nTicksPerMicro);
	const long long nMicroOfSecond = (nMicro % 1000000 + 1000000) % 1000000;
	timeval oTime;
	oTime.tv_sec = static_cast<decltype(oTime.tv_sec)>((nMicro - nMicroOfSecond) / 1000000);
	oTime.tv_usec = static_cast<decltype(oTime.tv_usec)>(nMicroOfSecond);
	return oTime;
}

bool CVexUTCTime::IsTimeValid() const
{
	return m_bValid;
}

bool CVexUTCTime::IsClassValid() const
{
	return true;
}

unsigned int CVexUTCTime::GetYear() const
{
	return GetDatePart(*this, ENTRY_YEAR);
}

unsigned int CVexUTCTime::GetMonth() const
{
	return GetDatePart(*this, ENTRY_MONTH);
}

unsigned int CVexUTCTime::GetDay() const
{
	return GetDatePart(*this, ENTRY_DAY);
}

unsigned int CVexUTCTime::GetHour() const
{
	return GetPart(*this, nTicksPerHour, 24);
}

unsigned int CVexUTCTime::GetMinute() const
{
	return GetPart(*this, nTicksPerMinute, 60);
}

unsigned int CVexUTCTime::GetSecond() const
{
	return GetPart(*this, nTicksPerSecond, 60);
}

unsigned int CVexUTCTime::GetMilliSecond() const
{
	return GetPart(*this, nTicksPerMilli, 1000);
}

unsigned int CVexUTCTime::GetMicroSecond() const
{
	return GetPart(*this, nTicksPerMicro, 1000);
}

unsigned int CVexUTCTime::GetNanoSecond() const
{
	return GetPart(*this, 1, 100) * 10;
}

unsigned int CVexUTCTime::GetTotalMonths() const
{
	unsigned int nYear, nMonth, nDay;
	CalcDate(nYear, nMonth, nDay);
	return nYear * MONTH_PER_YEAR + nMonth;
}

void CVexUTCTime::CalcDate(unsigned int& rnYear, unsigned int& rnMonth, unsigned int& rnDay) const
{
	SplitDays(static_cast<unsigned int>(GetTicks(*this) / nTicksPerDay), rnYear, rnMonth, rnDay);
}

// KEPT: the weekday is one behind the calendar's; all users count like this.
// Test: CVexUTCTime.WeekdaysAreOneBehindKept
CVexUTCTime::EWeekday CVexUTCTime::GetWeekDay() const
{
	return static_cast<EWeekday>((GetTicks(*this) / nTicksPerDay + 4) % 7);
}

bool CVexUTCTime::IsLeapYear(unsigned int nYear)
{
	return nYear % 4 == 0 && (nYear % 100 != 0 || nYear % 400 == 0);
}

unsigned int CVexUTCTime::GetNumOfDaysPerMonth(unsigned int nYear, unsigned int nMonth)
{
	if (nMonth == 2 && IsLeapYear(nYear))
		return 29;
	return static_cast<unsigned int>(DaysPerMonth[std::clamp(nMonth, 1u, 12u) - 1]);
}

int CVexUTCTime::NumOfLeapYearsUntilYear(int nYear)
{
	const unsigned int nMagnitude =
		nYear < 0 ? 0u - static_cast<unsigned int>(nYear) : static_cast<unsigned int>(nYear);
	if (nMagnitude == 0)
		return 0;
	return static_cast<int>((nMagnitude + 3) / 4 - (nMagnitude - 1) / 100 + (nMagnitude - 1) / 400);
}

long long CVexUTCTime::CalcNumOfDays(unsigned int nYear, unsigned int nMonth, unsigned int nDay)
{
	long long nDays = nYear * 365LL + NumOfLeapYearsUntilYear(static_cast<int>(nYear));
	for (unsigned int i = 1; i < nMonth && i <= 12; ++i)
		nDays += GetNumOfDaysPerMonth(nYear, i);
	return nDays + nDay - 1;
}

void CVexUTCTime::SetDate(unsigned int nDay, unsigned int nMonth, unsigned int nYear, unsigned int nHour,
	unsigned int nMinute, unsigned int nSecond, unsigned int nMilli, unsigned int nMicro, unsigned int nNano)
{
	const unsigned int nDaysInMonth = GetNumOfDaysPerMonth(nYear, nMonth);
	const long long nDays = CalcNumOfDays(nYear, std::clamp(nMonth, 1u, 12u), std::clamp(nDay, 1u, nDaysInMonth));
	SetTicks(*this,
		SumOfParts(static_cast<Ticks>(nDays),
			std::min(nHour, 23u),
			std::min(nMinute, 59u),
			std::min(nSecond, 59u),
			std::min(nMilli, 999u),
			std::min(nMicro, 999u),
			std::min(nNano, 999u) / 10));
	m_bValid = nMonth >= 1 && nMonth <= 12 && nDay >= 1 && nDay <= nDaysInMonth && nHour < 24 && nMinute < 60 &&
		nSecond < 60 && nMilli <= 999 && nMicro <= 999 && nNano <= 999;
}

void CVexUTCTime::SetDate(const std::string& rText, ETimeFormat eFormat)
{
	if (!IsFormat(eFormat))
		return;
	CMemorySource oSource(rText.data(), rText.size());
	SkipWhiteSpace(oSource);
	ReadRow(oSource, m_aoFormatTable[eFormat], *this);
	if (oSource.HasFailed())
		m_bValid = false;
}

// KEPT: the day of the month goes on top of the days, up to a limit.
// Test: CVexUTCTime.AddTimeAddsTheDayOfTheMonthTooKept
void CVexUTCTime::AddTime(unsigned int nDays, unsigned int nHours, unsigned int nMinutes, unsigned int nSeconds,
	unsigned int nMilli, unsigned int nMicro, unsigned int nNano)
{
	const Ticks nAllDays = std::min<Ticks>(Ticks(nDays) + GetDay(), 2135038);
	SetTicks(*this, GetTicks(*this) + SumOfParts(nAllDays, nHours, nMinutes, nSeconds, nMilli, nMicro, nNano / 10));
}

void CVexUTCTime::SubTime(unsigned int nDays, unsigned int nHours, unsigned int nMinutes, unsigned int nSeconds,
	unsigned int nMilli, unsigned int nMicro, unsigned int nNano)
{
	SetTicks(*this, GetTicks(*this) - SumOfParts(nDays, nHours, nMinutes, nSeconds, nMilli, nMicro, nNano / 10));
}

void CVexUTCTime::CutOffParts(ETimePart ePart)
{
	static const Ticks anUnits[] = { nTicksPerDay, nTicksPerHour, nTicksPerMinute, nTicksPerSecond };
	if (ePart == MMTTHHMMSSMS || ePart == TTHHMMSSMS)
	{
		unsigned int nYear, nMonth, nDay;
		CalcDate(nYear, nMonth, nDay);
		const long long nDays = CalcNumOfDays(nYear, ePart == MMTTHHMMSSMS ? 1 : nMonth, 1);
		SetTicks(*this, static_cast<Ticks>(nDays) * nTicksPerDay);
	}
	else if (ePart >= HHMMSSMS && ePart <= MS)
		SetTicks(*this, GetTicks(*this) - GetTicks(*this) % anUnits[ePart - HHMMSSMS]);
}

CVexUTCTime CVexUTCTime::operator+(const CVexTimeDiff& rDiff) const
{
	CVexUTCTime oResult(*this);
	SetTicks(oResult, GetTicks(*this) + static_cast<Ticks>(rDiff.m_nMTime));
	return oResult;
}

CVexUTCTime CVexUTCTime::operator-(const CVexTimeDiff& rDiff) const
{
	CVexUTCTime oResult(*this);
	SetTicks(oResult, GetTicks(*this) - static_cast<Ticks>(rDiff.m_nMTime));
	return oResult;
}

CVexUTCTime& CVexUTCTime::operator+=(const CVexTimeDiff& rDiff)
{
	SetTicks(*this, GetTicks(*this) + static_cast<Ticks>(rDiff.m_nMTime));
	return *this;
}

CVexUTCTime& CVexUTCTime::operator-=(const CVexTimeDiff& rDiff)
{
	SetTicks(*this, GetTicks(*this) - static_cast<Ticks>(rDiff.m_nMTime));
	return *this;
}

std::ios_base& CVexUTCTime::SetTimeFlag(std::ios_base& rStream, ETimeFormat eFormat)
{
	if (m_nFormatIdx == -1)
		m_nFormatIdx = GetStreamWord();
	rStream.iword(m_nFormatIdx) = eFormat;
	return rStream;
}

std::string CVexUTCTime::Time2Str(ETimeFormat eFormat) const
{
	if (!IsFormat(eFormat))
		return std::string();
	const SParts oParts = SplitTicks(GetTicks(*this));
	char szText[nMaxText];
	return std::string(szText,
		eFormat == RFC0822 ? WriteMailForm(szText, oParts) : WriteRow(szText, m_aoFormatTable[eFormat], oParts));
}

std::ostream& CVexUTCTime::MailFormat(std::ostream& rStream) const
{
	char szText[nMaxText];
	return WriteText(rStream, szText, WriteMailForm(szText, SplitTicks(GetTicks(*this)))).flush();
}

CVexTimeDiff operator-(const CVexUTCTime& rLeft, const CVexUTCTime& rRight)
{
	CVexTimeDiff oDiff;
	oDiff.m_nMTime = static_cast<VexInt64>(GetTicks(rLeft) - GetTicks(rRight));
	return oDiff;
}

bool operator==(const CVexUTCTime& rLeft, const CVexUTCTime& rRight)
{
	return rLeft.GetHighResolutionLocaltime() == rRight.GetHighResolutionLocaltime();
}

bool operator!=(const CVexUTCTime& rLeft, const CVexUTCTime& rRight)
{
	return !(rLeft == rRight);
}

bool operator<(const CVexUTCTime& rLeft, const CVexUTCTime& rRight)
{
	return rLeft.GetHighResolutionLocaltime() < rRight.GetHighResolutionLocaltime();
}

bool operator<=(const CVexUTCTime& rLeft, const CVexUTCTime& rRight)
{
	return !(rRight < rLeft);
}

bool operator>(const CVexUTCTime& rLeft, const CVexUTCTime& rRight)
{
	return rRight < rLeft;
}

bool operator>=(const CVexUTCTime& rLeft, const CVexUTCTime& rRight)
{
	return !(rLeft < rRight);
}

std::ostream& operator<<(std::ostream& rStream, const CVexUTCTime& rTime)
{
	return rTime.PutStream(rStream);
}

std::istream& operator>>(std::istream& rStream, CVexUTCTime& rTime)
{
	return rTime.GetStream(rStream);
}

CManipUTCTime::CManipUTCTime(const CVexUTCTime::ETimeFormat& reFormat)
	: m_pFunction(CVexUTCTime::SetTimeFlag), m_eFormat(reFormat)
{
}

std::ostream& operator<<(std::ostream& rStream, const CManipUTCTime& rManip)
{
	rManip.m_pFunction(rStream, rManip.m_eFormat);
	return rStream;
}

std::istream& operator>>(std::istream& rStream, const CManipUTCTime& rManip)
{
	rManip.m_pFunction(rStream, rManip.m_eFormat);
	return rStream;
}

std::string VexToString(const CVexUTCTime& rTime, CVexUTCTime::ETimeFormat eFormat)
{
	return rTime.Time2Str(eFormat);
}

bool VexFromString(CVexUTCTime& rTime, CVexUTCTime::ETimeFormat eFormat, const std::string& rText)
{
	if (!IsFormat(eFormat))
		return true;
	// The NUL belongs to what is read: no part of a time takes it, so the end of input is never reached.
	CMemorySource oSource(rText.c_str(), rText.size() + 1);
	SkipWhiteSpace(oSource);
	ReadRow(oSource, CVexUTCTime::m_aoFormatTable[eFormat], rTime);
	return !oSource.HasFailed();
}
