#include "VexConApplication.h"

#include "VexApplicationEndInternal.h"
#include "VexInterruptedCallInternal.h"
#include "VexSignalHoldInternal.h"
#include "VexTraceServer.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <sstream>

namespace
{
void TraceSignal(int nSignal, const char* pszConsequence)
{
	CVexTrace& rTrace = CVexTrace::m_oGlobalTrace;
	CVexTraceServer* pServer = rTrace.GetServerObject(CVexTraceMsg::eWarning);
	if (!pServer)
		return;
	std::ostringstream oStream;
	oStream << "Signal-Handler: Signal " << nSignal << " aufgetreten. " << pszConsequence;
	rTrace.AddMsg(CVexTraceMsg::eWarning, oStream, pServer);
}
}    // namespace

std::atomic<pid_t> CVexConApplication::m_nPID{ 0 };

CVexConApplication::CVexConApplication(const char* pszStdConfigFile, const char* pszApplName, const char* pszLogfileExt)
	: CVexBaseApplication(pszStdConfigFile, pszApplName, pszLogfileExt)
{
	m_nPID = getpid();
	// This class's version, as always in a constructor: a deriving class installs more in its own.
	CVexConApplication::InstallSignalHandlers();
}

CVexConApplication::~CVexConApplication()
{
	CVexConApplication::RemoveSignalHandlers();
	// A handler that runs on another thread by now finds the members of this object whole or keeps out.
	VexApplicationEnd::ClaimDestruction(this);
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
	VexInterruptedCall::Prepare();
	signal(SIGINT, StdSignalHandler);
	signal(SIGTERM, StdSignalHandler);
	signal(SIGABRT, StdSignalHandler);
}

void CVexConApplication::RemoveSignalHandlers()
{
	signal(SIGTERM, SIG_DFL);
	signal(SIGINT, SIG_DFL);
	signal(SIGABRT, SIG_DFL);
	// What comes again after this would have the default action, though it came in time.
	VexInterruptedCall::CancelSendAgain();
}

void CVexConApplication::StdSignalHandler(int nSignal)
{
	if (VexSignalHold::PutOff(nSignal, StdSignalHandler))
		return;
	if (nSignal != SIGABRT && nSignal != SIGTERM && nSignal != SIGINT)
	{
		TraceSignal(nSignal, "Signal wird ignoriert.");
		return;
	}
	TraceSignal(nSignal, "Die Anwendung wird beendet.");
	const bool bEnd = GetApplication() ? FinalizeFromSignalHandler() : !VexApplicationEnd::IsEndedBySignal();
	if (bEnd)
		exit(nSignal == SIGABRT ? 3 : 0);
}

bool CVexConApplication::FinalizeFromSignalHandler()
{
	if (getpid() != m_nPID)
		return false;
	const VexApplicationEnd::ESignalClaim eClaim = VexApplicationEnd::ClaimSignal();
	if (eClaim == VexApplicationEnd::eEndIsUnderWay)
		return false;
	// Asked for after the claim only: from then on its destructor waits.
	if (CVexBaseApplication* pApplication = GetApplication())
	{
		if (eClaim == VexApplicationEnd::eFinalize)
			pApplication->Finalize();
		pApplication->StopTraceServer();
	}
	m_pApplication = nullptr;
	return true;
}
