// Texts read as passwords: no more than their hexadecimal digits count, and what was read is written back.

#include "Require.h"

#include "VexPassword.h"
#include "VexStringFunc.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	const std::string sText(reinterpret_cast<const char*>(pData), nSize);
	std::string sSecret = sText;
	CVexPassword oScrambled(true);
	oScrambled.SetPassword(sSecret);
	Require(oScrambled.GetPassword().size() == nSize);

	CVexPassword oRead = oScrambled, oAgain(false);
	if (!VexFromString(oRead, sText))
		Require(oRead == oScrambled);
	const std::string sRead = VexToString(oRead);
	Require(sRead.size() % 2 == 0 && sRead.find_first_not_of("0123456789abcdef") == sRead.npos);
	Require(VexFromString(oAgain, sRead) && oAgain == oRead);
	return 0;
}
