#include "VexMutex.h"

#include "support/Waiting.h"

#include <gtest/gtest.h>

#include <atomic>

namespace
{
const unsigned int nForEver = 0xFFFFFFFF;

TEST(CVexMutex, LockAnswersFalseOnSuccessKept)
{
	CVexMutex oMutex;
	EXPECT_FALSE(oMutex.Lock(0));
	EXPECT_TRUE(oMutex.Unlock());
}

TEST(CVexEvent, SignalIsKeptForOneWait)
{
	CVexEvent oEvent;
	EXPECT_FALSE(oEvent.Wait(0));
	oEvent.Signal();
	oEvent.Signal();
	EXPECT_TRUE(oEvent.Wait(0));
	EXPECT_FALSE(oEvent.Wait(0));
	oEvent.Signal();
	oEvent.Reset();
	EXPECT_FALSE(oEvent.Wait(0));
}

// 990 ms carry nanoseconds into seconds at most moments.
TEST(CVexEvent, WaitTimesOut)
{
	CVexEvent oEvent;
	std::vector<CVexEvent*> apEvents = { &oEvent };
	const auto oBegin = std::chrono::steady_clock::now();
	EXPECT_FALSE(oEvent.Wait(990));
	EXPECT_EQ(CVexEvent::Wait(apEvents, 990), -1);
	const auto oTaken = std::chrono::steady_clock::now() - oBegin;
	EXPECT_GE(oTaken, std::chrono::milliseconds(2 * 989));
	EXPECT_LT(oTaken, std::chrono::milliseconds(20000));
}

// Signalled again and again until all are awake: a thread may not wait yet when the first signal comes.
TEST(CVexEvent, SignalWakesEveryThreadThatWaits)
{
	CVexEvent oEvent;
	std::atomic<int> nAwake{ 0 };
	const auto Wait = [&] { nAwake += oEvent.Wait(nForEver) ? 1 : 0; };
	std::thread aoThreads[] = { std::thread(Wait), std::thread(Wait), std::thread(Wait) };
	EXPECT_TRUE(ComesTrue([&] { return oEvent.Signal(), nAwake == 3; }));
	for (std::thread& rThread : aoThreads)
		rThread.join();
}

TEST(CVexEvent, WaitForSeveralTakesTheFirstOnly)
{
	CVexEvent aoEvents[3];
	std::vector<CVexEvent*> apNone, apEvents = { &aoEvents[0], nullptr, &aoEvents[1], &aoEvents[2] };
	EXPECT_EQ(CVexEvent::Wait(apNone, 0), -1);
	EXPECT_EQ(CVexEvent::Wait(apEvents, 0), -1);
	aoEvents[2].Signal();
	aoEvents[1].Signal();
	EXPECT_EQ(CVexEvent::Wait(apEvents, 0), 2);
	EXPECT_EQ(CVexEvent::Wait(apEvents, nForEver), 3);
	std::thread oLater([&] { aoEvents[0].Signal(); });
	EXPECT_EQ(CVexEvent::Wait(apEvents, nForEver), 0);
	oLater.join();
}
}    // namespace
