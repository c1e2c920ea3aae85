#pragma once

// Ends the process on a signal, on a thread of its own: the signal handlers only hand their signal over.
//
// The thread that a signal interrupts may hold any lock of the program, so nothing that could wait for one happens in a
// handler. The main thread stands still in its handler, because Finalize() may delete what Run() uses. If the end thread
// cannot go on meanwhile, the main thread may hold what it waits for: it is let on for slices of about a millisecond of
// its processor time, until the end thread moves again.
//
// A thread that got SIGABRT stands still as well, whichever it is: returning into abort() is death by the system.

#include <csignal>

#pragma GCC visibility push(hidden)

namespace VexSignalEnd
{
// Makes the end thread, which calls pTakeUp with every signal that was handed over; the caller becomes the main thread.
// Each Begin() has its End(); the first one makes the thread.
void Begin(void (*pTakeUp)(int nSignal));

// The last one: the thread takes up what was handed over, and is gone.
void End();

// There is an end thread in this process.
bool IsReady();

// The calling thread is the main thread from now on.
void SetMainThread();

// For signal handlers, and async-signal-safe. May return late, or never.
void HandOver(int nSignal);

// Waits until every signal that was handed over has been taken up. Does nothing on the end thread and in a process
// without one.
void AwaitTakeUp();

// These are for the end thread.

// A signal that was handed over and that nobody has taken yet; 0 if there is none.
int TakeNext();

// SIGABRT is taken up now; the last SIGABRT came to the main thread.
bool IsTakingUpAbort();
bool HasMainThreadAborted();

// Finalize() comes: if the signal came to another thread, the main thread is called into its handler.
void StopMainThread();

// These tell the main thread, which stands still, when it must be let on; harmless on other threads.

// What the caller waits for during the object's life is done by other threads.
class CNeedsOthers
{
public:
	CNeedsOthers();
	~CNeedsOthers();
	CNeedsOthers(const CNeedsOthers&) = delete;
	CNeedsOthers& operator=(const CNeedsOthers&) = delete;
};

// Sleeps for a span that nobody can shorten: nobody is let on because of it.
void SleepFixed(long nMilliSec);

// The thread that the caller waits for, 0 for none. It may wait for a lock as well.
void SetAwaited(int nThread);

// For the trace server's thread: it has written a message, so the end goes on.
void CountProgress();

// The system's identifier of the calling thread.
int ThreadId();
}    // namespace VexSignalEnd

#pragma GCC visibility pop
