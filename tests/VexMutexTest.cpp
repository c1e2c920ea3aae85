#include "VexMutex.h"

#include "VexThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

namespace
{
const unsigned int nForEver = 0xFFFFFFFF;

long long ElapsedMs(std::chrono::steady_clock::time_point oBegin)
{
	return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - oBegin).count();
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
	std::vector<std::thread> aoThreads;
	for (int i = 0; i < 4; ++i)
		aoThreads.emplace_back(
			[&]
			{
				for (int j = 0; j < 10000; ++j)
				{
					CVexMutexLock oLock(oMutex);
					++nSum;
				}
			});
	for (std::thread& rThread : aoThreads)
		rThread.join();
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

// The second one is long enough to carry nanoseconds into seconds at most moments.
TEST(CVexEvent, WaitTimesOut)
{
	for (const unsigned int nTimeout : { 20u, 990u })
	{
		CVexEvent oEvent;
		const auto oBegin = std::chrono::steady_clock::now();
		EXPECT_FALSE(oEvent.Wait(nTimeout));
		EXPECT_GE(ElapsedMs(oBegin) + 1, nTimeout);
		EXPECT_LT(ElapsedMs(oBegin), nTimeout + 10000);
	}
}

// Signalled again and again until all are awake: a thread may not wait yet when the first signal comes.
TEST(CVexEvent, SignalWakesEveryThreadThatWaits)
{
	CVexEvent oEvent;
	std::atomic<int> nAwake{ 0 };
	std::vector<std::thread> aoThreads;
	for (int i = 0; i < 5; ++i)
		aoThreads.emplace_back(
			[&]
			{
				if (oEvent.Wait(nForEver))
					++nAwake;
			});
	while (nAwake < 5)
	{
		oEvent.Signal();
		CVexThread::Sleep(0, 1);
	}
	for (std::thread& rThread : aoThreads)
		rThread.join();
}

TEST(CVexEvent, WaitForSeveralTakesTheFirstOnly)
{
	CVexEvent aoEvents[3];
	std::vector<CVexEvent*> apEvents = { &aoEvents[0], nullptr, &aoEvents[1], &aoEvents[2] };
	EXPECT_EQ(CVexEvent::Wait(apEvents, 0), -1);
	aoEvents[2].Signal();
	aoEvents[1].Signal();
	EXPECT_EQ(CVexEvent::Wait(apEvents, 0), 2);
	EXPECT_EQ(CVexEvent::Wait(apEvents, nForEver), 3);
	const auto oBegin = std::chrono::steady_clock::now();
	EXPECT_EQ(CVexEvent::Wait(apEvents, 50), -1);    // milliseconds, on every day of the month
	EXPECT_GE(ElapsedMs(oBegin) + 1, 50);
	EXPECT_LT(ElapsedMs(oBegin), 30000);
	std::thread oLater([&] { aoEvents[0].Signal(); });
	EXPECT_EQ(CVexEvent::Wait(apEvents, nForEver), 0);
	oLater.join();
	std::vector<CVexEvent*> apNone;
	EXPECT_EQ(CVexEvent::Wait(apNone, 0), -1);
}
}    // namespace
