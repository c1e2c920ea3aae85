#include "MonitorOutput.h"

#include "MonitorText.h"

#include <poll.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace
{
const char* const pszTimeForm = "00.00.0000 00:00:00.000";    // each 0 a digit
const std::size_t nTimeSize = 23;

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

bool BeginsWithTime(const std::string& sText)
{
	if (sText.size() < nTimeSize)
		return false;
	for (std::size_t i = 0; i < nTimeSize; ++i)
		if (pszTimeForm[i] == '0' ? !std::isdigit(static_cast<unsigned char>(sText[i])) : sText[i] != pszTimeForm[i])
			return false;
	return true;
}

// 24.12.2009 18:05:03.042, which is UTC, as 2009-12-24T18:05:03.042Z.
std::string IsoTime(const std::string& sTime)
{
	return sTime.substr(6, 4) + "-" + sTime.substr(3, 2) + "-" + sTime.substr(0, 2) + "T" + sTime.substr(11, 12) + "Z";
}

// A line as the program sends it: time, level, class and text with a blank in between. Of any other line everything is
// text, and its time is that of its receipt.
struct SLineParts
{
	explicit SLineParts(const CVexTraceMsg& oLine)
		: m_sTime(oLine.GetTime().Time2Str(CVexUTCTime::TTMMJJJJ_HHMMSSmmm)), m_sText(oLine.GetText())
	{
		const std::size_t nLevelEnd = m_sText.find(' ', nTimeSize + 1);
		const std::size_t nClassEnd = nLevelEnd == std::string::npos ? nLevelEnd : m_sText.find(' ', nLevelEnd + 1);
		if (!BeginsWithTime(m_sText) || nClassEnd == std::string::npos)
			return;
		m_sTime = m_sText.substr(0, nTimeSize);
		m_sClass = m_sText.substr(nLevelEnd + 1, nClassEnd - nLevelEnd - 1);
		m_sText.erase(0, nClassEnd + 1);
	}

	std::string m_sTime;
	std::string m_sClass;
	std::string m_sText;
};
}    // namespace

CMonitorOutput::CMonitorOutput(const std::string& sHost, bool bJson, bool bTerminalUtf8)
	: m_sHost(sHost), m_bJson(bJson), m_bTerminalUtf8(bTerminalUtf8), m_bColours(!bJson && IsColourTerminal())
{
}

bool CMonitorOutput::WriteLines(const std::vector<CVexTraceMsg>& aoLines) const
{
	std::string sText;
	for (const CVexTraceMsg& rLine : aoLines)
		if (m_bJson)
			AppendJsonLine(sText, rLine);
		else
			AppendLine(sText, rLine);
	return Write(STDOUT_FILENO, sText);
}

bool CMonitorOutput::WriteInfo(const std::string& sInfo) const
{
	if (m_bJson)
		return Write(STDOUT_FILENO, "{\"info\":" + TextToJson(sInfo) + ",\"host\":" + TextToJson(m_sHost) + "}\n");
	return Write(STDOUT_FILENO, TextToTerminal(sInfo, m_bTerminalUtf8) + "\n");
}

bool CMonitorOutput::WriteObjects(const std::vector<std::pair<long, std::string>>& aoObjects) const
{
	std::string sText;
	for (const auto& rObject : aoObjects)
		if (m_bJson)
		{
			const std::string sClass = ClassOfObject(rObject.second);
			const std::size_t nNameSize = rObject.second.size() - sClass.size();
			sText += "{\"object\":" + std::to_string(rObject.first) +
				",\"name\":" + TextToJson(rObject.second.substr(0, nNameSize == 0 ? 0 : nNameSize - 1)) +
				",\"class\":" + TextToJson(sClass) + ",\"host\":" + TextToJson(m_sHost) + "}\n";
		}
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

void CMonitorOutput::AppendLine(std::string& rsText, const CVexTraceMsg& oLine) const
{
	const char* pszColour = m_bColours ? ColourOf(oLine.GetTraceLevel()) : "";
	rsText.append(pszColour).append(TextToTerminal(oLine.GetText(), m_bTerminalUtf8));
	rsText.append(*pszColour ? "\x1b[0m\n" : "\n");
}

void CMonitorOutput::AppendJsonLine(std::string& rsText, const CVexTraceMsg& oLine) const
{
	const SLineParts oParts(oLine);
	rsText += "{\"time\":\"" + IsoTime(oParts.m_sTime) + "\",\"level\":\"" + LevelName(oLine.GetTraceLevel()) +
		"\",\"object\":" + std::to_string(oLine.GetID()) + ",\"class\":" + TextToJson(oParts.m_sClass) +
		",\"text\":" + TextToJson(oParts.m_sText) + ",\"host\":" + TextToJson(m_sHost) + "}\n";
}
