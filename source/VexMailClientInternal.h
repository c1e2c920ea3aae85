#pragma once

// What the mail clients share: one command line out, one reply line in, and tables that tell what a reply means.

#include "VexTCPIPBase.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <string>
#include <utility>

#pragma GCC visibility push(hidden)

// The result of the first row whose text the reply begins with; eOther if there is none.
template <class TResult, std::size_t nRows>
TResult VexFindReply(const std::pair<TResult, const char*> (&aoRows)[nRows], const std::string& sReply, TResult eOther)
{
	for (const auto& rRow : aoRows)
		if (sReply.rfind(rRow.second, 0) == 0)
			return rRow.first;
	return eOther;
}

// The text of the first row with the result; empty if there is none.
template <class TResult, std::size_t nRows>
const char* VexFindText(const std::pair<TResult, const char*> (&aoRows)[nRows], TResult eResult)
{
	for (const auto& rRow : aoRows)
		if (rRow.first == eResult)
			return rRow.second;
	return "";
}

// What would end the command early and begin another one.
inline bool VexHasLineBreak(const std::string& sText)
{
	return sText.find_first_of("\r\n") != std::string::npos;
}

// Empties the receive buffer. Before a command nothing is awaited: what is there belongs to earlier ones (further lines
// of a reply, a reply that came too late) and would be taken for the answer to the next one. Answers the last whole line of
// it.
inline std::string VexDropReplies(CVexTCPIPBase& rConnection)
{
	std::string sDropped;
	rConnection.WaitForData(INT_MAX, sDropped, 0);
	const std::size_t nEnd = sDropped.rfind("\r\n");
	if (nEnd == std::string::npos)
		return std::string();
	const std::size_t nBefore = nEnd == 0 ? std::string::npos : sDropped.rfind("\r\n", nEnd - 1);
	const std::size_t nBegin = nBefore == std::string::npos ? 0 : nBefore + 2;
	return sDropped.substr(nBegin, nEnd - nBegin);
}

// In one request, but for texts whose length is no int.
inline CVexTCPIPBase::ERetCode VexSend(CVexTCPIPBase& rConnection, const std::string& sText, unsigned int nTimeout)
{
	CVexTCPIPBase::ERetCode eResult = CVexTCPIPBase::eOK;
	for (std::size_t nDone = 0; nDone < sText.size() && eResult == CVexTCPIPBase::eOK;)
	{
		const std::size_t nLength = std::min<std::size_t>(sText.size() - nDone, INT_MAX);
		eResult = rConnection.DataReq(sText.data() + nDone, static_cast<int>(nLength), static_cast<int>(nTimeout));
		nDone += nLength;
	}
	return eResult;
}

#pragma GCC visibility pop
