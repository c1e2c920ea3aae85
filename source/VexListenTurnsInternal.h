#pragma once

// The order in which the listening connections of the process wait for clients: one at a time, for a second at most.
// The listening sockets take turns, those with a client before the others; at one socket it is first come, first served.

#include "VexDescriptorInternal.h"
#include "VexMutex.h"
#include "VexWakeUpInternal.h"

#include <atomic>
#include <memory>

namespace VexListenTurns
{
// One listening connection's place in the order. Whoever asks for the turn takes the place; the owner's thread sleeps on
// until the turn has come. Not hidden like other internals: the connect thread of CVexTCPIPBase has one.
class CTurn
{
public:
	enum EResult
	{
		eClient,     // the socket has a client
		eNothing,    // not within this turn
		eError,      // the socket is of no use
		eStopped
	};

	// poGranted is signalled when the turn has come, perhaps also after the turn has been left.
	explicit CTurn(const std::shared_ptr<CVexWakeUp>& poGranted) : m_poGranted(poGranted) {}
	~CTurn() { Leave(); }
	CTurn(const CTurn&) = delete;
	CTurn& operator=(const CTurn&) = delete;

	// From any thread. A turn that the owner has at the moment is stopped: its owner enters again.
	void Enter(const std::shared_ptr<CVexDescriptor>& poSocket);

	// For the owner behind a turn: nothing happens if somebody has entered already.
	void EnterAgain(const std::shared_ptr<CVexDescriptor>& poSocket);

	// From any thread: gives the place up. A turn that the owner has at the moment is stopped.
	void Leave();

	// These are for the owner's thread.

	// False unless the turn has come; it goes on until End().
	bool Begin();

	// Waits up to a second for a client, but ends at once when another socket has one.
	EResult WaitForClient();

	void End();

private:
	friend class COrder;

	// Guarded by the order's lock.
	enum
	{
		eOutside,
		eWaiting,
		eGranted,
		eRunning    // its owner has begun the turn
	} m_eState = eOutside;
	std::shared_ptr<CVexDescriptor> m_poSocket;    // changed by the owner alone while the turn is running

	const std::shared_ptr<CVexWakeUp> m_poGranted;
	std::atomic<bool> m_bStop{ false };
};
}    // namespace VexListenTurns
