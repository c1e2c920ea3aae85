// Mail texts of any content with fields set in them: what is set reads back but for line breaks, no other field changes,
// no line gets too long, and the header never holds the end of a header.

#include "Require.h"

#include "VexMail.h"

#include <sstream>

namespace
{
const char* const apszNames[] = { "Subject", "to", "X", "X-Y", "\xE4" };

std::string GetHeader(const CVexMail& rMail)
{
	const std::string sMail = rMail.GetTotalMail();
	return sMail.substr(0, sMail.size() - rMail.GetBodyText().size() - 4);
}

std::string WithoutBreaks(const std::string& sText)
{
	std::string sRest;
	for (const char c : sText)
		if (c != '\r' && c != '\n' && c != ' ' && c != '\t')
			sRest += c;
	return sRest;
}

// The uppercase copy behind the mail is the one that its text gives.
void CheckInStep(const CVexMail& rMail)
{
	const std::string sHeader = GetHeader(rMail);
	Require(sHeader.find("\r\n\r\n") == sHeader.npos);
	const CVexMail oAgain(sHeader);
	for (const char* const pszName : apszNames)
		Require(rMail.GetFieldValue(pszName, ';') == oAgain.GetFieldValue(pszName, ';'));
}

void CheckTexts(const std::string& sText)
{
	const CVexMail oMail(sText);
	const bool bBody = sText.find("\r\n\r\n") != sText.npos;
	Require(oMail.GetTotalMail() == (bBody ? sText : sText + "\r\n\r\n"));
	CheckInStep(oMail);
	Require(oMail.GetRecipients().size() <= sText.size());
}

// A line of blanks alone is left only where so many follow each other that they have to be cut.
void CheckLines(const std::string& sLines)
{
	std::istringstream oLines(sLines);
	std::size_t nBefore = 999;
	bool bFirst = true;
	for (std::string sLine; std::getline(oLines, sLine); nBefore = sLine.size(), bFirst = false)
	{
		Require(sLine.size() <= 999 && (bFirst || sLine[0] == ' ' || sLine[0] == '\t'));
		Require(nBefore == 999 || sLine.find_first_not_of(" \t\v\f\r") != sLine.npos);
	}
}

void CheckSet(CVexMail& rMail, const std::string& sName, const std::string& sValue, char cSeparator)
{
	std::vector<std::string> asOthers;
	for (const char* const pszName : apszNames)
		asOthers.push_back(rMail.GetFieldValue(pszName, ';'));
	const std::string sBody = rMail.GetBodyText();
	rMail.SetFieldValue(sName, sValue, cSeparator);
	const std::string sRead = rMail.GetFieldValue(sName, '\0');
	if (sValue.find_first_of("\r\n") == sValue.npos)
		Require(sRead == sValue);
	else
		Require(WithoutBreaks(sRead) == WithoutBreaks(sValue) && sRead.find_first_of("\r\n") == sRead.npos);
	for (std::size_t n = 0; n < 5; ++n)
		Require(sName == apszNames[n] || rMail.GetFieldValue(apszNames[n], ';') == asOthers[n]);
	Require(rMail.GetBodyText() == sBody);
	CheckInStep(rMail);

	CVexMail oAlone("Y: z");
	oAlone.SetFieldValue(sName, sValue, cSeparator);
	CheckLines(GetHeader(oAlone).substr(0, GetHeader(oAlone).size() - 6));
}
}    // namespace

// Byte 0: the field; 1: the separator; 2: what share of the rest is the value; the rest: the value and the mail.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	if (nSize < 3)
		return 0;
	const std::string sRest(reinterpret_cast<const char*>(pData) + 3, nSize - 3);
	const std::size_t nValue = sRest.size() * pData[2] / 255;
	const std::string sValue = sRest.substr(0, nValue), sMail = sRest.substr(nValue);
	const char* const pszName = apszNames[pData[0] % 5];
	CheckTexts(sMail);
	// White space in front would continue the new field, or be an empty line after it.
	CVexMail oMail((sMail.find_first_of(" \t\v\f\r\n") == 0 ? "Z: " : "") + sMail);
	CheckSet(oMail, pszName, sValue, static_cast<char>(pData[1]));
	std::string sLong;
	while (!sValue.empty() && sLong.size() < 3000)
		sLong += sValue;
	CheckSet(oMail, pszName, sLong, static_cast<char>(pData[1]));
	// A name of any shape does no harm, even where it is none.
	oMail.SetFieldValue(sValue, "value", ',');
	CheckInStep(oMail);
	return 0;
}
