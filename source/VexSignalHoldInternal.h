#pragma once

// Puts signal handlers off while their thread holds a tracing lock or a use of the active trace server.
//
// A handler that traces and stops the server would wait for ever for a lock or a use of the very thread that it
// interrupts; so it is with the mutexes of events. Each thread therefore counts what it holds; a handler asks PutOff() first and, if told so, returns. It
// runs again, on the same thread, as soon as the thread has given back what it held.

#include "VexMutex.h"

#pragma GCC visibility push(hidden)

namespace VexSignalHold
{
typedef void (*Handler)(int);

// A tracing lock, locked from construction to destruction.
class CTraceLock
{
public:
	explicit CTraceLock(CVexMutex& rMutex);
	~CTraceLock();
	CTraceLock(const CTraceLock&) = delete;
	CTraceLock& operator=(const CTraceLock&) = delete;

private:
	CVexMutex& m_rMutex;
};

// No handler runs on this thread during the object's life but in RunPutOff().
class CHold
{
public:
	CHold();
	~CHold();
	CHold(const CHold&) = delete;
	CHold& operator=(const CHold&) = delete;

	// The thread holds nothing that a handler needs: handlers that were put off run now.
	void RunPutOff();

	// Lets handlers run during its life, for a wait that gives rMutex back. A signal in the few instructions between
	// this and the wait finds the mutex still locked; nothing can be done about that.
	class CBreak
	{
	public:
		CBreak(CHold& rHold, CVexMutex& rMutex);
		~CBreak();
		CBreak(const CBreak&) = delete;
		CBreak& operator=(const CBreak&) = delete;

		// Handlers that were put off have run, with the mutex unlocked: what it guards may have changed.
		bool HasRun() const { return m_bHasRun; }

	private:
		bool m_bHasRun = false;
	};
};

// The calling thread has taken, or given back, a use of the active server.
void AddUse();
void RemoveUse();

// The uses that the calling thread holds and that whoever waits for the users' end must not wait for: not 0 only
// while a handler runs in spite of them. UsesHeld() counts always.
long UsesToIgnore();
long UsesHeld();

// For signal handlers. True: return now; pHandler will be called with the signal later on this thread. A second
// signal of the same kind is put off while the thread holds a lock (for an instant), but not for its uses. A handler
// that has interrupted the memory allocator is put off for a millisecond at a time.
bool PutOff(int nSignal, Handler pHandler);
}    // namespace VexSignalHold

#pragma GCC visibility pop
