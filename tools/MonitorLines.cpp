#include "MonitorLines.h"

namespace
{
const std::size_t nMaxBytes = 64 * 1024 * 1024;
const std::size_t nBatchBytes = 64 * 1024;
const std::size_t nMaxNameBytes = 16 * 1024 * 1024;
const std::size_t nNameOverhead = 128;    // of an entry of the map
const std::chrono::seconds oLongestWait(1);

std::size_t SizeOf(const CVexTraceMsg& rLine)
{
	return sizeof rLine + rLine.GetText().size();
}
}    // namespace

CMonitorLines::CMonitorLines(CVexEvent& rWakeUp) : m_rWakeUp(rWakeUp) {}

bool CMonitorLines::ClaimQuestion(long nObject)
{
	CVexMutexLock oLock(m_oMutex);
	// Objects have numbers from 0 on; others stand for lines without an object.
	if (nObject < 0 || m_oNames.count(nObject) > 0)
		return false;
	EnterName(nObject).m_oAwaitedUntil = std::chrono::steady_clock::now() + oLongestWait;
	return true;
}

void CMonitorLines::SetName(long nObject, const std::string& sFullName)
{
	{
		CVexMutexLock oLock(m_oMutex);
		SName& rName = EnterName(nObject);
		m_nNameBytes += sFullName.size() - rName.m_sFullName.size();
		rName = { sFullName, {} };
	}
	m_rWakeUp.Signal();
}

// A program that makes new objects all the time must not fill the memory: then names are asked for again.
CMonitorLines::SName& CMonitorLines::EnterName(long nObject)
{
	if (m_nNameBytes > nMaxNameBytes)
	{
		m_oNames.clear();
		m_nNameBytes = 0;
	}
	const auto oEntry = m_oNames.emplace(nObject, SName());
	m_nNameBytes += oEntry.second ? nNameOverhead : 0;
	return oEntry.first->second;
}

void CMonitorLines::ForgetNames()
{
	CVexMutexLock oLock(m_oMutex);
	m_oNames.clear();
	m_nNameBytes = 0;
}

void CMonitorLines::Add(const CVexTraceMsg& oLine)
{
	{
		CVexMutexLock oLock(m_oMutex);
		m_bDropping = m_bDropping || m_nBytes + SizeOf(oLine) > nMaxBytes;
		if (m_bDropping)
		{
			++m_nDropped;
			return;
		}
		m_aoLines.push_back(oLine);
		m_nBytes += SizeOf(oLine);
	}
	m_rWakeUp.Signal();
}

void CMonitorLines::Take(std::vector<SMonitorLine>& raoLines, bool bAwaitNames)
{
	raoLines.clear();
	const auto oNow = std::chrono::steady_clock::now();
	CVexMutexLock oLock(m_oMutex);
	for (std::size_t nTaken = 0; !m_aoLines.empty() && nTaken < nBatchBytes; m_aoLines.pop_front())
	{
		const CVexTraceMsg& rLine = m_aoLines.front();
		const auto oName = m_oNames.find(rLine.GetID());
		if (bAwaitNames && oName != m_oNames.end() && oNow < oName->second.m_oAwaitedUntil)
			break;
		raoLines.push_back({ rLine, oName != m_oNames.end() ? oName->second.m_sFullName : "" });
		nTaken += SizeOf(rLine);
		m_nBytes -= SizeOf(rLine);
	}
	m_bDropping = m_bDropping && m_nBytes > nMaxBytes / 2;
}

std::size_t CMonitorLines::TakeDropped()
{
	CVexMutexLock oLock(m_oMutex);
	return m_bDropping ? 0 : std::exchange(m_nDropped, 0);
}

std::size_t CMonitorLines::GetLost()
{
	CVexMutexLock oLock(m_oMutex);
	return m_aoLines.size() + m_nDropped;
}
