// Bytes parsed as a monitor's message: nothing is read that the bytes do not hold, and a whole frame is built the same
// again.

#include "Require.h"

#include "VexTraceTCPIPMsg.h"

#include <climits>

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
	// Texts behind the command, one after another, each out of the payload.
	std::size_t nOffset = 4;
	for (std::string sText; oMsg.GetData(sText); nOffset += 4 + sText.size())
		Require(
			sPayload.compare(nOffset + 4, sText.size(), sText) == 0 && nOffset + 4 + sText.size() <= sPayload.size());
	for (const int nStart : { INT_MIN, -1, 0, static_cast<int>(nSize), INT_MAX })
	{
		std::string sPart;
		for (const int nLen : { INT_MIN, -1, 1, INT_MAX })
			Require(!oMsg.GetData(sPart, nStart, nLen) || (nStart == 0 && nLen == 1));
	}
	oMsg.AddData(1);
	Require(oMsg.GetDataSize() == static_cast<int>(sPayload.size() + 4));
	return 0;
}
