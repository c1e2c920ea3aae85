// Addresses of any shape: the parts lie within the text, what is set is there afterwards and the rest stays, and a text
// that is written reads back.

#include "VexMailAddress.h"

#include <cstdint>
#include <cstdlib>
#include <sstream>

namespace
{
void Require(bool bHolds)
{
	if (!bHolds)
		std::abort();
}

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

void CheckStream(const CVexMailAddress& rAddress)
{
	const std::string sText = Text(rAddress);
	std::istringstream oStream(sText + '\n');
	CVexMailAddress oRead;
	oStream >> oRead;
	const std::size_t nLine = sText.find('\n');
	Require(Text(oRead) == sText.substr(0, nLine).substr(0, 255));
	Require(oStream.fail() == ((nLine == sText.npos ? sText.size() : nLine) > 255));
}
}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	const std::string sText(reinterpret_cast<const char*>(pData), nSize);
	const CVexMailAddress oAddress(sText);
	Require(Text(oAddress) == sText && oAddress == oAddress);
	CheckParts(oAddress);
	CheckStream(oAddress);

	CVexMailAddress oOther(oAddress), oNamed(oAddress);
	const std::string sSmtpAddress = oAddress.GetSmtpAddress(), sDisplayname = oAddress.GetDisplayname();
	oOther.SetSmtpAddress("x@y");
	CheckParts(oOther);
	Require(Text(oOther).size() == sText.size() - sSmtpAddress.size() + 3);
	// A "<" within a quoted name may be where the address begins: its closing quote goes with the address then.
	if (sText.find('"') == sText.npos && !sSmtpAddress.empty())
		Require(oOther.GetSmtpAddress().find("x@y") != std::string::npos);
	oNamed.SetDisplayname("Name");
	CheckParts(oNamed);
	Require(oNamed.GetDisplayname() == "Name");
	if (!sDisplayname.empty())
	{
		oNamed.SetDisplayname(sDisplayname);
		Require(Text(oNamed) == sText);
	}
	return 0;
}
