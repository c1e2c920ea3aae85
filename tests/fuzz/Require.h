#pragma once

#include <cstdint>
#include <cstdlib>

// What does not hold ends the fuzz target with a report.
inline void Require(bool bHolds)
{
	if (!bHolds)
		std::abort();
}
