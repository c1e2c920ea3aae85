#include "VexThread.h"

#include "support/RawPeer.h"

#include <gtest/gtest.h>

#include <functional>

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
	bool WaitUntilTerminated() const
	{
		return ComesTrue([this] { return GetState() == STATE_TERMINATED; });
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

TEST(CVexThread, StackSizeIsRaisedToTheLeastOne)
{
	for (const unsigned int nAsked : { 1u, 16384u, 65536u })
		EXPECT_EQ(CTestThread(RunUntilTerminated, nAsked).AttributeStackSize(), std::max(nAsked, 16384u));
	EXPECT_GT(CTestThread(RunUntilTerminated).AttributeStackSize(), 65536u);    // the system's own
}

TEST(CVexThread, GoesThroughItsStatesAndIsToldOfTerminationOnce)
{
	std::atomic<bool> bToldAgain{ true };
	CTestThread oThread(
		[&](CTestThread& rThread)
		{
			RunUntilTerminated(rThread);
			bToldAgain = rThread.IsTerminationRequested();
		});
	EXPECT_EQ(oThread.GetState(), CVexThread::STATE_NEW);
	oThread.Terminate();    // never started: nothing happens
	ASSERT_TRUE(oThread.Start());
	EXPECT_TRUE(oThread.m_bInitialized);
	EXPECT_TRUE(ComesTrue([&] { return oThread.IsRunning(); }));
	EXPECT_FALSE(oThread.Start());
	oThread.Terminate();
	EXPECT_EQ(oThread.GetState(), CVexThread::STATE_TERMINATED);
	EXPECT_FALSE(bToldAgain);
	oThread.Terminate();
}

// Rounds that end by themselves and rounds that are terminated, with and without a stack size of its own.
TEST(CVexThread, StartsAgainAnyNumberOfTimesAndLeaksNoThread)
{
	std::atomic<int> nRounds{ 0 };
	CTestThread(RunUntilTerminated).Start();    // a sanitizer may start a thread of its own with the first one
	const long nThreadsBefore = CountOwn("task");
	for (const unsigned int nStackSize : { 0u, 1048576u })
	{
		CTestThread oThread([&](CTestThread&) { ++nRounds; }, nStackSize);
		for (int i = 0; i < 100; ++i)
		{
			ASSERT_TRUE(oThread.Start());
			if (i % 2)
				oThread.Terminate();
			ASSERT_TRUE(oThread.WaitUntilTerminated());
		}
		EXPECT_EQ(oThread.AttributeStackSize() == 1048576, nStackSize != 0);
	}
	EXPECT_EQ(nRounds, 200);
	EXPECT_EQ(CountOwn("task"), nThreadsBefore);
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
		ASSERT_TRUE(oThread.WaitUntilTerminated());
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
	for (const long nAddNanoSec : { 0l, 999999999l, -999999999l, 2147483647l })
	{
		long nSec = 0, nNanoSec = 0, nNowSec = 0, nNowNanoSec = 0;
		CVexThread::GetTimeCurrent(&nNowSec, &nNowNanoSec);
		CVexThread::GetTime(&nSec, &nNanoSec, 5, nAddNanoSec);
		EXPECT_TRUE(nNanoSec >= 0 && nNanoSec <= 999999999) << nNanoSec;
		const long long nLater = (nSec - nNowSec - 5) * 1000000000ll + nNanoSec - nNowNanoSec - nAddNanoSec;
		EXPECT_TRUE(nLater >= 0 && nLater < 10000000000) << nLater;
	}
	CVexThread::GetTime(nullptr, nullptr, 0, 0);
}
}    // namespace
