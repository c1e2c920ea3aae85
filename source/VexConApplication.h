#pragma once

// The application frame of programs without a user interface.

#include "VexApplication.h"

#include <sys/types.h>

#include <atomic>

// Ends cleanly on SIGINT, SIGTERM and SIGABRT: Finalize() runs, the trace server writes what is queued and stops, and
// the process exits with status 0, or 3 for SIGABRT. The application object is not destroyed then.
//
// A thread of this class does that, the end thread; it lives from this constructor to the destructor, and the signal
// handlers only wake it. So Finalize() runs on a thread of its own, in the middle of anything that other threads do. From
// the end of this class's construction on a signal may call it: before Initialize(), and before the members of the
// deriving class are built.
//
// The main thread (the one that calls Start()) stands still in the handler that interrupts it, so Finalize() may delete
// what Run() uses. It may hold a lock that Finalize() needs: then it goes on for slices of a millisecond until the end
// thread has the lock. While Finalize() waits for an event or sleeps, it goes on for one slice each 100 ms. Other threads
// go on. Only a thread that got SIGABRT always stands still; if it holds what the end needs, for example after a damaged
// heap, abort() ends the process with SIGABRT after 2 s.
//
// When the end is under way already, a signal has no further effect. In a child after fork signals are ignored. If the
// end thread cannot be made, no handlers are installed, which is traced as an error.
class CVexConApplication : public CVexBaseApplication
{
public:
	CVexConApplication(const char* pszStdConfigFile, const char* pszApplName, const char* pszLogfileExt);

	// From its beginning on signals have the system's default action. A deriving class whose members Finalize() needs
	// calls RemoveSignalHandlers() in its own destructor.
	~CVexConApplication() override;

protected:
	bool Initialize() override;
	bool Finalize() override;
	virtual void InstallSignalHandlers();
	virtual void RemoveSignalHandlers();

	static std::atomic<pid_t> m_nPID;    // the process that constructed the application

private:
	static void StdSignalHandler(int nSignal);
	static bool FinalizeFromSignalHandler();
	static void TakeUpSignal(int nSignal);
};
