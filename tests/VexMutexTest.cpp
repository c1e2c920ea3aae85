#include "VexMutex.h"

#include "support/Waiting.h"

#include <gtest/gtest.h>

#include <atomic>

namespace
{
const unsigned int nForEver = 0xFFFFFFFF;

// The same on several threads, to its end.
template <class TAction>
void OnThreads(int nThreads, TAction oAction)
{
	std::vector<std::thread> aoThreads;
	for (int i = 0; i < nThreads; ++i)
		aoThreads.emplace_back(oAction);
	for (std::thread& rThread : aoThreads)
		rThread.join();
}

TEST(CVexMutex, LockAnswersFalseOnSuccessKept)
{
	CVexMutex oMutex;
	EXPECT_FALSE(oMutex.Lock(0));
	EXPECT_TRUE(oMutex.Unlock());
}

TEST(CVexMutexLock, KeepsOtherThreadsOut)
{
	CVexMutex oMutex;
	long nSum = 0;
	OnThreads(4,
		[&]
		{
			for (int j = 0; j < 10000; ++j)
			{
				CVexMutexLock oLock(oMutex);
				++nSum;
			}
		});
	EXPECT_EQ(nSum, 40000);
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

// Alone and as one of several. 990 ms carry nanoseconds into seconds at most moments.
TEST(CVexEvent, WaitTimesOut)
{
	CVexEvent oEvent;
	std::vector<CVexEvent*> apEvents = { &oEvent };
	for (const int nTimeout : { 20, 990 })
		for (const bool bAlone : { true, false })
		{
			const auto oBegin = std::chrono::steady_clock::now();
			const auto nMs = static_cast<unsigned int>(nTimeout);
			EXPECT_FALSE(bAlone ? oEvent.Wait(nMs) : CVexEvent::Wait(apEvents, nMs) != -1);
			const auto oTaken = std::chrono::steady_clock::now() - oBegin;
			EXPECT_GE(oTaken, std::chrono::milliseconds(nTimeout - 1));
			EXPECT_LT(oTaken, std::chrono::milliseconds(nTimeout + 10000));
		}
}

// Signalled again and again until all are awake: a thread may not wait yet when the first signal comes.
TEST(CVexEvent, SignalWakesEveryThreadThatWaits)
{
	CVexEvent oEvent;
	std::atomic<int> nAwake{ 0 };
	std::thread oWaiting([&] { OnThreads(5, [&] { nAwake += oEvent.Wait(nForEver) ? 1 : 0; }); });
	EXPECT_TRUE(ComesTrue(
		[&]
		{
			oEvent.Signal();
			return nAwake == 5;
		}));
	oWaiting.join();
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
