#pragma once

// The tick scale, and the steps by which times and spans are read from texts and written to them.
//
// The reading steps work on a source: a stream, or characters in memory that behave like a stream over them without
// the price of making one.

#include <cctype>
#include <cstddef>
#include <istream>
#include <ostream>

#pragma GCC visibility push(hidden)

namespace VexTime
{
// All arithmetic on ticks is unsigned, so that it wraps where it does not fit.
typedef unsigned long long Ticks;

const Ticks nTicksPerMicro = 100;
const Ticks nTicksPerMilli = 100000;
const Ticks nTicksPerSecond = 100000000;
const Ticks nTicksPerMinute = 6000000000;
const Ticks nTicksPerHour = 360000000000;
const Ticks nTicksPerDay = 8640000000000;
const Ticks nTicksUntil1970 = 719528 * nTicksPerDay;

// Signed parts come sign-extended. nTenNanos: nanoseconds / 10.
inline Ticks SumOfParts(
	Ticks nDays, Ticks nHours, Ticks nMinutes, Ticks nSeconds, Ticks nMilli, Ticks nMicro, Ticks nTenNanos)
{
	return nDays * nTicksPerDay + nHours * nTicksPerHour + nMinutes * nTicksPerMinute + nSeconds * nTicksPerSecond +
		nMilli * nTicksPerMilli + nMicro * nTicksPerMicro + nTenNanos;
}

class CStreamSource
{
public:
	explicit CStreamSource(std::istream& rStream) : m_rStream(rStream) {}
	int Peek() { return m_rStream.peek(); }
	void Take() { m_rStream.get(); }
	void Fail() { m_rStream.setstate(std::ios_base::failbit); }
	bool IsGood() const { return m_rStream.good(); }
	bool HasFailed() const { return m_rStream.fail(); }

private:
	std::istream& m_rStream;
};

class CMemorySource
{
public:
	CMemorySource(const char* pBegin, std::size_t nLength) : m_pNext(pBegin), m_pEnd(pBegin + nLength) {}

	int Peek()
	{
		if (!IsGood())
			m_bFailed = true;
		else if (m_pNext == m_pEnd)
			m_bEnd = true;
		else
			return static_cast<unsigned char>(*m_pNext);
		return EOF;
	}

	void Take()
	{
		if (Peek() == EOF)
			m_bFailed = true;
		else
			++m_pNext;
	}

	void Fail() { m_bFailed = true; }
	bool IsGood() const { return !m_bEnd && !m_bFailed; }
	bool HasFailed() const { return m_bFailed; }

private:
	const char* m_pNext;
	const char* m_pEnd;
	bool m_bEnd = false;
	bool m_bFailed = false;
};

inline bool IsDigit(int nChar)
{
	return nChar >= '0' && nChar <= '9';
}

// Returns the number of digits read.
template <class TSource>
unsigned int ReadDigits(TSource& rSource, unsigned int nMaxDigits, unsigned int& rnValue)
{
	unsigned int nDigits = 0;
	rnValue = 0;
	for (int nChar; nDigits < nMaxDigits && IsDigit(nChar = rSource.Peek()); ++nDigits)
	{
		rnValue = rnValue * 10 + static_cast<unsigned int>(nChar - '0');
		rSource.Take();
	}
	return nDigits;
}

template <class TSource>
unsigned int ReadPart(TSource& rSource, unsigned int nMaxDigits)
{
	unsigned int nValue;
	ReadDigits(rSource, nMaxDigits, nValue);
	return nValue;
}

template <class TSource>
void ReadSeparator(TSource& rSource, char cExpected, bool bStrict)
{
	if (rSource.Peek() == static_cast<unsigned char>(cExpected))
		rSource.Take();
	else if (bStrict)
		rSource.Fail();
}

template <class TSource>
void RemoveNonDigit(TSource& rSource)
{
	if (!IsDigit(rSource.Peek()))
		rSource.Take();
}

// At the end of input this does not fail the source: there may be nothing left to read.
template <class TSource>
void SkipWhiteSpace(TSource& rSource)
{
	for (int nChar; rSource.IsGood() && (nChar = rSource.Peek()) != EOF && std::isspace(nChar);)
		rSource.Take();
}

// The text form that a stream was given in the word nIndex, 0 (what new words hold) as long as there is no such word.
inline long GetStreamFormat(std::ios_base& rStream, int nIndex)
{
	return nIndex == -1 ? 0 : rStream.iword(nIndex);
}

// Exactly nWidth digits. Returns the place behind them.
inline char* WriteDigits(char* pOut, unsigned int nValue, int nWidth)
{
	for (int i = nWidth; i-- > 0; nValue /= 10)
		pOut[i] = static_cast<char>('0' + nValue % 10);
	return pOut + nWidth;
}

inline char* WriteChar(char* pOut, char cChar)
{
	*pOut = cChar;
	return pOut + 1;
}

// As the formatted output functions do, this takes the stream's width for used up.
inline std::ostream& WriteText(std::ostream& rStream, const char* pBegin, const char* pEnd)
{
	rStream.width(0);
	return rStream.write(pBegin, pEnd - pBegin);
}
}    // namespace VexTime

#pragma GCC visibility pop
