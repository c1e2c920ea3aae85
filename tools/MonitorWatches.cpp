#include "MonitorWatches.h"

#include "MonitorText.h"

#include <algorithm>

namespace
{
bool HasClass(const MonitorObjects& aoObjects, const std::string& sClass)
{
	return std::any_of(aoObjects.begin(),
		aoObjects.end(),
		[&](const auto& rObject) { return ClassOfObject(rObject.second) == sClass; });
}
}    // namespace

CMonitorWatches::CMonitorWatches(const std::vector<SMonitorWatch>& aoWatches)
	: m_aoWatches(aoWatches), m_asNames(aoWatches.size())
{
}

std::string CMonitorWatches::FindAtFirst(const MonitorObjects& aoObjects)
{
	for (std::size_t i = 0; i < m_aoWatches.size(); ++i)
	{
		const SMonitorWatch& rWatch = m_aoWatches[i];
		if (!rWatch.m_bObject)
		{
			if (rWatch.m_sClass != "*" && !HasClass(aoObjects, rWatch.m_sClass))
				return "unknown class " + rWatch.m_sTypedClass;
			continue;
		}
		const auto oObject = std::find_if(
			aoObjects.begin(), aoObjects.end(), [&](const auto& rObject) { return rObject.first == rWatch.m_nObject; });
		if (oObject == aoObjects.end())
			return "unknown object " + std::to_string(rWatch.m_nObject);
		m_asNames[i] = oObject->second;
	}
	return "";
}

bool CMonitorWatches::FindAgain(const MonitorObjects& aoObjects)
{
	bool bAll = true;
	for (std::size_t i = 0; i < m_aoWatches.size(); ++i)
	{
		if (!m_aoWatches[i].m_bObject)
			continue;
		const auto oObject = std::find_if(
			aoObjects.begin(), aoObjects.end(), [&](const auto& rObject) { return rObject.second == m_asNames[i]; });
		m_aoWatches[i].m_nObject = oObject != aoObjects.end() ? oObject->first : -1;
		bAll = bAll && oObject != aoObjects.end();
	}
	return bAll;
}

MonitorLevels CMonitorWatches::GetLevels(const MonitorObjects& aoObjects) const
{
	MonitorLevels aoLevels;
	for (const auto& rObject : aoObjects)
		if (const SMonitorWatch* pWatch = WatchOf(rObject.first, rObject.second))
			aoLevels.emplace_back(rObject.first, pWatch->m_eLevels);
	return aoLevels;
}

// What is said of an object goes before what is said of its class, and that before "*"; the last word counts.
const SMonitorWatch* CMonitorWatches::WatchOf(long nObject, const std::string& sFullName) const
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
