// Texts read as passwords: no more than their hexadecimal digits count, and what was read is written back.

#include "VexPassword.h"
#include "VexStringFunc.h"

#include <cctype>
#include <cstdint>
#include <cstdlib>

static void Require(bool bHolds)
{
	if (!bHolds)
		std::abort();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	const std::string sText(reinterpret_cast<const char*>(pData), nSize);
	std::string sSecret = sText;
	CVexPassword oScrambled(true);
	oScrambled.SetPassword(sSecret);
	Require(oScrambled.GetPassword().size() == nSize && sSecret == std::string(nSize, '\0') + sText);

	CVexPassword oRead = oScrambled;
	if (!VexFromString(oRead, sText))
	{
		Require(oRead == oScrambled);
		return 0;
	}
	std::string sRead = VexToString(oRead);
	Require(
		sRead.size() % 2 == 0 && sRead.size() <= nSize && sRead.find_first_not_of("0123456789abcdef") == sRead.npos);
	CVexPassword oAgain(false);
	Require(VexFromString(oAgain, VexToString(oScrambled)) && oAgain == oScrambled);
	return 0;
}
