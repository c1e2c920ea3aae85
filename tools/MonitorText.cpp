#include "MonitorText.h"

#include <langinfo.h>
#include <locale.h>
#include <strings.h>

#include <cstdint>
#include <cstring>

namespace
{
const std::uint32_t nInvalid = 0xFFFFFFFF;

// Those of ISO-8859-1, which some terminals obey as well.
bool IsControl(unsigned char c)
{
	return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

void AppendUtf8(std::string& rsText, unsigned char c)
{
	if (c < 0x80)
		rsText += static_cast<char>(c);
	else
	{
		rsText += static_cast<char>(0xC0 | (c >> 6));
		rsText += static_cast<char>(0x80 | (c & 0x3F));
	}
}

// The character at rnPosition, which advances past it; nInvalid for bytes that are not UTF-8.
std::uint32_t TakeUtf8(const std::string& sText, std::size_t& rnPosition)
{
	const unsigned char cFirst = static_cast<unsigned char>(sText[rnPosition++]);
	if (cFirst < 0x80)
		return cFirst;
	const std::size_t nMore = cFirst < 0xE0 ? 1 : cFirst < 0xF0 ? 2 : 3;
	const std::uint32_t nLowest = nMore == 1 ? 0x80 : nMore == 2 ? 0x800 : 0x10000;
	std::uint32_t nCharacter = cFirst & (0x3FU >> nMore);
	if (cFirst < 0xC0 || cFirst > 0xF4 || sText.size() - rnPosition < nMore)
		return nInvalid;
	for (const std::size_t nEnd = rnPosition + nMore; rnPosition < nEnd; ++rnPosition)
	{
		const unsigned char c = static_cast<unsigned char>(sText[rnPosition]);
		if ((c & 0xC0) != 0x80)
			return nInvalid;
		nCharacter = (nCharacter << 6) | (c & 0x3FU);
	}
	const bool bSurrogate = nCharacter >= 0xD800 && nCharacter < 0xE000;
	return nCharacter < nLowest || nCharacter > 0x10FFFF || bSurrogate ? nInvalid : nCharacter;
}

bool IsUtf8(const std::string& sText)
{
	for (std::size_t i = 0; i < sText.size();)
		if (TakeUtf8(sText, i) == nInvalid)
			return false;
	return true;
}

void AppendHex(std::string& rsText, const char* pszPrefix, unsigned char c)
{
	static const char szDigits[] = "0123456789abcdef";
	rsText += pszPrefix;
	rsText += szDigits[c >> 4];
	rsText += szDigits[c & 0xF];
}

std::string QuoteForJson(const std::string& sText, bool bUtf8)
{
	std::string sResult;
	sResult.reserve(sText.size() + 2);
	sResult += '"';
	for (const char cSigned : sText)
	{
		const unsigned char c = static_cast<unsigned char>(cSigned);
		if (c == '"' || c == '\\')
			sResult.append(1, '\\').append(1, cSigned);
		else if (bUtf8 && c >= 0x80)
			sResult += cSigned;
		else if (IsControl(c))
			AppendHex(sResult, "\\u00", c);
		else
			AppendUtf8(sResult, c);
	}
	return sResult += '"';
}
}    // namespace

bool IsTerminalUtf8()
{
	const locale_t oLocale = newlocale(LC_CTYPE_MASK, "", nullptr);
	if (!oLocale)
		return false;
	const bool bUtf8 = std::strcmp(nl_langinfo_l(CODESET, oLocale), "UTF-8") == 0;
	freelocale(oLocale);
	return bUtf8;
}

std::string TextToProgram(const std::string& sText, bool bTerminalUtf8)
{
	if (!bTerminalUtf8)
		return sText;
	std::string sResult;
	for (std::size_t i = 0; i < sText.size();)
	{
		const std::uint32_t nCharacter = TakeUtf8(sText, i);
		if (nCharacter > 0xFF)
			return sText;
		sResult += static_cast<char>(nCharacter);
	}
	return sResult;
}

std::string TextToTerminal(const std::string& sText, bool bTerminalUtf8)
{
	std::string sResult;
	sResult.reserve(sText.size());
	for (const char cSigned : sText)
	{
		const unsigned char c = static_cast<unsigned char>(cSigned);
		if (IsControl(c) && c != '\t')
			AppendHex(sResult, "\\x", c);
		else if (bTerminalUtf8)
			AppendUtf8(sResult, c);
		else
			sResult += cSigned;
	}
	return sResult;
}

std::string TextToJson(const std::string& sText)
{
	return QuoteForJson(sText, false);
}

std::string TypedTextToJson(const std::string& sText, bool bTerminalUtf8)
{
	return QuoteForJson(sText, bTerminalUtf8 && IsUtf8(sText));
}

std::string LevelName(CVexTraceMsg::ETraceLevel eLevel)
{
	for (const auto& rRow : aoMeineTexte)
		if (rRow.eEnumeration == eLevel)
			return rRow.sDescription;
	return std::to_string(static_cast<int>(eLevel));
}

bool LevelsUpTo(const std::string& sName, CVexTraceMsg::ETraceLevel& reLevels)
{
	for (const auto& rRow : aoMeineTexte)
		if (strcasecmp(rRow.sDescription, sName.c_str()) == 0)
		{
			const int nLevel = rRow.eEnumeration;
			reLevels = static_cast<CVexTraceMsg::ETraceLevel>(nLevel == 0 ? 0 : 2 * nLevel - 1);
			return true;
		}
	return false;
}

std::string ClassOfObject(const std::string& sFullName)
{
	return sFullName.substr(sFullName.rfind('/') + 1);
}

std::string NameOfObject(const std::string& sFullName)
{
	const std::size_t nSlash = sFullName.rfind('/');
	return nSlash == std::string::npos ? "" : sFullName.substr(0, nSlash);
}
