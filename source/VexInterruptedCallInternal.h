#pragma once

// For signal handlers that do real work: which call of the C library they have interrupted.

#pragma GCC visibility push(hidden)

namespace VexInterruptedCall
{
// Looks the functions' addresses up; before the first handler is installed.
void Prepare();

// True in a handler that has interrupted the memory allocator or the zone functions. Their locks are not recursive: a
// handler that allocates, or waits for a thread that does, would never end.
bool HoldsALock();

// True in a handler of a signal that abort() has raised.
bool IsAbort();

// Has the signal sent to this thread once more, in a millisecond. False if that cannot be.
bool SendAgain(int nSignal);

// What the calling thread has asked for by SendAgain() does not come any more.
void CancelSendAgain();
}    // namespace VexInterruptedCall

#pragma GCC visibility pop
