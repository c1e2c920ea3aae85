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
		if (m_pHolder)
			WakeHolder();
		else
			GrantNext();
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

	// The sockets of all that wait, each once, without the holder's own.
	std::vector<std::shared_ptr<CVexDescriptor>> GetOtherSockets(const CVexDescriptor* pOwn)
	{
		std::vector<std::shared_ptr<CVexDescriptor>> apoSockets;
		CVexMutexLock oLock(m_oLock);
		for (const CTurn* pTurn : m_apWaiting)
			if (pTurn->m_poSocket.get() != pOwn &&
				std::find(apoSockets.begin(), apoSockets.end(), pTurn->m_poSocket) == apoSockets.end())
				apoSockets.push_back(pTurn->m_poSocket);
		return apoSockets;
	}

	// The first one that waits for this socket is next.
	void PutFirst(const CVexDescriptor* pSocket)
	{
		CVexMutexLock oLock(m_oLock);
		const auto oFound = std::find_if(m_apWaiting.begin(),
			m_apWaiting.end(),
			[pSocket](const CTurn* pTurn) { return pTurn->m_poSocket.get() == pSocket; });
		if (oFound != m_apWaiting.end())
			std::rotate(m_apWaiting.begin(), oFound, oFound + 1);
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
	void GrantNext()
	{
		if (m_apWaiting.empty())
			return;
		m_pHolder = m_apWaiting.front();
		m_apWaiting.pop_front();
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

	CVexMutex m_oLock;    // guards the holder, the list and each turn's m_bGranted
	CTurn* m_pHolder = nullptr;
	std::deque<CTurn*> m_apWaiting;
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
		const auto apoOthers = rOrder.GetOtherSockets(m_poSocket.get());
		std::vector<pollfd> aoPoll = { { m_poSocket->Get(), POLLIN, 0 }, { rOrder.GetWakeDescriptor(), POLLIN, 0 } };
		for (const auto& rpoSocket : apoOthers)
			aoPoll.push_back({ rpoSocket->Get(), POLLIN, 0 });
		const int nReady = poll(aoPoll.data(), aoPoll.size(), static_cast<int>(std::max(nEnd - NowMs(), 0LL)));
		if (nReady < 0 && errno != EINTR)
			return eError;
		if (nReady == 0)
			return eNothing;
		if (nReady < 0)
			continue;
		if (aoPoll[0].revents & POLLIN)
			return (aoPoll[0].revents & (POLLERR | POLLHUP | POLLNVAL)) ? eError : eClient;
		if (aoPoll[0].revents != 0)
			return eError;
		if (aoPoll[1].revents != 0)
			rOrder.TakeWake();
		for (std::size_t i = 0; i < apoOthers.size(); ++i)
			if (aoPoll[i + 2].revents != 0)
			{
				rOrder.PutFirst(apoOthers[i].get());
				return eNothing;
			}
	}
	return eStopped;
}
}    // namespace VexListenTurns
