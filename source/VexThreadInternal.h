#pragma once

// Threads that stand still because SIGABRT came to them.

#pragma GCC visibility push(hidden)

// For a signal handler, async-signal-safe: the calling thread stands still, since SIGABRT came to it.
void VexHoldOwnThread();

// It would go on. False if CVexThread::Terminate() has given it up meanwhile: what it uses may be gone.
bool VexReleaseOwnThread();

#pragma GCC visibility pop
