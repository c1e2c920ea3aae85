#pragma once

// A job that is done at the times of a schedule.

#include "VexLocalTime.h"
#include "VexMutex.h"
#include "VexScheduleInfo.h"
#include "VexThread.h"
#include "VexTrace.h"

#include <utility>
#include <vector>

// Signals an event when its schedule says so, or does what the SignalIndication() of a deriving class does. All
// schedulers of a process share one thread, which looks once a second: jobs are up to a second late, a job whose
// interval is shorter is done once a second, and one that was due in the very millisecond of the look is done once more
// at the next look.
//
// Threads:   schedulers are created and destroyed on one thread: the counters and the pointer to the shared thread have
//            no lock. It may be the one that runs CVexConApplication::Finalize() on a signal. Enable() and Disable()
//            from any thread.
// Ownership: the event stays the caller's and must outlive its being enabled.
// Trap:      the shared thread ends when no scheduler has a due time any more. Schedulers made after that are not served
//            until all of the process, old and new, have been destroyed and another one is made.
// Overrides: the shared thread knows the object before the constructor of a deriving class begins and after its
//            destructor has ended. A class that overrides SignalIndication() therefore
//            - gives its schedule a first time that lies ahead of its construction,
//            - ends its constructor with m_pScheduleThread->AddItem(nullptr), which does nothing but wait for the table,
//              so that the shared thread finds the whole object,
//            - begins its destructor with m_pScheduleThread->RemoveItem(GetId()), which waits for a SignalIndication()
//              that runs.
// Errors:    a schedule that is never due, or a system without a thread to spare: the job is never done.
class CVexScheduler
{
public:
	class CVexTraceEx : public CVexTrace
	{
	public:
		CVexTraceEx();
	};

	// Copies the schedule. The first scheduler starts the shared thread; a time that is due already is due at once.
	explicit CVexScheduler(const CVexScheduleInfo& rInfo);
	CVexScheduler(const CVexScheduler&) = delete;
	CVexScheduler& operator=(const CVexScheduler&) = delete;

	virtual void SetTraceName(const char* pszName);

	// Waits for a SignalIndication() that runs, of whatever scheduler. The last scheduler ends the shared thread.
	virtual ~CVexScheduler();

	// The event that is signalled from now on. While there is none the schedule goes on all the same.
	virtual void Enable(CVexEvent* pEvent);
	virtual void Disable();

	// On the shared thread, which does nothing else meanwhile, with its table locked: an override must not create or
	// destroy schedulers, nor enter or remove any.
	virtual void SignalIndication();

	// From 1 on, never used again.
	int GetId() const;

protected:
	// Keeps the next due time of every scheduler.
	//
	// Threads: all functions lock the table, but AddItemNoLock(). Nothing that a table has is owned.
	class CScheduleThread : public CVexThread
	{
	public:
		class CVexTraceEx : public CVexTrace
		{
		public:
			CVexTraceEx();
		};

		typedef std::pair<CVexLocalTime, CVexScheduler*> TEntry;

		using CVexThread::GiveUp;

		CScheduleThread();

		// Ends the thread: at once, but for a SignalIndication() that runs.
		~CScheduleThread() override;

		// Until the table is empty.
		void Run() override;
		virtual void SetTraceName(const char* pszName);

		// Null, and a scheduler that is never due, are not entered.
		void AddItem(CVexScheduler* pScheduler);
		void AddItemNoLock(CVexScheduler* pScheduler);

		// No SignalIndication() of the scheduler runs any more when this returns.
		void RemoveItem(int nScheduleID);

		// The order of the table: the latest time comes first.
		static bool NotLess(const TEntry& rLeft, const TEntry& rRight);

	protected:
		CVexTraceEx m_oTrace;
		std::vector<TEntry> m_aoSchedules;
		CVexMutex m_oLockTabelle;    // guards m_aoSchedules; taken before m_oLockEvent of a scheduler
	};

	CVexTraceEx m_oTrace;
	CVexEvent* m_pEvent = nullptr;    // not owned
	CVexMutex m_oLockEvent;           // guards m_pEvent
	CVexScheduleInfo m_oInfo;
	int m_nScheduleID;

	static CScheduleThread* m_pScheduleThread;    // null while there is no scheduler
	static int m_nClassCount;                     // schedulers that live
	static int m_nCount;                          // schedulers ever made
};
