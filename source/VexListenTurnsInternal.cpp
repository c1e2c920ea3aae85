#include "VexListenTurnsInternal.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <deque>
#include <vector>

namespace VexListenTurns
{
namespace
{
const long long nTurnMs = 1000;

typedef std::shared_ptr<CVexDescriptor> Socket;
typedef std::vector<Socket> Sockets;

long long NowMs()
{
	timespec oNow = {};
	clock_gettime(CLOCK_MONOTONIC, &oNow);
	return static_cast<long long>(oNow.tv_sec) * 1000 + oNow.tv_nsec / 1000000;
}

// Signals at its end. Declared ahead of the lock: the thread that wakes up does not find the lock taken.
struct SGranted
{
	SGranted() = default;
	~SGranted()
	{
		if (m_poSignal)
			m_poSignal->Signal();
	}
	SGranted(const SGranted&) = delete;
	SGranted& operator=(const SGranted&) = delete;

	std::shared_ptr<CVexWakeUp> m_poSignal;
};
}    // namespace

// Who has the turn and who waits for it.
class COrder
{
public:
	// Never destroyed: connections may be static objects.
	static COrder& Get()
	{
		static COrder& rOrder = *new COrder;
		return rOrder;
	}

	// The turn is granted at once if nobody has it. bAgain: only if nobody else has entered it meanwhile.
	void Enter(CTurn& rTurn, const Socket& poSocket, bool bAgain)
	{
		SGranted oGranted;
		CVexMutexLock oLock(m_oLock);
		if (bAgain && rTurn.m_eState != CTurn::eOutside)
			return;
		if (rTurn.m_eState == CTurn::eRunning)
		{
			Stop(rTurn);
			return;
		}
		rTurn.m_poSocket = poSocket;
		if (rTurn.m_eState == CTurn::eOutside)
		{
			rTurn.m_eState = CTurn::eWaiting;
			m_apWaiting.push_back(&rTurn);
		}
		if (!m_pHolder)
			GrantNext(oGranted);
		else if (std::find(m_apoWatched.begin(), m_apoWatched.end(), poSocket) == m_apoWatched.end())
			WakeHolder();
	}

	void Leave(CTurn& rTurn)
	{
		SGranted oGranted;
		CVexMutexLock oLock(m_oLock);
		if (rTurn.m_eState == CTurn::eRunning)
			Stop(rTurn);
		else if (rTurn.m_eState == CTurn::eGranted)
			Release(rTurn, oGranted);
		else if (rTurn.m_eState == CTurn::eWaiting)
		{
			m_apWaiting.erase(std::find(m_apWaiting.begin(), m_apWaiting.end(), &rTurn));
			PutOutside(rTurn);
			// The holder lets the socket go, too, if nobody waits at it any more.
			WakeHolder();
		}
	}

	bool Begin(CTurn& rTurn)
	{
		CVexMutexLock oLock(m_oLock);
		if (rTurn.m_eState != CTurn::eGranted)
			return false;
		rTurn.m_eState = CTurn::eRunning;
		rTurn.m_bStop = false;
		return true;
	}

	void End(CTurn& rTurn)
	{
		SGranted oGranted;
		CVexMutexLock oLock(m_oLock);
		Release(rTurn, oGranted);
	}

	// The holder's socket first, then those of all that wait, each once.
	Sockets Watch(const CTurn& rHolder)
	{
		CVexMutexLock oLock(m_oLock);
		m_apoWatched.assign(1, rHolder.m_poSocket);
		AddWaiting(m_apoWatched);
		return m_apoWatched;
	}

	// -1 while the process has no descriptor left for it.
	int GetWakeDescriptor()
	{
		CVexMutexLock oLock(m_oLock);
		if (m_nWake < 0)
			m_nWake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
		return m_nWake;
	}

	static void TakeWake(int nWake)
	{
		std::uint64_t nCount = 0;
		while (read(nWake, &nCount, sizeof nCount) < 0 && errno == EINTR)
		{
		}
	}

private:
	void Stop(CTurn& rTurn) const
	{
		rTurn.m_bStop = true;
		WakeHolder();
	}

	// Nobody looks at the socket any more: it is not kept longer than its users keep it.
	static void PutOutside(CTurn& rTurn)
	{
		rTurn.m_eState = CTurn::eOutside;
		rTurn.m_poSocket.reset();
	}

	void Release(CTurn& rTurn, SGranted& roGranted)
	{
		PutOutside(rTurn);
		m_pHolder = nullptr;
		m_apoWatched.clear();
		GrantNext(roGranted);
	}

	void AddWaiting(Sockets& rapoSockets) const
	{
		for (const CTurn* pTurn : m_apWaiting)
			if (std::find(rapoSockets.begin(), rapoSockets.end(), pTurn->m_poSocket) == rapoSockets.end())
				rapoSockets.push_back(pTurn->m_poSocket);
	}

	// The sockets with a client go before the others; among equals the one whose last turn is the longest ago is next.
	const CVexDescriptor* ChooseSocket() const
	{
		Sockets apoSockets;
		AddWaiting(apoSockets);
		if (apoSockets.size() == 1)
			return apoSockets[0].get();
		std::vector<pollfd> aoPoll;
		for (const auto& rpoSocket : apoSockets)
			aoPoll.push_back({ rpoSocket->Get(), POLLIN, 0 });
		poll(aoPoll.data(), aoPoll.size(), 0);    // with the lock held: it only looks
		std::size_t nBest = 0;
		for (std::size_t i = 1; i < apoSockets.size(); ++i)
		{
			const bool bReady = aoPoll[i].revents != 0;
			const bool bBestReady = aoPoll[nBest].revents != 0;
			if (bReady != bBestReady ? bReady : apoSockets[i]->m_nLastTurn < apoSockets[nBest]->m_nLastTurn)
				nBest = i;
		}
		return apoSockets[nBest].get();
	}

	void GrantNext(SGranted& roGranted)
	{
		if (m_apWaiting.empty())
			return;
		const CVexDescriptor* pSocket = ChooseSocket();
		const auto oNext = std::find_if(m_apWaiting.begin(),
			m_apWaiting.end(),
			[pSocket](const CTurn* pTurn) { return pTurn->m_poSocket.get() == pSocket; });
		m_pHolder = *oNext;
		m_apWaiting.erase(oNext);
		m_apoWatched.assign(1, m_pHolder->m_poSocket);
		m_pHolder->m_poSocket->m_nLastTurn = ++m_nTurns;
		m_pHolder->m_eState = CTurn::eGranted;
		roGranted.m_poSignal = m_pHolder->m_poGranted;
	}

	void WakeHolder() const
	{
		const std::uint64_t nOne = 1;
		while (write(m_nWake, &nOne, sizeof nOne) < 0 && errno == EINTR)
		{
		}
	}

	// Guards all below but the descriptor, each turn's state and socket, and each socket's m_nLastTurn.
	CVexMutex m_oLock;
	CTurn* m_pHolder = nullptr;
	std::deque<CTurn*> m_apWaiting;
	Sockets m_apoWatched;    // what the holder looks at, or is about to
	std::uint64_t m_nTurns = 0;
	int m_nWake = -1;    // wakes the holder; made when it is needed first
};

void CTurn::Enter(const Socket& poSocket)
{
	COrder::Get().Enter(*this, poSocket, false);
}

void CTurn::EnterAgain(const Socket& poSocket)
{
	COrder::Get().Enter(*this, poSocket, true);
}

void CTurn::Leave()
{
	COrder::Get().Leave(*this);
}

bool CTurn::Begin()
{
	return COrder::Get().Begin(*this);
}

void CTurn::End()
{
	COrder::Get().End(*this);
}

CTurn::EResult CTurn::WaitForClient()
{
	COrder& rOrder = COrder::Get();
	const long long nEnd = NowMs() + nTurnMs;
	while (!m_bStop)
	{
		const int nWake = rOrder.GetWakeDescriptor();
		const Sockets apoSockets = rOrder.Watch(*this);
		std::vector<pollfd> aoPoll;
		aoPoll.reserve(apoSockets.size() + 1);
		for (const auto& rpoSocket : apoSockets)
			aoPoll.push_back({ rpoSocket->Get(), POLLIN, 0 });
		aoPoll.push_back({ nWake, POLLIN, 0 });
		const int nReady = poll(aoPoll.data(), aoPoll.size(), static_cast<int>(std::max(nEnd - NowMs(), 0LL)));
		if (nReady < 0 && errno != EINTR)
			return eError;
		if (nReady == 0)
			return eNothing;
		if (nReady < 0)
			continue;
		if (aoPoll[0].revents != 0)
			return aoPoll[0].revents == POLLIN ? eClient : eError;
		if (aoPoll.back().revents == 0)
			return eNothing;    // another socket has a client: its turn is next
		COrder::TakeWake(nWake);
	}
	return eStopped;
}
}    // namespace VexListenTurns
