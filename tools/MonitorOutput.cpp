#include "MonitorOutput.h"

#include "MonitorText.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace
{
bool IsColourTerminal()
{
	const char* pszTerminal = std::getenv("TERM");
	return isatty(STDOUT_FILENO) && !std::getenv("NO_COLOR") && (!pszTerminal || std::strcmp(pszTerminal, "dumb") != 0);
}

const char* ColourOf(CVexTraceMsg::ETraceLevel eLevel)
{
	switch (eLevel)
	{
	case CVexTraceMsg::eError:
		return "\x1b[31m";    // red
	case CVexTraceMsg::eWarning:
		return "\x1b[33m";    // yellow
	case CVexTraceMsg::eInfo:
		return "";
	default:
		return "\x1b[36m";    // cyan
	}
}

// 24.12.2009 18:05:03.042, which is UTC, as 2009-12-24T18:05:03.042Z.
std::string IsoTime(const std::string& sTime)
{
	return sTime.substr(6, 4) + "-" + sTime.substr(3, 2) + "-" + sTime.substr(0, 2) + "T" + sTime.substr(11, 12) + "Z";
}
}    // namespace

CMonitorOutput::CMonitorOutput(const std::string& sHost, bool bJson, bool bTerminalUtf8)
	: m_sHostInJson(TypedTextToJson(sHost, bTerminalUtf8)),
	  m_bJson(bJson),
	  m_bTerminalUtf8(bTerminalUtf8),
	  m_bColours(!bJson && IsColourTerminal())
{
}

bool CMonitorOutput::WriteLines(const std::vector<SMonitorLine>& aoLines) const
{
	std::string sText;
	for (const SMonitorLine& rLine : aoLines)
		if (m_bJson)
			AppendJsonLine(sText, rLine);
		else
			AppendLine(sText, rLine);
	return Write(STDOUT_FILENO, sText);
}

bool CMonitorOutput::WriteInfo(const std::string& sInfo) const
{
	if (m_bJson)
		return Write(STDOUT_FILENO, "{\"info\":" + TextToJson(sInfo) + ",\"host\":" + m_sHostInJson + "}\n");
	return Write(STDOUT_FILENO, TextToTerminal(sInfo, m_bTerminalUtf8) + "\n");
}

bool CMonitorOutput::WriteObjects(const std::vector<std::pair<long, std::string>>& aoObjects) const
{
	std::string sText;
	for (const auto& rObject : aoObjects)
		if (m_bJson)
			sText += "{\"object\":" + std::to_string(rObject.first) +
				",\"name\":" + TextToJson(NameOfObject(rObject.second)) +
				",\"class\":" + TextToJson(ClassOfObject(rObject.second)) + ",\"host\":" + m_sHostInJson + "}\n";
		else
			sText += std::to_string(rObject.first) + "\t" + TextToTerminal(rObject.second, m_bTerminalUtf8) + "\n";
	return Write(STDOUT_FILENO, sText);
}

void CMonitorOutput::Tell(const std::string& sText)
{
	Write(STDERR_FILENO, "vexmonitor: " + sText + "\n");
}

// Not through a stream: a signal's handler ends the program while a thread writes, and must not wait for its lock.
bool CMonitorOutput::Write(int nFile, const std::string& sText)
{
	for (std::size_t nDone = 0; nDone < sText.size();)
	{
		const ssize_t nWritten = write(nFile, sText.data() + nDone, sText.size() - nDone);
		if (nWritten >= 0)
			nDone += static_cast<std::size_t>(nWritten);
		else if (errno == EAGAIN)
		{
			pollfd oWait = { nFile, POLLOUT, 0 };
			poll(&oWait, 1, -1);
		}
		else if (errno != EINTR)
			return false;
	}
	return true;
}

void CMonitorOutput::AppendLine(std::string& rsText, const SMonitorLine& rLine) const
{
	const SMonitorLineParts oParts(rLine);
	std::string sLine = oParts.m_sText;
	if (!oParts.m_sLevel.empty())
		sLine = oParts.m_sTime + ' ' + oParts.m_sLevel + ' ' + oParts.m_sName + (oParts.m_sName.empty() ? "" : "/") +
			oParts.m_sClass + ' ' + oParts.m_sText;
	const char* pszColour = m_bColours ? ColourOf(rLine.m_oMsg.GetTraceLevel()) : "";
	rsText.append(pszColour).append(TextToTerminal(sLine, m_bTerminalUtf8));
	rsText.append(*pszColour ? "\x1b[0m\n" : "\n");
}

void CMonitorOutput::AppendJsonLine(std::string& rsText, const SMonitorLine& rLine) const
{
	const SMonitorLineParts oParts(rLine);
	rsText += "{\"time\":\"" + IsoTime(oParts.m_sTime) + "\",\"level\":\"" + LevelName(rLine.m_oMsg.GetTraceLevel()) +
		"\",\"object\":" + std::to_string(rLine.m_oMsg.GetID()) + ",\"name\":" + TextToJson(oParts.m_sName) +
		",\"class\":" + TextToJson(oParts.m_sClass) + ",\"text\":" + TextToJson(oParts.m_sText) +
		",\"host\":" + m_sHostInJson + "}\n";
}
