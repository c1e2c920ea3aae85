#include "VexSignalHoldInternal.h"

#include "VexInterruptedCallInternal.h"
#include "VexMutex.h"

#include <atomic>
#include <csignal>
#include <cstdint>

namespace VexSignalHold
{
namespace
{
// Written by the thread and by the handlers that interrupt it. Relaxed atomics: one thread only, but no torn values.
struct SThreadState
{
	std::atomic<int> m_nLocks{ 0 };
	std::atomic<int> m_nUses{ 0 };
	std::atomic<bool> m_bIgnoreUses{ false };
	std::atomic<bool> m_bUrgent{ false };         // a second signal came: no longer put off for uses
	std::atomic<std::uint64_t> m_nPutOff{ 0 };    // bit n: signal n + 1
	std::atomic<Handler> m_pHandler{ nullptr };
};

// Initial-exec: a handler must not be the first to touch lazily allocated thread storage.
thread_local SThreadState t_oState __attribute__((tls_model("initial-exec")));

const auto eRelaxed = std::memory_order_relaxed;

std::uint64_t SignalBit(int nSignal)
{
	return std::uint64_t(1) << ((nSignal - 1) & 63);
}

void Run(SThreadState& rState)
{
	const bool bUrgent = rState.m_bUrgent.exchange(false, eRelaxed);
	const std::uint64_t nSignals = rState.m_nPutOff.exchange(0, eRelaxed);
	const bool bIgnoredBefore = rState.m_bIgnoreUses.exchange(bUrgent, eRelaxed);
	for (int nSignal = 1; nSignal <= 64; ++nSignal)
		if (nSignals & SignalBit(nSignal))
			rState.m_pHandler.load(eRelaxed)(nSignal);
	rState.m_bIgnoreUses.store(bIgnoredBefore, eRelaxed);
}

// True if something ran.
inline bool RunIfFree(SThreadState& rState)
{
	if (__builtin_expect(rState.m_nPutOff.load(eRelaxed) == 0, 1) || rState.m_nLocks.load(eRelaxed) != 0 ||
		(rState.m_nUses.load(eRelaxed) != 0 && !rState.m_bUrgent.load(eRelaxed)))
		return false;
	Run(rState);
	return true;
}

// No read-modify-write: only this thread writes the counts, and a handler leaves them as it found them.
inline void Add(std::atomic<int>& rCount, int nDelta)
{
	rCount.store(rCount.load(eRelaxed) + nDelta, eRelaxed);
	std::atomic_signal_fence(std::memory_order_seq_cst);
}
}    // namespace

CTraceLock::CTraceLock(CVexMutex& rMutex) : m_rMutex(rMutex)
{
	Add(t_oState.m_nLocks, 1);
	m_rMutex.Lock(0xFFFFFFFF);
}

CTraceLock::~CTraceLock()
{
	m_rMutex.Unlock();
	SThreadState& rState = t_oState;
	Add(rState.m_nLocks, -1);
	RunIfFree(rState);
}

CHold::CHold()
{
	Add(t_oState.m_nLocks, 1);
}

CHold::~CHold()
{
	SThreadState& rState = t_oState;
	Add(rState.m_nLocks, -1);
	RunIfFree(rState);
}

void CHold::RunPutOff()
{
	SThreadState& rState = t_oState;
	if (rState.m_nPutOff.load(eRelaxed) == 0)
		return;
	const int nLocks = rState.m_nLocks.exchange(0, eRelaxed);
	RunIfFree(rState);
	rState.m_nLocks.store(nLocks, eRelaxed);
}

CHold::CBreak::CBreak(CHold&, CVexMutex& rMutex)
{
	SThreadState& rState = t_oState;
	Add(rState.m_nLocks, -1);
	if (rState.m_nPutOff.load(eRelaxed) == 0 || rState.m_nLocks.load(eRelaxed) != 0)
		return;
	// No handler may begin while the mutex is given back and taken again.
	Add(rState.m_nLocks, 1);
	rMutex.Unlock();
	Add(rState.m_nLocks, -1);
	m_bHasRun = RunIfFree(rState);
	Add(rState.m_nLocks, 1);
	rMutex.Lock(0xFFFFFFFF);
	Add(rState.m_nLocks, -1);
}

CHold::CBreak::~CBreak()
{
	Add(t_oState.m_nLocks, 1);
}

void AddUse()
{
	Add(t_oState.m_nUses, 1);
}

void RemoveUse()
{
	SThreadState& rState = t_oState;
	// Below 0 would come of a use that another thread took: it must not hide a later use of this one.
	if (rState.m_nUses.load(eRelaxed) > 0)
		Add(rState.m_nUses, -1);
	RunIfFree(rState);
}

long UsesToIgnore()
{
	return t_oState.m_bIgnoreUses.load(eRelaxed) ? UsesHeld() : 0;
}

long UsesHeld()
{
	return t_oState.m_nUses.load(eRelaxed);
}

bool PutOff(int nSignal, Handler pHandler)
{
	SThreadState& rState = t_oState;
	const bool bLocked = rState.m_nLocks.load(eRelaxed) > 0;
	const bool bUses = rState.m_nUses.load(eRelaxed) > 0 && !rState.m_bIgnoreUses.load(eRelaxed);
	// abort() ends the process by itself when the handler returns: it is not put off for uses either.
	const bool bSecond = (rState.m_nPutOff.load(eRelaxed) & SignalBit(nSignal)) != 0 ||
		(nSignal == SIGABRT && bUses && VexInterruptedCall::IsAbort());
	if (!bLocked && (!bUses || bSecond) && VexInterruptedCall::HoldsALock() && VexInterruptedCall::SendAgain(nSignal))
		return true;
	if (!bLocked && !bUses)
		return false;
	rState.m_pHandler.store(pHandler, eRelaxed);
	rState.m_nPutOff.fetch_or(SignalBit(nSignal), eRelaxed);
	if (bSecond)
		rState.m_bUrgent.store(true, eRelaxed);
	RunIfFree(rState);
	return true;
}
}    // namespace VexSignalHold
