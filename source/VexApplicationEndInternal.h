#pragma once

// Who ends the application: its own Start() and destructor, exit(), or the thread that ends it on a signal. Exactly one
// of them runs Finalize(), and the others keep out of its way.

#pragma GCC visibility push(hidden)

namespace VexApplicationEnd
{
// The application object that is registered now. What others do does not count.
void Begin(const void* pApplication);

// Start() has come to its end. True: call Finalize() and then OrdinaryFinalized(). Neither returns once the application
// is ended by a signal.
bool ClaimOrdinary(const void* pApplication);
void OrdinaryFinalized(const void* pApplication);

// The application object is being destroyed: the end thread does not touch it any more. Does not return once the
// application is ended by a signal.
void ClaimDestruction(const void* pApplication);

// exit() runs. False if the application has come to its end already, or comes to it now.
bool ClaimExit();

enum ESignalClaim
{
	eEndIsUnderWay,      // leave it to the one who ends the application
	eFinalize,           // the calling thread ends the process
	eAlreadyFinalized    // the same, but Finalize() has run or was broken off by abort()
};

// For the end thread, which is the one that ends the process from then on. With bAborted a thread has called abort() and
// cannot go on: an ordinary end that is under way is then taken over once its Finalize() has returned, or, with
// bFinalizerAborted, at once.
ESignalClaim ClaimSignal(bool bAborted, bool bFinalizerAborted);

bool IsEndedBySignal();

// The calling thread ends the process.
bool IsOwnTask();

// The rewrite of a file, from reading it to the last byte written: the process does not exit in the middle. The thread
// that ends the process waits in the constructor until the rewrites of all other threads are finished. Meanwhile, and once
// the process exits, other threads wait there instead of beginning one. All waits are limited to 5 s, since a rewrite may
// itself wait for what the other side holds.
class CRewrite
{
public:
	CRewrite();
	~CRewrite();
	CRewrite(const CRewrite&) = delete;
	CRewrite& operator=(const CRewrite&) = delete;
};

// Waits until no other thread rewrites a file, for 5 s at most; none begins meanwhile, with bClose ever.
void AwaitRewrites(bool bClose);

// For a signal handler: the calling thread's rewrites do not count while it cannot go on.
void DiscountOwnRewrites(bool bDiscount);
}    // namespace VexApplicationEnd

#pragma GCC visibility pop
