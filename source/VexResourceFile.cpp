// Language tables: the texts in memory, and the reading of resource files.

#include "VexResourceFile.h"

#include "VexFile.h"
#include "VexFileStatus.h"
#include "VexImmortalInternal.h"
#include "VexPathFunc.h"
#include "VexProcess.h"
#include "VexStringFunc.h"
#include "VexTrace.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <mutex>
#include <new>
#include <string_view>

namespace
{
const char szDefaultFile[] = "Language.dat";
const std::size_t nMaxLine = 1023;
const std::size_t nNoLimit = std::numeric_limits<std::size_t>::max();

// Every entry has a text for every language: without a limit a file of many keys and many headers would take memory
// that grows with the square of its size.
const std::size_t nMaxLanguagesOfFiles = 32;

// Files that include the next one twice each would be read for ever, and without end nested ones use up the stack.
const int nMaxIncludes = 1000;

CVexImmortalMemory<CVexResourceFile> oStdResFile;
std::once_flag oStdResFileOnce;

// Built only if somebody listens.
template <class TText>
void Trace(CVexTraceMsg::ETraceLevel eLevel, TText oText)
{
	if (CVexTraceServer* pServer = CVexTrace::m_oGlobalTrace.GetServerObject(eLevel))
		CVexTrace::m_oGlobalTrace.AddMsg(eLevel, std::string(oText()).c_str(), pServer);
}

bool IsSpace(char c)
{
	return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// Whatever the locale says of an 'I'.
char LowerCase(char c)
{
	return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

CVexResourceFile::ELanguage LanguageOf(std::string_view sField)
{
	int nLanguage = -1;
	VexFromString(nLanguage, std::string(sField));
	return static_cast<CVexResourceFile::ELanguage>(nLanguage);
}

// The text up to the next tab, which is taken off with it. False if there is none left.
bool TakeField(std::string_view& rsLine, bool& rbLast, std::string_view& rsField)
{
	if (rbLast)
		return false;
	const std::size_t nTab = rsLine.find('\t');
	rbLast = nTab == rsLine.npos;
	rsField = rsLine.substr(0, nTab);
	rsLine.remove_prefix(rbLast ? rsLine.size() : nTab + 1);
	return true;
}

// Cuts a text into lines, and lines of more than 1023 characters into pieces.
class CLines
{
public:
	void SetText(std::string_view sText) { m_sRest = sText; }

	// False at the end of the text; what stands behind its last line feed is no line if it is empty.
	bool Next()
	{
		if (m_sRest.empty())
			return false;
		m_bPiece = m_bLineOpen;
		const std::size_t nLineFeed = m_sRest.substr(0, nMaxLine + 2).find('\n');
		m_sLine = m_sRest.substr(0, nLineFeed);
		std::size_t nUsed = m_sLine.size();
		if (nLineFeed != m_sRest.npos)
		{
			++nUsed;
			if (!m_sLine.empty() && m_sLine.back() == '\r')
				m_sLine.remove_suffix(1);
		}
		m_bLineOpen = m_sLine.size() > nMaxLine;
		if (m_bLineOpen)
		{
			m_sLine = m_sLine.substr(0, nMaxLine);
			nUsed = nMaxLine;
		}
		m_sRest.remove_prefix(nUsed);
		return true;
	}

	std::string_view Line() const { return m_sLine; }

	// Whether this is a further piece of the line that the last one began.
	bool IsPiece() const { return m_bPiece; }

	// pszTag is in lower case.
	bool IsTag(std::string_view sTag) const
	{
		const auto pBegin = std::find_if_not(m_sLine.begin(), m_sLine.end(), IsSpace);
		return !m_bPiece && static_cast<std::size_t>(m_sLine.end() - pBegin) >= sTag.size() &&
			std::equal(sTag.begin(), sTag.end(), pBegin, [](char cTag, char c) { return cTag == LowerCase(c); });
	}

	void SkipFurtherPieces()
	{
		while (m_bLineOpen)
			Next();
	}

private:
	std::string_view m_sRest;
	std::string_view m_sLine;
	bool m_bPiece = false;
	bool m_bLineOpen = false;    // the line goes on in the rest
};
}    // namespace

CVexResourceFile& CVexResourceFile::m_oStdResFile = oStdResFile.m_oObject;

CVexResourceStatics::CVexResourceStatics()
{
	std::call_once(oStdResFileOnce,
		[]
		{
			// Reading traces.
			const CVexTraceStatics oTraceFirst;
			new (&oStdResFile.m_oObject) CVexResourceFile();
		});
}

// Reads one file into a resource file. Those that include it are its chain of includers.
class CVexResourceFile::CReader
{
public:
	CReader(CVexResourceFile& rTarget, CReader* pIncluder)
		: m_rTarget(rTarget), m_pIncluder(pIncluder), m_rnIncludes(pIncluder ? pIncluder->m_rnIncludes : m_nOwnIncludes)
	{
	}

	void Read()
	{
		const char* const pszName = m_rTarget.m_sFilename.c_str();
		m_oStatus.Read(pszName);
		if (IsBeingRead())
			return;
		// Pipes and devices might block, or never end.
		if (!m_oStatus.IsFile() || !CVexFile::ReadAll(pszName, m_sText))
		{
			Trace(CVexTraceMsg::eError, [&] { return "Resource-Datei nicht gefunden: " + m_rTarget.m_sFilename; });
			return;
		}
		m_oLines.SetText(m_sText);
		while (m_oLines.Next())
			if (m_oLines.IsTag("<strings>"))
				ReadTable();
			else if (m_oLines.IsTag("<include>"))
				ReadIncludes();
	}

private:
	bool IsBeingRead() const
	{
		for (const CReader* pReader = m_pIncluder; pReader; pReader = pReader->m_pIncluder)
			if (pReader->m_oStatus.IsSameFile(m_oStatus))
				return true;
		return false;
	}

	// The next line of a block, unless that is its closing tag.
	bool NextOf(std::string_view sClosingTag) { return m_oLines.Next() && !m_oLines.IsTag(sClosingTag); }

	void ReadTable()
	{
		m_oLines.SkipFurtherPieces();
		if (!NextOf("</strings>"))
			return;
		const std::vector<int> anColumns = ReadHeader();
		while (NextOf("</strings>"))
			if (!m_oLines.Line().empty())
				ReadEntry(anColumns);
	}

	// The column of each field of the header; -1 if there is none for its language.
	std::vector<int> ReadHeader()
	{
		std::vector<ELanguage> aeLanguages;
		std::string_view sLine = m_oLines.Line(), sField;
		for (bool bLast = false; TakeField(sLine, bLast, sField);)
			aeLanguages.push_back(LanguageOf(sField));
		std::vector<int> anColumns = m_rTarget.AddLanguages(aeLanguages, nMaxLanguagesOfFiles);
		m_rTarget.SetLanguage(aeLanguages.front());
		return anColumns;
	}

	void ReadEntry(const std::vector<int>& anColumns)
	{
		std::string_view sLine = m_oLines.Line(), sField;
		std::vector<std::string>& rasTexts = m_rTarget.Entry(std::string(sLine.substr(0, sLine.find('\t'))));
		bool bLast = false;
		for (const int nColumn : anColumns)
		{
			if (!TakeField(sLine, bLast, sField))
				break;
			if (nColumn >= 0)
				rasTexts[static_cast<std::size_t>(nColumn)] = sField;
		}
	}

	void ReadIncludes()
	{
		m_oLines.SkipFurtherPieces();
		while (NextOf("</include>"))
		{
			const std::string sName = VexStrTrim(std::string(m_oLines.Line()).c_str());
			// Blanks at the end of a long line name nothing.
			if (!m_oLines.IsPiece() || !sName.empty())
				Include(sName);
		}
	}

	void Include(const std::string& rsName)
	{
		if (++m_rnIncludes > nMaxIncludes)
		{
			m_rnIncludes = nMaxIncludes;
			Trace(CVexTraceMsg::eError, [&] { return "Zu viele Resource-Dateien, nicht gelesen: " + rsName; });
			return;
		}
		CVexResourceFile oIncluded(*this, rsName.c_str());
		m_rTarget.TakeOver(oIncluded);
	}

	CVexResourceFile& m_rTarget;
	CReader* const m_pIncluder;    // null for the outermost file
	int m_nOwnIncludes = 0;
	int& m_rnIncludes;    // the outermost reader's
	CVexFileStatus m_oStatus;
	std::string m_sText;
	CLines m_oLines;
};

CVexResourceFile::CVexResourceFile() : CVexResourceFile(nullptr, eRelativeToPWD) {}

CVexResourceFile::CVexResourceFile(const char* pszFilename, EPathMode eMode)
{
	SetFilename(pszFilename, eMode);
	ReadFile();
}

CVexResourceFile::CVexResourceFile(CReader& rIncluder, const char* pszFilename)
{
	SetFilename(pszFilename, eAbsolutePath);
	CReader(*this, &rIncluder).Read();
}

CVexResourceFile::~CVexResourceFile() = default;

CVexResourceFile* CVexResourceFile::GetStdResources()
{
	// Also called from programs' static objects that do not see this header.
	const CVexResourceStatics oBuiltFirst;
	return &m_oStdResFile;
}

void CVexResourceFile::SetStdLanguage(ELanguage eLanguage)
{
	GetStdResources()->SetLanguage(eLanguage);
}

void CVexResourceFile::SetFilename(const char* pszFilename, EPathMode eMode)
{
	const std::string sName = pszFilename && *pszFilename ? pszFilename : szDefaultFile;
	// KEPT: "PWD" stands for the program's directory. Test: CVexResourceFile.RelativeToPWDIsTheProgramsDirectoryKept
	if (eMode == eRelativeToPWD)
		m_sFilename = MakePathAbsolute(sName.c_str(), CVexProcess::GetCurrentProgDir().c_str());
	else if (eMode == eRelativeToCWD)
		m_sFilename = MakePathAbsolute(sName.c_str(), CVexProcess::GetCurrentWorkDir().c_str());
	else
		m_sFilename = sName;
}

void CVexResourceFile::SetLanguage(ELanguage eLanguage)
{
	m_nCurLanguage = eLanguage;
	m_nCurLanguageIndex = std::max(GetLanguageIndex(eLanguage), 0);
}

int CVexResourceFile::GetLanguageIndex(ELanguage eLanguage) const
{
	const auto oFound = std::find(m_oLanguageRelation.begin(), m_oLanguageRelation.end(), eLanguage);
	return oFound == m_oLanguageRelation.end() ? -1 : static_cast<int>(oFound - m_oLanguageRelation.begin());
}

int CVexResourceFile::AddLanguage(ELanguage eLanguage)
{
	return AddLanguages({ eLanguage }, nNoLimit).front();
}

// The column of each language; -1 for those that are new beyond the limit. All or, without memory, nothing.
std::vector<int> CVexResourceFile::AddLanguages(const std::vector<ELanguage>& aeLanguages, std::size_t nMaxLanguages)
{
	const std::size_t nKnown = m_oLanguageRelation.size();
	try
	{
		std::vector<int> anColumns;
		bool bTooMany = false;
		for (const ELanguage eLanguage : aeLanguages)
		{
			int nColumn = GetLanguageIndex(eLanguage);
			if (nColumn < 0 && m_oLanguageRelation.size() < nMaxLanguages)
			{
				nColumn = static_cast<int>(m_oLanguageRelation.size());
				m_oLanguageRelation.push_back(eLanguage);
			}
			bTooMany = bTooMany || nColumn < 0;
			anColumns.push_back(nColumn);
		}
		if (bTooMany)
			Trace(CVexTraceMsg::eError, [&] { return "Zu viele Sprachen in Resource-Datei: " + m_sFilename; });
		if (m_oLanguageRelation.size() != nKnown)
			for (auto& [rsKey, rasTexts] : m_oResourceMap)
				rasTexts.resize(m_oLanguageRelation.size());
		return anColumns;
	}
	catch (const std::bad_alloc&)
	{
		m_oLanguageRelation.resize(nKnown);
		for (auto& [rsKey, rasTexts] : m_oResourceMap)
			rasTexts.resize(nKnown);
		throw;
	}
}

std::vector<std::string>& CVexResourceFile::Entry(std::string sKey)
{
	return m_oResourceMap.try_emplace(std::move(sKey), m_oLanguageRelation.size()).first->second;
}

void CVexResourceFile::AddStringResource(const char* pszKey, const char* pszText, ELanguage eLanguage)
{
	const int nColumn = AddLanguage(eLanguage);
	Entry(pszKey ? pszKey : "")[static_cast<std::size_t>(nColumn)] = pszText ? pszText : "";
}

void CVexResourceFile::AddResourceFile(const CVexResourceFile& oOther)
{
	Merge(oOther, nNoLimit);
}

// Merge() of a file that is not needed any more. With the same languages the entries themselves change hands, the fewer
// ones go to the more: files that include one another in a chain cost no more than their entries.
void CVexResourceFile::TakeOver(CVexResourceFile& rIncluded)
{
	if (rIncluded.m_oLanguageRelation != m_oLanguageRelation)
	{
		Merge(rIncluded, nMaxLanguagesOfFiles);
		return;
	}
	if (rIncluded.m_oResourceMap.size() < m_oResourceMap.size())
	{
		for (auto& [rsKey, rasTexts] : rIncluded.m_oResourceMap)
			m_oResourceMap[rsKey].swap(rasTexts);
		return;
	}
	// Of keys that both have, those of the included file stay.
	rIncluded.m_oResourceMap.merge(m_oResourceMap);
	rIncluded.m_oResourceMap.swap(m_oResourceMap);
}

void CVexResourceFile::Merge(const CVexResourceFile& rOther, std::size_t nMaxLanguages)
{
	if (&rOther == this || rOther.m_oResourceMap.empty())
		return;
	const std::vector<int> anColumns = AddLanguages(rOther.m_oLanguageRelation, nMaxLanguages);
	for (const auto& [rsKey, rasTexts] : rOther.m_oResourceMap)
	{
		std::vector<std::string>& rasHere = Entry(rsKey);
		for (std::size_t n = 0; n < rasTexts.size(); ++n)
			if (anColumns[n] >= 0)
				rasHere[static_cast<std::size_t>(anColumns[n])] = rasTexts[n];
	}
}

void CVexResourceFile::ReadFile()
{
	try
	{
		CReader(*this, nullptr).Read();
	}
	catch (const std::bad_alloc&)
	{
		// The memory is the program's again: it goes on with its keys as texts.
		m_oResourceMap.clear();
		CVexTrace::m_oGlobalTrace.AddMsg(CVexTraceMsg::eError, "Zu wenig Speicher, Resource-Datei nicht gelesen");
	}
}

std::string CVexResourceFile::GetLString(const std::string& sKey) const
{
	const auto oFound = m_oResourceMap.find(sKey);
	if (oFound == m_oResourceMap.end())
	{
		Trace(CVexTraceMsg::eWarning, [&] { return "String-Resource nicht vorhanden: " + sKey; });
		return sKey;
	}
	const std::vector<std::string>& rasTexts = oFound->second;
	const std::string& rsText = rasTexts[static_cast<std::size_t>(m_nCurLanguageIndex)];
	if (!rsText.empty())
		return rsText;
	Trace(CVexTraceMsg::eWarning,
		[&] {
			return "String-Resource fehlt f\xFCr Sprache " + std::to_string(static_cast<int>(m_nCurLanguage)) + ": " +
				sKey;
		});
	return rasTexts.front();
}
