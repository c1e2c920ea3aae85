#pragma once

// Small parsing steps on an input stream, for texts such as times.
//
// All look at the next character first. As with any input function, looking past the end sets eofbit, and looking once
// more sets failbit.

#include <istream>

// Reads decimal digits while the next character is one, nMaxDigits at most, and returns their value (0 without any
// digit; it wraps if it does not fit). The number of digits read goes to *pnDigits unless that is null. Strict: fewer
// than nMaxDigits digits set failbit.
unsigned int GetSizedUInt(
	std::istream& rStream, unsigned int nMaxDigits, unsigned int* pnDigits = nullptr, bool bStrict = false);

// Takes the next character if it is cExpected. If it is not: strict sets failbit, else nothing happens.
void SeparateChar(std::istream& rStream, char cExpected, bool bStrict = false);

// Takes one character unless the next one is a digit; at the end of input that sets failbit.
void TryRemoveNonDigit(std::istream& rStream);
