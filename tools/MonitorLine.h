#pragma once

// One line of the followed program.

#include "VexTraceMsg.h"

#include <string>

struct SMonitorLine
{
	CVexTraceMsg m_oMsg;
	std::string m_sFullName;    // of the object that wrote it: its name, "/", its class; empty if it is not known
};

// A line comes as time, level, class and text with a blank in between. Of any other line everything is text, its time is
// that of its receipt, and its class is that of the object.
struct SMonitorLineParts
{
	explicit SMonitorLineParts(const SMonitorLine& rLine);

	std::string m_sTime;     // UTC, as in 24.12.2009 18:05:03.042
	std::string m_sLevel;    // empty if the line is all text
	std::string m_sName;     // of the object; may be empty
	std::string m_sClass;
	std::string m_sText;
};
