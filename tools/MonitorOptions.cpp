#include "MonitorOptions.h"

#include "MonitorText.h"
#include "VexCmdLineExchange.h"

#include <algorithm>
#include <charconv>

const char* const pszMonitorHelp =
	"usage: vexmonitor [option]...\n"
	"\n"
	"Follows the trace of a running program through its monitor port.\n"
	"\n"
	"  -host <name>      where the program runs (127.0.0.1)\n"
	"  -port <number>    its monitor port (15000)\n"
	"  -user <name>      user to log in as (monitorix)\n"
	"  -password <text>  everybody sees it in the process list: better put it into the\n"
	"                    environment variable VEXMONITOR_PASSWORD, or enter it when asked\n"
	"\n"
	"  -info             show what the program tells of itself, and end\n"
	"  -list             show its trace objects, number, name and class, and end\n"
	"  -watch <class>    follow a class; * stands for all classes that are not named\n"
	"  -object <number>  follow one object\n"
	"  -level <name>     follow the -watch or -object in front of it up to this level: NONE,\n"
	"                    ERROR, WARNING, INFO, DEBUG, DEBUG2 or DEBUG3 (INFO)\n"
	"\n"
	"  -json             write one JSON object a line\n"
	"  -help, -version   show this text or the version, and end\n"
	"\n"
	"Without -info, -list, -watch and -object it follows all classes. See vexmonitor(1).\n";

namespace
{
const char* const apszFlags[] = { "info", "list", "json", "help", "version" };
const char* const apszValues[] = { "host", "port", "user", "password" };

template <class T>
bool ParseNumber(const std::string& sText, T& rnNumber)
{
	const char* pEnd = sText.data() + sText.size();
	const auto oResult = std::from_chars(sText.data(), pEnd, rnNumber);
	return oResult.ec == std::errc() && oResult.ptr == pEnd;
}

// The options whose order counts are not described to the exchange: so it hands them out as they stand.
class COrderedOptions
{
public:
	COrderedOptions(CVexCmdLineExchange* pExchange, bool bTerminalUtf8)
		: m_pExchange(pExchange), m_bTerminalUtf8(bTerminalUtf8)
	{
		LevelsUpTo("INFO", m_eDefault);
	}

	// What is wrong, else "".
	std::string Read(std::vector<SMonitorWatch>& raoWatches, bool bOtherAction)
	{
		std::string sArg;
		m_pExchange->GetParameter(nullptr, false, sArg);    // the program
		std::string sProblem;
		while (sProblem.empty() && m_pExchange->GetParameter(nullptr, false, sArg))
			sProblem = ReadOne(sArg, raoWatches);
		if (!sProblem.empty())
			return sProblem;
		if (raoWatches.empty() && (!bOtherAction || m_bDefaultGiven))
		{
			raoWatches.emplace_back();
			raoWatches.back().m_sClass = raoWatches.back().m_sTypedClass = "*";
		}
		for (std::size_t i = m_nLevels; i < raoWatches.size(); ++i)
			raoWatches[i].m_eLevels = m_eDefault;
		return "";
	}

private:
	std::string ReadOne(const std::string& sArg, std::vector<SMonitorWatch>& raoWatches)
	{
		if (sArg != "-watch" && sArg != "-object" && sArg != "-level")
			return (sArg.compare(0, 1, "-") == 0 ? "unknown option " : "unexpected argument ") + sArg;
		std::string sValue;
		if (!m_pExchange->GetParameter(nullptr, false, sValue) || sValue.empty())
			return sArg + " needs a value";
		if (sArg == "-level")
			return ReadLevel(sValue, raoWatches);
		for (; m_nLevels < raoWatches.size(); ++m_nLevels)
			raoWatches[m_nLevels].m_eLevels = m_eDefault;
		SMonitorWatch oWatch;
		oWatch.m_bObject = sArg == "-object";
		if (!oWatch.m_bObject)
		{
			oWatch.m_sClass = TextToProgram(sValue, m_bTerminalUtf8);
			oWatch.m_sTypedClass = sValue;
		}
		else if (!ParseNumber(sValue, oWatch.m_nObject))
			return "-object: no number: " + sValue;
		raoWatches.push_back(oWatch);
		return "";
	}

	std::string ReadLevel(const std::string& sName, std::vector<SMonitorWatch>& raoWatches)
	{
		const bool bDefault = raoWatches.empty() && !m_bDefaultGiven;
		if (!bDefault && m_nLevels == raoWatches.size())
			return "-level " + sName + " stands behind no -watch or -object";
		if (!LevelsUpTo(sName, bDefault ? m_eDefault : raoWatches[m_nLevels].m_eLevels))
			return "unknown level " + sName;
		if (bDefault)
			m_bDefaultGiven = true;
		else
			++m_nLevels;
		return "";
	}

	CVexCmdLineExchange* m_pExchange;
	const bool m_bTerminalUtf8;
	CVexTraceMsg::ETraceLevel m_eDefault = CVexTraceMsg::eNone;
	bool m_bDefaultGiven = false;
	std::size_t m_nLevels = 0;    // so many of the watches have their levels
};
}    // namespace

std::string SMonitorOptions::Exchange(CVexCmdLineExchange* pExchange)
{
	*this = SMonitorOptions();
	m_bTerminalUtf8 = IsTerminalUtf8();
	for (const char* pszFlag : apszFlags)
		pExchange->AddParamDescription(pszFlag, false);
	for (const char* pszValue : apszValues)
		pExchange->AddParamDescription(pszValue, true);

	std::string sValue;
	bool* const apbFlags[] = { &m_bInfo, &m_bList, &m_bJson, &m_bHelp, &m_bVersion };
	for (std::size_t i = 0; i < std::size(apszFlags); ++i)
		*apbFlags[i] = pExchange->GetParameter(apszFlags[i], false, sValue);

	std::string sPort;
	std::string* const apsValues[] = { &m_sHost, &sPort, &m_sUser, &m_sPassword };
	for (std::size_t i = 0; i < std::size(apszValues); ++i)
		while (pExchange->GetParameter(apszValues[i], true, sValue))
		{
			m_bPassword = m_bPassword || apsValues[i] == &m_sPassword;
			if (sValue.empty() && apsValues[i] != &m_sPassword)
				return std::string("-") + apszValues[i] + " needs a value";
			*apsValues[i] = sValue;
		}
	if (!sPort.empty() && (!ParseNumber(sPort, m_nPort) || m_nPort == 0))
		return "-port: no port number: " + sPort;
	return COrderedOptions(pExchange, m_bTerminalUtf8).Read(m_aoWatches, m_bInfo || m_bList);
}
