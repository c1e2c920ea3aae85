#pragma once

#include <chrono>
#include <thread>

// Polls the condition. False if it does not come true within the limit, which only a fault should reach.
template <class TCondition>
bool ComesTrue(TCondition oCondition, int nLimitMs = 60000)
{
	const auto oEnd = std::chrono::steady_clock::now() + std::chrono::milliseconds(nLimitMs);
	while (!oCondition())
	{
		if (std::chrono::steady_clock::now() >= oEnd)
			return false;
		std::this_thread::sleep_for(std::chrono::milliseconds(1));
	}
	return true;
}
