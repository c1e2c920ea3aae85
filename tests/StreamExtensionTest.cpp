#include "StreamExtension.h"

#include <gtest/gtest.h>

#include <sstream>

TEST(StreamExtension, EachStepTakesOnlyWhatItIsFor)
{
	std::istringstream oStream("12345:\xFFx6");
	unsigned int nDigits = 0;
	EXPECT_EQ(GetSizedUInt(oStream, 4, &nDigits, true), 1234u);
	EXPECT_EQ(GetSizedUInt(oStream, 4, &nDigits), 5u);
	EXPECT_EQ(nDigits, 1u);
	SeparateChar(oStream, '.');
	SeparateChar(oStream, ':', true);
	SeparateChar(oStream, '\xFF', true);    // no end of input
	TryRemoveNonDigit(oStream);
	TryRemoveNonDigit(oStream);
	EXPECT_TRUE(oStream.good() && oStream.peek() == '6');
	EXPECT_EQ(GetSizedUInt(oStream, 2, nullptr, true), 6u);
	EXPECT_TRUE(oStream.fail());
}
