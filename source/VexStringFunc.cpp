// Byte-string helpers and the text form of plain values without streams.

#include "VexStringFunc.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <cstring>

namespace
{
const char* SkipSpace(const char* pFirst, const char* pLast)
{
	while (pFirst != pLast && std::isspace(static_cast<unsigned char>(*pFirst)))
		++pFirst;
	return pFirst;
}

const char* SkipSpaceBack(const char* pFirst, const char* pLast)
{
	while (pLast != pFirst && std::isspace(static_cast<unsigned char>(pLast[-1])))
		--pLast;
	return pLast;
}

const int nBytesPerLine = 16;
const char szHexDigits[] = "0123456789abcdef";

void AppendHex(std::string& rText, std::uintptr_t nValue, std::size_t nMinDigits)
{
	char aDigits[2 * sizeof(nValue)];
	std::size_t nFirst = sizeof(aDigits);
	for (; nValue != 0 || sizeof(aDigits) - nFirst < nMinDigits; nValue >>= 4)
		aDigits[--nFirst] = szHexDigits[nValue & 0xF];
	rText.append(aDigits + nFirst, sizeof(aDigits) - nFirst);
}

char DumpCharacter(unsigned char c)
{
	const bool bVisible = (std::isalnum(c) || std::isprint(c)) && !std::iscntrl(c);
	return bVisible ? static_cast<char>(c) : '.';
}

void AppendDumpLine(std::string& rDump, const void* pBuffer, int nLength, int nOffset)
{
	const bool bInside = pBuffer && nOffset >= 0 && nOffset < nLength;
	const int nBytes = bInside ? std::min(nBytesPerLine, nLength - nOffset) : 0;
	const unsigned char* const pBytes = static_cast<const unsigned char*>(pBuffer) + (bInside ? nOffset : 0);

	// Two halves of eight bytes, a blank between them, then the character column.
	const int nHalf = nBytesPerLine / 2;
	const int nCharColumn = 3 * nBytesPerLine + 1;
	char aColumns[nCharColumn + nBytesPerLine];
	std::memset(aColumns, ' ', sizeof(aColumns));
	for (int i = 0; i < nBytes; ++i)
	{
		char* const pHex = aColumns + 3 * i + (i < nHalf ? 0 : 1);
		pHex[0] = szHexDigits[pBytes[i] >> 4];
		pHex[1] = szHexDigits[pBytes[i] & 0xF];
		aColumns[nCharColumn + i] = DumpCharacter(pBytes[i]);
	}
	rDump += "0x";
	AppendHex(rDump, static_cast<unsigned int>(nOffset), 4);
	rDump += ' ';
	rDump.append(aColumns, sizeof(aColumns));
}

void AppendDumpLines(std::string& rDump, const void* pBuffer, int nLength, int nFirstLine, int nLastLine)
{
	for (int nLine = nFirstLine; nLine < nLastLine; ++nLine)
	{
		AppendDumpLine(rDump, pBuffer, nLength, nLine * nBytesPerLine);
		rDump += '\n';
	}
}

// Sign and digits at the start of the text, as a stream reads them; any sign is taken, also by unsigned types.
bool ReadDecimal(const std::string& rText, bool& rNegative, unsigned int& rMagnitude)
{
	const std::size_t nStart = rText.find_first_not_of(" \t\n\v\f\r");
	if (nStart == std::string::npos)
		return false;
	const char* pFirst = rText.data() + nStart;
	rNegative = *pFirst == '-';
	if (rNegative || *pFirst == '+')
		++pFirst;
	return std::from_chars(pFirst, rText.data() + rText.size(), rMagnitude).ec == std::errc();
}
}    // namespace

std::string VexStrRTrim(const char* pszText)
{
	if (!pszText)
		return std::string();
	return std::string(pszText, SkipSpaceBack(pszText, pszText + std::strlen(pszText)));
}

std::string VexStrLTrim(const char* pszText)
{
	if (!pszText)
		return std::string();
	const char* const pLast = pszText + std::strlen(pszText);
	return std::string(SkipSpace(pszText, pLast), pLast);
}

std::string VexStrTrim(const char* pszText)
{
	if (!pszText)
		return std::string();
	const char* const pLast = SkipSpaceBack(pszText, pszText + std::strlen(pszText));
	return std::string(SkipSpace(pszText, pLast), pLast);
}

void VexDeQuoteString(std::string& rText)
{
	if (rText.size() > 1 && rText.front() == '"' && rText.back() == '"')
	{
		rText.pop_back();
		rText.erase(0, 1);
	}
}

void VexQuoteString(std::string& rText, bool bOnlyIfNeeded)
{
	VexDeQuoteString(rText);
	const auto IsSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
	if (bOnlyIfNeeded && std::none_of(rText.begin(), rText.end(), IsSpace))
		return;
	rText.reserve(rText.size() + 2);
	rText.insert(rText.begin(), '"');
	rText += '"';
}

std::string VexBigString(const std::string& rText)
{
	const std::string sSeparator = " . ";
	std::string sBig;
	sBig.reserve(rText.size() * (1 + sSeparator.size()));
	for (const char c : rText)
		(sBig += c) += sSeparator;
	return sBig;
}

std::vector<std::string> VexGetParameterList(const char* pszText, char cSeparator)
{
	std::vector<std::string> asPieces;
	if (!pszText)
		return asPieces;
	const char* const pLast = pszText + std::strlen(pszText);
	asPieces.reserve(static_cast<std::size_t>(std::count(pszText, pLast, cSeparator)) + 1);
	const char* pPiece = pszText;
	for (const char* pEnd; (pEnd = std::find(pPiece, pLast, cSeparator)) != pLast; pPiece = pEnd + 1)
		asPieces.emplace_back(pPiece, pEnd);
	asPieces.emplace_back(pPiece, pLast);
	return asPieces;
}

std::string VexMemDumpLine(const void* pBuffer, int nLength, int nOffset)
{
	std::string sLine;
	AppendDumpLine(sLine, pBuffer, nLength, nOffset);
	return sLine;
}

std::string VexMemDump(const void* pBuffer, int nLength, int nHeadLines, int nTailLines)
{
	std::string sDump;
	if (!pBuffer)
		return sDump;
	nLength = std::max(nLength, 0);
	sDump += "Address: 0x";
	AppendHex(sDump, reinterpret_cast<std::uintptr_t>(pBuffer), 8);
	sDump += "  Length : 0x";
	AppendHex(sDump, static_cast<unsigned int>(nLength), 8);
	sDump += '\n';

	const int nLines = nLength / nBytesPerLine + (nLength % nBytesPerLine != 0 ? 1 : 0);
	const bool bAll =
		(nHeadLines == -1 && nTailLines == -1) || nLines <= static_cast<long long>(nHeadLines) + nTailLines;
	if (bAll)
	{
		AppendDumpLines(sDump, pBuffer, nLength, 0, nLines);
		return sDump;
	}
	AppendDumpLines(sDump, pBuffer, nLength, 0, std::min(nHeadLines, nLines));
	sDump += "...\n";
	AppendDumpLines(sDump, pBuffer, nLength, nLines - std::clamp(nTailLines, 0, nLines), nLines);
	return sDump;
}

template <>
std::string VexToString<int>(const int& rValue)
{
	return std::to_string(rValue);
}

template <>
std::string VexToString<unsigned int>(const unsigned int& rValue)
{
	return std::to_string(rValue);
}

template <>
std::string VexToString<bool>(const bool& rValue)
{
	return rValue ? "1" : "0";
}

template <>
bool VexFromString<int>(int& rValue, const std::string& rText)
{
	bool bNegative = false;
	unsigned int nMagnitude = 0;
	if (!ReadDecimal(rText, bNegative, nMagnitude) || nMagnitude > 0x7FFFFFFFu + (bNegative ? 1u : 0u))
		return false;
	rValue = static_cast<int>(bNegative ? 0u - nMagnitude : nMagnitude);
	return true;
}

template <>
bool VexFromString<unsigned int>(unsigned int& rValue, const std::string& rText)
{
	bool bNegative = false;
	unsigned int nMagnitude = 0;
	if (!ReadDecimal(rText, bNegative, nMagnitude))
		return false;
	rValue = bNegative ? 0u - nMagnitude : nMagnitude;
	return true;
}

template <>
bool VexFromString<bool>(bool& rValue, const std::string& rText)
{
	int nNumber = 0;
	if (!VexFromString(nNumber, rText) || (nNumber != 0 && nNumber != 1))
		return false;
	rValue = nNumber == 1;
	return true;
}

template <>
std::string VexToString<std::string>(const std::string& rValue)
{
	return rValue;
}

template <>
std::string VexToString<char*>(char* const& rValue)
{
	return rValue ? rValue : "";
}

template <>
std::string VexToString<const char*>(const char* const& rValue)
{
	return rValue ? rValue : "";
}

template <>
bool VexFromString<std::string>(std::string& rValue, const std::string& rText)
{
	rValue = rText;
	return true;
}

template <>
bool VexFromString<char*>(char*& rValue, const std::string& rText)
{
	if (!rValue)
		return false;
	std::memcpy(rValue, rText.c_str(), std::strlen(rText.c_str()) + 1);
	return true;
}
