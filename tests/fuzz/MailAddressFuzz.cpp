// Addresses of any shape: the parts lie within the text, what is set is there afterwards and the rest stays, and a text
// that is written reads back.

#include "Require.h"

#include "VexMailAddress.h"

#include <sstream>

namespace
{
std::string Text(const CVexMailAddress& rAddress)
{
	std::ostringstream oText;
	oText << rAddress;
	return oText.str();
}

void CheckParts(const CVexMailAddress& rAddress)
{
	const std::string sText = Text(rAddress);
	unsigned int nPos = 1, nLength = 1;
	rAddress.GetSmtpAddressPos(nPos, nLength);
	Require(nPos <= sText.size() && nLength <= sText.size() - nPos);
	const std::string sSmtpAddress = rAddress.GetSmtpAddress();
	Require(sSmtpAddress == sText.substr(nPos, nLength));
	Require(sSmtpAddress.empty() || sSmtpAddress.find('@') != sSmtpAddress.npos);
	Require(!sSmtpAddress.empty() || rAddress.GetDomain().empty());
	rAddress.GetDisplaynamePos(nPos, nLength);
	Require(nPos <= sText.size() && nLength <= sText.size() - nPos);
	Require(rAddress.GetDisplayname() == sText.substr(nPos, nLength));
}

}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	const std::string sText(reinterpret_cast<const char*>(pData), nSize);
	const CVexMailAddress oAddress(sText);
	Require(Text(oAddress) == sText && oAddress == oAddress);
	CheckParts(oAddress);

	CVexMailAddress oOther(oAddress), oNamed(oAddress);
	const std::string sSmtpAddress = oAddress.GetSmtpAddress();
	oOther.SetSmtpAddress("x@y");
	CheckParts(oOther);
	Require(Text(oOther).size() == sText.size() - sSmtpAddress.size() + 3);
	// A "<" within a quoted name may be where the address begins: its closing quote goes with the address then.
	if (sText.find('"') == sText.npos && !sSmtpAddress.empty())
		Require(oOther.GetSmtpAddress().find("x@y") != std::string::npos);
	oNamed.SetDisplayname("Name");
	CheckParts(oNamed);
	Require(oNamed.GetDisplayname() == "Name");
	return 0;
}
