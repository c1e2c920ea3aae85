#include "MonitorSession.h"

#include "MonitorText.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace
{
const unsigned int nFirstPauseMs = 500;
const unsigned int nLongestPauseMs = 30000;
const unsigned int nLookMs = 200;    // whether the connection still is there
const unsigned int nLookForObjectsMs = 2000;
const unsigned int nStopMs = 1000;
const int nLookForEndMs = 20;
const std::size_t nLevelsInOneRequest = 10000;

std::string Seconds(unsigned int nMs)
{
	return std::to_string(nMs / 1000) + (nMs % 1000 == 0 ? "" : "." + std::to_string(nMs % 1000 / 100)) + " s";
}

std::chrono::steady_clock::time_point InMs(unsigned int nMs)
{
	return std::chrono::steady_clock::now() + std::chrono::milliseconds(nMs);
}

bool IsPast(std::chrono::steady_clock::time_point oTime)
{
	return std::chrono::steady_clock::now() >= oTime;
}
}    // namespace

CMonitorSession::CMonitorSession(const SMonitorOptions& oOptions)
	: CVexThread(0),
	  m_oOptions(oOptions),
	  m_oOutput(oOptions.m_sHost, oOptions.m_bJson, oOptions.m_bTerminalUtf8),
	  m_aoWatches(oOptions.m_aoWatches),
	  m_asObjectNames(oOptions.m_aoWatches.size())
{
}

CMonitorSession::~CMonitorSession()
{
	m_bStop = true;
	m_oWakeUp.Signal();
	Terminate();
}

void CMonitorSession::Run()
{
	if (!Work() && !m_bStop)
		m_nStatus = 1;
	m_poConnection.reset();
}

void CMonitorSession::Stop()
{
	m_bStop = true;
	m_oWakeUp.Signal();
	for (const auto oEnd = InMs(nStopMs); GetState() != STATE_TERMINATED; Sleep(0, nLookForEndMs))
		if (IsPast(oEnd))
			return;
	Terminate();
}

// Looks again and again: the handler in which Stop() waits may interrupt any other wait while it holds its lock.
int CMonitorSession::WaitForEnd()
{
	while (GetState() != STATE_TERMINATED)
		Sleep(0, nLookForEndMs);
	return m_nStatus;
}

// False if something went wrong, which has been told.
bool CMonitorSession::Work()
{
	if (!Connect() || !Ask())
		return false;
	if (m_aoWatches.empty())
		return true;
	if (!Follow())
		return false;
	for (;;)
	{
		if (!ShowLines())
			return false;
		if (m_bStop)
			return true;
		if (!ConnectAgain())
			return m_bStop;
	}
}

bool CMonitorSession::Fail(const std::string& sProblem)
{
	if (!m_bStop)
		CMonitorOutput::Tell(sProblem);
	return false;
}

// Once the program has been followed, there will be another try, which says more.
bool CMonitorSession::FailAtFirst(const std::string& sProblem)
{
	return !m_bFollowed && Fail(sProblem);
}

bool CMonitorSession::Connect()
{
	m_poConnection = std::make_unique<CMonitorConnection>(m_oWakeUp);
	std::string sProblem;
	return m_poConnection->Connect(m_oOptions, m_bStop, sProblem) == CMonitorConnection::eLoggedIn || Fail(sProblem);
}

// Until the program is followed again. False if it lets the monitor in no more, or the session is to end.
bool CMonitorSession::ConnectAgain()
{
	std::string sProblem = "lost the connection to " + m_oOptions.m_sHost + ":" + std::to_string(m_oOptions.m_nPort);
	for (unsigned int nPauseMs = nFirstPauseMs;; nPauseMs = std::min(2 * nPauseMs, nLongestPauseMs))
	{
		m_poConnection.reset();
		CMonitorOutput::Tell(sProblem + "; next try in " + Seconds(nPauseMs));
		Pause(nPauseMs);
		if (m_bStop)
			return false;
		m_poConnection = std::make_unique<CMonitorConnection>(m_oWakeUp);
		const CMonitorConnection::EResult eResult = m_poConnection->Connect(m_oOptions, m_bStop, sProblem);
		if (eResult == CMonitorConnection::eRejected || eResult == CMonitorConnection::eStopped)
			return Fail(sProblem);
		if (eResult == CMonitorConnection::eNotReached)
			continue;
		if (Follow())
		{
			CMonitorOutput::Tell("connected again");
			return true;
		}
		sProblem = "lost the connection again";
	}
}

void CMonitorSession::Pause(unsigned int nPauseMs)
{
	for (const auto oEnd = InMs(nPauseMs); !m_bStop && !IsPast(oEnd);)
		m_oWakeUp.Wait(std::min(nPauseMs, nLookMs));
}

bool CMonitorSession::Ask()
{
	bool bWritten = true;
	if (m_oOptions.m_bInfo)
	{
		std::string sInfo;
		if (!m_poConnection->InfoReq(sInfo))
			return Fail("no answer to -info");
		bWritten = m_oOutput.WriteInfo(sInfo);
	}
	if (m_oOptions.m_bList)
	{
		ObjectList aoObjects;
		if (!m_poConnection->GetObjectListReq(aoObjects))
			return Fail("no answer to -list");
		bWritten = m_oOutput.WriteObjects(aoObjects) && bWritten;
	}
	return bWritten || Fail("cannot write to standard output");
}

// Watched before listed: an object that registers in between is reached by the watch.
bool CMonitorSession::Follow()
{
	if (!WatchClasses() || !RaiseObjects())
		return false;
	if (!m_poConnection->StartReq())
		return FailAtFirst("the program does not answer");
	m_bFollowed = true;
	return true;
}

bool CMonitorSession::WatchClasses()
{
	for (const SMonitorWatch& rWatch : m_aoWatches)
		if (!rWatch.m_bObject && !m_poConnection->WatchClassReq(rWatch.m_sClass, rWatch.m_eLevels))
			return FailAtFirst("the program does not let class " + rWatch.m_sClass + " be watched");
	return true;
}

// Objects that exist already keep their levels when their class is watched: they are raised one by one.
bool CMonitorSession::RaiseObjects()
{
	ObjectList aoObjects;
	if (!m_poConnection->GetObjectListReq(aoObjects))
		return FailAtFirst("the program does not list its objects");
	if (!ResolveObjects(aoObjects))
		return false;

	std::vector<std::pair<long, CVexTraceMsg::ETraceLevel>> aoLevels;
	for (const auto& rObject : aoObjects)
		if (const SMonitorWatch* pWatch = WatchOf(rObject.first, rObject.second))
			aoLevels.emplace_back(rObject.first, pWatch->m_eLevels);
	for (std::size_t nBegin = 0; nBegin < aoLevels.size(); nBegin += nLevelsInOneRequest)
	{
		const auto oBegin = aoLevels.begin() + static_cast<std::ptrdiff_t>(nBegin);
		const std::size_t nCount = std::min(nLevelsInOneRequest, aoLevels.size() - nBegin);
		if (!m_poConnection->ChangeTraceLevelReq({ oBegin, oBegin + static_cast<std::ptrdiff_t>(nCount) }))
			return FailAtFirst("the program does not change levels");
	}
	return true;
}

// At first every class and object that was named must be there. When the program has been started again its objects
// come one after the other, with new numbers: they are found by their names as they come.
bool CMonitorSession::ResolveObjects(const ObjectList& aoObjects)
{
	m_bObjectsMissing = false;
	for (std::size_t i = 0; i < m_aoWatches.size(); ++i)
	{
		SMonitorWatch& rWatch = m_aoWatches[i];
		if (!rWatch.m_bObject)
		{
			if (!m_bFollowed && rWatch.m_sClass != "*" && !HasClass(aoObjects, rWatch.m_sClass))
				return Fail("unknown class " + TextToTerminal(rWatch.m_sClass, m_oOptions.m_bTerminalUtf8));
			continue;
		}
		const auto pObject = std::find_if(aoObjects.begin(),
			aoObjects.end(),
			[&](const auto& rObject)
			{ return m_bFollowed ? rObject.second == m_asObjectNames[i] : rObject.first == rWatch.m_nObject; });
		if (pObject == aoObjects.end())
		{
			if (!m_bFollowed)
				return Fail("unknown object " + std::to_string(rWatch.m_nObject));
			m_bObjectsMissing = true;
			rWatch.m_nObject = -1;
			continue;
		}
		rWatch.m_nObject = pObject->first;
		m_asObjectNames[i] = pObject->second;
	}
	return true;
}

bool CMonitorSession::HasClass(const ObjectList& aoObjects, const std::string& sClass) const
{
	return std::any_of(aoObjects.begin(),
		aoObjects.end(),
		[&](const auto& rObject) { return ClassOfObject(rObject.second) == sClass; });
}

// What is said of an object goes before what is said of its class, and that before "*"; the last word counts.
const SMonitorWatch* CMonitorSession::WatchOf(long nObject, const std::string& sFullName) const
{
	const SMonitorWatch* pFound = nullptr;
	int nFoundRank = 0;
	const std::string sClass = ClassOfObject(sFullName);
	for (const SMonitorWatch& rWatch : m_aoWatches)
	{
		const int nRank = rWatch.m_bObject ? (rWatch.m_nObject == nObject ? 3 : 0)
			: rWatch.m_sClass == sClass    ? 2
			: rWatch.m_sClass == "*"       ? 1
										   : 0;
		if (nRank == 0 || nRank < nFoundRank)
			continue;
		pFound = &rWatch;
		nFoundRank = nRank;
	}
	return pFound;
}

// Until the connection breaks or the session is to end. False if the lines cannot be written.
bool CMonitorSession::ShowLines()
{
	auto oNextLook = InMs(nLookForObjectsMs);
	bool bAlive = true;
	while (bAlive && !m_bStop)
	{
		m_oWakeUp.Wait(nLookMs);
		// Asked first: the lines in front of the end are shown.
		bAlive = m_poConnection->IsAlive();
		if (!Show())
			return false;
		if (bAlive && m_bObjectsMissing && IsPast(oNextLook))
		{
			RaiseObjects();
			oNextLook = InMs(nLookForObjectsMs);
		}
	}
	m_poConnection->End();
	return Show();
}

bool CMonitorSession::Show()
{
	std::vector<CVexTraceMsg> aoLines;
	const std::size_t nDropped = m_poConnection->TakeLines(aoLines);
	if (!aoLines.empty() && !m_oOutput.WriteLines(aoLines))
		return Fail("cannot write to standard output");
	if (nDropped > 0)
		CMonitorOutput::Tell(std::to_string(nDropped) + " lines dropped: the output is too slow");
	return true;
}
