#pragma once

#include <map>
#include <string>
#include <vector>

// The texts of a program in several languages: a table with a key and one text per language in each row, read from a
// file and the files that it includes.
//
//     <strings>
//     2	1                   German, English
//     Abbrechen	Cancel      the key, which is the German text, and the English one
//     </strings>
//     <include>
//     /opt/station/Other.dat
//     </include>
//
// Between the fields of a table stands one tab; nothing is trimmed. Its first line names the languages of the columns by
// their numbers; what is no number counts as language -1. The first column's language becomes the current one. Empty
// lines are passed over. A key that comes again has the columns of its new line overwritten.
//
// Each line of an include block, without its outer white space, is the name of a resource file, used as it stands; an
// empty one is "Language.dat". What such a file holds is merged as AddResourceFile() does. A file that is being read
// already is not read again inside itself, whatever name or link leads to it.
//
// Tags are recognised in either case, behind white space, and whatever follows on their line is ignored; so is every
// line outside a block. A block that is not closed ends with the file.
//
// Lines end in a line feed, with or without a carriage return before it. Of a line of more than 1023 characters every
// further 1023 ones are a line of their own: in a table an entry of its own, which begins with a key, and between the
// include tags a name; they are never taken for a tag.
//
// Threads:   no lock. Lookups may run on any number of threads while nobody changes the object.
// Errors:    nothing is thrown while a file is read. What cannot be opened, or is no regular file, is traced at level
//            error and left out. The same goes for includes from the 1001st of one reading on, nested ones counted, and
//            for languages that a file would add to 32. If the memory does not
//            suffice the object is left without entries.
// Deriving:  every vector in m_oResourceMap is always exactly as long as m_oLanguageRelation.
class CVexResourceFile
{
public:
	// Any other number is a language too.
	enum ELanguage : int
	{
		eNeutral = 0,
		eEnglish = 1,
		eGerman = 2,
		eItaliano = 3,
		eWackes = 4
	};

	enum EPathMode
	{
		eAbsolutePath = 0,     // the name as it stands
		eRelativeToPWD = 1,    // to the directory of the running program, NOT the working directory
		eRelativeToCWD = 2     // to the working directory at the time of the call
	};

	// The texts of the process: "Language.dat" in the program's directory, read while the library is loaded. Usable from
	// constructors and destructors of static objects; never destroyed.
	static CVexResourceFile& m_oStdResFile;

	// "Language.dat" in the program's directory.
	CVexResourceFile();

	// SetFilename() and ReadFile(). Without a table in the file the current language is eNeutral.
	CVexResourceFile(const char* pszFilename, EPathMode eMode);
	virtual ~CVexResourceFile();

	// The address of m_oStdResFile.
	static CVexResourceFile* GetStdResources();

	// Not while other threads look texts up.
	static void SetStdLanguage(ELanguage eLanguage);

	// For the next ReadFile(). A null or empty name is "Language.dat".
	void SetFilename(const char* pszFilename, EPathMode eMode);

	// A language without a column takes the texts of column 0, and goes on doing so when it gets a column later: the
	// column is looked up here only.
	void SetLanguage(ELanguage eLanguage);

	// The language's column, or -1.
	int GetLanguageIndex(ELanguage eLanguage) const;

	// The language's column; a new language becomes the last one, with an empty text in every entry.
	int AddLanguage(ELanguage eLanguage);

	// Sets one text; the language and the entry are made if they are missing. Null texts count as empty.
	void AddStringResource(const char* pszKey, const char* pszText, ELanguage eLanguage);

	// Takes over all texts of all languages of the other file; empty ones too, which overwrite what is here. The current
	// language stays. Languages of a file without entries are not taken over.
	void AddResourceFile(const CVexResourceFile& oOther);

	// Adds the texts of the file to those that are here.
	void ReadFile();

	// The text for the key in the current language; if that is empty the text of column 0, which may be empty too. An
	// unknown key is returned itself. Either is traced at level warning.
	std::string GetLString(const std::string& sKey) const;

protected:
	std::string m_sFilename;
	ELanguage m_nCurLanguage = eNeutral;
	int m_nCurLanguageIndex = 0;
	std::vector<ELanguage> m_oLanguageRelation;    // the position of a language is its column
	std::map<std::string, std::vector<std::string>> m_oResourceMap;

private:
	class CReader;

	explicit CVexResourceFile(CReader& rIncluder, const char* pszFilename);
	std::vector<int> AddLanguages(const std::vector<ELanguage>& aeLanguages, std::size_t nMaxLanguages);
	void Merge(const CVexResourceFile& rOther, std::size_t nMaxLanguages);
	void TakeOver(CVexResourceFile& rIncluded);
	std::vector<std::string>& Entry(std::string sKey);
};

// Builds the standard resource file when the first object of this class is made. Every source file that includes this
// header makes one before its own static objects, so these may use it in whatever order the loader runs them.
class CVexResourceStatics
{
public:
	CVexResourceStatics();
};

static const CVexResourceStatics oVexResourceStatics;
