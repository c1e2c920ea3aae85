#pragma once

#include "VexConfigBase.h"
#include "VexStringFunc.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

class CVexIniFile;

// One exchange with an ini file: the constructor reads the file whole, options are looked up and set in memory, and the
// destructor of a saving exchange writes it back if anything was set.
//
// A section that comes again later in the file is gathered into its first occurrence, and of an option that comes again
// the first one counts; where the others stood, lines that begin "## COMMENTED ## " keep them.
//
// Threads: one exchange belongs to one thread.
// Errors:  those of CVexIniFile. Null texts count as empty.
// Names:   compare under the file's case rule, which is asked for at each use.
class CVexIniOptionExchange : public CVexConfigExchange
{
public:
	// The ini file is not owned and must outlive the exchange.
	CVexIniOptionExchange(CVexIniFile* pIniFile, bool bSaveOption);
	~CVexIniOptionExchange() override;
	CVexIniOptionExchange(const CVexIniOptionExchange&) = delete;
	CVexIniOptionExchange& operator=(const CVexIniOptionExchange&) = delete;

	// False if there is a file that could not be read to its end: it reads as empty then, and is not written.
	bool IsFileRead() const;

	// False if the option is not there; the string is left alone then. No entry stands for the section's first line.
	bool GetOptionString(const char* pszSection, const char* pszEntry, std::string& rsValue);

	// A new option goes to the top of its section, a new section to the end of the file. An option without entry, and
	// one whose names the file could not give back ('#' or a line feed in either, ']' in the section, '=', an outer
	// white space or a leading '[' in the entry, more than 1022 characters), is not taken. Line feeds in the value become
	// blanks. The value is cut at the line's 1023rd character; if it stands in quotes, it keeps both. From a '#' on it is
	// the line's comment when the file is read again.
	void SetOptionString(const char* pszSection, const char* pszEntry, const char* pszValue);

	// Without an entry: takes the section's first line out, which is its header as a rule; its options stay. A removal
	// alone does not make the file be written.
	void RemoveOption(const char* pszSection, const char* pszEntry);

	// Both clear the vector and give each name once, spelled as met first, ascending byte by byte.
	void GetSections(std::vector<std::string>& rasSections);
	void GetOptions(const char* pszSection, std::vector<std::string>& rasEntries);

protected:
	// One line of the file.
	struct SOptionLine
	{
		std::string m_sSection;    // "" before the first header
		std::string m_sEntry;      // of an option; else empty
		std::string m_sValue;
		std::string m_sComment;    // from the first '#' on; of a line that is neither header nor option the whole text
		bool m_bIsSection = false;
	};
	typedef std::vector<SOptionLine*> COptionLines;

	// Replaces all lines by those of the file.
	void ReadIniOptions();

	// Writes the file in place, so that it keeps its mode. It stays as it is if it could not be read, or has no room to
	// grow.
	void WriteIniOptions();

	// A new record, which is the caller's; null for a line without content. A header sets rsSection.
	SOptionLine* CreateOptionLine(std::string_view sLine, std::string& rsSection) const;

	// Places one line of the file behind those that are there.
	void AddOptionLine(std::string_view sLine, std::string& rsSection);

	// The line's text in the file, without line feed.
	std::string CreateIniLine(const SOptionLine& rLine) const;

	// The first line of the section, or with an entry that option; m_asLines.end() if there is none.
	COptionLines::iterator FindOption(const char* pszSection, const char* pszEntry);

	// Makes the record a comment that holds its text.
	void CommentOptionLine(SOptionLine& rLine) const;

	CVexIniFile* m_pIniFile;

	// The lines in file order, owned. A deriving class changes the list through these functions alone. For an object of
	// a deriving class, each call that inserts or removes a line costs a walk through the list.
	COptionLines m_asLines;

private:
	class CLineIndex;
	class CRewrite;

	CLineIndex& Index();
	SOptionLine* InsertOption(std::string_view sSection, std::string_view sEntry);
	void ShowList();
	void FreeLines();
	static void AppendIniLine(std::string& rsText, const SOptionLine& rLine);

	std::unique_ptr<CLineIndex> m_poIndex;    // for the case rule at its last use
	std::unique_ptr<CRewrite> m_poRewrite;    // of a saving exchange
	bool m_bFileRead = false;
};

// Exchanges one option with a member, in the exchange's direction. T is anything that VexToString and VexFromString
// know, CVexPassword included. Reading sets the member to the option's value, or to the default if the option is
// missing or does not parse.
template <class T>
void IOX_Std(
	CVexIniOptionExchange* pExchange, const char* pszSection, const char* pszEntry, T& rValue, const T& rDefault)
{
	if (pExchange->m_bSaveOption)
	{
		pExchange->SetOptionString(pszSection, pszEntry, VexToString(rValue).c_str());
		return;
	}
	rValue = rDefault;
	std::string sValue;
	if (pExchange->GetOptionString(pszSection, pszEntry, sValue))
		VexFromString(rValue, sValue);
}

// Texts that hold white space stand in double quotes in the file. Saving puts them round the caller's variable itself;
// reading takes them off.
template <>
void IOX_Std<std::string>(CVexIniOptionExchange* pExchange, const char* pszSection, const char* pszEntry,
	std::string& rValue, const std::string& rDefault);

// The same for a buffer of the caller's, which saving leaves alone. Reading copies into it and checks nothing: it must
// have room for the longest value a file may hold (1023 characters) or the default, and a NUL.
template <>
void IOX_Std<char*>(CVexIniOptionExchange* pExchange, const char* pszSection, const char* pszEntry, char*& rValue,
	char* const& rDefault);
