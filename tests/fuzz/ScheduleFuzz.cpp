// Schedules of every kind: the next due time that is computed must be the one that stepping gives.

#include "Require.h"

#include "VexScheduleInternal.h"

#include <limits>

namespace
{
// The bytes of an input, and 0 behind its end.
struct SBytes
{
	std::uint64_t Take(int nBytes)
	{
		std::uint64_t nValue = 0;
		for (; nBytes > 0; --nBytes)
			nValue = nValue << 8 | (m_pNext != m_pEnd ? *m_pNext++ : 0u);
		return nValue;
	}

	const std::uint8_t* m_pNext;
	const std::uint8_t* const m_pEnd;
};

enum EAnswer
{
	eDue,
	eNever,
	eTooFar    // not within the steps of a walk
};

// The rule of GetNextTime(), a step at a time.
struct SWalk
{
	SWalk(const CVexScheduleInfo& rInfo, const CVexLocalTime& rNow) : m_oTime(rInfo.GetStartDatum())
	{
		for (int nSteps = 0; nSteps < 400 && m_eAnswer == eTooFar; ++nSteps)
		{
			const bool bAhead = m_oTime >= rNow;
			if (rInfo.GetType() == CVexScheduleInfo::E_FROM_TO
					? m_oTime > rInfo.GetEndeDatum() || rNow > rInfo.GetEndeDatum()
					: !bAhead && m_nRepetitions >= rInfo.GetWiederholungen())
				m_eAnswer = eNever;
			else if (bAhead && rInfo.IsNextTimeNotInException(m_oTime))
				m_eAnswer = eDue;
			else if (!Step(rInfo.GetAbstand()))
				m_eAnswer = eNever;
			else if (!bAhead && rInfo.IsNextTimeNotInException(m_oTime))
				++m_nRepetitions;
		}
	}

	// False without a step, and at the end of all times.
	bool Step(const CVexTimeDiff& rStep)
	{
		const long long nStep = rStep.GetTotalMilliSeconds();
		if (nStep == 0 || m_oTime.GetLocaltime() > std::numeric_limits<long long>::max() - nStep)
			return false;
		m_oTime += rStep;
		return true;
	}

	EAnswer m_eAnswer = eTooFar;
	CVexLocalTime m_oTime;
	long m_nRepetitions = 0;    // that were passed
};

void Check(const CVexScheduleInfo& rInfo, const CVexLocalTime& rNow)
{
	const SWalk oWalk(rInfo, rNow);
	CVexLocalTime oNext(4711);
	if (!VexSchedule::FindNextTime(rInfo, rNow, oNext))
		Require(oWalk.m_eAnswer != eDue && oNext == CVexLocalTime(4711));
	else if (oWalk.m_eAnswer == eTooFar)
		Require(oNext >= oWalk.m_oTime);
	else
		Require(oWalk.m_eAnswer == eDue && oNext == oWalk.m_oTime &&
			oNext.GetTimezone() == rInfo.GetStartDatum().GetTimezone());
}

// The time that lies so many ticks ahead; beyond the end of all times it goes on at their begin.
CVexLocalTime Later(CVexLocalTime oTime, std::uint64_t nTicks)
{
	oTime.SetLocaltime(static_cast<long long>(static_cast<std::uint64_t>(oTime.GetLocaltime()) + nTicks));
	return oTime;
}

// The schedule, and those that just reach its due time or just miss it.
void CheckEnds(CVexScheduleInfo oInfo, const CVexLocalTime& rNow)
{
	Check(oInfo, rNow);
	const SWalk oWalk(oInfo, rNow);
	for (const int nMore : { -1, 0, 1 })
	{
		if (oInfo.GetType() == CVexScheduleInfo::E_RECURRING)
			oInfo.SetWiederholungen(oWalk.m_nRepetitions + nMore);
		else
			oInfo.SetEndeDatum(Later(oWalk.m_oTime, static_cast<std::uint64_t>(nMore)));
		Check(oInfo, rNow);
	}
}

// The same with windows whose edges lie at a time that the schedule reaches.
void CheckEdges(const CVexScheduleInfo& rInfo, const CVexLocalTime& rNow)
{
	CheckEnds(rInfo, rNow);
	const long long nTime = SWalk(rInfo, rNow).m_oTime.GetHighResolutionLocaltime();
	const std::uint64_t nMilli = static_cast<std::uint64_t>(nTime) % VexTime::nTicksPerDay / VexTime::nTicksPerMilli;
	for (const int nMicro : { -1, 0, 1, 1000 })
	{
		const CVexTimeDiff oEdge(0, 0, 0, 0, static_cast<int>(nMilli), nMicro, 0);
		CVexScheduleInfo oFrom(rInfo), oTo(rInfo);
		oFrom.SetStartZeit(oEdge);
		CheckEnds(oFrom, rNow);
		oTo.SetEndeZeit(oEdge);
		CheckEnds(oTo, rNow);
		oTo.SetStartZeit(oEdge);
		CheckEnds(oTo, rNow);
	}
}

// Ticks of any number, or full minutes or hours of some weeks.
std::uint64_t TakeStep(SBytes& rBytes)
{
	const std::uint64_t nKind = rBytes.Take(1), nRaw = rBytes.Take(8);
	if (nKind < 128)
		return nRaw >> nKind % 64;
	return nRaw % 400 * (nKind % 2 ? VexTime::nTicksPerHour : VexTime::nTicksPerMinute);
}

// Anywhere, near the ends of what is stored, or in our days: mostly at a full minute there or just before.
std::uint64_t TakeStart(SBytes& rBytes)
{
	const std::uint64_t nKind = rBytes.Take(1), nRaw = rBytes.Take(8);
	if (nKind % 8 < 2)
		return nKind % 8 == 0 ? nRaw : (nKind / 8 % 2 << 63) + (nRaw >> 12) - (std::uint64_t(1) << 51);
	const std::uint64_t nOurDays = nRaw % 10000000000000000 + 6300000000000000000;
	return nKind % 8 == 2 ? nOurDays : nOurDays - nOurDays % VexTime::nTicksPerMinute - nKind / 8 % 2;
}

// Some steps from oTime, or between two of them; in any zone.
CVexLocalTime TakeTime(SBytes& rBytes, CVexLocalTime oTime, const CVexTimeDiff& rStep)
{
	const auto nStep = static_cast<std::uint64_t>(rStep.GetTotalMilliSeconds());
	const std::uint64_t nSteps = rBytes.Take(2) % 100 - 5, nKind = rBytes.Take(1);
	oTime.ChangeTimezone(static_cast<int>(nKind % 16) - 8);
	return Later(oTime, nStep * nSteps + (nKind < 128 ? 0 : rBytes.Take(8) % (nStep + 1)));
}

// Any time of day, and a little beyond.
CVexTimeDiff TakeTimeOfDay(SBytes& rBytes)
{
	const auto nMilli = static_cast<long long>(rBytes.Take(4) % 86500000) - 50000;
	return CVexTimeDiff(nMilli, static_cast<unsigned int>(rBytes.Take(1) % 4), 0);
}
}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	SBytes oBytes = { pData, pData + nSize };
	CVexScheduleInfo oInfo;
	CVexLocalTime oStart(static_cast<int>(oBytes.Take(1) % 32) - 16);
	oStart.SetLocaltime(static_cast<long long>(TakeStart(oBytes)));
	oInfo.SetStartDatum(oStart);
	const auto nStepMilli = static_cast<long long>(TakeStep(oBytes));
	oInfo.SetAbstand(CVexTimeDiff(nStepMilli, static_cast<unsigned int>(oBytes.Take(2) % 1000), 0));
	const CVexLocalTime oNow = TakeTime(oBytes, oStart, oInfo.GetAbstand());
	oInfo.SetEndeDatum(TakeTime(oBytes, oNow, oInfo.GetAbstand()));
	oInfo.SetStartZeit(TakeTimeOfDay(oBytes));
	oInfo.SetEndeZeit(TakeTimeOfDay(oBytes));
	oInfo.SetTage(static_cast<short>(oBytes.Take(2)));
	if (oBytes.Take(1) % 2 == 0)
		oInfo.SetWiederholungen(static_cast<short>(oBytes.Take(2)));
	CheckEdges(oInfo, oNow);
	return 0;
}
