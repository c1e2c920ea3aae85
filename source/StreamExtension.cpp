#include "StreamExtension.h"

#include "VexTimeInternal.h"

using namespace VexTime;

unsigned int GetSizedUInt(std::istream& rStream, unsigned int nMaxDigits, unsigned int* pnDigits, bool bStrict)
{
	CStreamSource oSource(rStream);
	unsigned int nValue;
	const unsigned int nDigits = ReadDigits(oSource, nMaxDigits, nValue);
	if (bStrict && nDigits < nMaxDigits)
		oSource.Fail();
	if (pnDigits)
		*pnDigits = nDigits;
	return nValue;
}

void SeparateChar(std::istream& rStream, char cExpected, bool bStrict)
{
	CStreamSource oSource(rStream);
	ReadSeparator(oSource, cExpected, bStrict);
}

void TryRemoveNonDigit(std::istream& rStream)
{
	CStreamSource oSource(rStream);
	RemoveNonDigit(oSource);
}
