#pragma once

// Trimming, quoting, splitting and dumping of byte strings, and the text form of values.
//
// Null C strings count as missing texts and never crash. Character classes are those of the C library in the current
// locale; bytes above 0x7F are taken as unsigned.

#include <locale>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// White space off the end, off the start, off both. A null text gives "".
std::string VexStrRTrim(const char* pszText);
std::string VexStrLTrim(const char* pszText);
std::string VexStrTrim(const char* pszText);

// Takes one pair of enclosing double quotes away; nothing inside is unescaped.
void VexDeQuoteString(std::string& rText);

// Encloses the text in double quotes, in place of those it has. With bOnlyIfNeeded a text without white space ends up
// without quotes, the empty text too.
void VexQuoteString(std::string& rText, bool bOnlyIfNeeded);

// Spaced out for headings: " . " behind every character, the last one too.
std::string VexBigString(const std::string& rText);

// The pieces between separators, empty ones kept: always one more than there are separators. A null text has none.
std::vector<std::string> VexGetParameterList(const char* pszText, char cSeparator);

// One line of a hexadecimal dump, without line end: the up to 16 bytes of pBuffer from nOffset on. Bytes that are not
// there (nOffset at or behind nLength, negative values, a null buffer) show as blanks.
std::string VexMemDumpLine(const void* pBuffer, int nLength, int nOffset);

// Hexadecimal dump with a header line; every line ends in a line feed. With more than nHeadLines + nTailLines lines
// the middle ones are replaced by one line "..."; both -1 shows all. A null buffer gives "", a negative length counts
// as 0.
std::string VexMemDump(const void* pBuffer, int nLength, int nHeadLines = -1, int nTailLines = -1);

namespace VexStringFuncDetail
{
// What an extraction starts from: the target's own value, for classes that keep settings beside it. Plain numbers may
// not have been set yet.
template <class T>
T ExtractionStart(const T& rValue)
{
	if constexpr (std::is_scalar_v<T>)
		return T();
	else
		return rValue;
}
}    // namespace VexStringFuncDetail

// The value as a stream writes it by default. Always in the classic "C" locale: a program that sets a global locale
// with grouped digits still gets plain numbers, which VexFromString reads back anywhere.
template <class T>
std::string VexToString(const T& rValue)
{
	std::ostringstream oStream;
	oStream.imbue(std::locale::classic());
	oStream << rValue;
	return oStream.str();
}

// Reads the value as a stream does (leading white space is skipped, what follows a valid prefix is ignored), in the
// classic "C" locale. False if that fails: rValue is unchanged then.
template <class T>
bool VexFromString(T& rValue, const std::string& rText)
{
	std::istringstream oStream(rText + '\0');
	oStream.imbue(std::locale::classic());
	T oValue = VexStringFuncDetail::ExtractionStart(rValue);
	oStream >> oValue;
	if (oStream.fail())
		return false;
	rValue = std::move(oValue);
	return true;
}

// The same without a stream. A bool is "1" or "0", and no other number is one.
template <>
std::string VexToString<int>(const int& rValue);
template <>
std::string VexToString<unsigned int>(const unsigned int& rValue);
template <>
std::string VexToString<bool>(const bool& rValue);
template <>
bool VexFromString<int>(int& rValue, const std::string& rText);
template <>
bool VexFromString<unsigned int>(unsigned int& rValue, const std::string& rText);
template <>
bool VexFromString<bool>(bool& rValue, const std::string& rText);

// Texts are copied whole, white space included; a null text gives "".
template <>
std::string VexToString<std::string>(const std::string& rValue);
template <>
std::string VexToString<char*>(char* const& rValue);
template <>
std::string VexToString<const char*>(const char* const& rValue);
template <>
bool VexFromString<std::string>(std::string& rValue, const std::string& rText);

// Copies the text up to its first NUL, and a NUL, into the caller's buffer, which must have the room: nothing checks
// it. False only without a buffer.
template <>
bool VexFromString<char*>(char*& rValue, const std::string& rText);
