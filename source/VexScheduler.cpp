#include "VexScheduler.h"

#include "VexTraceTextInternal.h"

#include <algorithm>
#include <mutex>

namespace
{
// Part of the trace texts and fixed, wherever the statements stand.
enum ETraceLine
{
	eSignalled = 110,
	eNextTime = 156,
	eEnded = 160,
	eAdded = 203,
	eRemoved = 222
};

std::ostream& operator<<(std::ostream& rStream, ETraceLine eLine)
{
	return rStream << "\tFile source/VexScheduler Line " << static_cast<int>(eLine);
}

const int nPauses = 20;
const long nPauseMs = 50;

// A second, but for a request to end. Not a wait for that event: its deadline is one of the wall clock, and a clock that
// is put back would stop all jobs. True on the request.
bool Pause(CVexThread& rThread)
{
	bool bEnd = false;
	for (int i = 0; i < nPauses && !bEnd; ++i)
	{
		CVexThread::Sleep(0, nPauseMs);
		bEnd = rThread.IsTerminationRequested();
	}
	return bEnd;
}
}    // namespace

CVexScheduler::CScheduleThread* CVexScheduler::m_pScheduleThread = nullptr;
int CVexScheduler::m_nClassCount = 0;
int CVexScheduler::m_nCount = 0;

CVexScheduler::CVexScheduler(const CVexScheduleInfo& rInfo) : m_oInfo(rInfo), m_nScheduleID(++m_nCount)
{
	CVexScheduler::SetTraceName(nullptr);
	++m_nClassCount;
	// KEPT: a thread that has ended, its table being empty, is not started again for a new scheduler.
	// Test: CVexScheduler.ThreadThatHasEndedServesNoNewSchedulerKept
	if (m_pScheduleThread)
	{
		m_pScheduleThread->AddItem(this);
		return;
	}
	m_pScheduleThread = new CScheduleThread;
	m_pScheduleThread->AddItem(this);
	m_pScheduleThread->Start();
}

CVexScheduler::~CVexScheduler()
{
	--m_nClassCount;
	m_pScheduleThread->RemoveItem(m_nScheduleID);
	if (m_nClassCount == 0)
	{
		// One that stands still in abort() keeps its table, and the lock of it.
		if (!m_pScheduleThread->GiveUp())
			delete m_pScheduleThread;
		m_pScheduleThread = nullptr;
	}
}

void CVexScheduler::SetTraceName(const char* pszName)
{
	m_oTrace.SetName(pszName, nullptr);
}

void CVexScheduler::Enable(CVexEvent* pEvent)
{
	const CVexMutexLock oLock(m_oLockEvent);
	m_pEvent = pEvent;
}

void CVexScheduler::Disable()
{
	const CVexMutexLock oLock(m_oLockEvent);
	m_pEvent = nullptr;
}

void CVexScheduler::SignalIndication()
{
	{
		const CVexMutexLock oLock(m_oLockEvent);
		if (m_pEvent)
			m_pEvent->Signal();
	}
	VexTraceText(m_oTrace,
		CVexTraceMsg::eDebug,
		[this](std::ostream& rStream) { rStream << "Scheduler " << m_nScheduleID << " signalisiert." << eSignalled; });
}

CVexScheduler::CScheduleThread::CScheduleThread() : CVexThread(0)
{
	CScheduleThread::SetTraceName("CVexScheduler::m_pScheduleThread");
}

CVexScheduler::CScheduleThread::~CScheduleThread()
{
	Terminate();
}

void CVexScheduler::CScheduleThread::SetTraceName(const char* pszName)
{
	m_oTrace.SetName(pszName, nullptr);
}

void CVexScheduler::CScheduleThread::AddItem(CVexScheduler* pScheduler)
{
	const CVexMutexLock oLock(m_oLockTabelle);
	AddItemNoLock(pScheduler);
}

void CVexScheduler::CScheduleThread::AddItemNoLock(CVexScheduler* pScheduler)
{
	if (!pScheduler)
		return;
	TEntry oEntry(CVexLocalTime(0), pScheduler);
	if (!pScheduler->m_oInfo.GetNextTime(oEntry.first))
		return;
	// The table is sorted already.
	m_aoSchedules.insert(std::upper_bound(m_aoSchedules.begin(), m_aoSchedules.end(), oEntry, NotLess), oEntry);
	VexTraceText(m_oTrace,
		CVexTraceMsg::eDebug,
		[&](std::ostream& rStream)
		{
			rStream << "Neuer Scheduler aktiviert, Signalisierung =" << oEntry.first
					<< " (SchedulerID=" << pScheduler->m_nScheduleID << ")" << eAdded;
		});
}

void CVexScheduler::CScheduleThread::RemoveItem(int nScheduleID)
{
	// The thread may have called abort() in an indication, with the table locked: the end of the process does not wait
	// for it.
	while (!m_oLockTabelle.try_lock())
	{
		if (GiveUp())
			return;
		Sleep(0, 1);
	}
	const std::lock_guard<CVexMutex> oLock(m_oLockTabelle, std::adopt_lock);
	const auto IsScheduler = [=](const TEntry& rEntry) { return rEntry.second->m_nScheduleID == nScheduleID; };
	m_aoSchedules.erase(std::remove_if(m_aoSchedules.begin(), m_aoSchedules.end(), IsScheduler), m_aoSchedules.end());
	VexTraceText(m_oTrace,
		CVexTraceMsg::eDebug,
		[=](std::ostream& rStream)
		{ rStream << "Scheduler deaktiviert (SchedulerID=" << nScheduleID << ")" << eRemoved; });
}

bool CVexScheduler::CScheduleThread::NotLess(const TEntry& rLeft, const TEntry& rRight)
{
	return rLeft.first > rRight.first;
}

void CVexScheduler::CScheduleThread::Run()
{
	m_oTrace.AddMsg(CVexTraceMsg::eInfo, "Scheduler-Thread gestartet");
	std::size_t nCount = 1;
	for (bool bEnd = IsTerminationRequested(); !bEnd && nCount != 0; bEnd = Pause(*this))
	{
		const CVexLocalTime oNow = CVexLocalTime::CurrentLocalTime();
		const CVexMutexLock oLock(m_oLockTabelle);
		for (std::size_t i = m_aoSchedules.size(); i-- > 0;)
		{
			CVexLocalTime& rTime = m_aoSchedules[i].first;
			if (rTime > oNow)
				continue;
			CVexScheduler& rScheduler = *m_aoSchedules[i].second;
			rScheduler.SignalIndication();
			// KEPT: in the very millisecond of the due time that time is the next one again.
			// Test: CVexScheduleInfo.TimeOfThisMillisecondIsStillDueKept
			const bool bMore = rScheduler.m_oInfo.GetNextTime(rTime);
			VexTraceText(m_oTrace,
				CVexTraceMsg::eDebug,
				[&](std::ostream& rStream)
				{
					rStream << "Scheduler " << rScheduler.m_nScheduleID << ": Signalisierung";
					if (bMore)
						rStream << "=" << rTime << eNextTime;
					else
						rStream << " beendet" << eEnded;
				});
			if (!bMore)
				m_aoSchedules.erase(m_aoSchedules.begin() + static_cast<std::ptrdiff_t>(i));
		}
		std::stable_sort(m_aoSchedules.begin(), m_aoSchedules.end(), NotLess);
		nCount = m_aoSchedules.size();
	}
	m_oTrace.AddMsg(CVexTraceMsg::eInfo, "Scheduler-Thread wird beendet");
}

CVexScheduler::CScheduleThread::CVexTraceEx::CVexTraceEx()
	: CVexTrace("CVexScheduler::CScheduleThread", nullptr, nullptr)
{
}

CVexScheduler::CVexTraceEx::CVexTraceEx() : CVexTrace("CVexScheduler", nullptr, nullptr) {}

int CVexScheduler::GetId() const
{
	return m_nScheduleID;
}
