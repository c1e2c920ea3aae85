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

TEST(CVexThread, GoesThroughItsStatesAndIsToldOfTerminationOnce)
{
	std::atomic<bool> bToldAgain{ true };
	const auto RunAndAskAgain = [&](CTestThread& rThread)
	{
		RunUntilTerminated(rThread);
		bToldAgain = rThread.IsTerminationRequested();
	};
	CTestThread oThread(RunAndAskAgain);
	EXPECT_EQ(oThread.GetState(), CVexThread::STATE_NEW);
	oThread.Terminate();    // never started: nothing happens
	ASSERT_TRUE(oThread.Start());
	EXPECT_TRUE(oThread.m_bInitialized);
	EXPECT_TRUE(ComesTrue([&] { return oThread.IsRunning(); }));
	EXPECT_FALSE(oThread.Start());
	oThread.Terminate();
	EXPECT_EQ(oThread.GetState(), CVexThread::STATE_TERMINATED);
	EXPECT_FALSE(bToldAgain);
}

TEST(CVexThread, StartsAgainAnyNumberOfTimesAndLeaksNoThread)
{
	CTestThread(RunUntilTerminated).Start();    // a sanitizer may start a thread of its own with the first one
	const long nThreadsBefore = CountOwn("task");
	for (const unsigned int nStackSize : { 0u, 1048576u })
	{
		std::atomic<int> nRounds{ 0 };
		const auto Round = [&](CTestThread& rThread)
		{
			const int nRound = nRounds++;
			EXPECT_FALSE(nRound % 2 == 0 && rThread.IsTerminationRequested());    // of the round before
			if (nRound % 3 == 0)
				rThread.Terminate();    // does not wait for itself
		};
		CTestThread oThread(Round, nStackSize);
		for (int i = 0; i < 100; ++i)
		{
			ASSERT_TRUE(oThread.Start());
			if (i % 2)
				oThread.Terminate();
			ASSERT_TRUE(oThread.WaitUntilTerminated());
		}
		EXPECT_EQ(nRounds, 100);
		EXPECT_EQ(oThread.AttributeStackSize() == 1048576, nStackSize != 0);
	}
	EXPECT_EQ(CountOwn("task"), nThreadsBefore);
}

TEST(CVexThread, ItsOwnRunMayDeleteIt)
{
	static std::atomic<int> nGone{ 0 };    // what the function has captured goes with the thread
	const auto DeleteIt = [](CTestThread& rThread)
	{
		delete &rThread;    // Start() may still be at work
		++nGone;
	};
	for (int i = 0; i < 20; ++i)
		ASSERT_TRUE((new CTestThread(DeleteIt))->Start());
	EXPECT_TRUE(ComesTrue([&] { return nGone == 20; }));
}

}    // namespace
