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

typedef std::vector<std::shared_ptr<CVexDescriptor>> Sockets;

long long NowMs()
{
	timespec oNow = {};
	clock_gettime(CLOCK_MONOTONIC, &oNow);
	return static_cast<long long>(oNow.tv_sec) * 1000 + oNow.tv_nsec / 1000000;
}
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

	// The turn is granted at once if nobody has it.
	void Enter(CTurn& rTurn)
	{
		CVexMutexLock oLock(m_oLock);
		m_apWaiting.push_back(&rTurn);
		if (!m_pHolder)
			GrantNext();
		else if (std::find(m_apoWatched.begin(), m_apoWatched.end(), rTurn.m_poSocket) == m_apoWatched.end())
			WakeHolder();
	}

	bool HasTurn(const CTurn& rTurn)
	{
		CVexMutexLock oLock(m_oLock);
		return rTurn.m_bGranted;
	}

	// False if the turn was granted meanwhile.
	bool Leave(CTurn& rTurn)
	{
		CVexMutexLock oLock(m_oLock);
		if (rTurn.m_bGranted)
			return false;
		m_apWaiting.erase(std::find(m_apWaiting.begin(), m_apWaiting.end(), &rTurn));
		return true;
	}

	void End(CTurn& rTurn)
	{
		CVexMutexLock oLock(m_oLock);
		rTurn.m_bGranted = false;
		m_pHolder = nullptr;
		m_apoWatched.clear();
		GrantNext();
	}

	void Wake(CTurn& rTurn)
	{
		CVexMutexLock oLock(m_oLock);
		if (m_pHolder == &rTurn)
			WakeHolder();
		else
			rTurn.m_oGranted.Signal();
	}

	// The holder's socket first, then those of all that wait, each once.
	Sockets Watch(const CTurn& rHolder)
	{
		CVexMutexLock oLock(m_oLock);
		m_apoWatched.assign(1, rHolder.m_poSocket);
		AddWaiting(m_apoWatched);
		return m_apoWatched;
	}

	int GetWakeDescriptor() const { return m_oWake.Get(); }

	void TakeWake() const
	{
		std::uint64_t nCount = 0;
		while (read(m_oWake.Get(), &nCount, sizeof nCount) < 0 && errno == EINTR)
		{
		}
	}

private:
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

	void GrantNext()
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
		m_pHolder->m_bGranted = true;
		m_pHolder->m_oGranted.Signal();
	}

	void WakeHolder() const
	{
		const std::uint64_t nOne = 1;
		while (write(m_oWake.Get(), &nOne, sizeof nOne) < 0 && errno == EINTR)
		{
		}
	}

	CVexMutex m_oLock;    // guards all below but the descriptor, each turn's m_bGranted and each socket's m_nLastTurn
	CTurn* m_pHolder = nullptr;
	std::deque<CTurn*> m_apWaiting;
	Sockets m_apoWatched;    // what the holder looks at, or is about to
	std::uint64_t m_nTurns = 0;
	CVexDescriptor m_oWake{ eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK) };
};

CTurn::EResult CTurn::Wait(const std::shared_ptr<CVexDescriptor>& poSocket)
{
	m_poSocket = poSocket;
	m_oGranted.Reset();
	COrder& rOrder = COrder::Get();
	rOrder.Enter(*this);
	if (m_bStop)
		m_oGranted.Signal();
	do
	{
		m_oGranted.Wait(0xFFFFFFFF);
		if (m_bStop && rOrder.Leave(*this))
			return eStopped;
	} while (!rOrder.HasTurn(*this));
	const EResult eResult = WaitForClient();
	// Nobody looks at it any more: the socket is not kept longer than its users keep it.
	m_poSocket.reset();
	if (eResult != eClient && eResult != eError)
		End();
	return eResult;
}

void CTurn::End()
{
	COrder::Get().End(*this);
}

void CTurn::Stop()
{
	m_bStop = true;
	COrder::Get().Wake(*this);
}

CTurn::EResult CTurn::WaitForClient()
{
	COrder& rOrder = COrder::Get();
	const long long nEnd = NowMs() + nTurnMs;
	while (!m_bStop)
	{
		const Sockets apoSockets = rOrder.Watch(*this);
		std::vector<pollfd> aoPoll;
		aoPoll.reserve(apoSockets.size() + 1);
		for (const auto& rpoSocket : apoSockets)
			aoPoll.push_back({ rpoSocket->Get(), POLLIN, 0 });
		aoPoll.push_back({ rOrder.GetWakeDescriptor(), POLLIN, 0 });
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
		rOrder.TakeWake();
	}
	return eStopped;
}
}    // namespace VexListenTurns
