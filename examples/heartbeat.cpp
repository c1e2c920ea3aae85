// A scheduled job: beats in an interval, at certain hours of certain days, until a signal or so many beats end it.
//
//	heartbeat [-beats <n>]    -beats: that many beats, in place of the ini file's number

#include "VexCmdLineExchange.h"
#include "VexConApplication.h"
#include "VexIniFile.h"
#include "VexOptionExchange.h"
#include "VexScheduler.h"

#include <iostream>

struct CSettings : CVexIniFile
{
	explicit CSettings(const std::string& sFile) : CVexIniFile(sFile.c_str(), eAbsolutePath) {}
	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		IOX_Std(pExchange, "Heartbeat", "EverySec", m_nEverySec, 60u);
		IOX_Std(pExchange, "Heartbeat", "Beats", m_nBeats, 0L);    // 0: no end
		IOX_Std(pExchange, "Heartbeat", "From", m_sFrom, std::string("00:00:00"));
		IOX_Std(pExchange, "Heartbeat", "To", m_sTo, std::string("23:59:59"));
		IOX_Std(pExchange, "Heartbeat", "Weekdays", m_nWeekdays, 127u);
	}
	unsigned int m_nEverySec = 0, m_nWeekdays = 0;
	long m_nBeats = 0;
	std::string m_sFrom, m_sTo;
};

class CHeartbeat : public CVexConApplication
{
public:
	CHeartbeat() : CVexConApplication(nullptr, nullptr, nullptr) {}
	void DoCmdLineExchange(CVexCmdLineApplExchange* pExchange) override
	{
		pExchange->AddParamDescription("beats", true);
		m_bBeatsGiven = pExchange->GetParameter("beats", true, m_sBeats);
	}

protected:
	bool Initialize() override
	{
		CSettings oSettings(m_sStdConfigFile);
		oSettings.UpdateOptions(false);
		const unsigned int nEvery = oSettings.m_nEverySec;
		m_nBeats = oSettings.m_nBeats;
		CVexTimeDiff oFrom, oTo;
		if ((m_bBeatsGiven && (!VexFromString(m_nBeats, m_sBeats) || m_nBeats < 0)) || nEvery < 1 ||
			nEvery > 20 * 86400 || !VexFromString(oFrom, CVexTimeDiff::HHMMSS, oSettings.m_sFrom) ||
			!VexFromString(oTo, CVexTimeDiff::HHMMSS, oSettings.m_sTo))
			return false;
		CVexLocalTime oFirst = CVexLocalTime::CurrentLocalTime();
		oFirst.CVexUTCTime::operator+=(CVexTimeDiff(nEvery * 1000LL));    // as a local time it would move by ticks
		const CVexTimeDiff oInterval(nEvery * 100000000LL);               // its milliseconds count as ticks of 10 ns
		const auto nDays = static_cast<short>(oSettings.m_nWeekdays);
		m_oSchedule = CVexScheduleInfo(oFirst, 0xFFFFFFFF, oInterval, nDays, oFrom, oTo);
		return true;
	}
	void Run() override
	{
		CVexScheduler oScheduler(m_oSchedule);
		oScheduler.Enable(&m_oDue);
		CVexLocalTime oNext(0);
		for (long nDone = 0; (m_nBeats == 0 || nDone < m_nBeats) && m_oSchedule.GetNextTime(oNext);)
			if (m_oDue.Wait(2000))
			{
				std::cout << "beat " << CVexLocalTime::CurrentLocalTime() << std::endl;
				++nDone;
			}
	}

private:
	CVexScheduleInfo m_oSchedule;
	CVexEvent m_oDue;
	std::string m_sBeats;
	bool m_bBeatsGiven = false;
	long m_nBeats = 0;
};

int main(int nArgc, char** ppszArgv)
{
	return CHeartbeat().Start(nArgc, ppszArgv) ? 0 : 1;
}
