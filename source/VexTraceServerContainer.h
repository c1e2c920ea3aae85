#pragma once

// The monitor port of a trace server: its clients, each on a connection of its own.

#include "VexMutex.h"
#include "VexTCPIPServerContainer.h"

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class CVexTraceMsg;
class CVexTraceServer;
class CVexTraceServerConnection;

// Threads: TraceReq() on the trace server's thread; GetClientTraceLevels() and GetWatchMask() on any, also while that
//          thread holds the base class's lock: objects of the connections register while they are created.
// Locks:   the lock of the slots, that of the client list and below it those of the connections, each taken for an
//          instant only; nothing outside is called while they are held.
// Login:   where one is required, a thread of its own disconnects clients that have not logged in within 10 s.
// Ownership: the trace server owns the object and deletes it when no other thread uses it any more.
class CVexTraceServerContainer : public CVexTCPIPServerContainer
{
public:
	// Opens the port. The server must outlive the object.
	CVexTraceServerContainer(unsigned int nMaxConnections, unsigned int nReserveConnections,
		const std::string& sIPAddress, unsigned short nPort, CVexTraceServer& oTraceServer);

	// For a container that was made without a reserve: opens the port with one.
	void Listen(unsigned int nReserveConnections);

	// Disconnects the clients; what they requested falls away.
	~CVexTraceServerContainer() override;

	CVexTCPIPServerBase* CreateNewClass(int nIndex) override;
	void Connected(int nIndex, bool bConnected) override;

	// Sends the message to one client after the other and waits for each one's confirmation.
	void TraceReq(const CVexTraceMsg& oMsg);

	// All levels that clients have requested for the object. What they watch of its class is not among them.
	int GetClientTraceLevels(long nID);

	// All levels that clients watch in the class.
	int GetWatchMask(const std::string& sClass);

	// The last messages come: they are sent without waiting for confirmations, and no further client gets any.
	void ExpectEnd();

	// After the last message: waits until the clients' systems have what was sent, a second at most.
	void AwaitSent();

	// A TraceReq() that waits for a client returns at once.
	void StopTrace();

private:
	typedef std::pair<int, CVexTraceServerConnection*> Client;    // with its identifier

	class CLoginWatch;

	void DisconnectOverdue();
	CVexTraceServerConnection* GetClient(std::size_t nPosition);
	CVexTraceServerConnection* FindClient(int nIndex);

	CVexTraceServer& m_oTraceServer;
	std::string m_sIPAddress;
	unsigned short m_nPort;

	CVexMutex m_oLockClients;           // guards m_aoClients
	std::vector<Client> m_aoClients;    // in slot order; the base class owns the connections
	std::atomic<bool> m_bEnding{ false };
	std::unique_ptr<CLoginWatch> m_poLoginWatch;    // runs from the first client on that has to log in
};
