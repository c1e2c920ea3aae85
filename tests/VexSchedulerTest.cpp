#include "VexScheduler.h"

#include "VexConApplication.h"
#include "VexStringFunc.h"
#include "support/ProgramRunner.h"
#include "support/RecordingServer.h"

#include <gtest/gtest.h>

#include <csignal>

namespace
{
const unsigned int nLimitMs = 60000;
const CVexTimeDiff oWholeDay(86399999);

CVexLocalTime In(int nMilli)
{
	CVexLocalTime oTime = CVexLocalTime::CurrentLocalTime();
	oTime.CVexUTCTime::operator+=(CVexTimeDiff(nMilli));
	return oTime;
}

// Due once at the time, and never again.
CVexScheduleInfo Once(const CVexLocalTime& rTime)
{
	return CVexScheduleInfo(rTime, rTime, 0, 127, 0, oWholeDay);
}

// Due every nDays days.
CVexScheduleInfo Daily(const CVexLocalTime& rTime, int nDays)
{
	return CVexScheduleInfo(rTime, 1000, nDays * 86400 * 100000000LL, 127, 0, oWholeDay);
}

class CTestScheduler : public CVexScheduler
{
public:
	CTestScheduler(const CVexScheduleInfo& rInfo, std::function<void()> oIndication)
		: CVexScheduler(rInfo), m_oIndication(std::move(oIndication))
	{
		m_pScheduleThread->AddItem(nullptr);
	}
	~CTestScheduler() override { m_pScheduleThread->RemoveItem(GetId()); }

	void SignalIndication() override { m_oIndication(); }

	static bool HasThreadEnded()
	{
		return m_pScheduleThread && m_pScheduleThread->GetState() == CVexThread::STATE_TERMINATED;
	}

private:
	const std::function<void()> m_oIndication;
};

const std::string sThread = "CVexScheduler::m_pScheduleThread/CVexScheduler::CScheduleThread ";
const std::string sFile = "\tFile source/VexScheduler Line ";

TEST(CVexScheduler, EarlierJobIsSignalledFirstAndEverythingIsTraced)
{
	CRecordingServer oServer(CVexTraceMsg::eInfo | CVexTraceMsg::eDebug);
	const CVexLocalTime oFirst = In(700), oSecond = In(710);
	CVexLocalTime oAgain = oFirst;
	oAgain.CVexUTCTime::operator+=(CVexTimeDiff(20, 0, 0, 0, 0, 0, 0));
	CVexEvent oEvent, oDisabled;
	int nId = 0;
	{
		CVexScheduler oLater(Once(oSecond)), oEarlier(Daily(oFirst, 20));
		nId = oLater.GetId();
		oEarlier.Enable(&oDisabled);
		oEarlier.Disable();
		oLater.SetTraceName("later");
		oLater.Enable(&oEvent);
		EXPECT_TRUE(oEvent.Wait(nLimitMs));
		EXPECT_FALSE(oDisabled.Wait(0));
	}
	std::vector<std::string> asLines = oServer.Lines();
	const auto oStarted = std::find(asLines.begin(), asLines.end(), sThread + "Scheduler-Thread gestartet");
	ASSERT_NE(oStarted, asLines.end());
	asLines.erase(oStarted);    // at any time from the first scheduler on
	const auto Text = [](const CVexLocalTime& rTime) { return VexToString(rTime, CVexUTCTime::TTMMJJJJ_HHMMSSmmm); };
	const std::string sLater = std::to_string(nId), sEarlier = std::to_string(nId + 1);
	const std::string sNew = sThread + "Neuer Scheduler aktiviert, Signalisierung =";
	const std::string sGone = sThread + "Scheduler deaktiviert (SchedulerID=";
	EXPECT_EQ(asLines,
		(std::vector<std::string>{ sNew + Text(oSecond) + " (SchedulerID=" + sLater + ")" + sFile + "203",
			sNew + Text(oFirst) + " (SchedulerID=" + sEarlier + ")" + sFile + "203",
			"/CVexScheduler Scheduler " + sEarlier + " signalisiert." + sFile + "110",
			sThread + "Scheduler " + sEarlier + ": Signalisierung=" + Text(oAgain) + sFile + "156",
			"later/CVexScheduler Scheduler " + sLater + " signalisiert." + sFile + "110",
			sThread + "Scheduler " + sLater + ": Signalisierung beendet" + sFile + "160",
			sGone + sEarlier + ")" + sFile + "222",
			sGone + sLater + ")" + sFile + "222",
			sThread + "Scheduler-Thread wird beendet" }));
}

TEST(CVexScheduler, ThreadThatHasEndedServesNoNewSchedulerKept)
{
	{
		CVexScheduler oOnce(Once(In(0)));
		ASSERT_TRUE(ComesTrue(CTestScheduler::HasThreadEnded));
		CVexScheduler oNew(Daily(In(0), 1));
		EXPECT_TRUE(CTestScheduler::HasThreadEnded());
	}
	// But there is a new one when all are gone; and destruction waits for an indication.
	CVexEvent oRuns;
	std::atomic<bool> bDone{ false };
	const auto Indication = [&]
	{
		oRuns.Signal();
		CVexThread::Sleep(0, 200);
		bDone = true;
	};
	{
		CTestScheduler oScheduler(Daily(In(500), 1), Indication);
		ASSERT_TRUE(oRuns.Wait(nLimitMs));
	}
	EXPECT_TRUE(bDone);
}

// Destroys its scheduler in Finalize(), by a signal on the scheduler's own thread: in an indication, or while it waits.
class CSignalledApplication : public CVexConApplication
{
public:
	explicit CSignalledApplication(bool bInIndication)
		: CVexConApplication(nullptr, nullptr, nullptr), m_bInIndication(bInIndication)
	{
	}
	void Run() override
	{
		std::atomic<pthread_t> nThread{ 0 };
		const auto Indication = [&]
		{
			nThread = pthread_self();
			if (m_bInIndication)
				raise(SIGTERM);
		};
		m_pScheduler = new CTestScheduler(Daily(In(500), 1), Indication);
		ComesTrue([&] { return nThread != 0; });
		CVexThread::Sleep(0, 100);
		pthread_kill(nThread, SIGTERM);
		pause();
	}
	bool Finalize() override
	{
		delete m_pScheduler.exchange(nullptr);
		return true;
	}

private:
	const bool m_bInIndication;
	std::atomic<CTestScheduler*> m_pScheduler{ nullptr };
};

bool RunSignalled(bool bInIndication)
{
	alarm(nLimitMs / 1000);    // for a handler that waits for ever
	char szName[] = "program", *apszArgs[] = { szName, nullptr };
	return CSignalledApplication(bInIndication).Start(1, apszArgs);
}

TEST(CVexSchedulerDeathTest, SignalOnTheSharedThreadEndsTheProgram)
{
	for (const bool bInIndication : { true, false })
		EXPECT_EXIT(_exit(1 + RunSignalled(bInIndication)), testing::ExitedWithCode(0), "");
}

TEST(Heartbeat, BeatsAsOftenAsTold)
{
	CTempFolder oFolder;
	oFolder.WriteFile("heartbeat.ini", "[Heartbeat]\nEverySec=1\nBeats=100000\n");
	CProgramRunner oProgram(LinkProgram(VEX_EXAMPLE_DIR "/heartbeat", oFolder));
	oProgram.Start({ "-beats", "2" });
	EXPECT_EQ(oProgram.EndStatus(), 0);
	EXPECT_NE(oProgram.Output().find("beat ", 5), std::string::npos);
}
}    // namespace
