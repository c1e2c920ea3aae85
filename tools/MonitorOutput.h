#pragma once

// What vexmonitor writes: to standard output the trace lines and answers, to standard error what goes wrong.

#include "MonitorLine.h"

#include <string>
#include <utility>
#include <vector>

// Threads: one.
// Errors:  the operations answer false if standard output does not take the text.
class CMonitorOutput
{
public:
	// The host as it was typed.
	CMonitorOutput(const std::string& sHost, bool bJson, bool bTerminalUtf8);

	bool WriteLines(const std::vector<SMonitorLine>& aoLines) const;
	bool WriteInfo(const std::string& sInfo) const;
	bool WriteObjects(const std::vector<std::pair<long, std::string>>& aoObjects) const;

	// A line on standard error, which begins with the program's name. Texts of the followed program must have gone
	// through TextToTerminal().
	static void Tell(const std::string& sText);

	static bool Write(int nFile, const std::string& sText);

private:
	void AppendLine(std::string& rsText, const SMonitorLine& rLine) const;
	void AppendJsonLine(std::string& rsText, const SMonitorLine& rLine) const;

	const std::string m_sHostInJson;
	const bool m_bJson;
	const bool m_bTerminalUtf8;
	const bool m_bColours;
};
