// Schedules of every kind: the next due time that is computed must be the one that stepping gives.

#include "VexScheduleInternal.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace
{
// The bytes of an input, and 0 behind its end.
class CBytes
{
public:
	CBytes(const std::uint8_t* pData, std::size_t nSize) : m_pNext(pData), m_nLeft(nSize) {}

	template <class T>
	T Take()
	{
		T nValue = 0;
		const std::size_t nSize = std::min(sizeof nValue, m_nLeft);
		if (nSize != 0)
			std::memcpy(&nValue, m_pNext, nSize);
		m_pNext += nSize;
		m_nLeft -= nSize;
		return nValue;
	}

private:
	const std::uint8_t* m_pNext;
	std::size_t m_nLeft;
};

enum EAnswer
{
	eDue,
	eNever,
	eTooFar    // not within the steps of a walk
};

// The rule of GetNextTime(), a step at a time.
class CWalk
{
public:
	CWalk(const CVexScheduleInfo& rInfo, const CVexLocalTime& rNow)
		: m_oTime(rInfo.GetStartDatum()), m_rInfo(rInfo), m_rNow(rNow)
	{
		m_eAnswer = rInfo.GetType() == CVexScheduleInfo::E_FROM_TO ? WalkFromTo() : WalkRecurring();
	}

	EAnswer m_eAnswer;
	CVexLocalTime m_oTime;
	long m_nRepetitions = 0;    // that were passed

private:
	EAnswer WalkFromTo()
	{
		if (m_rNow > m_rInfo.GetEndeDatum())
			return eNever;
		while (m_oTime < m_rNow)
			if (!Step())
				return m_eEnd;
		while (m_oTime <= m_rInfo.GetEndeDatum())
			if (m_rInfo.IsNextTimeNotInException(m_oTime))
				return eDue;
			else if (!Step())
				return m_eEnd;
		return eNever;
	}

	EAnswer WalkRecurring()
	{
		while (m_nRepetitions < m_rInfo.GetWiederholungen() && m_oTime < m_rNow)
			if (!Step())
				return m_eEnd;
			else if (m_rInfo.IsNextTimeNotInException(m_oTime))
				++m_nRepetitions;
		if (m_oTime < m_rNow)
			return eNever;
		while (!m_rInfo.IsNextTimeNotInException(m_oTime))
			if (!Step())
				return m_eEnd;
		return eDue;
	}

	// False at the end of all times, without a step, and after 400 steps.
	bool Step()
	{
		const long long nStep = m_rInfo.GetAbstand().GetTotalMilliSeconds(), nTime = m_oTime.GetLocaltime();
		if (nStep == 0 || nTime > std::numeric_limits<long long>::max() - nStep)
			return false;
		m_eEnd = ++m_nSteps < 400 ? eNever : eTooFar;
		m_oTime += m_rInfo.GetAbstand();
		return m_eEnd == eNever;
	}

	const CVexScheduleInfo& m_rInfo;
	const CVexLocalTime& m_rNow;
	EAnswer m_eEnd = eNever;
	int m_nSteps = 0;
};

// The walk, which the answer has been compared with.
CWalk Check(const CVexScheduleInfo& rInfo, const CVexLocalTime& rNow)
{
	const CWalk oWalk(rInfo, rNow);
	CVexLocalTime oNext(4711);
	const bool bDue = VexSchedule::FindNextTime(rInfo, rNow, oNext);
	const bool bRight = !bDue ? oWalk.m_eAnswer != eDue && oNext == CVexLocalTime(4711)
							  : oNext.GetTimezone() == rInfo.GetStartDatum().GetTimezone() &&
			(oWalk.m_eAnswer == eTooFar ? oNext >= oWalk.m_oTime : oWalk.m_eAnswer == eDue && oNext == oWalk.m_oTime);
	if (!bRight)
		abort();
	return oWalk;
}

// The schedule, and those that just reach its due time or just miss it.
void CheckEnds(CVexScheduleInfo oInfo, const CVexLocalTime& rNow)
{
	const CWalk oWalk = Check(oInfo, rNow);
	for (const int nMore : { 2, 1, 0 })
		if (oInfo.GetType() == CVexScheduleInfo::E_RECURRING)
		{
			oInfo.SetWiederholungen(oWalk.m_nRepetitions + nMore - 1);
			Check(oInfo, rNow);
		}
		else
		{
			CVexLocalTime oEnd = oWalk.m_oTime;
			oEnd.SetLocaltime(static_cast<long long>(
				static_cast<std::uint64_t>(oEnd.GetLocaltime()) - static_cast<unsigned int>(nMore)));
			oInfo.SetEndeDatum(oEnd);
			Check(oInfo, rNow);
		}
}

// The same with windows whose edges lie at a time that the schedule reaches.
void CheckEdges(const CVexScheduleInfo& rInfo, const CVexLocalTime& rNow)
{
	CheckEnds(rInfo, rNow);
	const CVexLocalTime oTime = CWalk(rInfo, rNow).m_oTime;
	const auto nMilli = static_cast<long long>(static_cast<std::uint64_t>(oTime.GetHighResolutionLocaltime()) %
		VexTime::nTicksPerDay / VexTime::nTicksPerMilli);
	for (const int nMicro : { -1, 0, 1, 1000 })
	{
		const CVexTimeDiff oEdge = CVexTimeDiff(nMilli) + CVexTimeDiff(0, 0, 0, 0, 0, nMicro, 0);
		CVexScheduleInfo oFrom(rInfo), oTo(rInfo);
		oFrom.SetStartZeit(oEdge);
		CheckEnds(oFrom, rNow);
		oTo.SetEndeZeit(oEdge);
		CheckEnds(oTo, rNow);
		oTo.SetStartZeit(oEdge);
		CheckEnds(oTo, rNow);
	}
}

// Any number, or a round one.
std::uint64_t TakeStep(CBytes& rBytes)
{
	const auto nKind = rBytes.Take<std::uint8_t>();
	const auto nRaw = rBytes.Take<std::uint64_t>();
	if (nKind < 128)
		return nRaw >> nKind % 64;
	return nKind % 2 == 0 ? nRaw % 400 * (VexTime::nTicksPerMinute << nKind / 2 % 4)
						  : nRaw % 80 * VexTime::nTicksPerHour * 6;
}

// In our days, at a full minute there or just before, near the ends of what is stored, or anywhere.
std::uint64_t TakeStart(CBytes& rBytes)
{
	const auto nKind = rBytes.Take<std::uint8_t>();
	const auto nRaw = rBytes.Take<std::uint64_t>();
	const std::uint64_t nOurDays = nRaw % 10000000000000000 + 6300000000000000000;
	switch (nKind % 8)
	{
	case 0:
		return nRaw;
	case 1:
		return (std::uint64_t(nKind / 8 % 2) << 63) + (nRaw >> 12) - (std::uint64_t(1) << 51);
	case 2:
		return nOurDays;
	default:
		return nOurDays - nOurDays % VexTime::nTicksPerMinute - nKind / 8 % 2;
	}
}

// Within a step behind nSteps steps from rTime.
CVexLocalTime TakeTime(CBytes& rBytes, const CVexLocalTime& rTime, const CVexTimeDiff& rStep)
{
	const auto nStep = static_cast<std::uint64_t>(rStep.GetTotalMilliSeconds());
	const auto nSteps = static_cast<std::uint64_t>(rBytes.Take<std::uint16_t>() % 100 - 5);
	const auto nKind = rBytes.Take<std::uint8_t>();
	const std::uint64_t nRest = nKind < 128 ? 0 : rBytes.Take<std::uint64_t>() % (nStep + 1);
	CVexLocalTime oTime = rTime;
	oTime.ChangeTimezone(nKind % 16 - 8);
	oTime.SetLocaltime(
		static_cast<long long>(static_cast<std::uint64_t>(rTime.GetLocaltime()) + nStep * nSteps + nRest));
	return oTime;
}

// Any time of day, and a little beyond.
CVexTimeDiff TakeTimeOfDay(CBytes& rBytes)
{
	return CVexTimeDiff(rBytes.Take<std::uint32_t>() % 86500000 - 50000LL, rBytes.Take<std::uint8_t>() % 4, 0);
}
}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	CBytes oBytes(pData, nSize);
	CVexScheduleInfo oInfo;
	CVexLocalTime oStart(oBytes.Take<std::int8_t>() / 8);
	oStart.SetLocaltime(static_cast<long long>(TakeStart(oBytes)));
	oInfo.SetStartDatum(oStart);
	const auto nStepMilli = static_cast<long long>(TakeStep(oBytes));
	oInfo.SetAbstand(CVexTimeDiff(nStepMilli, oBytes.Take<std::uint16_t>() % 1000u, 0));
	const CVexLocalTime oNow = TakeTime(oBytes, oStart, oInfo.GetAbstand());
	oInfo.SetEndeDatum(TakeTime(oBytes, oNow, oInfo.GetAbstand()));
	oInfo.SetStartZeit(TakeTimeOfDay(oBytes));
	oInfo.SetEndeZeit(TakeTimeOfDay(oBytes));
	oInfo.SetTage(oBytes.Take<std::int16_t>());
	if (oBytes.Take<std::uint8_t>() % 2 == 0)
		oInfo.SetWiederholungen(oBytes.Take<std::int16_t>());
	CheckEdges(oInfo, oNow);
	return 0;
}
