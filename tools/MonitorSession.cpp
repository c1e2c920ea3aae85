#include "MonitorSession.h"

#include <algorithm>
#include <chrono>

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
	  m_oWatches(oOptions.m_aoWatches)
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
	for (const auto oEnd = InMs(nStopMs); !HasEnded(); Sleep(0, nLookForEndMs))
		if (IsPast(oEnd))
		{
			if (const std::size_t nLost = m_oLines.GetLost())
				CMonitorOutput::Tell(std::to_string(nLost) + " lines not shown: the output is too slow");
			return;
		}
	Terminate();
}

// Polls: a signal may stop this thread anywhere, and Stop() must not need a lock that it holds.
int CMonitorSession::WaitForEnd()
{
	while (!HasEnded())
		Sleep(0, nLookForEndMs);
	return m_nStatus;
}

// False if something went wrong, which has been reported.
bool CMonitorSession::Work()
{
	if (!Connect() || !Ask())
		return false;
	if (m_oWatches.IsEmpty())
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
	std::string sProblem;
	return TryToConnect(sProblem) == CMonitorConnection::eLoggedIn || Fail(sProblem);
}

CMonitorConnection::EResult CMonitorSession::TryToConnect(std::string& rsProblem)
{
	m_poConnection.reset();
	m_oLines.ForgetNames();
	m_poConnection = std::make_unique<CMonitorConnection>(m_oLines);
	return m_poConnection->Connect(m_oOptions, m_bStop, rsProblem);
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
		const CMonitorConnection::EResult eResult = TryToConnect(sProblem);
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
		MonitorObjects aoObjects;
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
	for (const SMonitorWatch& rWatch : m_oWatches.GetAll())
		if (!rWatch.m_bObject && !m_poConnection->WatchClassReq(rWatch.m_sClass, rWatch.m_eLevels))
			return FailAtFirst("the program does not let class " + rWatch.m_sTypedClass + " be watched");
	return true;
}

// Objects that exist already keep their levels when their class is watched: they are raised one by one.
bool CMonitorSession::RaiseObjects()
{
	MonitorObjects aoObjects;
	if (!m_poConnection->GetObjectListReq(aoObjects))
		return FailAtFirst("the program does not list its objects");
	for (const auto& rObject : aoObjects)
		m_oLines.SetName(rObject.first, rObject.second);
	if (!FindObjects(aoObjects))
		return false;

	const MonitorLevels aoLevels = m_oWatches.GetLevels(aoObjects);
	for (std::size_t nBegin = 0; nBegin < aoLevels.size(); nBegin += nLevelsInOneRequest)
	{
		const auto oBegin = aoLevels.begin() + static_cast<std::ptrdiff_t>(nBegin);
		const std::size_t nCount = std::min(nLevelsInOneRequest, aoLevels.size() - nBegin);
		if (!m_poConnection->ChangeTraceLevelReq({ oBegin, oBegin + static_cast<std::ptrdiff_t>(nCount) }))
			return FailAtFirst("the program does not change levels");
	}
	return true;
}

bool CMonitorSession::FindObjects(const MonitorObjects& aoObjects)
{
	if (m_bFollowed)
	{
		m_bObjectsMissing = !m_oWatches.FindAgain(aoObjects);
		return true;
	}
	const std::string sUnknown = m_oWatches.FindAtFirst(aoObjects);
	return sUnknown.empty() || Fail(sUnknown);
}

// Until the connection breaks or the session is to end. False if the lines cannot be written.
bool CMonitorSession::ShowLines()
{
	auto oNextLook = InMs(nLookForObjectsMs);
	bool bShown = false;
	for (bool bAlive = true; bAlive && !m_bStop;)
	{
		if (!bShown)
			m_oWakeUp.Wait(nLookMs);
		bAlive = m_poConnection->IsAlive();
		if (!Show(true, bShown))
			return false;
		if (bAlive && m_bObjectsMissing && IsPast(oNextLook))
		{
			RaiseObjects();
			oNextLook = InMs(nLookForObjectsMs);
		}
	}
	// No more names will come, but the last lines are in the queue.
	m_poConnection->End();
	do
		if (!Show(false, bShown))
			return false;
	while (bShown);
	return true;
}

// Some of the lines that wait. False if they cannot be written.
bool CMonitorSession::Show(bool bAwaitNames, bool& rbShown)
{
	std::vector<SMonitorLine> aoLines;
	m_oLines.Take(aoLines, bAwaitNames);
	rbShown = !aoLines.empty();
	if (rbShown && !m_oOutput.WriteLines(aoLines))
		return Fail("cannot write to standard output");
	if (const std::size_t nDropped = m_oLines.TakeDropped())
		CMonitorOutput::Tell(std::to_string(nDropped) + " lines dropped: the output is too slow");
	return true;
}
