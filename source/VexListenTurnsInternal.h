#pragma once

// The order in which the listening connections of the process wait for clients: one at a time, for a second at most.
// The listening sockets take turns, those with a client before the others; at one socket it is first come, first served.

#include "VexDescriptorInternal.h"
#include "VexMutex.h"

#include <atomic>
#include <memory>

namespace VexListenTurns
{
// One listening connection's place in the order. Belongs to the thread that calls Wait(). Not hidden like other
// internals: the connect thread of CVexTCPIPBase has one.
class CTurn
{
public:
	enum EResult
	{
		eClient,     // the socket has a client; the turn goes on until End()
		eNothing,    // not within this turn
		eError,      // the socket is of no use; the turn goes on until End()
		eStopped
	};

	CTurn() = default;
	CTurn(const CTurn&) = delete;
	CTurn& operator=(const CTurn&) = delete;

	// Waits until it is this connection's turn and then up to a second for a client. Whoever has the turn watches the
	// sockets of those who wait behind it, too, and ends its turn at once when one of them has a client.
	EResult Wait(const std::shared_ptr<CVexDescriptor>& poSocket);

	void End();

	// From any thread: the wait that is under way, or the next one, ends at once.
	void Stop();

	// A stop that came before does not count any more.
	void Prepare() { m_bStop = false; }

private:
	friend class COrder;

	EResult WaitForClient();

	std::shared_ptr<CVexDescriptor> m_poSocket;
	CVexEvent m_oGranted;
	bool m_bGranted = false;    // guarded by the order's lock
	std::atomic<bool> m_bStop{ false };
};
}    // namespace VexListenTurns
