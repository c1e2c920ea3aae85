#include "VexMail.h"

#include "VexUTCTime.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <exception>
#include <sstream>
#include <string_view>
#include <utility>

namespace
{
typedef std::string::size_type SizeType;

const SizeType npos = std::string::npos;
const char szLineEnd[] = "\r\n";
const char szHeaderEnd[] = "\r\n\r\n";
const char szFold[] = "\r\n\t";
const char szNameEnd[] = ": ";
const SizeType nHeaderEnd = sizeof szHeaderEnd - 1;
const SizeType nNameEnd = sizeof szNameEnd - 1;
const char szBlanks[] = " \t\v\f";
const char szWhiteSpace[] = " \t\v\f\r\n";

// Longest lines, without their end: the wanted length and the one that mail servers take.
const SizeType nMaxLine = 78;
const SizeType nMaxServerLine = 998;

struct SRange
{
	SizeType nBegin;
	SizeType nEnd;
};

bool IsSpace(char c)
{
	return std::isspace(static_cast<unsigned char>(c)) != 0;
}

char ToUpper(unsigned char c)
{
	return static_cast<char>(std::toupper(c));
}

std::string ToUpper(const std::string& sText)
{
	std::string sUpper(sText);
	std::transform(sUpper.begin(), sUpper.end(), sUpper.begin(), [](unsigned char c) { return ToUpper(c); });
	return sUpper;
}

// The end of the line that nPos is on, in front of its "\r\n".
SizeType FindLineEnd(const std::string& sText, SizeType nPos)
{
	return std::min(sText.find(szLineEnd, nPos), sText.size());
}

// Whether the line that ends at nLineEnd has a next one that continues it. An empty line does not.
bool IsContinued(const std::string& sHeader, SizeType nLineEnd)
{
	const SizeType nNext = nLineEnd + 2;
	return nNext < sHeader.size() && IsSpace(sHeader[nNext]) && sHeader.compare(nNext, 2, szLineEnd) != 0;
}

SizeType FindHeaderEnd(std::string_view sMail)
{
	return std::min(sMail.find(szHeaderEnd), sMail.size());
}

SizeType FindFieldEnd(const std::string& sHeader, SizeType nPos)
{
	SizeType nEnd = FindLineEnd(sHeader, nPos);
	while (IsContinued(sHeader, nEnd))
		nEnd = FindLineEnd(sHeader, nEnd + 2);
	return nEnd;
}

SizeType FindField(const std::string& sHeaderUpper, const std::string& sName, SizeType nStart)
{
	if (sName.empty())
		return npos;
	const std::string sKey = szLineEnd + ToUpper(sName) + szNameEnd;
	if (nStart == 0 && sHeaderUpper.compare(0, sKey.size() - 2, sKey, 2, npos) == 0)
		return 0;
	const SizeType nFound = sHeaderUpper.find(sKey, nStart);
	return nFound == npos ? npos : nFound + 2;
}

// A name with anything else would not be found again, or would change what others read.
bool IsName(const std::string& sName)
{
	return !sName.empty() && !IsSpace(sName[0]) && sName.find_first_of(szLineEnd) == npos &&
		sName.find(szNameEnd) == npos;
}

// Puts sNew in place of the first range and takes the others out.
void ReplaceRanges(std::string& rsText, const std::vector<SRange>& roRanges, const std::string& sNew)
{
	SizeType nTo = roRanges[0].nEnd;
	for (std::size_t n = 0; n < roRanges.size(); ++n)
	{
		const SizeType nFrom = roRanges[n].nEnd;
		const SizeType nSize = (n + 1 < roRanges.size() ? roRanges[n + 1].nBegin : rsText.size()) - nFrom;
		std::memmove(&rsText[nTo], &rsText[nFrom], nSize);
		nTo += nSize;
	}
	rsText.resize(nTo);
	rsText.replace(roRanges[0].nBegin, roRanges[0].nEnd - roRanges[0].nBegin, sNew);
}

// Makes each line break of a value a fold: "\r\n" and a blank or tab. No line of blanks alone comes about, which others
// could take for the end of the header: such blanks go to the end of the line in front, at the very beginning to the one
// behind.
std::string BreaksToFolds(const std::string& sValue)
{
	std::string sFolded;
	bool bHasText = false;    // anything but blanks so far
	char cFold = '\t';
	for (SizeType nPos = 0;;)
	{
		const SizeType nEnd = std::min(sValue.find_first_of(szLineEnd, nPos), sValue.size());
		const std::string_view sLine = std::string_view(sValue).substr(nPos, nEnd - nPos);
		if (sLine.find_first_not_of(szBlanks) != npos)
		{
			if (bHasText)
				(sFolded += szLineEnd) += cFold;
			bHasText = true;
		}
		sFolded += sLine;
		if (nEnd == sValue.size())
			return sFolded;
		const bool bLineEnd = sValue.compare(nEnd, 2, szLineEnd) == 0;
		nPos = nEnd + (bLineEnd ? 2 : 1);
		const bool bFold = bLineEnd && nPos < sValue.size() && (sValue[nPos] == ' ' || sValue[nPos] == '\t');
		cFold = bFold ? sValue[nPos++] : '\t';
	}
}

// Where a piece ends whose text begins at nText: behind the last separator in front of nSoftEnd, else behind the next one,
// else at nHardEnd or at the end of the line. Neither it nor the rest is of blanks alone if that can be: nLastText is the
// last character of the line that is none. bName: the piece begins with a name and ": ".
SizeType FindCut(std::string_view sLine, bool bName, SizeType nText, SizeType nLastText, SizeType nSoftEnd,
	SizeType nHardEnd, char cSeparator)
{
	nHardEnd = std::max(nHardEnd, nText);
	const std::string_view sText = sLine.substr(nText, nHardEnd - nText);
	const SizeType nFirst = nText + std::min(sText.find_first_not_of(szBlanks), sText.size());
	const SizeType nLimit = std::min(nHardEnd, nLastText);
	if (cSeparator != '\0')
	{
		for (SizeType nCut = std::min(nSoftEnd, nLimit); nCut > nFirst; --nCut)
			if (sLine[nCut - 1] == cSeparator)
				return nCut;
		// The blank behind a name is a separator like any other.
		if (bName && nText <= nSoftEnd && nText <= nLastText && sLine[nText - 1] == cSeparator)
			return nText;
		for (SizeType nCut = std::max(nSoftEnd, nFirst) + 1; nCut <= nLimit; ++nCut)
			if (sLine[nCut - 1] == cSeparator)
				return nCut;
	}
	if (sLine.size() <= nHardEnd)
		return sLine.size();
	return nLimit > nFirst ? nLimit : nHardEnd;
}

// The first nText characters, a name and ": ", stay together.
void AppendFolded(std::string& rsFolded, std::string_view sLine, SizeType nText, char cSeparator)
{
	const SizeType nLastText = std::min(sLine.find_last_not_of(szBlanks), sLine.size());
	SizeType nBegin = 0;
	for (SizeType nTab = 0; sLine.size() - nBegin + nTab > nMaxLine; nTab = 1)
	{
		const SizeType nCut = FindCut(sLine,
			nBegin == 0 && nText > 0,
			nText,
			nLastText,
			nBegin + nMaxLine - nTab,
			nBegin + nMaxServerLine - nTab,
			cSeparator);
		if (nCut == sLine.size())
			break;
		(rsFolded += sLine.substr(nBegin, nCut - nBegin)) += szFold;
		nBegin = nText = nCut;
	}
	(rsFolded += sLine.substr(nBegin)) += szLineEnd;
}

std::string Join(const std::vector<CVexMailAddress>& aoAddresses)
{
	std::string sAll;
	for (const CVexMailAddress& rAddress : aoAddresses)
	{
		std::ostringstream oText;
		oText << rAddress;
		if (!sAll.empty() && !oText.str().empty())
			sAll += ", ";
		sAll += oText.str();
	}
	return sAll;
}

// Where the quotes, parentheses (which may be nested) or angle brackets that open at nPos are closed; npos if they are
// not. A backslash in the first two takes away the meaning of the next character.
SizeType FindCloser(const std::string& sText, SizeType nPos)
{
	const char cOpener = sText[nPos];
	if (cOpener == '<')
		return sText.find('>', nPos);
	const char cCloser = cOpener == '(' ? ')' : '"';
	SizeType nDepth = 1;
	while (++nPos < sText.size())
		if (sText[nPos] == '\\')
			++nPos;
		else if (sText[nPos] == cCloser)
		{
			if (--nDepth == 0)
				return nPos;
		}
		else if (sText[nPos] == cOpener)
			++nDepth;
	return npos;
}

// The commas that divide a list of addresses: those outside quotes, parentheses and angle brackets. What is opened and
// not closed any more protects nothing, or all further addresses would be lost; nor does anything of its kind behind it.
std::vector<SizeType> FindDividers(const std::string& sList)
{
	std::vector<SizeType> anDividers;
	std::string sOpeners = "\"(<";
	for (SizeType nPos = 0; nPos < sList.size(); ++nPos)
	{
		const SizeType nOpener = sOpeners.find(sList[nPos]);
		const SizeType nCloser = nOpener == npos ? npos : FindCloser(sList, nPos);
		if (nCloser != npos)
			nPos = nCloser;
		else if (nOpener != npos)
			sOpeners.erase(nOpener, 1);
		else if (sList[nPos] == ',')
			anDividers.push_back(nPos);
	}
	return anDividers;
}
}    // namespace

CVexMail::CVexMail() = default;

CVexMail::CVexMail(const std::string& sMail)
{
	Split(sMail);
}

CVexMail::CVexMail(std::string&& sMail)
{
	Split(std::move(sMail));
}

CVexMail::CVexMail(const char* pBuffer, unsigned int nLength)
{
	if (pBuffer)
		Split(std::string_view(pBuffer, nLength));
}

CVexMail::CVexMail(const CVexMail&) = default;
CVexMail::CVexMail(CVexMail&&) noexcept = default;
CVexMail::~CVexMail() = default;
CVexMail& CVexMail::operator=(const CVexMail&) = default;
CVexMail& CVexMail::operator=(CVexMail&&) noexcept = default;

std::ostream& CVexMail::PutStream(std::ostream& rStream) const
{
	for (const std::string_view sPart :
		{ std::string_view(m_sHeader), std::string_view(szHeaderEnd), std::string_view(m_sBodytext) })
		rStream.write(sPart.data(), static_cast<std::streamsize>(sPart.size()));
	rStream.width(0);
	return rStream;
}

std::istream& CVexMail::GetStream(std::istream& rStream)
{
	if (!rStream.good())
	{
		rStream.setstate(std::ios_base::failbit);
		return rStream;
	}
	// The last block fails, which is no failure here: a stream that throws must not see it.
	const std::ios_base::iostate eThrowing = rStream.exceptions();
	rStream.exceptions(std::ios_base::goodbit);
	try
	{
		std::string sText;
		char acBlock[16384];
		do
		{
			rStream.read(acBlock, sizeof acBlock);
			sText.append(acBlock, static_cast<std::size_t>(rStream.gcount()));
		} while (rStream.good());
		if (!rStream.bad())
		{
			rStream.clear(std::ios_base::eofbit);
			Split(std::move(sText));
		}
	}
	catch (const std::exception&)
	{
		rStream.setstate(std::ios_base::badbit);    // no memory for so much
	}
	rStream.exceptions(eThrowing);
	return rStream;
}

std::string CVexMail::GetTotalMail() const
{
	std::string sMail;
	sMail.reserve(m_sHeader.size() + nHeaderEnd + m_sBodytext.size());
	sMail.append(m_sHeader).append(szHeaderEnd).append(m_sBodytext);
	return sMail;
}

const std::string& CVexMail::GetBodyText() const
{
	return m_sBodytext;
}

void CVexMail::SetBodyText(const std::string& sText)
{
	m_sBodytext = sText;
}

std::string CVexMail::GetFieldValue(const std::string& sName, char cSeparator) const
{
	std::string sValue;
	SizeType nEnd = 0;
	for (SizeType nIndex; (nIndex = FindField(m_sHeaderUpper, sName, nEnd)) != npos;)
	{
		if (nEnd > 0 && cSeparator != '\0')
			sValue += cSeparator;
		SizeType nPos = nIndex + sName.size() + nNameEnd;
		nEnd = FindLineEnd(m_sHeader, nPos);
		sValue.append(m_sHeader, nPos, nEnd - nPos);
		while (IsContinued(m_sHeader, nEnd))
		{
			nPos = nEnd + 3;
			nEnd = FindLineEnd(m_sHeader, nPos);
			sValue.append(m_sHeader, nPos, nEnd - nPos);
		}
	}
	return sValue;
}

// KEPT: in an empty header the field keeps its "\r\n", so that the whole text has an empty line more in front of the body.
// Test: CVexMail.AFieldSetInAnEmptyHeaderKeepsItsLineEndKept
void CVexMail::SetFieldValue(const std::string& sName, std::string sValue, char cSeparator)
{
	if (!IsName(sName))
		return;
	sValue = BreaksToFolds(sValue);
	std::string sLine = SubDivLargeFields(sName + szNameEnd + sValue, cSeparator);
	std::vector<SRange> aoRanges;
	SizeType nEnd = 0;
	for (SizeType nIndex; (nIndex = FindField(m_sHeaderUpper, sName, nEnd)) != npos;)
	{
		nEnd = FindFieldEnd(m_sHeader, nIndex);
		aoRanges.push_back({ aoRanges.empty() ? nIndex : nIndex - 2, nEnd });
	}
	if (aoRanges.empty())
		aoRanges.push_back({ 0, 0 });
	else
		sLine.resize(sLine.size() - 2);
	// The same in both, instead of CopyHeaderToUppercase(): that would look at every character of the header again.
	ReplaceRanges(m_sHeader, aoRanges, sLine);
	ReplaceRanges(m_sHeaderUpper, aoRanges, ToUpper(sLine));
}

std::string CVexMail::GetDate() const
{
	return GetFieldValue("Date", ' ');
}

std::string CVexMail::GetSubject() const
{
	return GetFieldValue("Subject", ' ');
}

CVexMailAddress CVexMail::GetFrom() const
{
	return CVexMailAddress(GetFieldValue("From", ' '));
}

std::vector<CVexMailAddress> CVexMail::GetTo() const
{
	return GetSepMailaddresses(GetFieldValue("To", ','));
}

std::vector<CVexMailAddress> CVexMail::GetCc() const
{
	return GetSepMailaddresses(GetFieldValue("Cc", ','));
}

std::vector<CVexMailAddress> CVexMail::GetRecipients() const
{
	std::vector<CVexMailAddress> aoRecipients = GetTo();
	const std::vector<CVexMailAddress> aoCc = GetCc();
	aoRecipients.insert(aoRecipients.end(), aoCc.begin(), aoCc.end());
	return aoRecipients;
}

void CVexMail::SetDate(const std::string& sDate)
{
	SetFieldValue("Date", sDate, ' ');
}

void CVexMail::SetDate(const CVexUTCTime& rDate)
{
	std::ostringstream oText;
	rDate.MailFormat(oText);
	SetDate(oText.str());
}

void CVexMail::SetSubject(const std::string& sSubject)
{
	SetFieldValue("Subject", sSubject, ' ');
}

void CVexMail::SetFrom(const std::string& sFrom)
{
	SetFieldValue("From", sFrom, ' ');
}

void CVexMail::SetTo(const std::vector<CVexMailAddress>& aoAddresses)
{
	SetFieldValue("To", Join(aoAddresses), ',');
}

void CVexMail::SetCc(const std::vector<CVexMailAddress>& aoAddresses)
{
	SetFieldValue("Cc", Join(aoAddresses), ',');
}

SizeType CVexMail::GetFieldIndex(const std::string& sName, unsigned int nStart) const
{
	return FindField(m_sHeaderUpper, sName, nStart);
}

SizeType CVexMail::GetFieldLength(const std::string&, unsigned int& nIndex) const
{
	return nIndex < m_sHeader.size() ? FindFieldEnd(m_sHeader, nIndex) - nIndex : 0;
}

std::string CVexMail::SubDivLargeFields(const std::string& sLine, char cSeparator) const
{
	std::string sFolded;
	SizeType nPos = 0;
	do
	{
		const SizeType nEnd = FindLineEnd(sLine, nPos);
		const std::string_view sPart = std::string_view(sLine).substr(nPos, nEnd - nPos);
		const SizeType nName = nPos == 0 ? sPart.find(szNameEnd) : npos;
		AppendFolded(sFolded, sPart, nName == npos ? 0 : nName + nNameEnd, cSeparator);
		nPos = nEnd + 2;
	} while (nPos < sLine.size());
	return sFolded;
}

std::vector<CVexMailAddress> CVexMail::GetSepMailaddresses(const std::string& sAddresses) const
{
	std::vector<CVexMailAddress> aoAddresses;
	std::vector<SizeType> anEnds = FindDividers(sAddresses);
	anEnds.push_back(sAddresses.size());
	SizeType nBegin = 0;
	for (const SizeType nEnd : anEnds)
	{
		const SizeType nFirst = sAddresses.find_first_not_of(szWhiteSpace, nBegin);
		if (nFirst < nEnd)
			aoAddresses.emplace_back(
				sAddresses.substr(nFirst, sAddresses.find_last_not_of(szWhiteSpace, nEnd - 1) + 1 - nFirst));
		nBegin = nEnd + 1;
	}
	return aoAddresses;
}

void CVexMail::Split(std::string_view sMail)
{
	const SizeType nHeader = FindHeaderEnd(sMail);
	m_sHeader = sMail.substr(0, nHeader);
	m_sBodytext = sMail.substr(std::min(nHeader + nHeaderEnd, sMail.size()));
	CopyHeaderToUppercase();
}

void CVexMail::Split(std::string&& sMail)
{
	const SizeType nHeader = FindHeaderEnd(sMail);
	if (nHeader == sMail.size())
	{
		m_sHeader = std::move(sMail);
		m_sBodytext.clear();
	}
	else
	{
		m_sHeader.assign(sMail, 0, nHeader);
		m_sBodytext = std::move(sMail.erase(0, nHeader + nHeaderEnd));
	}
	// Texts come with room for much larger ones.
	for (std::string* const psPart : { &m_sHeader, &m_sBodytext })
		if (psPart->capacity() / 2 > psPart->size())
			psPart->shrink_to_fit();
	CopyHeaderToUppercase();
}

void CVexMail::CopyHeaderToUppercase()
{
	// A header may be long, and a call for each of its characters is not cheap.
	char acUpper[256];
	for (unsigned int c = 0; c < sizeof acUpper; ++c)
		acUpper[c] = ToUpper(static_cast<unsigned char>(c));
	m_sHeaderUpper = m_sHeader;
	for (char& rc : m_sHeaderUpper)
		rc = acUpper[static_cast<unsigned char>(rc)];
}

bool VexFromString(CVexMail& rMail, const std::string& sText)
{
	rMail = CVexMail(sText);
	return true;
}

std::ostream& operator<<(std::ostream& rStream, const CVexMail& rMail)
{
	return rMail.PutStream(rStream);
}

std::istream& operator>>(std::istream& rStream, CVexMail& rMail)
{
	return rMail.GetStream(rStream);
}
