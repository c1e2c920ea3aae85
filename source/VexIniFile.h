#pragma once

#include "VexConfigBase.h"

#include <string>
#include <vector>

class CVexIniOptionExchange;

// A class that keeps its settings in an ini file derives from this one and overrides
// DoOptionExchange(CVexIniOptionExchange*): there it names each option once through IOX_Std (VexOptionExchange.h), for
// loading and saving alike. UpdateOptions(false) loads, UpdateOptions(true) saves.
//
//     [Section]
//     Entry=value # comment
//
// The first '#' of a line starts a comment; a value cannot hold one. Lines that are no options, foreign sections and
// foreign entries keep their places through a rewrite.
//
// Threads: none of its own, no lock. Of two exchanges on one file at once the last writer wins.
// Errors:  a missing file reads as empty. So does one that cannot be read to its end or is no regular file; saving leaves
//          that one as it is, and UpdateOptions(true) returns false. Nothing else is reported: a file that cannot be
//          written, or has no room to grow, stays as it is.
class CVexIniFile : public CVexConfigBase
{
public:
	enum EPathMode
	{
		eAbsolutePath = 0,     // the name as it stands
		eRelativeToPWD = 1,    // to the directory of the running program
		eRelativeToCWD = 2     // to the working directory at the time of construction
	};

	// A null or empty name is "Konfig.ini".
	explicit CVexIniFile(const char* pszIniFilename, EPathMode ePathMode = eAbsolutePath);
	~CVexIniFile() override;

	// Reads the file, calls DoOptionExchange, and with bSave writes the file if an option was set. False only with bSave,
	// if there is a file that cannot be read.
	bool UpdateOptions(bool bSave) override;

	std::string GetIniFileName() const;

	// Whether the names of sections and entries differ by case; initially they do not.
	void SetCasesensitiv(bool bCaseSensitive);    // KEPT: spelling
	bool IsCaseSensitiv() const;                  // KEPT: spelling

	// These four read the file anew and call DoOptionExchange: the members of a deriving class are loaded (by
	// WriteOption: saved) on the way. Null texts count as empty.

	// The value as it stands in the file (quotes are not removed); pszDefault if the option is not there.
	std::string ReadOption(const char* pszSection, const char* pszEntry, const char* pszDefault);

	// An option that the deriving class exchanges too is overwritten with its member.
	void WriteOption(const char* pszSection, const char* pszEntry, const char* pszValue);

	// Ascending, byte by byte; each name once, spelled as met first.
	void ReadAllSections(std::vector<std::string>& rasSections);
	void ReadAllSectionEntries(const char* pszSection, std::vector<std::string>& rasEntries);

// Deriving classes override the second of these and so hide the first, as is meant.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"
private:
	void DoOptionExchange(CVexConfigExchange* pExchange) override;
#pragma GCC diagnostic pop

protected:
	CVexIniFile();

	// The exchange stays the caller's and ends with the call.
	virtual void DoOptionExchange(CVexIniOptionExchange* pExchange);

	std::string m_sIniFilename;
	bool m_bCaseSensitive = false;
};
