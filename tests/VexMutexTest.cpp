#include "VexMutex.h"

#include "support/Waiting.h"

#include "VexThread.h"

#include <gtest/gtest.h>

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <memory>

namespace
{
std::atomic<int> nClockOffset{ 0 };
}

// The C library's, but for seconds by which the wall clock is wrong.
extern "C" int gettimeofday(timeval* pTime, void*) noexcept
{
	timespec oNow = {};
	clock_gettime(CLOCK_REALTIME, &oNow);
	pTime->tv_sec = oNow.tv_sec + nClockOffset;
	pTime->tv_usec = static_cast<suseconds_t>(oNow.tv_nsec / 1000);
	return 0;
}

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

// 990 ms carry nanoseconds into seconds at most moments. The wall clock is put back and forward meanwhile.
TEST(CVexEvent, WaitTimesOutByTheSteadyClock)
{
	CVexEvent oEvent;
	std::vector<CVexEvent*> apEvents = { &oEvent };
	for (const int nSeconds : { -30, 30 })
	{
		SCOPED_TRACE(nSeconds);
		std::thread oSetClock(
			[=]
			{
				CVexThread::Sleep(0, 100);
				nClockOffset = nSeconds;
			});
		const auto oBegin = std::chrono::steady_clock::now();
		EXPECT_EQ(CVexEvent::Wait(apEvents, 990), -1);
		oSetClock.join();
		EXPECT_FALSE(oEvent.Wait(990));
		const auto oTaken = std::chrono::steady_clock::now() - oBegin;
		EXPECT_GE(oTaken, std::chrono::milliseconds(2 * 989));
		EXPECT_LT(oTaken, std::chrono::milliseconds(20000));
		nClockOffset = 0;
	}
}

// Threads of the parent wait for it, signal it and create others at the moment of the fork.
TEST(CVexEvent, ChildAfterForkSignalsAndDestroysIt)
{
	std::atomic<bool> bEnd{ false };
	auto poEvent = std::make_unique<CVexEvent>();
	std::thread oWaits(
		[&]
		{
			while (!bEnd)
				poEvent->Wait(20);
		});
	std::thread oSignals(
		[&]
		{
			while (!bEnd)
				poEvent->Signal();
		});
	for (int i = 0; i < 50; ++i)
	{
		const pid_t nChild = fork();
		if (nChild == 0)
		{
			alarm(30);
			poEvent->Reset();
			poEvent->Signal();
			const bool bCame = poEvent->Wait(0) && !poEvent->Wait(1);
			poEvent.reset();
			_exit(bCame ? 7 : 8);
		}
		int nStatus = 0;
		waitpid(nChild, &nStatus, 0);
		ASSERT_TRUE(WIFEXITED(nStatus)) << "run " << i << ", signal " << WTERMSIG(nStatus);
		ASSERT_EQ(WEXITSTATUS(nStatus), 7) << "run " << i;
	}
	bEnd = true;
	oWaits.join();
	oSignals.join();
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
