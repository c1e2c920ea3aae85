#pragma once

// The next due time of a schedule, computed without walking its steps.
//
// The instants of a schedule are first + k * step. Within a week the permitted ones are those whose remainder by the
// week lies in one of up to seven stretches (one a weekday), so that counting them is a sum of quotients, and finding
// the first one a question of the smallest multiple in a stretch. Both go the way of Euclid's algorithm: tens of rounds,
// whatever the numbers.

#include "VexScheduleInfo.h"
#include "VexTimeInternal.h"

#include <algorithm>
#include <limits>
#include <utility>

#pragma GCC visibility push(hidden)

namespace VexSchedule
{
using VexTime::nTicksPerDay;
using VexTime::nTicksPerMilli;
using VexTime::Ticks;

const Ticks nTicksPerWeek = 7 * nTicksPerDay;
const Ticks nNone = std::numeric_limits<Ticks>::max();
const Ticks nHalfRange = Ticks(1) << 63;

// The sum of (nStep * k + nFirst) / nModulus, rounded down, for k = 0 .. nCount - 1, modulo 2^64.
// nStep * nCount + nFirst must fit.
inline Ticks SumOfQuotients(Ticks nCount, Ticks nModulus, Ticks nStep, Ticks nFirst)
{
	Ticks nSum = 0;
	for (;;)
	{
		const Ticks nPairs = nCount % 2 == 0 ? nCount / 2 * (nCount - 1) : (nCount - 1) / 2 * nCount;
		nSum += nPairs * (nStep / nModulus) + nCount * (nFirst / nModulus);
		nStep %= nModulus;
		nFirst %= nModulus;
		// What is left counts the grid points under a line; counted by rows instead of columns, it is such a sum again.
		const Ticks nTop = nStep * nCount + nFirst;
		if (nTop < nModulus)
			return nSum;
		nCount = nTop / nModulus;
		nFirst = nTop % nModulus;
		std::swap(nStep, nModulus);
	}
}

// The smallest k with nLow <= nStep * k % nModulus <= nHigh, where 0 < nLow <= nHigh < nModulus and nStep < nModulus;
// nNone if there is none or nStep * k exceeds nLimit (up to 2^63) by more than a step.
// NOLINTNEXTLINE(misc-no-recursion): as deep as Euclid's algorithm is long, some 70 levels at most
inline Ticks FirstMultipleIn(Ticks nStep, Ticks nModulus, Ticks nLow, Ticks nHigh, Ticks nLimit)
{
	if (nStep == 0)
		return nNone;
	const Ticks nFirst = (nLow + nStep - 1) / nStep;
	if (nFirst * nStep <= nHigh)
		return nFirst;
	// No multiple lies in the stretch, but one lies in it when it is moved up by whole rounds of the modulus: the fewest
	// rounds are those whose remainder by the step fills up one of nLow .. nHigh to a multiple.
	const Ticks nRounds = FirstMultipleIn(nModulus % nStep, nStep, nStep - nHigh % nStep, nStep - nLow % nStep, nLimit);
	if (nRounds > nLimit / nModulus)
		return nNone;
	return (nModulus * nRounds + nLow + nStep - 1) / nStep;
}

// The permitted ones of instants that follow one another at an even step. Instants are stored (UTC) ticks.
class CPermitted
{
public:
	// nStep: not 0.
	CPermitted(const CVexScheduleInfo& rInfo, Ticks nStep) : m_nDays(rInfo.GetTage()), m_nStep(nStep)
	{
		// The time of day is compared in whole milliseconds.
		const long long nLastMilli = static_cast<long long>(nTicksPerDay / nTicksPerMilli) - 1;
		const CVexTimeDiff oZero, oLast(nLastMilli);
		if (rInfo.GetStartZeit() > oLast || rInfo.GetEndeZeit() < oZero)
		{
			m_nDays = 0;
			return;
		}
		const CVexTimeDiff oLow = std::max(rInfo.GetStartZeit(), oZero, IsLess);
		const CVexTimeDiff oHigh = std::min(rInfo.GetEndeZeit(), oLast, IsLess);
		const long long nLowMilli = oLow.GetTotalMilliSeconds() + (CVexTimeDiff(oLow.GetTotalMilliSeconds()) < oLow);
		m_nLow = static_cast<Ticks>(nLowMilli) * nTicksPerMilli;
		m_nHigh = static_cast<Ticks>(oHigh.GetTotalMilliSeconds() + 1) * nTicksPerMilli - 1;
		if (m_nLow > m_nHigh)
			m_nDays = 0;
	}

	// How many of nCount instants from nFirst on are permitted.
	Ticks Count(Ticks nFirst, Ticks nCount) const
	{
		Ticks nPermitted = 0;
		while (nCount != 0)
		{
			const Ticks nPart = Part(nFirst, nCount);
			nPermitted += CountPart(PlaceInWeek(nFirst), nPart);
			nFirst += nPart * m_nStep;
			nCount -= nPart;
		}
		return nPermitted;
	}

	// The number of instants before the first permitted one of nCount from nFirst on, nNone if there is none.
	Ticks First(Ticks nFirst, Ticks nCount) const
	{
		for (Ticks nBefore = 0; nBefore < nCount;)
		{
			const Ticks nPart = Part(nFirst, nCount - nBefore);
			const Ticks nFound = FirstOfPart(PlaceInWeek(nFirst), nPart);
			if (nFound < nPart)
				return nBefore + nFound;
			nFirst += nPart * m_nStep;
			nBefore += nPart;
		}
		return nNone;
	}

private:
	static bool IsLess(const CVexTimeDiff& rLeft, const CVexTimeDiff& rRight) { return rLeft < rRight; }

	// So many of them lie in the same half of the range, and all sums fit. A week does not go into the range evenly, so
	// what wraps is another part as well.
	Ticks Part(Ticks nFirst, Ticks nCount) const
	{
		return std::min(nCount, (nHalfRange - 1 - nFirst % nHalfRange) / m_nStep + 1);
	}

	// Such that the weekday, in CVexUTCTime's numbering, is the number of whole days.
	static Ticks PlaceInWeek(Ticks nInstant) { return (nInstant % nTicksPerWeek + 4 * nTicksPerDay) % nTicksPerWeek; }

	bool IsDay(unsigned int nDay) const { return (m_nDays >> nDay & 1) != 0; }

	Ticks CountPart(Ticks nPlace, Ticks nCount) const
	{
		Ticks nPermitted = 0;
		for (unsigned int nDay = 0; nDay < 7; ++nDay)
			if (IsDay(nDay))
			{
				const Ticks nBehind = nPlace + nTicksPerWeek - nDay * nTicksPerDay;
				nPermitted += SumOfQuotients(nCount, nTicksPerWeek, m_nStep, nBehind - m_nLow) -
					SumOfQuotients(nCount, nTicksPerWeek, m_nStep, nBehind - m_nHigh - 1);
			}
		return nPermitted;
	}

	Ticks FirstOfPart(Ticks nPlace, Ticks nCount) const
	{
		Ticks nFound = nNone;
		for (unsigned int nDay = 0; nDay < 7; ++nDay)
			if (IsDay(nDay))
			{
				const Ticks nLow = nDay * nTicksPerDay + m_nLow, nLength = m_nHigh - m_nLow;
				const Ticks nAhead = (nLow + nTicksPerWeek - nPlace) % nTicksPerWeek;
				if (nPlace - nLow <= nLength)
					return 0;
				nFound = std::min(nFound,
					FirstMultipleIn(
						m_nStep % nTicksPerWeek, nTicksPerWeek, nAhead, nAhead + nLength, (nCount - 1) * m_nStep));
			}
		return nFound;
	}

	int m_nDays;    // bits of the weekdays, none if the window is empty
	Ticks m_nStep;
	Ticks m_nLow = 0;    // the window, in ticks of the day, inclusive
	Ticks m_nHigh = 0;
};

// CVexScheduleInfo::GetNextTime() at the time rNow. The rule is to step from the start date to now, counting what is
// permitted behind the start date, and on to the first permitted time; this gives what that gives.
inline bool FindNextTime(const CVexScheduleInfo& rInfo, const CVexLocalTime& rNow, CVexLocalTime& rNext)
{
	const CVexLocalTime& rStart = rInfo.GetStartDatum();
	const bool bRecurring = rInfo.GetType() == CVexScheduleInfo::E_RECURRING;
	const long long nStart = rStart.GetLocaltime(), nNow = rNow.GetLocaltime();
	const long long nEnd = bRecurring ? std::numeric_limits<long long>::max() : rInfo.GetEndeDatum().GetLocaltime();
	if (nNow > nEnd || nStart > nEnd)
		return false;

	const Ticks nStep = static_cast<Ticks>(rInfo.GetAbstand().GetTotalMilliSeconds());
	const Ticks nDivisor = std::max<Ticks>(nStep, 1);
	const Ticks nToNow = static_cast<Ticks>(nNow) - static_cast<Ticks>(nStart);
	const Ticks nStepsToNow = nStart < nNow ? (nToNow - 1) / nDivisor + 1 : 0;
	// Without a step there is the start date alone.
	const Ticks nLastStep = nStep == 0 ? 0 : (static_cast<Ticks>(nEnd) - static_cast<Ticks>(nStart)) / nStep;
	if (nStepsToNow > nLastStep)
		return false;

	const CPermitted oPermitted(rInfo, nDivisor);
	const Ticks nStored = static_cast<Ticks>(rStart.GetHighResolutionLocaltime());
	if (bRecurring && nStepsToNow > 0)
	{
		const auto nRepetitions = static_cast<Ticks>(std::max(rInfo.GetWiederholungen(), 0L));
		if (oPermitted.Count(nStored + nStep, nStepsToNow - 1) >= nRepetitions)
			return false;
	}
	const Ticks nMore = oPermitted.First(nStored + nStepsToNow * nStep, nLastStep - nStepsToNow + 1);
	if (nMore == nNone)
		return false;
	CVexLocalTime oNext = rStart;
	oNext.SetLocaltime(static_cast<long long>(static_cast<Ticks>(nStart) + (nStepsToNow + nMore) * nStep));
	rNext = oNext;
	return true;
}
}    // namespace VexSchedule

#pragma GCC visibility pop
