// Bytes parsed as a monitor's message: nothing is read that the bytes do not hold, and a whole frame is built the same
// again.

#include "VexTraceTCPIPMsg.h"

#include <climits>
#include <cstdint>
#include <cstdlib>

namespace
{
void Require(bool bHolds)
{
	if (!bHolds)
		std::abort();
}

// Each item is where the cursor says, and the cursor never runs out of the payload.
void ReadItems(CVexTraceTCPIPMsg& rMsg, bool bStrings)
{
	const std::string& rsPayload = rMsg.GetDataTotal();
	std::size_t nOffset = 4;
	for (;;)
	{
		long nWord = 0;
		std::string sText;
		const bool bWord = rMsg.GetData(nWord, static_cast<int>(nOffset));
		Require(bWord == (nOffset + 4 <= rsPayload.size()));
		if (!bStrings)
		{
			long nNext = 0;
			Require(rMsg.GetData(nNext) == bWord && nNext == nWord);
		}
		else if (rMsg.GetData(sText))
		{
			Require(bWord && nWord >= 0 && rsPayload.compare(nOffset + 4, sText.size(), sText) == 0);
			Require(sText.size() == static_cast<std::size_t>(nWord));
		}
		else
			return;
		if (!bWord)
			return;
		nOffset += 4 + sText.size();
		Require(nOffset <= rsPayload.size());
	}
}
}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	const std::string sBytes(reinterpret_cast<const char*>(pData), nSize);
	CVexTraceTCPIPMsg oMsg(sBytes.data(), static_cast<int>(nSize));
	const std::string sPayload = oMsg.GetDataTotal();
	Require(sPayload.empty() || sPayload.size() + 12 <= nSize);
	Require(!oMsg.IsValid() || sBytes.compare(0, 4, "effe") == 0);
	if (oMsg.IsValid() && !sPayload.empty())
	{
		const std::string sFrame = oMsg.GetMessage();
		Require(static_cast<int>(sFrame.size()) == oMsg.GetSize() && sBytes.compare(0, sFrame.size(), sFrame) == 0);
	}
	ReadItems(oMsg, false);
	oMsg.ResetDataOffset();
	ReadItems(oMsg, true);
	for (const int nOffset : { INT_MIN, -1, 0, static_cast<int>(nSize), INT_MAX })
	{
		std::string sPart;
		for (const int nLen : { INT_MIN, -1, 1, INT_MAX })
			Require(!oMsg.GetData(sPart, nOffset, nLen) || (nOffset == 0 && nLen == 1));
	}
	oMsg.AddData(1);
	Require(oMsg.GetDataSize() == static_cast<int>(sPayload.size() + 4));
	return 0;
}
