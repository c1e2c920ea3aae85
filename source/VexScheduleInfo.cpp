#include "VexScheduleInfo.h"

#include "VexScheduleInternal.h"
#include "VexStringFunc.h"

#include <algorithm>
#include <climits>
#include <string>

namespace
{
// A decimal number, whatever base and locale the stream has.
template <class TNumber>
void ReadNumber(std::istream& rStream, TNumber& rnNumber)
{
	std::string sText;
	rStream >> std::ws;
	while (rStream.good())
	{
		const int nChar = rStream.peek();
		if (!VexTime::IsDigit(nChar) && !(sText.empty() && (nChar == '-' || nChar == '+')))
			break;
		sText += static_cast<char>(rStream.get());
	}
	if (!rStream.fail() && !VexFromString(rnNumber, sText))
		rStream.setstate(std::ios_base::failbit);
}

// Any character.
std::istream& ReadSeparator(std::istream& rStream)
{
	char cSeparator = 0;
	return rStream >> cSeparator;
}

// Takes the separator if it is there.
bool HasNextField(std::istream& rStream)
{
	if (!rStream.good() || rStream.peek() != ',')
		return false;
	rStream.get();
	return true;
}
}    // namespace

CVexScheduleInfo::CVexScheduleInfo() = default;

// NOLINTBEGIN(performance-unnecessary-value-param): the interface takes values
CVexScheduleInfo::CVexScheduleInfo(CVexLocalTime oStart, unsigned int nWiederholungen, CVexTimeDiff oAbstand,
	short nTage, CVexTimeDiff oStartZeit, CVexTimeDiff oEndeZeit)
	: m_nWiederholungen(static_cast<long>(std::min<unsigned long>(nWiederholungen, LONG_MAX))),
	  m_oStartDatum(oStart),
	  m_oStartZeit(oStartZeit),
	  m_oEndeZeit(oEndeZeit),
	  m_oAbstand(oAbstand),
	  m_nTageKodiert(nTage),
	  m_eType(E_RECURRING)
{
}

CVexScheduleInfo::CVexScheduleInfo(CVexLocalTime oStart, CVexLocalTime oEnde, CVexTimeDiff oAbstand, short nTage,
	CVexTimeDiff oStartZeit, CVexTimeDiff oEndeZeit)
	: m_oStartDatum(oStart),
	  m_oEndeDatum(oEnde),
	  m_oStartZeit(oStartZeit),
	  m_oEndeZeit(oEndeZeit),
	  m_oAbstand(oAbstand),
	  m_nTageKodiert(nTage)
{
}

// KEPT: the duration's milliseconds are added as ticks. Test: CVexScheduleInfo.SpansCountMillisecondsAsTicksKept
CVexScheduleInfo::CVexScheduleInfo(CVexLocalTime oStart, CVexTimeDiff oDauer, CVexTimeDiff oAbstand, short nTage,
	CVexTimeDiff oStartZeit, CVexTimeDiff oEndeZeit)
	: CVexScheduleInfo(oStart, oStart + oDauer, oAbstand, nTage, oStartZeit, oEndeZeit)
{
}
// NOLINTEND(performance-unnecessary-value-param)

CVexScheduleInfo::CVexScheduleInfo(const CVexScheduleInfo& rOther) = default;

CVexScheduleInfo::~CVexScheduleInfo() = default;

CVexScheduleInfo& CVexScheduleInfo::operator=(const CVexScheduleInfo& rOther) = default;

std::istream& CVexScheduleInfo::GetStream(std::istream& rStream)
{
	CVexScheduleInfo oRead(*this);
	int nType = -1;
	ReadNumber(rStream, nType);
	if (nType != E_RECURRING && nType != E_FROM_TO)
		rStream.setstate(std::ios_base::failbit);
	oRead.m_eType = nType == E_RECURRING ? E_RECURRING : E_FROM_TO;
	ReadSeparator(rStream) >> oRead.m_oStartDatum;
	ReadSeparator(rStream) >> oRead.m_oAbstand;
	ReadSeparator(rStream);
	if (oRead.m_eType == E_FROM_TO)
		rStream >> oRead.m_oEndeDatum;
	else
		ReadNumber(rStream, oRead.m_nWiederholungen);
	if (HasNextField(rStream))
		rStream >> oRead.m_oStartZeit;
	if (HasNextField(rStream))
		rStream >> oRead.m_oEndeZeit;
	if (HasNextField(rStream))
		ReadNumber(rStream, oRead.m_nTageKodiert);
	if (!rStream.fail())
		*this = oRead;
	return rStream;
}

std::ostream& CVexScheduleInfo::PutStream(std::ostream& rStream) const
{
	rStream << std::to_string(m_eType) << ',' << m_oStartDatum << ',' << m_oAbstand << ',';
	if (m_eType == E_RECURRING)
		rStream << std::to_string(m_nWiederholungen);
	else
		rStream << m_oEndeDatum;
	return rStream << ',' << m_oStartZeit << ',' << m_oEndeZeit << ',' << std::to_string(m_nTageKodiert);
}

void CVexScheduleInfo::SetWiederholungen(long nWiederholungen)
{
	m_nWiederholungen = nWiederholungen;
	m_eType = E_RECURRING;
}

void CVexScheduleInfo::SetEndeDatum(const CVexLocalTime& rEnde)
{
	m_oEndeDatum = rEnde;
	m_eType = E_FROM_TO;
}

// KEPT: window and weekday are those of the stored UTC instant, not of the local time.
// Test: CVexScheduleInfo.WindowAndWeekdayAreThoseOfTheUtcInstantKept
bool CVexScheduleInfo::IsNextTimeNotInException(const CVexLocalTime& rTime) const
{
	const CVexTimeDiff oTimeOfDay(0,
		static_cast<int>(rTime.GetHour()),
		static_cast<int>(rTime.GetMinute()),
		static_cast<int>(rTime.GetSecond()),
		static_cast<int>(rTime.GetMilliSecond()),
		0,
		0);
	if (oTimeOfDay < m_oStartZeit || oTimeOfDay > m_oEndeZeit)
		return false;
	return (m_nTageKodiert & 1 << rTime.GetWeekDay()) != 0;
}

// KEPT: the interval's milliseconds are steps in ticks. Test: CVexScheduleInfo.SpansCountMillisecondsAsTicksKept
bool CVexScheduleInfo::GetNextTime(CVexLocalTime& rNext) const
{
	return VexSchedule::FindNextTime(*this, CVexLocalTime::CurrentLocalTime(), rNext);
}

std::ostream& operator<<(std::ostream& rStream, const CVexScheduleInfo& rInfo)
{
	return rInfo.PutStream(rStream);
}

std::istream& operator>>(std::istream& rStream, CVexScheduleInfo& rInfo)
{
	return rInfo.GetStream(rStream);
}

void CVexScheduleInfo::SetStartDatum(const CVexLocalTime& rStart)
{
	m_oStartDatum = rStart;
}

void CVexScheduleInfo::SetStartZeit(const CVexTimeDiff& rStartZeit)
{
	m_oStartZeit = rStartZeit;
}

void CVexScheduleInfo::SetEndeZeit(const CVexTimeDiff& rEndeZeit)
{
	m_oEndeZeit = rEndeZeit;
}

void CVexScheduleInfo::SetTage(short nTage)
{
	m_nTageKodiert = nTage;
}

void CVexScheduleInfo::SetAbstand(const CVexTimeDiff& rAbstand)
{
	m_oAbstand = rAbstand;
}

void CVexScheduleInfo::SetType(EInfoType eType)
{
	m_eType = eType;
}

long CVexScheduleInfo::GetWiederholungen() const
{
	return m_nWiederholungen;
}

const CVexLocalTime& CVexScheduleInfo::GetStartDatum() const
{
	return m_oStartDatum;
}

const CVexLocalTime& CVexScheduleInfo::GetEndeDatum() const
{
	return m_oEndeDatum;
}

const CVexTimeDiff& CVexScheduleInfo::GetStartZeit() const
{
	return m_oStartZeit;
}

const CVexTimeDiff& CVexScheduleInfo::GetEndeZeit() const
{
	return m_oEndeZeit;
}

short CVexScheduleInfo::GetTage() const
{
	return m_nTageKodiert;
}

CVexTimeDiff CVexScheduleInfo::GetAbstand() const
{
	return m_oAbstand;
}

CVexScheduleInfo::EInfoType CVexScheduleInfo::GetType() const
{
	return m_eType;
}
