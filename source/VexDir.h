#pragma once

#include <string>
#include <vector>

// A directory, known by its name.
//
// Threads: no lock; one object belongs to one thread at a time.
// Errors:  every operation answers true on success and otherwise leaves the system's error number in GetLastError().
//          Nothing is thrown.
class CVexDir
{
public:
	// The name is used as given; with or without a separator at its end. Null and empty name no directory.
	explicit CVexDir(const char* pszPath);
	virtual ~CVexDir();

	const std::string& GetPath() const;

	// False also if there is something else of that name (ENOTDIR).
	bool Exists();

	// Makes the directory and those above it that are missing. True if it is there already. On failure those that were
	// made stay.
	bool Create();

	// Removes the directory, which must be empty (ENOTEMPTY).
	bool Remove();

	// The names (without the path) that the pattern fits, ascending byte by byte: files, directories and all else, but
	// not "." and "..". In the pattern "*" stands for any text, "?" for any character, "[a-c]" for one of these and "\"
	// before a character for the character itself. A dot at the beginning of a name is a character like any other. A
	// null or empty pattern is "*". On failure rasNames is unchanged.
	bool List(std::vector<std::string>& rasNames, const char* pszPattern = "*");

	// The system's error number of the last operation; 0 if it succeeded.
	int GetLastError() const;

private:
	bool SetResult(bool bSuccess);
	bool MakeOne(const std::string& rsPath);

	std::string m_sPath;
	int m_nError = 0;
};
