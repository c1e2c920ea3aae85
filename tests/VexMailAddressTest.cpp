// Where the parts of an address are found and replaced.

#include "VexMailAddress.h"

#include "VexStringFunc.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

TEST(CVexMailAddress, FindsAddressAndNameInEveryForm)
{
	const std::string aasCases[][3] = {
		{ "\"N, \xE4\" <a@b>", "a@b", "N, \xE4" },
		{ "a@b (N N)", "a@b", "N N" },
		{ "N a@b\r\nX: y", "a@b\r\nX:", "" },
		{ "\"v@w x@y\" <a@b>", "a@b", "v@w x@y" },
		{ "\"x@y\" <a@b> \"z\"", "a@b", "x@y" },
		{ "\"N <a@b>", "a@b", "" },    // a quote that is not closed
		{ "N\0M <a\0@b"s, "a\0@b"s, "N\0M"s },
	};
	for (const auto& [sText, sSmtpAddress, sDisplayname] : aasCases)
	{
		const CVexMailAddress oAddress(sText.data(), static_cast<unsigned int>(sText.size()));
		EXPECT_EQ(oAddress.GetSmtpAddress(), sSmtpAddress) << sText;
		EXPECT_EQ(oAddress.GetDisplayname(), sDisplayname) << sText;
	}
}

TEST(CVexMailAddress, ANameWithoutABlankBehindItLosesItsLastCharacterKept)
{
	EXPECT_EQ(CVexMailAddress("Name<a@b>").GetDisplayname(), "Nam");
}

TEST(CVexMailAddress, SettingReplacesWhatIsThereAndElseAddsIt)
{
	CVexMailAddress oBare("a"s), oNamed("\"A\" <a@b>"s);
	oBare.SetSmtpAddress("x@y");
	oNamed.SetSmtpAddress("x@y");
	EXPECT_EQ(VexToString(oBare) + "," + VexToString(oNamed), "ax@y,\"A\" <x@y>");
	oBare.SetDisplayname("N");
	oNamed.SetDisplayname("N");
	EXPECT_EQ(VexToString(oBare) + "," + VexToString(oNamed), "\"N\" ax@y,\"N\" <x@y>");
}

TEST(CVexMailAddress, OnlyTheAddressIsComparedInAnyCase)
{
	EXPECT_TRUE(CVexMailAddress("N <A@b>") == CVexMailAddress("a@B (M)"));
	EXPECT_FALSE(CVexMailAddress("a@b\0c"s) == CVexMailAddress("a@b\0d"s));
	EXPECT_EQ(CVexMailAddress("\"x@y\" <a@b@c>").GetDomain(), "b@c");
}

TEST(CVexMailAddress, ReadsOneLineOfAtMost255Characters)
{
	const std::string sLongest(255, 'a');
	CVexMailAddress oFirst, oSecond;
	std::istringstream oStream("<a@b>\n" + sLongest + "b");
	EXPECT_TRUE(oStream >> oFirst);
	EXPECT_FALSE(oStream >> oSecond);
	EXPECT_EQ(VexToString(oFirst) + VexToString(oSecond), "<a@b>" + sLongest);
}
