#include "VexApplication.h"

#include "VexApplicationEndInternal.h"
#include "VexCmdLineExchange.h"
#include "VexPathFunc.h"
#include "VexProcess.h"
#include "VexSignalEndInternal.h"
#include "VexTraceServer.h"
#include "VexTraceServerStd.h"
#include "VexTraceTextInternal.h"

#include <cstdlib>
#include <utility>

namespace
{
const unsigned int nExitUserWaitMs = 5000;
}

std::atomic<CVexBaseApplication*> CVexBaseApplication::m_pApplication{ nullptr };

CVexBaseApplication::CVexBaseApplication(
	const char* pszStdConfigFile, const char* pszApplName, const char* pszLogfileExt)
	: m_oApplInfo(pszApplName, 0, 0, 0), m_oStartTime(0), m_sStdLogfileExt(pszLogfileExt ? pszLogfileExt : ".log")
{
	static const int nExitResult = std::atexit(StopAtExit);
	static_cast<void>(nExitResult);
	StartTraceServer();
	// Before the object is registered: a monitor may ask for it from then on, on another thread.
	m_oStartTime = CVexLocalTime::CurrentLocalTime();
	CVexBaseApplication* pNone = nullptr;
	if (m_pApplication.compare_exchange_strong(pNone, this))
		VexApplicationEnd::Begin(this);
	if (pszStdConfigFile)
		m_sStdConfigFile = pszStdConfigFile;
}

CVexBaseApplication::~CVexBaseApplication()
{
	VexApplicationEnd::ClaimDestruction(this);
	TraceText(CVexTraceMsg::eInfo, "Anwendung " + GetApplName() + " wird beendet.", __LINE__);
	StopTraceServer();
	m_pApplication = nullptr;
}

void CVexBaseApplication::SetTraceName(const char* pszName)
{
	m_oTrace.SetName(pszName, nullptr);
}

bool CVexBaseApplication::Initialize()
{
	return true;
}

bool CVexBaseApplication::Finalize()
{
	return true;
}

void CVexBaseApplication::DoCmdLineExchange(CVexCmdLineApplExchange*) {}

void CVexBaseApplication::ParseCommandLine()
{
	CVexCmdLineApplExchange oExchange(this, &m_oCmdLine);
	DoCmdLineExchange(&oExchange);
}

void CVexBaseApplication::SetApplName(const char* pszApplName)
{
	CVexMutexLock oLock(m_oNameLock);
	m_oApplInfo.SetApplName(pszApplName);
}

std::string CVexBaseApplication::GetApplName() const
{
	CVexMutexLock oLock(m_oNameLock);
	return m_oApplInfo.GetApplName();
}

bool CVexBaseApplication::Start(int nArgc, char** ppszArgv)
{
	VexSignalEnd::SetMainThread();
	InitializeClass(nArgc, ppszArgv);
	ParseCommandLine();
	const bool bInitialized = Initialize();
	TraceText(CVexTraceMsg::eInfo, "Anwendung " + GetApplName() + " wird gestartet.", __LINE__);
	if (bInitialized)
		Run();
	if (!VexApplicationEnd::ClaimOrdinary(this))
		return false;
	const bool bResult = Finalize();
	VexApplicationEnd::OrdinaryFinalized(this);
	return bResult;
}

void CVexBaseApplication::InitializeClass(int nArgc, char** ppszArgv)
{
	m_sCommandLine.clear();
	for (int i = 1; ppszArgv && i < nArgc && ppszArgv[i]; ++i)
		m_sCommandLine.append(ppszArgv[i]).append(1, ' ');
	m_oCmdLine.Initialize(nArgc, ppszArgv);
	if (ppszArgv && nArgc > 0 && ppszArgv[0])
	{
		std::string sDrive;
		std::string sDir;
		std::string sName;
		SplitPath(ppszArgv[0], &sDrive, &sDir, &sName, nullptr);
		if (GetApplName().empty())
			SetApplName(sName.c_str());
		if (m_sStdConfigFile.empty())
			m_sStdConfigFile = sDrive + sDir + GetApplName() + ".ini";
	}
	TraceText(CVexTraceMsg::eDebug, GetApplName() + " Kommandozeilenargumente: " + m_sCommandLine, __LINE__);
}

void CVexBaseApplication::StartTraceServer()
{
	StopTraceServer();
	if (CVexTraceServer* pActive = CVexTraceServer::GetActiveServer())
	{
		pActive->DecActiveUser();
		return;
	}
	const std::string sPath = CVexProcess::GetCurrentProgDir();
	CVexTraceServer* pServer = nullptr;
	{
		CVexMutexLock oLock(m_oMutexStdTraceServer);
		pServer = new CVexTraceServerStd(sPath.c_str(), m_sStdLogfileExt.c_str());
		pServer->ReadOptionsFromIniFile();
		m_pStdTraceServer = pServer;
	}
	CVexTraceServer::SetActiveServer(pServer);
	TraceText(CVexTraceMsg::eDebug, "Trace-Server wurde gestartet", __LINE__);
}

void CVexBaseApplication::StopTraceServer()
{
	// Held to the end: whoever else wants to stop the server waits until it is gone and its messages are written.
	CVexMutexLock oLock(m_oMutexStdTraceServer);
	if (!m_pStdTraceServer)
		return;
	TraceText(CVexTraceMsg::eDebug, "Trace-Server wird beendet", __LINE__);
	delete m_pStdTraceServer;
	m_pStdTraceServer = nullptr;
}

// A use that is not given back in time belongs to a thread that is stuck: the server stays for it, and writes all the same.
void CVexBaseApplication::StopTraceServerWithin(unsigned int nMs)
{
	CVexMutexLock oLock(m_oMutexStdTraceServer);
	if (!m_pStdTraceServer)
		return;
	TraceText(CVexTraceMsg::eDebug, "Trace-Server wird beendet", __LINE__);
	if (m_pStdTraceServer->StopWithin(nMs))
		delete std::exchange(m_pStdTraceServer, nullptr);
}

void CVexBaseApplication::StopAtExit()
{
	CVexBaseApplication* const pApplication = m_pApplication;
	if (!pApplication || !VexApplicationEnd::ClaimExit())
		return;
	VexApplicationEnd::AwaitRewrites(true);
	pApplication->StopTraceServerWithin(nExitUserWaitMs);
}

void CVexBaseApplication::TraceText(CVexTraceMsg::ETraceLevel eLevel, const std::string& sText, int nLine)
{
	VexTraceText(m_oTrace,
		eLevel,
		[&](std::ostream& rStream) { rStream << sText << "\tFile source/VexApplication Line " << nLine; });
}

CVexBaseApplication::CVexTraceEx::CVexTraceEx() : CVexTrace("CVexBaseApplication", nullptr, nullptr) {}

CVexBaseApplication* CVexBaseApplication::GetApplication()
{
	return m_pApplication;
}

const CVexLocalTime& CVexBaseApplication::GetStartZeit() const
{
	return m_oStartTime;
}

const CVexApplicationInfo& CVexBaseApplication::GetInfo() const
{
	return m_oApplInfo;
}

const std::string& CVexBaseApplication::GetCommandLine() const
{
	return m_sCommandLine;
}
