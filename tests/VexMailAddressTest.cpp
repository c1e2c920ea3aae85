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
		{ "<a@b> (N)", "a@b", "N" },
		{ "N a@b\r\nX: y", "a@b\r\nX:", "" },
		{ "a@b\r\n", "a@b", "" },
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
	const char* const aapszCases[][3] = {
		{ "a", "ax@y", "\"N\" a" },
		{ "\"A\" <a@b>", "\"A\" <x@y>", "\"N\" <a@b>" },
	};
	for (const auto& [pszText, pszWithAddress, pszWithName] : aapszCases)
	{
		CVexMailAddress oOther{ std::string(pszText) }, oNamed(oOther);
		oOther.SetSmtpAddress("x@y");
		EXPECT_EQ(VexToString(oOther), pszWithAddress);
		oNamed.SetDisplayname("N");
		EXPECT_EQ(VexToString(oNamed), pszWithName);
	}
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
	CVexMailAddress oAddress("before");
	std::istringstream oStream("<a@b>\n\n" + sLongest + "\n" + sLongest + "b");
	for (const std::string& rsLine : { "<a@b>"s, ""s, sLongest, sLongest })
	{
		EXPECT_TRUE(oStream.good());
		oStream >> oAddress;
		EXPECT_EQ(VexToString(oAddress), rsLine);
	}
	EXPECT_TRUE(oStream.fail());
	EXPECT_TRUE(VexFromString(oAddress, "a@b"));
	EXPECT_EQ(VexToString(oAddress), "a@b");
}
