#pragma once

// The text form of a trace message, appended to a buffer that the caller uses again for the next line.

#include "VexTraceMsg.h"

#include <string>

#pragma GCC visibility push(hidden)

void VexAppendMsgText(
	std::string& rsLine, const CVexTraceMsg& oMsg, const char* pszObName, std::size_t nObNameLength, char nSeparator);

#pragma GCC visibility pop
