#include "VexThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <dirent.h>
#include <functional>
#include <limits>

namespace
{
class CTestThread : public CVexThread
{
public:
	explicit CTestThread(std::function<void(CTestThread&)> oBody, unsigned int nStackSize = 0)
		: CVexThread(nStackSize), m_oBody(std::move(oBody))
	{
	}
	~CTestThread() override { Terminate(); }

	void Initialize() override { m_bInitialized = true; }
	void Run() override { m_oBody(*this); }

	std::size_t AttributeStackSize() const
	{
		std::size_t nSize = 0;
		pthread_attr_getstacksize(&m_oAttributes, &nSize);
		return nSize;
	}
	void WaitUntilTerminated() const
	{
		while (GetState() != STATE_TERMINATED)
			Sleep(0, 1);
	}

	std::atomic<bool> m_bInitialized{ false };

private:
	std::function<void(CTestThread&)> m_oBody;
};

void RunUntilTerminated(CTestThread& rThread)
{
	while (!rThread.IsTerminationRequested())
		CVexThread::Sleep(0, 1);
}

int CountThreads()
{
	int nThreads = 0;
	DIR* pDir = opendir("/proc/self/task");
	while (readdir(pDir))
		++nThreads;
	closedir(pDir);
	return nThreads;
}

TEST(CVexThread, StackSizeIsRaisedToTheLeastOne)
{
	pthread_attr_t oDefaults;
	pthread_attr_init(&oDefaults);
	std::size_t nDefault = 0;
	pthread_attr_getstacksize(&oDefaults, &nDefault);
	pthread_attr_destroy(&oDefaults);
	const struct
	{
		unsigned int nAsked;
		std::size_t nSize;
	} aCases[] = { { 0, nDefault }, { 100, 16384 }, { 16384, 16384 }, { 65536, 65536 } };
	for (const auto& rCase : aCases)
		EXPECT_EQ(CTestThread(RunUntilTerminated, rCase.nAsked).AttributeStackSize(), rCase.nSize) << rCase.nAsked;
}

TEST(CVexThread, GoesThroughItsStates)
{
	CTestThread oThread(RunUntilTerminated);
	EXPECT_EQ(oThread.GetState(), CVexThread::STATE_NEW);
	oThread.Terminate();    // never started: nothing happens
	ASSERT_TRUE(oThread.Start());
	EXPECT_TRUE(oThread.m_bInitialized);
	while (!oThread.IsRunning())
		CVexThread::Sleep(0, 1);
	EXPECT_FALSE(oThread.Start());
	oThread.Terminate();
	EXPECT_EQ(oThread.GetState(), CVexThread::STATE_TERMINATED);
	oThread.Terminate();
}

TEST(CVexThread, TerminationIsToldOnce)
{
	std::atomic<bool> bFirst{ false };
	std::atomic<bool> bSecond{ true };
	CTestThread oThread(
		[&](CTestThread& rThread)
		{
			while (!rThread.IsTerminationRequested())
				CVexThread::Sleep(0, 1);
			bFirst = true;
			bSecond = rThread.IsTerminationRequested();
		});
	ASSERT_TRUE(oThread.Start());
	oThread.Terminate();
	EXPECT_TRUE(bFirst);
	EXPECT_FALSE(bSecond);
}

// Rounds that end by themselves and rounds that are terminated, with and without a stack size of its own.
TEST(CVexThread, StartsAgainAnyNumberOfTimesAndLeaksNoThread)
{
	std::atomic<int> nRounds{ 0 };
	CTestThread(RunUntilTerminated).Start();    // a sanitizer may start a thread of its own with the first one
	const int nThreadsBefore = CountThreads();
	for (const unsigned int nStackSize : { 0u, 1048576u })
	{
		CTestThread oThread([&](CTestThread&) { ++nRounds; }, nStackSize);
		for (int i = 0; i < 100; ++i)
		{
			ASSERT_TRUE(oThread.Start());
			if (i % 2)
				oThread.Terminate();
			oThread.WaitUntilTerminated();
		}
		EXPECT_EQ(oThread.AttributeStackSize() == 1048576, nStackSize != 0);
	}
	EXPECT_EQ(nRounds, 200);
	EXPECT_EQ(CountThreads(), nThreadsBefore);
}

TEST(CVexThread, TerminatesItselfWithoutWaitingForItself)
{
	std::atomic<int> nRequestsFound{ 0 };
	CTestThread oThread(
		[&](CTestThread& rThread)
		{
			nRequestsFound += rThread.IsTerminationRequested() ? 1 : 0;    // of the round before
			rThread.Terminate();
		});
	for (int i = 0; i < 3; ++i)
	{
		ASSERT_TRUE(oThread.Start());
		oThread.WaitUntilTerminated();
	}
	EXPECT_EQ(nRequestsFound, 0);
}

TEST(CVexThread, ItsOwnRunMayDeleteIt)
{
	CVexEvent oGone;
	for (int i = 0; i < 20; ++i)
	{
		auto* pThread = new CTestThread(
			[&oGone](CTestThread& rThread)
			{
				CVexEvent& rGone = oGone;
				delete &rThread;    // Start() may still be at work
				rGone.Signal();
			});
		ASSERT_TRUE(pThread->Start());
		ASSERT_TRUE(oGone.Wait(60000));
	}
}

TEST(CVexThread, GetTimeCarriesNanoseconds)
{
	const struct
	{
		long nAddSec;
		long nAddNanoSec;
	} aCases[] = { { 0, 0 }, { 5, 999999999 }, { -1, 1 }, { 0, -999999999 }, { 1, std::numeric_limits<int>::max() } };
	for (const auto& rCase : aCases)
	{
		long nSec = 0;
		long nNanoSec = 0;
		long nNowSec = 0;
		long nNowNanoSec = 0;
		CVexThread::GetTimeCurrent(&nNowSec, &nNowNanoSec);
		CVexThread::GetTime(&nSec, &nNanoSec, rCase.nAddSec, rCase.nAddNanoSec);
		EXPECT_GE(nNanoSec, 0);
		EXPECT_LE(nNanoSec, 999999999);
		const long long nDelta = (static_cast<long long>(nSec) - nNowSec - rCase.nAddSec) * 1000000000 + nNanoSec -
			nNowNanoSec - rCase.nAddNanoSec;
		EXPECT_GE(nDelta, 0);
		EXPECT_LT(nDelta, 10000000000);
	}
	CVexThread::GetTime(nullptr, nullptr, 0, 0);
}
}    // namespace
