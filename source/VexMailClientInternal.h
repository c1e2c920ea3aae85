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
