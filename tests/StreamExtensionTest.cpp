#include "StreamExtension.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

TEST(GetSizedUInt, TakesDigitsUpToTheMaximumAndStrictWantsAllOfThem)
{
	const std::tuple<const char*, unsigned int, bool, unsigned int, unsigned int, bool, int> aCases[] = {
		{ "12:30", 4, true, 12, 2, true, ':' },
		{ "12345", 4, true, 1234, 4, false, '5' },
		{ "12", 4, true, 12, 2, true, EOF },
		{ "-1", 2, false, 0, 0, false, '-' },
		{ "5", 0, true, 0, 0, false, '5' },
		{ "4294967297", 99, false, 1, 10, false, EOF },    // wraps
	};
	for (const auto& [szText, nMaxDigits, bStrict, nValue, nExpectedDigits, bFails, nNext] : aCases)
	{
		std::istringstream oStream(szText);
		unsigned int nDigits = 99;
		EXPECT_EQ(GetSizedUInt(oStream, nMaxDigits, &nDigits, bStrict), nValue) << szText;
		EXPECT_EQ(nDigits, nExpectedDigits);
		EXPECT_EQ(oStream.fail(), bFails);
		oStream.clear();
		EXPECT_EQ(oStream.peek(), nNext);
	}
}

TEST(SeparateChar, TakesTheExpectedCharacterOnlyAndStrictFailsWithoutIt)
{
	std::istringstream oStream("\xFF.");
	SeparateChar(oStream, '\xFF', true);    // no end of input
	SeparateChar(oStream, '\xFF', false);
	EXPECT_TRUE(oStream.good() && oStream.peek() == '.');
	SeparateChar(oStream, '\xFF', true);
	EXPECT_TRUE(oStream.fail());
	oStream.clear();
	EXPECT_EQ(oStream.peek(), '.');
}

TEST(TryRemoveNonDigit, TakesOneCharacterThatIsNoDigitTheEndIncluded)
{
	std::istringstream oStream("a1");
	TryRemoveNonDigit(oStream);
	TryRemoveNonDigit(oStream);
	EXPECT_EQ(oStream.get(), '1');
	TryRemoveNonDigit(oStream);
	EXPECT_TRUE(oStream.fail());
}
