#pragma once

// The command line of vexmonitor.

#include "VexTraceMsg.h"

#include <string>
#include <vector>

class CVexCmdLineExchange;

// What to follow: the lines of a class ("*": of all others) or of one object. The levels are a mask.
struct SMonitorWatch
{
	bool m_bObject = false;
	std::string m_sClass;         // as the program writes it
	std::string m_sTypedClass;    // as the user does
	long m_nObject = 0;
	CVexTraceMsg::ETraceLevel m_eLevels = CVexTraceMsg::eNone;
};

// Texts are as they were typed.
struct SMonitorOptions
{
	std::string m_sHost = "127.0.0.1";
	unsigned short m_nPort = 15000;
	std::string m_sUser = "monitorix";
	std::string m_sPassword;
	bool m_bPassword = false;
	bool m_bInfo = false;
	bool m_bList = false;
	bool m_bJson = false;
	bool m_bHelp = false;
	bool m_bVersion = false;
	std::vector<SMonitorWatch> m_aoWatches;    // empty: nothing is followed

	// Of the terminal, not of the command line.
	bool m_bTerminalUtf8 = false;

	// Describes the options and reads them anew, as CVexCmdLineExchange asks for it. What is wrong with them, else "".
	std::string Exchange(CVexCmdLineExchange* pExchange);
};

// The text of -help.
extern const char* const pszMonitorHelp;
