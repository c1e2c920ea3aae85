#include "VexApplicationEndInternal.h"

#include "VexSignalEndInternal.h"
#include "VexThread.h"

#include <unistd.h>

#include <atomic>

namespace VexApplicationEnd
{
namespace
{
enum EState
{
	eNotEnding,
	eFinalizing,
	eFinalizingForSignal,    // the end thread waits for Finalize() to return, and ends the process then
	eFinalized,
	eEndedBySignal,
	eExiting,
	eDestroyed
};

const int nRewriteLimitMs = 5000;

std::atomic<const void*> pOwner{ nullptr };
std::atomic<pid_t> nProcess{ 0 };
std::atomic<EState> eState{ eNotEnding };
std::atomic<int> nRewrites{ 0 };    // of all threads that can go on
std::atomic<int> nClosed{ 0 };      // while it is not 0, other threads do not begin one

// Initial-exec: signal handlers read them, and must not be the first to touch lazily allocated thread storage.
thread_local bool t_bOwnTask __attribute__((tls_model("initial-exec"))) = false;
thread_local int t_nRewrites __attribute__((tls_model("initial-exec"))) = 0;

bool Change(EState eFrom, EState eTo)
{
	return eState.compare_exchange_strong(eFrom, eTo);
}

// Another thread calls exit(); this one must not return from main() at the same time.
void LeaveTheEndToTheOther()
{
	while (!t_bOwnTask)
		pause();
}

// Until rIsOver() or the limit. Sleeps in small steps: what is waited for takes milliseconds, once in a process.
template <class TIsOver>
void WaitUntil(const TIsOver& rIsOver)
{
	for (int i = 0; i < nRewriteLimitMs && !rIsOver(); ++i)
		CVexThread::Sleep(0, 1);
}
}    // namespace

void Begin(const void* pApplication)
{
	pOwner = pApplication;
	nProcess = getpid();
	eState = eNotEnding;
	nClosed = 0;
	t_bOwnTask = false;
}

bool ClaimOrdinary(const void* pApplication)
{
	if (pOwner != pApplication || Change(eNotEnding, eFinalizing))
		return true;
	if (eState == eEndedBySignal || eState == eExiting)
		LeaveTheEndToTheOther();
	return false;
}

void OrdinaryFinalized(const void* pApplication)
{
	if (pOwner != pApplication || Change(eFinalizing, eFinalized))
		return;
	Change(eFinalizingForSignal, eEndedBySignal);
	if (eState == eEndedBySignal || eState == eExiting)
		LeaveTheEndToTheOther();
}

void ClaimDestruction(const void* pApplication)
{
	if (pOwner != pApplication)
		return;
	const EState eBefore = eState.exchange(eDestroyed);
	if (eBefore == eEndedBySignal || eBefore == eExiting)
	{
		eState = eBefore;
		LeaveTheEndToTheOther();
	}
}

bool ClaimExit()
{
	if (nProcess != getpid())
		return false;
	const EState eBefore = eState;
	if (eBefore == eDestroyed)
		return false;
	if (eBefore == eEndedBySignal || !Change(eBefore, eExiting))
		LeaveTheEndToTheOther();
	t_bOwnTask = true;
	return true;
}

ESignalClaim ClaimSignal(bool bAborted, bool bFinalizerAborted)
{
	ESignalClaim eClaim = eAlreadyFinalized;
	if (Change(eNotEnding, eEndedBySignal))
		eClaim = eFinalize;
	else if (bAborted && Change(eFinalizing, bFinalizerAborted ? eEndedBySignal : eFinalizingForSignal))
	{
		while (eState == eFinalizingForSignal)
			CVexThread::Sleep(0, 10);
	}
	else if (!Change(eFinalized, eEndedBySignal))
		return eEndIsUnderWay;
	t_bOwnTask = eState == eEndedBySignal;
	return t_bOwnTask ? eClaim : eEndIsUnderWay;
}

bool IsEndedBySignal()
{
	return eState == eEndedBySignal;
}

bool IsOwnTask()
{
	return t_bOwnTask;
}

CRewrite::CRewrite()
{
	const bool bOutermost = t_nRewrites == 0;
	if (bOutermost && t_bOwnTask)
		AwaitRewrites(false);
	++nRewrites;
	++t_nRewrites;
	if (!bOutermost || t_bOwnTask || nClosed == 0)
		return;
	--nRewrites;
	WaitUntil([] { return nClosed == 0; });
	++nRewrites;
}

CRewrite::~CRewrite()
{
	--t_nRewrites;
	--nRewrites;
}

void AwaitRewrites(bool bClose)
{
	// Before the count is read: a thread counts itself first and then looks whether it may.
	++nClosed;
	{
		const VexSignalEnd::CNeedsOthers oNeedsOthers;
		WaitUntil([] { return nRewrites <= t_nRewrites; });
	}
	if (!bClose)
		--nClosed;
}

void DiscountOwnRewrites(bool bDiscount)
{
	nRewrites += bDiscount ? -t_nRewrites : t_nRewrites;
}
}    // namespace VexApplicationEnd
