#pragma once

// Describes and reads the options of a command line, of CVexCmdLine's classes and of the application.

#include "VexConfigBase.h"

#include <cstddef>
#include <string>
#include <vector>

class CVexBaseApplication;
class CVexCmdLine;

// One parse of a command line. Options are whole arguments, "-" and the name; some take the next argument as their
// value. Everything else is a positional parameter, handed out in order, the program path first.
//
// Whoever exchanges its options is called twice: while this object is made (IsInitialized() is false) and, by the one
// who made it, once more. Both times it describes its options and reads them; the second reading counts, as only then
// are all options known that the search for positional parameters must pass over.
//
// Threads:   no lock inside.
// Ownership: command line and application stay the caller's and must outlive this object; both may be null.
class CVexCmdLineExchange : public CVexConfigExchange
{
public:
	struct SOptionDesc
	{
		bool bHasValue;
		std::string sOption;    // without the "-"
	};

	// Calls the command line's DoOptionExchange. The working copy of the arguments is still empty then.
	explicit CVexCmdLineExchange(CVexCmdLine* pCmdLine);
	~CVexCmdLineExchange() override;

	bool IsInitialized() const;

	// The name without "-"; null and empty names are ignored. An option takes a value if one of its descriptions says
	// so.
	void AddParamDescription(const char* pszOption, bool bHasValue);

	// With a name: the option. A flag gives "1" and can be asked for again; a value is consumed with its option, and
	// is empty if nothing follows. False and "0" if the option is not there.
	//
	// With a null or empty name: the next positional parameter, which is consumed. An argument with "-" that no
	// description names is one, too. False if there is none; rValue is unchanged then.
	bool GetParameter(const char* pszOption, bool bHasValue, std::string& rValue);

protected:
	virtual void Initialize();

	// Restores the working copy.
	void CopyCmdLineArgs();

private:
	typedef std::vector<std::string>::iterator CArg;

	bool GetOption(const std::string& rArg, bool bHasValue, std::string& rValue);
	bool GetPositional(std::string& rValue);
	CArg FirstArg();
	void Consume(CArg oFirst, CArg oLast);

	CVexCmdLine* m_pCmdLine;    // not owned

protected:
	bool m_bInitialized;

private:
	std::vector<SOptionDesc> m_aOptions;

	std::vector<std::string> m_asArgs;
	std::size_t m_nConsumed = 0;    // as many at the start of m_asArgs are used up
};

// The exchange with the application's DoCmdLineExchange, which is called while this object is made. The working copy
// is complete then, and restored afterwards.
class CVexCmdLineApplExchange : public CVexCmdLineExchange
{
public:
	CVexCmdLineApplExchange(CVexBaseApplication* pApplication, CVexCmdLine* pCmdLine);
	~CVexCmdLineApplExchange() override;

protected:
	void Initialize() override;

private:
	CVexBaseApplication* m_pApplication;    // not owned
};
