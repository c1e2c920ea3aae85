#include "VexConApplication.h"

#include "VexApplicationEndInternal.h"
#include "VexEchoInternal.h"
#include "VexSignalEndInternal.h"
#include "VexTraceServer.h"
#include "VexTraceTextInternal.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace
{
const unsigned int nAbortUserWaitMs = 1000;

bool IsEndSignal(int nSignal)
{
	return nSignal == SIGABRT || nSignal == SIGTERM || nSignal == SIGINT;
}

void TraceSignal(int nSignal)
{
	VexTraceText(CVexTrace::m_oGlobalTrace,
		CVexTraceMsg::eWarning,
		[=](std::ostream& rStream)
		{
			rStream << "Signal-Handler: Signal " << nSignal << " aufgetreten. "
					<< (IsEndSignal(nSignal) ? "Die Anwendung wird beendet." : "Signal wird ignoriert.");
		});
}
}    // namespace

std::atomic<pid_t> CVexConApplication::m_nPID{ 0 };

CVexConApplication::CVexConApplication(const char* pszStdConfigFile, const char* pszApplName, const char* pszLogfileExt)
	: CVexBaseApplication(pszStdConfigFile, pszApplName, pszLogfileExt)
{
	m_nPID = getpid();
	VexSignalEnd::Begin(TakeUpSignal);
	// This class's version, as always in a constructor: a deriving class installs more in its own.
	CVexConApplication::InstallSignalHandlers();
}

CVexConApplication::~CVexConApplication()
{
	CVexConApplication::RemoveSignalHandlers();
	// The end thread finds the members of this object whole or keeps out.
	VexApplicationEnd::ClaimDestruction(this);
	VexSignalEnd::End();
}

bool CVexConApplication::Initialize()
{
	return CVexBaseApplication::Initialize();
}

bool CVexConApplication::Finalize()
{
	return CVexBaseApplication::Finalize();
}

void CVexConApplication::InstallSignalHandlers()
{
	if (!VexSignalEnd::IsReady())
	{
		TraceText(CVexTraceMsg::eError, "Signal-Handler nicht installiert: kein Thread", __LINE__);
		return;
	}
	signal(SIGINT, StdSignalHandler);
	signal(SIGTERM, StdSignalHandler);
	signal(SIGABRT, StdSignalHandler);
}

void CVexConApplication::RemoveSignalHandlers()
{
	// A handler that stands still, or has handed over and is about to end the program, needs its handler to come back to.
	VexSignalEnd::AwaitTakeUp();
	signal(SIGTERM, SIG_DFL);
	signal(SIGINT, SIG_DFL);
	signal(SIGABRT, SIG_DFL);
	VexSignalEnd::AwaitTakeUp();
}

void CVexConApplication::StdSignalHandler(int nSignal)
{
	// A child after fork has no end thread, and what it would trace reaches nobody.
	if (getpid() == m_nPID)
		VexSignalEnd::HandOver(nSignal);
}

// On the end thread.
void CVexConApplication::TakeUpSignal(int nSignal)
{
	TraceSignal(nSignal);
	if (!IsEndSignal(nSignal))
		return;
	const bool bEnd = GetApplication() ? FinalizeFromSignalHandler() : !VexApplicationEnd::IsEndedBySignal();
	if (!bEnd)
		return;
	VexApplicationEnd::AwaitRewrites(true);
	VexRestoreEcho();
	exit(nSignal == SIGABRT ? 3 : 0);
}

bool CVexConApplication::FinalizeFromSignalHandler()
{
	if (getpid() != m_nPID)
		return false;
	const bool bAborted = VexSignalEnd::IsTakingUpAbort();
	const VexApplicationEnd::ESignalClaim eClaim =
		VexApplicationEnd::ClaimSignal(bAborted, VexSignalEnd::HasMainThreadAborted());
	if (eClaim == VexApplicationEnd::eEndIsUnderWay)
		return false;
	VexSignalEnd::StopMainThread();
	// Asked for after the claim only: from then on its destructor waits.
	if (CVexBaseApplication* pApplication = GetApplication())
	{
		if (eClaim == VexApplicationEnd::eFinalize)
		{
			VexApplicationEnd::AwaitRewrites(false);
			pApplication->Finalize();
		}
		// Those that came meanwhile have no further effect.
		while (const int nSignal = VexSignalEnd::TakeNext())
			TraceSignal(nSignal);
		// A thread that has called abort() may hold a use of the server for ever.
		if (bAborted)
			pApplication->StopTraceServerWithin(nAbortUserWaitMs);
		else
			pApplication->StopTraceServer();
	}
	m_pApplication = nullptr;
	return true;
}
