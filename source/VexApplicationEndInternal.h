#pragma once

// Who ends the application: its own Start() and destructor, or a signal handler on whatever thread. Exactly one of
// them runs Finalize(), and the others keep out of its way.

#pragma GCC visibility push(hidden)

namespace VexApplicationEnd
{
// The application object that is registered now. What others do does not count.
void Begin(const void* pApplication);

// Start() has come to its end. True: call Finalize() and then OrdinaryFinalized(). Does not return if a signal handler
// on another thread ends the process.
bool ClaimOrdinary(const void* pApplication);
void OrdinaryFinalized(const void* pApplication);

// The application object is being destroyed: no handler touches it any more. Does not return if a signal handler on
// another thread ends the process.
void ClaimDestruction(const void* pApplication);

enum ESignalClaim
{
	eEndIsUnderWay,      // leave it to whoever ends the application
	eFinalize,           // this thread ends the process
	eAlreadyFinalized    // the same, but Finalize() has run
};
ESignalClaim ClaimSignal();

// A handler has claimed the end, and exit() may be running: nobody else calls it.
bool IsEndedBySignal();
}    // namespace VexApplicationEnd

#pragma GCC visibility pop
