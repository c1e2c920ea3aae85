#pragma once

// Traces a text that is only built if its level is on.

#include "VexTrace.h"
#include "VexTraceServer.h"

#include <locale>
#include <sstream>

#pragma GCC visibility push(hidden)

// oFill writes the text: a callable that takes an std::ostream&.
template <class TFill>
void VexTraceText(CVexTrace& rTrace, CVexTraceMsg::ETraceLevel eLevel, TFill oFill)
{
	CVexTraceServer* pServer = rTrace.GetServerObject(eLevel);
	if (!pServer)
		return;
	std::ostringstream oStream;
	oStream.imbue(std::locale::classic());    // numbers without the grouping of the program's own locale
	oFill(static_cast<std::ostream&>(oStream));
	rTrace.AddMsg(eLevel, oStream, pServer);
}

// A number in hexadecimal behind "0x", whatever base the stream has before and behind it.
struct SVexHex
{
	int m_nNumber;
};

inline std::ostream& operator<<(std::ostream& rStream, SVexHex oHex)
{
	const std::ios_base::fmtflags eFlags = rStream.flags();
	rStream << "0x" << std::hex << oHex.m_nNumber;
	rStream.flags(eFlags);
	return rStream;
}

#pragma GCC visibility pop
