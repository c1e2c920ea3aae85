// Reading, changing and writing the lines of an ini file.

#include "VexOptionExchange.h"

#include "VexApplicationEndInternal.h"
#include "VexFile.h"
#include "VexFileStatus.h"
#include "VexIniFile.h"
#include "VexIniLineIndexInternal.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <typeinfo>
#include <utility>

namespace
{
const std::size_t nMaxLine = 1023;
const char szNoCommentText[] = " ";    // of a header: keeps the record from counting as empty
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

// The value as a line with an entry of that length can hold it. A text in quotes is cut inside them: without the second
// one, the first would become part of the text.
std::string ValueForLine(std::string_view sValue, std::size_t nEntry)
{
	const std::size_t nRoom = nMaxLine - 1 - nEntry;
	const bool bInQuotes = sValue.size() > 1 && sValue.front() == '"' && sValue.back() == '"';
	std::string sCut(sValue.substr(0, nRoom));
	if (bInQuotes && nRoom > 0)
		sCut.back() = '"';
	std::replace(sCut.begin(), sCut.end(), '\n', ' ');
	return sCut;
}

// Whether an option of these names reads back as this very option, and as nothing else.
bool CanBeReadBack(std::string_view sSection, std::string_view sEntry)
{
	return sSection.find_first_of("]#\n") == sSection.npos && sSection.size() < nMaxLine &&
		sEntry.find_first_of("=#\n") == sEntry.npos && sEntry.size() < nMaxLine && sEntry.front() != '[' &&
		RTrim(LTrim(sEntry)).size() == sEntry.size();
}

// False if there is a file that cannot be read to its end.
bool ReadFile(const std::string& sName, std::string& rsText)
{
	const CVexFileStatus oStatus(sName.c_str());
	// Pipes and devices might block, or never end.
	return oStatus.IsFile() ? CVexFile::ReadAll(sName.c_str(), rsText) : oStatus.GetLastError() == ENOENT;
}

// Writes in place, so that the file keeps its mode, its owner and its links.
void RewriteFile(const std::string& sName, const std::string& sText)
{
	CVexFile oFile;
	long long nOldSize = 0;
	if (!oFile.Open(sName.c_str(), CVexFile::eReadWrite) || !oFile.Seek(0, CVexFile::eEnd) || !oFile.Tell(nOldSize))
		return;
	const std::size_t nKept =
		nOldSize < static_cast<long long>(sText.size()) ? static_cast<std::size_t>(nOldSize) : sText.size();
	// The growth is written first: if the disk has no room for it, the old text is still whole. Unlike a reservation this
	// works on every file system.
	if (!oFile.Write(sText.data() + nKept, sText.size() - nKept))
		oFile.Truncate(nOldSize);
	else if (oFile.Seek(0) && oFile.Write(sText.data(), nKept))
		oFile.Truncate(static_cast<long long>(sText.size()));
}
}    // namespace

// Holds the end of the process back from reading the file to the last byte written: another thread that saves the file
// as the process ends would else read half of it.
class __attribute__((visibility("hidden"))) CVexIniOptionExchange::CRewrite : public VexApplicationEnd::CRewrite
{
};

CVexIniOptionExchange::CVexIniOptionExchange(CVexIniFile* pIniFile, bool bSaveOption)
	: CVexConfigExchange(bSaveOption), m_pIniFile(pIniFile)
{
	if (bSaveOption)
		m_poRewrite = std::make_unique<CRewrite>();
	ReadIniOptions();
}

CVexIniOptionExchange::~CVexIniOptionExchange()
{
	if (m_bSaveOption && m_bDirty)
		WriteIniOptions();
	FreeLines();
}

bool CVexIniOptionExchange::IsFileRead() const
{
	return m_bFileRead;
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
	pLine->m_sValue = ValueForLine(Text(pszValue), pLine->m_sEntry.size());
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
	std::string sText;
	m_bFileRead = ReadFile(m_pIniFile->GetIniFileName(), sText);

	// A line of more than 1023 characters is taken in pieces, each a line of its own. Once a piece has started a comment,
	// the further ones of that line are comments too, so the tail of a comment is never parsed as an option or a header.
	std::string sSection;
	bool bInComment = false;
	for (std::string_view sRest = sText; !sRest.empty();)
	{
		std::string_view sLine = sRest.substr(0, bInComment ? nMaxLine - 1 : nMaxLine);
		const std::size_t nLineFeed = sLine.find('\n');
		const bool bLineEnds = nLineFeed != sLine.npos;
		sLine = sLine.substr(0, nLineFeed);
		if (!bInComment)
			AddOptionLine(sLine, sSection);
		else if (!LTrim(sLine).empty())
			AddOptionLine("#" + std::string(sLine), sSection);
		bInComment = !bLineEnds && (bInComment || sLine.find('#') != sLine.npos);
		sRest.remove_prefix(sLine.size() + (bLineEnds ? 1 : 0));
	}
	Index().UpdateList();
}

void CVexIniOptionExchange::WriteIniOptions()
{
	m_bDirty = false;
	// What could not be read would be lost.
	if (!m_bFileRead)
		return;
	Index().UpdateList();
	std::string sText;
	sText.reserve(64 * m_asLines.size());    // few lines are longer
	for (const SOptionLine* pLine : m_asLines)
	{
		if (pLine->m_bIsSection)
			sText += '\n';
		AppendIniLine(sText, *pLine);
		sText += '\n';
	}
	RewriteFile(m_pIniFile->GetIniFileName(), sText);
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
