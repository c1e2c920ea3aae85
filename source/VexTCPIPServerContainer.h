#pragma once

// A TCP server: a pool of passive connections on one address and port.

#include "VexMutex.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class CVexListenRetry;
class CVexTCPIPServerBase;

// Has nMaxConnections slots and keeps nReserve of them listening while slots are free. A deriving container makes its
// own server objects in CreateNewClass(), calls FillUpReserve() at the end of its constructor and DeleteServers() in
// its destructor. A slot whose object cannot listen (the port is taken, the system has no threads left) stays unused;
// FillUpReserve() runs again after two seconds.
//
// Threads: Connected() runs on the server objects' threads. CreateNewClass() runs there, on the constructing thread, and
//          on a thread that all containers share, with m_oLockContainer held: it must not call back into the container.
class CVexTCPIPServerContainer
{
public:
	enum EServerState
	{
		eUnused = 0,
		eListening = 1,
		eConnected = 2
	};

	// The slot's server object (owned by the container; null until it is made; used again for later clients).
	typedef std::pair<CVexTCPIPServerBase*, EServerState> TCPIPServerInfo;

	CVexTCPIPServerContainer(int nMaxConnections, int nReserve, const std::string& sIPAddress, unsigned short nPort);
	CVexTCPIPServerContainer(const CVexTCPIPServerContainer&) = delete;
	CVexTCPIPServerContainer& operator=(const CVexTCPIPServerContainer&) = delete;

	// Deletes the server objects, in slot order.
	virtual ~CVexTCPIPServerContainer();

	// A new server object for this container with this identifier, already listening. Null: the slot stays unused; so
	// does the base version, which a client that comes while the container is being destroyed may still call.
	virtual CVexTCPIPServerBase* CreateNewClass(int nID);

	// A server object has got, or lost, its client. Unknown identifiers are ignored.
	virtual void Connected(int nID, bool bConnected);

	void FillUpReserve();

	// How many slots are waiting for a client now. Less than the reserve, while slots are unused: they cannot listen.
	int GetListeningCount() const;

	// Null outside the slots and for a slot without an object.
	CVexTCPIPServerBase* operator[](int nIndex);

protected:
	// With m_oLockContainer held; null if there is none.
	TCPIPServerInfo* GetServerByID(int nID);

	// No object is made any more, and those that exist are deleted.
	void DeleteServers();

	std::uint32_t m_nMaxConnections;
	std::uint32_t m_nReserve;
	std::string m_sIPAddress;
	std::uint16_t m_nPort;
	std::vector<TCPIPServerInfo> m_aoServer;
	std::uint32_t m_nMaxId = 0;
	mutable CVexMutex m_oLockContainer;    // guards m_aoServer, m_nMaxId and m_bEnding

private:
	void FillSlot(TCPIPServerInfo& rInfo);

	bool m_bEnding = false;
	std::shared_ptr<CVexListenRetry> m_poRetry;
};
