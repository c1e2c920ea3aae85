#include "VexInterruptedCallInternal.h"

#include <dlfcn.h>
#include <malloc.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>
#include <unwind.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>

namespace VexInterruptedCall
{
namespace
{
struct SFunction
{
	const char* m_szName;
	bool m_bLocks;    // false: abort()
	// By the program's view and by the C library's own: they differ when an allocator of another library is in use, and
	// in programs that are not position-independent. A part that the compiler has split off is not found.
	std::atomic<std::uintptr_t> m_anEntry[2];
};

SFunction aoFunctions[] = { { "malloc", true, {} },
	{ "free", true, {} },
	{ "calloc", true, {} },
	{ "realloc", true, {} },
	{ "aligned_alloc", true, {} },
	{ "memalign", true, {} },
	{ "posix_memalign", true, {} },
	{ "malloc_trim", true, {} },
	{ "localtime", true, {} },
	{ "localtime_r", true, {} },
	{ "mktime", true, {} },
	{ "strftime", true, {} },
	{ "tzset", true, {} },
	{ "abort", false, {} } };

const SFunction* FindFunction(std::uintptr_t nEntry)
{
	for (const SFunction& rFunction : aoFunctions)
		if (nEntry != 0 && (rFunction.m_anEntry[0] == nEntry || rFunction.m_anEntry[1] == nEntry))
			return &rFunction;
	return nullptr;
}

struct SWalk
{
	bool m_bBehindSignal = false;
	const SFunction* m_pFound = nullptr;
	int m_nFramesLeft = 16;    // the functions of the C library are not nested any deeper
};

_Unwind_Reason_Code LookAtFrame(_Unwind_Context* pContext, void* pArgument)
{
	SWalk& rWalk = *static_cast<SWalk*>(pArgument);
	int nBeforeInstruction = 0;
	const std::uintptr_t nAddress = _Unwind_GetIPInfo(pContext, &nBeforeInstruction);
	// Only of an interrupted frame the address is that of the next instruction to run.
	rWalk.m_bBehindSignal = rWalk.m_bBehindSignal || nBeforeInstruction != 0;
	if (!rWalk.m_bBehindSignal)
		return _URC_NO_REASON;
	void* pAddress = reinterpret_cast<void*>(nAddress - (nBeforeInstruction ? 0 : 1));
	rWalk.m_pFound = FindFunction(reinterpret_cast<std::uintptr_t>(_Unwind_FindEnclosingFunction(pAddress)));
	return rWalk.m_pFound || --rWalk.m_nFramesLeft == 0 ? _URC_END_OF_STACK : _URC_NO_REASON;
}

// The innermost of the functions that the handler has interrupted, or null.
const SFunction* FindInterrupted()
{
	SWalk oWalk;
	_Unwind_Backtrace(LookAtFrame, &oWalk);
	return oWalk.m_pFound;
}

thread_local timer_t t_oTimer __attribute__((tls_model("initial-exec")));
thread_local bool t_bTimer __attribute__((tls_model("initial-exec"))) = false;
}    // namespace

void Prepare()
{
	void* pLibC = dlopen("libc.so.6", RTLD_LAZY | RTLD_NOLOAD);
	for (SFunction& rFunction : aoFunctions)
	{
		rFunction.m_anEntry[0] = reinterpret_cast<std::uintptr_t>(dlsym(RTLD_DEFAULT, rFunction.m_szName));
		if (pLibC)
			rFunction.m_anEntry[1] = reinterpret_cast<std::uintptr_t>(dlsym(pLibC, rFunction.m_szName));
	}
	if (pLibC)
		dlclose(pLibC);
	// The first walk of all may have to set the unwinder up.
	FindInterrupted();
}

bool HoldsALock()
{
	const SFunction* pFunction = FindInterrupted();
	return pFunction && pFunction->m_bLocks;
}

bool IsAbort()
{
	const SFunction* pFunction = FindInterrupted();
	return pFunction && !pFunction->m_bLocks;
}

bool SendAgain(int nSignal)
{
	CancelSendAgain();
	sigevent oEvent = {};
	oEvent.sigev_notify = SIGEV_THREAD_ID;
	oEvent.sigev_signo = nSignal;
	oEvent._sigev_un._tid = static_cast<pid_t>(syscall(SYS_gettid));
	t_bTimer = timer_create(CLOCK_MONOTONIC, &oEvent, &t_oTimer) == 0;
	itimerspec oSpan = {};
	oSpan.it_value.tv_nsec = 1000000;
	return t_bTimer && timer_settime(t_oTimer, 0, &oSpan, nullptr) == 0;
}

void CancelSendAgain()
{
	if (t_bTimer)
		timer_delete(t_oTimer);
	t_bTimer = false;
}
}    // namespace VexInterruptedCall
