// The stored and the text form of passwords.

#include "VexPassword.h"

#include "VexStringFunc.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace
{
CVexPassword Password(std::string sText, bool bScramble)
{
	CVexPassword oPassword(bScramble);
	oPassword.SetPassword(sText);
	return oPassword;
}
}    // namespace

TEST(CVexPassword, TheScrambledFormDependsOnLengthAndLastCharacter)
{
	const std::pair<std::string, std::string> aCases[] = {
		{ "", "" },
		{ "a", "\x01" },
		{ "ab", "\x01\x61" },
		{ "ba", "\x01\x62" },
		{ "\xFF\0x"s, "\x84\x87\xFC"s },
	};
	for (const auto& [sPassword, sStored] : aCases)
	{
		EXPECT_EQ(Password(sPassword, true).GetPassword(), sStored);
		EXPECT_EQ(Password(sPassword, false).GetPassword(), sPassword);
	}
	EXPECT_EQ(Password(std::string(256, 'x'), true).GetPassword().substr(252), "\0x\0x"s);
}

TEST(CVexPassword, SettingPutsNulsInFrontOfTheCallersTextKept)
{
	std::string sText = "abc";
	CVexPassword(true).SetPassword(sText);
	EXPECT_EQ(sText, "\0\0\0abc"s);
}

TEST(CVexPassword, SettingTwiceAppendsTheScrambledFormKept)
{
	std::string sSecond = "ab";
	CVexPassword oPassword = Password("a", true);
	oPassword.SetPassword(sSecond);
	EXPECT_EQ(oPassword.GetPassword(), "\x01\x01\x61");
}

TEST(CVexPassword, WritingSetsTheStreamToDecimalKept)
{
	std::ostringstream oStream;
	oStream << std::hex << Password("\x01\xAB", false) << "," << 10;
	EXPECT_EQ(oStream.str(), "01ab,10");
}

TEST(CVexPassword, TextsAreReadAsPairsOfDigits)
{
	const std::string aasCases[][2] = { { " aBC \n", "\xAB" }, { "01 02", "\x01" }, { "", "" }, { "00", "\0"s } };
	for (const auto& [sText, sStored] : aasCases)
	{
		CVexPassword oPassword = Password("old", false);
		EXPECT_TRUE(VexFromString(oPassword, sText)) << sText;
		EXPECT_EQ(oPassword.GetPassword(), sStored) << sText;
	}
	for (const std::string& rsText : { "0g"s, "-1"s, "01\0ff"s, "\xFC"s })
	{
		CVexPassword oPassword = Password("old", false);
		EXPECT_FALSE(VexFromString(oPassword, rsText)) << rsText;
		EXPECT_EQ(oPassword.GetPassword(), "old") << rsText;
	}
}
