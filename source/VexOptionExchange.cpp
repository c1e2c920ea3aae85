// Reading, changing and writing the lines of an ini file.

#include "VexOptionExchange.h"

#include "VexIniFile.h"
#include "VexIniLineIndexInternal.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <typeinfo>
#include <unistd.h>
#include <utility>

namespace
{
const std::size_t nMaxLine = 1023;
const std::size_t nBufferSize = 0x10000;    // of a read or a write
const char szNoCommentText[] = " ";         // of a header: keeps the record from counting as empty
const char szCommentedOut[] = "## COMMENTED ## ";

bool IsSpace(char c)
{
	return std::isspace(static_cast<unsigned char>(c)) != 0;
}

std::string_view LTrim(std::string_view sText)
{
	while (!sText.empty() && IsSpace(sText.front()))
		sText.remove_prefix(1);
	return sText;
}

std::string_view RTrim(std::string_view sText)
{
	while (!sText.empty() && IsSpace(sText.back()))
		sText.remove_suffix(1);
	return sText;
}

std::string_view Text(const char* pszText)
{
	return pszText ? pszText : "";
}

// Whether an option of these names reads back as this very option, and as nothing else.
bool CanBeReadBack(std::string_view sSection, std::string_view sEntry)
{
	return sSection.find_first_of("]#\n") == sSection.npos && sSection.size() < nMaxLine &&
		sEntry.find_first_of("=#\n") == sEntry.npos && sEntry.size() < nMaxLine && sEntry.front() != '[' &&
		RTrim(LTrim(sEntry)).size() == sEntry.size();
}

class CFile
{
public:
	CFile(const std::string& sName, int nFlags) : m_nFile(open(sName.c_str(), nFlags | O_CLOEXEC, 0666)) {}
	~CFile()
	{
		if (IsOpen())
			close(m_nFile);
	}
	CFile(const CFile&) = delete;
	CFile& operator=(const CFile&) = delete;

	bool IsOpen() const { return m_nFile >= 0; }

	// The number of bytes read; 0 at the end and on an error.
	std::size_t Read(char* pBuffer, std::size_t nSize) const
	{
		const ssize_t nRead = TEMP_FAILURE_RETRY(read(m_nFile, pBuffer, nSize));
		return nRead < 0 ? 0 : static_cast<std::size_t>(nRead);
	}

	// False on an error.
	bool Write(std::string_view sText) const
	{
		while (!sText.empty())
		{
			const ssize_t nWritten = TEMP_FAILURE_RETRY(write(m_nFile, sText.data(), sText.size()));
			if (nWritten <= 0)
				return false;
			sText.remove_prefix(static_cast<std::size_t>(nWritten));
		}
		return true;
	}

	// Ends the file where the last write ended.
	void CutOff() const { [[maybe_unused]] const int nResult = ftruncate(m_nFile, lseek(m_nFile, 0, SEEK_CUR)); }

private:
	const int m_nFile;
};

// The file's type bits; 0 if there is no such file.
mode_t FileType(const std::string& sName)
{
	struct stat oStatus;
	return stat(sName.c_str(), &oStatus) == 0 ? oStatus.st_mode & S_IFMT : 0;
}

// Cuts the bytes of a file into lines. A line of more than 1023 characters is taken in pieces, each of them a line of
// its own; once a piece has started a comment, the further ones of that line are comments too: no option or header may
// come alive because of where a comment was cut.
template <class TTakeLine>
class CLineCutter
{
public:
	explicit CLineCutter(TTakeLine oTakeLine) : m_oTakeLine(oTakeLine) {}

	// Takes the lines that are whole, at the end of the file all; the number of bytes used up.
	std::size_t Cut(std::string_view sBytes, bool bEndOfFile)
	{
		const std::size_t nBytes = sBytes.size();
		while (!sBytes.empty())
		{
			const std::size_t nLimit = m_bInComment ? nMaxLine - 1 : nMaxLine;
			const void* const pLineFeed = std::memchr(sBytes.data(), '\n', std::min(sBytes.size(), nLimit + 1));
			if (pLineFeed)
			{
				const std::size_t nLine = static_cast<std::size_t>(static_cast<const char*>(pLineFeed) - sBytes.data());
				Take(sBytes.substr(0, nLine));
				m_bInComment = false;
				sBytes.remove_prefix(nLine + 1);
				continue;
			}
			if (sBytes.size() <= nLimit && !bEndOfFile)
				break;
			const std::string_view sPiece = sBytes.substr(0, nLimit);
			Take(sPiece);
			m_bInComment = m_bInComment || sPiece.find('#') != sPiece.npos;
			sBytes.remove_prefix(sPiece.size());
		}
		return nBytes - sBytes.size();
	}

private:
	void Take(std::string_view sPiece)
	{
		if (!m_bInComment)
			m_oTakeLine(sPiece);
		else if (!LTrim(sPiece).empty())
			m_oTakeLine("#" + std::string(sPiece));
	}

	TTakeLine m_oTakeLine;
	bool m_bInComment = false;
};
}    // namespace

CVexIniOptionExchange::CVexIniOptionExchange(CVexIniFile* pIniFile, bool bSaveOption)
	: CVexConfigExchange(bSaveOption), m_pIniFile(pIniFile)
{
	ReadIniOptions();
}

CVexIniOptionExchange::~CVexIniOptionExchange()
{
	if (m_bSaveOption && m_bDirty)
		WriteIniOptions();
	FreeLines();
}

bool CVexIniOptionExchange::GetOptionString(const char* pszSection, const char* pszEntry, std::string& rsValue)
{
	const SOptionLine* const pLine = Index().Find(Text(pszSection), Text(pszEntry));
	if (!pLine)
		return false;
	rsValue = pLine->m_sValue;
	return true;
}

void CVexIniOptionExchange::SetOptionString(const char* pszSection, const char* pszEntry, const char* pszValue)
{
	m_bDirty = true;
	const std::string_view sSection = Text(pszSection);
	const std::string_view sEntry = Text(pszEntry);
	if (sEntry.empty())
		return;
	SOptionLine* pLine = Index().Find(sSection, sEntry);
	if (!pLine)
	{
		if (!CanBeReadBack(sSection, sEntry))
			return;
		pLine = InsertOption(sSection, sEntry);
	}
	pLine->m_sValue = Text(pszValue).substr(0, nMaxLine - 1 - std::min(pLine->m_sEntry.size(), nMaxLine - 1));
	std::replace(pLine->m_sValue.begin(), pLine->m_sValue.end(), '\n', ' ');
	// Read again, this is the line's comment: with the one that is there, the line would grow at each saving.
	if (pLine->m_sValue.find('#') != std::string::npos)
		pLine->m_sComment.clear();
}

CVexIniOptionExchange::SOptionLine* CVexIniOptionExchange::InsertOption(
	std::string_view sSection, std::string_view sEntry)
{
	CLineIndex& rIndex = Index();
	CLineIndex::SSection& rSection = rIndex.TakeSection(sSection);
	if (rSection.m_nHeader == nVexNoLine)
	{
		SOptionLine* const pHeader = new SOptionLine{ std::string(sSection), "", "", szNoCommentText, true };
		rIndex.InsertAfter(nVexNoLine, pHeader, rSection, 0);
	}
	// KEPT: of several new options the last one stands first. Test:
	// CVexIniOptionExchange.NewOptionsStandInReverseOrderAtTheTopOfTheirSectionKept
	SOptionLine* const pLine = new SOptionLine{ std::string(sSection), std::string(sEntry), "", "", false };
	rIndex.InsertAfter(rSection.m_nHeader, pLine, rSection, rIndex.Hash(sEntry));
	ShowList();
	return pLine;
}

// KEPT: nothing is marked as changed, so a removal alone does not reach the file. Kept on purpose: programs rely on it.
// Test: CVexIniOptionExchange.RemovingAloneDoesNotWriteTheFileKept
void CVexIniOptionExchange::RemoveOption(const char* pszSection, const char* pszEntry)
{
	CLineIndex& rIndex = Index();
	const std::unique_ptr<SOptionLine> poLine(rIndex.Remove(Text(pszSection), Text(pszEntry)));
	ShowList();
	if (rIndex.HidesLines())
	{
		rIndex.UpdateList();
		m_poIndex.reset();
	}
}

void CVexIniOptionExchange::GetSections(std::vector<std::string>& rasSections)
{
	rasSections.clear();
	Index().GetSections(rasSections);
	std::sort(rasSections.begin(), rasSections.end());
}

void CVexIniOptionExchange::GetOptions(const char* pszSection, std::vector<std::string>& rasEntries)
{
	rasEntries.clear();
	Index().GetEntries(Text(pszSection), rasEntries);
	std::sort(rasEntries.begin(), rasEntries.end());
}

void CVexIniOptionExchange::ReadIniOptions()
{
	m_bDirty = false;
	FreeLines();
	const std::string sName = m_pIniFile->GetIniFileName();
	// Pipes and devices might block, or never end.
	if (FileType(sName) != S_IFREG)
		return;
	const CFile oFile(sName, O_RDONLY);
	if (!oFile.IsOpen())
		return;

	std::string sSection;
	CLineCutter oLines([&](std::string_view sLine) { AddOptionLine(sLine, sSection); });
	const std::unique_ptr<char[]> pBuffer(new char[nBufferSize]);
	std::size_t nFilled = 0;
	while (const std::size_t nRead = oFile.Read(pBuffer.get() + nFilled, nBufferSize - nFilled))
	{
		nFilled += nRead;
		const std::size_t nUsed = oLines.Cut({ pBuffer.get(), nFilled }, false);
		nFilled -= nUsed;
		std::memmove(pBuffer.get(), pBuffer.get() + nUsed, nFilled);
	}
	oLines.Cut({ pBuffer.get(), nFilled }, true);
	Index().UpdateList();
}

void CVexIniOptionExchange::WriteIniOptions()
{
	m_bDirty = false;
	if (m_poIndex)
		m_poIndex->UpdateList();
	const std::string sName = m_pIniFile->GetIniFileName();
	// Opening one waits for its reader.
	if (FileType(sName) == S_IFIFO)
		return;
	// Truncated behind the new text, not before it: on a full disk the file keeps what it has, and no file system waits
	// for the disk because a file has lost all it had.
	const CFile oFile(sName, O_WRONLY | O_CREAT | O_NOCTTY);
	if (!oFile.IsOpen())
		return;

	std::string sText;
	sText.reserve(std::min(nBufferSize, 64 * (m_asLines.size() + 1)));
	for (const SOptionLine* pLine : m_asLines)
	{
		if (pLine->m_bIsSection)
			sText += '\n';
		AppendIniLine(sText, *pLine);
		sText += '\n';
		if (sText.size() + nMaxLine >= nBufferSize)
		{
			if (!oFile.Write(sText))
				return;
			sText.clear();
		}
	}
	if (oFile.Write(sText))
		oFile.CutOff();
}

CVexIniOptionExchange::SOptionLine* CVexIniOptionExchange::CreateOptionLine(
	std::string_view sLine, std::string& rsSection) const
{
	sLine = LTrim(sLine);
	if (sLine.empty())
		return nullptr;
	const std::size_t nContent = std::min(sLine.find('#'), sLine.size());
	const std::string_view sContent = sLine.substr(0, nContent);
	const std::size_t nEqual = sContent.find('=');

	std::unique_ptr<SOptionLine> poLine(new SOptionLine);
	if (!sContent.empty() && sContent.front() == '[')
	{
		rsSection = sContent.substr(1, sContent.find(']') - 1);
		poLine->m_bIsSection = true;
		poLine->m_sComment = sLine.substr(nContent);
		// KEPT: a header's comment is one blank longer after each rewrite. Test:
		// CVexIniOptionExchange.CommentOfAHeaderGrowsByABlankAtEachRewriteKept
		poLine->m_sComment += szNoCommentText;
	}
	else if (nEqual != sContent.npos && nEqual > 0)
	{
		poLine->m_sEntry = RTrim(sContent.substr(0, nEqual));
		poLine->m_sValue = RTrim(LTrim(sContent.substr(nEqual + 1)));
		poLine->m_sComment = sLine.substr(nContent);
	}
	else
		poLine->m_sComment = sLine;
	poLine->m_sSection = rsSection;
	return poLine.release();
}

void CVexIniOptionExchange::AddOptionLine(std::string_view sLine, std::string& rsSection)
{
	std::unique_ptr<SOptionLine> poLine(CreateOptionLine(sLine, rsSection));
	if (!poLine)
		return;
	CLineIndex& rIndex = Index();
	CLineIndex::SSection& rWritten = rIndex.WrittenSection();
	CLineIndex::SSection* pSection = &rIndex.TakeSection(rsSection);
	const std::uint32_t nHash = rIndex.Hash(poLine->m_sEntry);
	const bool bElsewhere = pSection != &rWritten;
	bool bCommentOut = false;
	if (poLine->m_bIsSection)
		bCommentOut = pSection->m_nFirst != nVexNoLine;
	else if (!poLine->m_sEntry.empty())
	{
		const bool bKnown = rIndex.HasOption(*pSection, poLine->m_sEntry, nHash);
		// KEPT: options of a section that comes again end up in reverse order. Test:
		// CVexIniOptionExchange.OptionsOfARepeatedSectionAreGatheredInReverseOrderKept
		if (bElsewhere && !bKnown)
			rIndex.InsertAfter(pSection->m_nFirst, new SOptionLine(*poLine), *pSection, nHash);
		bCommentOut = bElsewhere || bKnown;
	}
	if (bCommentOut)
		CommentOptionLine(*poLine);
	// A line stands in the file where it stands in the list. It belongs to the section written there, or an option
	// behind it would be left there and be that section's when the file is read again.
	if (bCommentOut || (bElsewhere && !poLine->m_bIsSection))
	{
		pSection = &rWritten;
		poLine->m_sSection = rWritten.m_sName;
	}
	rIndex.InsertAfter(nVexNoLine, poLine.release(), *pSection, nHash);
	ShowList();
}

std::string CVexIniOptionExchange::CreateIniLine(const SOptionLine& rLine) const
{
	std::string sText;
	AppendIniLine(sText, rLine);
	return sText;
}

void CVexIniOptionExchange::AppendIniLine(std::string& rsText, const SOptionLine& rLine)
{
	if (rLine.m_bIsSection)
	{
		((rsText += '[') += rLine.m_sSection);
		// Behind the 1023rd character it would be a line of its own. Nobody misses it: such a name has no end.
		if (rLine.m_sSection.size() + 2 <= nMaxLine)
			rsText += ']';
		rsText += ' ';
	}
	else if (!rLine.m_sEntry.empty())
		(((rsText += rLine.m_sEntry) += '=') += rLine.m_sValue) += ' ';
	rsText += rLine.m_sComment;
}

CVexIniOptionExchange::COptionLines::iterator CVexIniOptionExchange::FindOption(
	const char* pszSection, const char* pszEntry)
{
	const SOptionLine* const pLine = Index().Find(Text(pszSection), Text(pszEntry));
	return pLine ? std::find(m_asLines.begin(), m_asLines.end(), pLine) : m_asLines.end();
}

void CVexIniOptionExchange::CommentOptionLine(SOptionLine& rLine) const
{
	std::string sText = szCommentedOut;
	AppendIniLine(sText, rLine);
	rLine = SOptionLine();
	rLine.m_sComment = std::move(sText);
}

CVexIniOptionExchange::CLineIndex& CVexIniOptionExchange::Index()
{
	const bool bCaseSensitive = m_pIniFile->IsCaseSensitiv();
	if (m_poIndex && m_poIndex->IsCaseSensitive() == bCaseSensitive)
		return *m_poIndex;
	if (m_poIndex)
		m_poIndex->UpdateList();
	m_poIndex = std::make_unique<CLineIndex>(bCaseSensitive, m_asLines);
	return *m_poIndex;
}

// A deriving class finds the list as the call has left it. Nobody else sees it, so that many changes in a row need not
// bring it up to date each.
void CVexIniOptionExchange::ShowList()
{
	if (typeid(*this) != typeid(CVexIniOptionExchange))
		Index().UpdateList();
}

void CVexIniOptionExchange::FreeLines()
{
	if (m_poIndex)
		m_poIndex->UpdateList();
	for (const SOptionLine* pLine : m_asLines)
		delete pLine;
	m_asLines.clear();
	m_poIndex.reset();
}

template <>
void IOX_Std<std::string>(CVexIniOptionExchange* pExchange, const char* pszSection, const char* pszEntry,
	std::string& rValue, const std::string& rDefault)
{
	if (pExchange->m_bSaveOption)
	{
		// KEPT: the caller's own variable is quoted. Programs save as their last act with a member.
		// Test: IOX_Std.SavingATextLeavesTheMemberQuotedKept
		VexQuoteString(rValue, true);
		pExchange->SetOptionString(pszSection, pszEntry, rValue.c_str());
		return;
	}
	if (!pExchange->GetOptionString(pszSection, pszEntry, rValue))
		rValue = rDefault;
	VexDeQuoteString(rValue);
}

template <>
void IOX_Std<char*>(CVexIniOptionExchange* pExchange, const char* pszSection, const char* pszEntry, char*& rValue,
	char* const& rDefault)
{
	std::string sValue(Text(rValue));
	IOX_Std<std::string>(pExchange, pszSection, pszEntry, sValue, std::string(Text(rDefault)));
	if (!pExchange->m_bSaveOption)
		VexFromString(rValue, sValue);
}
