#include "VexMailAddress.h"

#include <algorithm>
#include <cctype>
#include <limits>

namespace
{
const std::string::size_type npos = std::string::npos;

struct SPart
{
	std::string::size_type nPos = 0;
	std::string::size_type nLength = 0;
};

// The "@" of the bare address. One within quotes in front of it belongs to the name.
std::string::size_type FindAt(const std::string& sText)
{
	const std::string::size_type nAt = sText.find('@');
	const std::string::size_type nOpening = sText.find('"');
	if (nAt == npos || nOpening > nAt || sText.rfind('"') < nAt)
		return nAt;
	return sText.find('@', std::max(sText.find('"', nOpening + 1), nAt) + 1);
}

std::string::size_type FindEnd(const std::string& sText, std::string::size_type nAt)
{
	for (const char* const pszEnd : { ">", " ", "\r\n" })
	{
		const std::string::size_type nEnd = sText.find(pszEnd, nAt);
		if (nEnd != npos)
			return nEnd;
	}
	return sText.size();
}

SPart FindSmtpAddress(const std::string& sText)
{
	const std::string::size_type nAt = FindAt(sText);
	if (nAt == npos)
		return SPart();
	std::string::size_type nBefore = sText.rfind('<', nAt);
	if (nBefore == npos)
		nBefore = sText.rfind(' ', nAt);
	SPart oPart;
	oPart.nPos = nBefore == npos ? 0 : nBefore + 1;
	oPart.nLength = FindEnd(sText, nAt) - oPart.nPos;
	return oPart;
}

// What is between the first cOpening and the next cClosing.
SPart FindBetween(const std::string& sText, char cOpening, char cClosing)
{
	SPart oPart;
	const std::string::size_type nOpening = sText.find(cOpening);
	const std::string::size_type nClosing = nOpening == npos ? npos : sText.find(cClosing, nOpening + 1);
	if (nClosing != npos)
	{
		oPart.nPos = nOpening + 1;
		oPart.nLength = nClosing - oPart.nPos;
	}
	return oPart;
}

SPart FindDisplayname(const std::string& sText)
{
	const std::string::size_type nBracket = sText.find('<');
	const std::string::size_type nQuote = sText.find('"');
	// KEPT: the character in front of "<" is left out, blank or not: the name of "Name<a@b>" is "Nam".
	// Test: CVexMailAddress.ANameWithoutABlankBehindItLosesItsLastCharacterKept
	if (nBracket != npos && nBracket > 0 && nQuote >= nBracket)
	{
		SPart oPart;
		oPart.nLength = nBracket - 1;
		return oPart;
	}
	return nQuote != npos ? FindBetween(sText, '"', '"') : FindBetween(sText, '(', ')');
}

// Positions are given out as unsigned int; a text that is too long for them has no parts.
void GivePart(const std::string& sText, SPart (*pFind)(const std::string&), unsigned int& nPos, unsigned int& nLength)
{
	const SPart oPart = sText.size() <= std::numeric_limits<unsigned int>::max() ? pFind(sText) : SPart();
	nPos = static_cast<unsigned int>(oPart.nPos);
	nLength = static_cast<unsigned int>(oPart.nLength);
}
}    // namespace

CVexMailAddress::CVexMailAddress() = default;

CVexMailAddress::CVexMailAddress(const std::string& sRawAddress) : m_sRawAddress(sRawAddress) {}

CVexMailAddress::CVexMailAddress(const char* pBuffer, unsigned int nLength)
{
	if (pBuffer)
		m_sRawAddress.assign(pBuffer, nLength);
}

CVexMailAddress::CVexMailAddress(const std::string& sDisplayname, const std::string& sSmtpAddress)
	: m_sRawAddress('"' + sDisplayname + "\" <" + sSmtpAddress + '>')
{
}

CVexMailAddress::CVexMailAddress(const CVexMailAddress&) = default;
CVexMailAddress::CVexMailAddress(CVexMailAddress&&) noexcept = default;
CVexMailAddress::~CVexMailAddress() = default;
CVexMailAddress& CVexMailAddress::operator=(const CVexMailAddress&) = default;
CVexMailAddress& CVexMailAddress::operator=(CVexMailAddress&&) noexcept = default;

std::ostream& CVexMailAddress::PutStream(std::ostream& rStream) const
{
	return rStream << m_sRawAddress;
}

std::istream& CVexMailAddress::GetStream(std::istream& rStream)
{
	char szLine[256];
	rStream.getline(szLine, sizeof szLine);
	// The count takes in the line end, and only a line that has one leaves the stream good.
	const std::streamsize nLine = rStream.gcount() - (rStream.good() ? 1 : 0);
	m_sRawAddress.assign(szLine, static_cast<std::size_t>(nLine));
	// VexFromString puts a NUL behind its text.
	if (rStream.eof() && !m_sRawAddress.empty() && m_sRawAddress.back() == '\0')
		m_sRawAddress.pop_back();
	return rStream;
}

void CVexMailAddress::GetSmtpAddressPos(unsigned int& nPos, unsigned int& nLength) const
{
	GivePart(m_sRawAddress, FindSmtpAddress, nPos, nLength);
}

std::string CVexMailAddress::GetSmtpAddress() const
{
	unsigned int nPos = 0, nLength = 0;
	GetSmtpAddressPos(nPos, nLength);
	return m_sRawAddress.substr(nPos, nLength);
}

void CVexMailAddress::SetSmtpAddress(const std::string& sSmtpAddress)
{
	unsigned int nPos = 0, nLength = 0;
	GetSmtpAddressPos(nPos, nLength);
	if (nLength == 0)
		m_sRawAddress += sSmtpAddress;
	else
		m_sRawAddress.replace(nPos, nLength, sSmtpAddress);
}

void CVexMailAddress::GetDisplaynamePos(unsigned int& nPos, unsigned int& nLength) const
{
	GivePart(m_sRawAddress, FindDisplayname, nPos, nLength);
}

std::string CVexMailAddress::GetDisplayname() const
{
	unsigned int nPos = 0, nLength = 0;
	GetDisplaynamePos(nPos, nLength);
	return m_sRawAddress.substr(nPos, nLength);
}

void CVexMailAddress::SetDisplayname(const std::string& sDisplayname)
{
	unsigned int nPos = 0, nLength = 0;
	GetDisplaynamePos(nPos, nLength);
	if (nLength == 0)
		m_sRawAddress.insert(0, '"' + sDisplayname + "\" ");
	else
		m_sRawAddress.replace(nPos, nLength, sDisplayname);
}

std::string CVexMailAddress::GetDomain() const
{
	const std::string sSmtpAddress = GetSmtpAddress();
	const std::string::size_type nAt = sSmtpAddress.find('@');
	return nAt == npos ? std::string() : sSmtpAddress.substr(nAt + 1);
}

// Not strcasecmp itself: it would stop at a NUL.
bool CVexMailAddress::operator==(const CVexMailAddress& rOther) const
{
	const std::string sLeft = GetSmtpAddress(), sRight = rOther.GetSmtpAddress();
	return std::equal(sLeft.begin(),
		sLeft.end(),
		sRight.begin(),
		sRight.end(),
		[](unsigned char cLeft, unsigned char cRight) { return std::tolower(cLeft) == std::tolower(cRight); });
}

std::ostream& operator<<(std::ostream& rStream, const CVexMailAddress& rAddress)
{
	return rAddress.PutStream(rStream);
}

std::istream& operator>>(std::istream& rStream, CVexMailAddress& rAddress)
{
	return rAddress.GetStream(rStream);
}
