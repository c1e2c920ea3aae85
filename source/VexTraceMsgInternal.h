#pragma once

// Trace messages for the tracing call and for the trace server's thread.

#include "VexTraceMsg.h"

#include <string>

#pragma GCC visibility push(hidden)

// Messages that have been written, for the next tracing calls: their memory and the memory of their texts are used
// again. No lock is taken. A limited number is kept; none is owned by a server.
namespace VexTraceMsgPool
{
// A new message if none is kept. Throws std::bad_alloc.
CVexTraceMsg* Make(CVexTraceMsg::ETraceLevel eLevel, long nID, const char* pszText);

// Takes ownership. Deletes the message if it is of a deriving class, too long, or if enough are kept.
void GiveBack(CVexTraceMsg* pMsg);

// Deletes those that are kept.
void Clear();
}    // namespace VexTraceMsgPool

// Appends the text form to a buffer that the caller uses again for the next line.
void VexAppendMsgText(
	std::string& rsLine, const CVexTraceMsg& oMsg, const char* pszObName, std::size_t nObNameLength, char nSeparator);

#pragma GCC visibility pop
