#pragma once

// What vexmonitor follows, matched with the objects that the program has.

#include "MonitorOptions.h"

#include <string>
#include <utility>
#include <vector>

// Number and full name (name, "/", class) of objects.
typedef std::vector<std::pair<long, std::string>> MonitorObjects;

// Levels (as masks) of objects, by number.
typedef std::vector<std::pair<long, CVexTraceMsg::ETraceLevel>> MonitorLevels;

class CMonitorWatches
{
public:
	explicit CMonitorWatches(const std::vector<SMonitorWatch>& aoWatches);

	bool IsEmpty() const { return m_aoWatches.empty(); }
	const std::vector<SMonitorWatch>& GetAll() const { return m_aoWatches; }

	// At first all that was asked for must be there: what is unknown, else "".
	std::string FindAtFirst(const MonitorObjects& aoObjects);

	// When the program has been started again its objects come one after the other, with new numbers: they are found by
	// their names. False while some are missing.
	bool FindAgain(const MonitorObjects& aoObjects);

	MonitorLevels GetLevels(const MonitorObjects& aoObjects) const;

private:
	const SMonitorWatch* WatchOf(long nObject, const std::string& sFullName) const;

	std::vector<SMonitorWatch> m_aoWatches;    // objects with the numbers that they have now
	std::vector<std::string> m_asNames;        // full names of the objects in m_aoWatches
};
