#include "VexMutexBuffer.h"

#include <gtest/gtest.h>

#include <thread>

// Enough for removed bytes to be cut off many times.
TEST(CVexMutexBuffer, LosesAndMixesNothingBetweenThreads)
{
	std::string sSent;
	while (sSent.size() < 3000000)
		sSent += std::to_string(sSent.size()) + std::string("\0OK", 3);
	CVexMutexBuffer oBuffer;
	oBuffer.AddString(sSent.substr(0, 1000000));
	EXPECT_EQ(oBuffer.RemoveString(-1) + oBuffer.RemoveString("KO") + oBuffer.RemoveString(""), "");
	EXPECT_TRUE(oBuffer.GetBuffer() == sSent.substr(0, 1000000) && oBuffer.GetLength() == 1000000);
	std::thread oProducer([&] { std::for_each(&sSent[1000000], &*sSent.end(), [&](char c) { oBuffer.AddChar(c); }); });
	std::string sTaken;
	for (int i = 0; sTaken.size() < sSent.size(); ++i)
		sTaken += i % 2 ? oBuffer.RemoveString(i % 3000) : oBuffer.RemoveString("OK");
	oProducer.join();
	EXPECT_TRUE(sTaken == sSent);
}
