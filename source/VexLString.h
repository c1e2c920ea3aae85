#pragma once

#include <iosfwd>
#include <string>

// A text of the program in the current language, with numbered placeholders:
//
//     CVexLString oText("Datei %1 hat %2 Zeilen");
//     oText.ResolveParameter("a.txt");
//     oText.ResolveParameter("17");
//     std::cout << oText;
//
// The text is taken from the standard resource file (CVexResourceFile::m_oStdResFile) by the constructor and does not
// change with the language afterwards. May be a static object.
//
// Threads: a plain value. While one is made nobody may change the standard resource file.
class CVexLString
{
public:
	// Keys convert by themselves. One that the resource file does not know is the text itself; null counts as empty.
	CVexLString(const char* pszKey);
	CVexLString(const std::string& rsKey);
	virtual ~CVexLString();

	const std::string& GetString() const;

	// The first call replaces "%1", the second "%2" and so on, each at its first occurrence only; without one the value
	// is left out. "%1" also fits the beginning of "%10", and a value that holds "%2" is searched by the next call, too.
	void ResolveParameter(const std::string& rsValue);

protected:
	std::string m_sString;
	int m_nParmResolved;    // calls of ResolveParameter()
};

std::ostream& operator<<(std::ostream& rStream, const CVexLString& rString);
