#include "MonitorText.h"

#include <langinfo.h>
#include <locale.h>
#include <strings.h>

#include <cstring>

namespace
{
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

void AppendHex(std::string& rsText, const char* pszPrefix, unsigned char c)
{
	static const char szDigits[] = "0123456789abcdef";
	rsText += pszPrefix;
	rsText += szDigits[c >> 4];
	rsText += szDigits[c & 0xF];
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
	for (std::size_t i = 0; i < sText.size(); ++i)
	{
		const unsigned int c = static_cast<unsigned char>(sText[i]);
		if (c < 0x80)
		{
			sResult += sText[i];
			continue;
		}
		// U+0080 to U+00FF are C2 or C3 and one more byte.
		const unsigned int cNext = i + 1 < sText.size() ? static_cast<unsigned char>(sText[i + 1]) : 0;
		if ((c != 0xC2 && c != 0xC3) || (cNext & 0xC0) != 0x80)
			return sText;
		sResult += static_cast<char>(((c & 0x03) << 6) | (cNext & 0x3F));
		++i;
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
	std::string sResult;
	sResult.reserve(sText.size() + 2);
	sResult += '"';
	for (const char cSigned : sText)
	{
		const unsigned char c = static_cast<unsigned char>(cSigned);
		if (c == '"' || c == '\\')
			sResult.append(1, '\\').append(1, cSigned);
		else if (IsControl(c))
			AppendHex(sResult, "\\u00", c);
		else
			AppendUtf8(sResult, c);
	}
	return sResult += '"';
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
