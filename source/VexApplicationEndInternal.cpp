#include "VexApplicationEndInternal.h"

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
	eFinalized,
	eEndedBySignal,
	eDestroyed
};

std::atomic<const void*> pOwner{ nullptr };
std::atomic<EState> eState{ eNotEnding };
thread_local bool t_bEndsProcess __attribute__((tls_model("initial-exec"))) = false;

bool Change(EState eFrom, EState eTo)
{
	return eState.compare_exchange_strong(eFrom, eTo);
}

// The handler's thread calls exit(); this one must not return from main() at the same time.
void LeaveTheEndToTheHandler()
{
	while (!t_bEndsProcess)
		pause();
}
}    // namespace

void Begin(const void* pApplication)
{
	pOwner = pApplication;
	eState = eNotEnding;
}

bool ClaimOrdinary(const void* pApplication)
{
	if (pOwner != pApplication || Change(eNotEnding, eFinalizing))
		return true;
	if (eState == eEndedBySignal)
		LeaveTheEndToTheHandler();
	return false;
}

void OrdinaryFinalized(const void* pApplication)
{
	if (pOwner == pApplication)
		Change(eFinalizing, eFinalized);
}

void ClaimDestruction(const void* pApplication)
{
	if (pOwner == pApplication && eState.exchange(eDestroyed) == eEndedBySignal)
		LeaveTheEndToTheHandler();
}

ESignalClaim ClaimSignal()
{
	if (Change(eNotEnding, eEndedBySignal))
	{
		t_bEndsProcess = true;
		return eFinalize;
	}
	if (Change(eFinalized, eEndedBySignal))
	{
		t_bEndsProcess = true;
		return eAlreadyFinalized;
	}
	return eEndIsUnderWay;
}

bool IsEndedBySignal()
{
	return eState == eEndedBySignal;
}
}    // namespace VexApplicationEnd
