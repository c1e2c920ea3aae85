#pragma once

// A socket that is closed when the last of those who use it lets it go, so that its number is never used for what
// somebody else has opened since.

#include <atomic>
#include <cstdint>

// Shared by std::shared_ptr. Not hidden like other internals: CVexTCPIPBase has members of this type.
class CVexDescriptor
{
public:
	explicit CVexDescriptor(int nDescriptor) : m_nDescriptor(nDescriptor) {}
	~CVexDescriptor();
	CVexDescriptor(const CVexDescriptor&) = delete;
	CVexDescriptor& operator=(const CVexDescriptor&) = delete;

	int Get() const { return m_nDescriptor; }

	// Makes the socket useless and wakes every thread that waits in a call with it.
	void ShutDown();

	// True from the begin of ShutDown() on.
	bool IsShutDown() const { return m_bShutDown; }

	// Of a listening socket: the number of the last turn at it; 0 before the first. Guarded by the order of the turns.
	std::uint64_t m_nLastTurn = 0;

private:
	const int m_nDescriptor;
	std::atomic<bool> m_bShutDown{ false };
};
