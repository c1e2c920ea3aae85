#include "VexTraceServer.h"

#include "VexImmortalInternal.h"
#include "VexIniFile.h"
#include "VexOptionExchange.h"
#include "VexPassword.h"
#include "VexProcess.h"
#include "VexSignalEndInternal.h"
#include "VexStringFunc.h"
#include "VexThread.h"
#include "VexTrace.h"
#include "VexTraceMsgInternal.h"
#include "VexTraceServerContainer.h"
#include "VexTraceServerInternal.h"

#include <malloc.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <exception>
#include <memory>
#include <utility>

namespace
{
const unsigned int nWakeUpIntervalMs = 3000;
const std::size_t nWakeUpLength = 250;    // more messages than these wake the thread at once
const std::size_t nQueueCapacity = 500;
const std::size_t nKeptCapacity = 1000;    // a queue that has grown beyond is not kept
const std::size_t nBurstLength = 10000;

CVexImmortal<CVexMutex> oLockActiveServer;

// Threads between reading the active server and counting as its users. A server that is active no more waits until none
// is left, as it does for its users: none of these can have seen it then without counting.
// On a cache line of its own: every call changes it.
struct alignas(64) SEntering
{
	std::atomic<long> nThreads;
} oEntering;

// Held while a monitor port is opened or closed: one after the other. Nobody whom its holder waits for takes it.
CVexImmortal<CVexMutex> oLockTCPIPServer;
std::atomic<unsigned> nLastSerial{ 0 };

// How long StopServer() waits for users; the end of the process limits it.
const int nUserWaitStepMs = 500;
const int nEnteringLooks = 1000;
const unsigned int nUnlimited = 0xFFFFFFFF;
std::atomic<unsigned int> nUserWaitMs{ nUnlimited };

std::atomic<bool> bDrainRequested{ false };
std::atomic<bool> bDrained{ false };

std::string GetTraceIniName()
{
	return CVexProcess::GetCurrentProgDir() + "Trace.ini";
}

// Keeps the calling thread from the SIGPIPE of its own writes; the process's handling of the signal stays as it is.
class CWithoutSigPipe
{
public:
	CWithoutSigPipe()
	{
		sigset_t oPending;
		sigpending(&oPending);
		m_bWasPending = sigismember(&oPending, SIGPIPE) == 1;
		sigemptyset(&m_oSigPipe);
		sigaddset(&m_oSigPipe, SIGPIPE);
		pthread_sigmask(SIG_BLOCK, &m_oSigPipe, &m_oBefore);
	}
	~CWithoutSigPipe()
	{
		const timespec oAtOnce = {};
		while (m_bRaised && !m_bWasPending && sigtimedwait(&m_oSigPipe, nullptr, &oAtOnce) == -1 && errno == EINTR)
			continue;
		pthread_sigmask(SIG_SETMASK, &m_oBefore, nullptr);
	}
	CWithoutSigPipe(const CWithoutSigPipe&) = delete;
	CWithoutSigPipe& operator=(const CWithoutSigPipe&) = delete;

	// A write has failed with EPIPE.
	void SetRaised() { m_bRaised = true; }

private:
	sigset_t m_oSigPipe;
	sigset_t m_oBefore;
	bool m_bWasPending;
	bool m_bRaised = false;
};

// The number of bytes that could be written.
std::size_t WriteToStandardError(const std::string& rsText)
{
	CWithoutSigPipe oWithoutSigPipe;
	std::size_t nWritten = 0;
	while (nWritten < rsText.size())
	{
		const ssize_t nBytes = write(STDERR_FILENO, rsText.data() + nWritten, rsText.size() - nWritten);
		if (nBytes >= 0)
			nWritten += static_cast<std::size_t>(nBytes);
		else if (errno != EINTR)
		{
			if (errno == EPIPE)
				oWithoutSigPipe.SetRaised();
			break;
		}
	}
	return nWritten;
}

void JoinNames(const CVexTraceServer::SObjectDesc& rDesc, std::string& rsName)
{
	rsName.assign(rDesc.m_sObName).append(1, '/').append(rDesc.m_sClassName);
}
}    // namespace

std::atomic<CVexTraceServer*> CVexTraceServer::m_pActiveServer{ nullptr };
CVexMutex& CVexTraceServer::m_oLockActiveServer = oLockActiveServer.m_oObject;
std::atomic<unsigned> CVexTraceServer::m_nChange{ 1 };

// Writes the queue: all of it every 3 s at the latest, and what is left before it ends.
class CVexTraceServer::CTraceServerThread : public CVexThread
{
public:
	explicit CTraceServerThread(CVexTraceServer& rServer) : CVexThread(0), m_oServer(rServer) {}

	~CTraceServerThread() override { Terminate(); }
	CTraceServerThread(const CTraceServerThread&) = delete;
	CTraceServerThread& operator=(const CTraceServerThread&) = delete;

	// Ends the thread, which writes what is queued first. False if it cannot end, and needs the object: SaveMsg() has
	// called abort() or exit(), or its own SIGABRT holds it. What is left is written by the caller then.
	bool End()
	{
		if (!IsOwnThread())
		{
			m_oRunThread.Signal();
			VexSignalEnd::SetAwaited(m_nThread);
			VexSignalEnd::SleepFixed(1000);
			// Both, so that Run() does not sit out its wait before it looks.
			m_oEventTermRequested.Signal();
			m_oRunThread.Signal();
			Terminate();
			VexSignalEnd::SetAwaited(0);
		}
		if (!IsOwnThread() && !GiveUp())
			return true;
		WriteAll();
		return false;
	}

	void Initialize() override { m_nThread = VexSignalEnd::ThreadId(); }

	// One round. After a burst its memory goes back to the system: the C library alone would keep most of it.
	std::size_t Write()
	{
		const std::size_t nMsgs = m_oServer.WriteQueuedMsgs();
		m_bBurst = m_bBurst || nMsgs > nBurstLength;
		if (m_bBurst && m_oServer.IsQueueEmpty())
		{
			m_bBurst = false;
			VexTraceMsgPool::Clear();
			malloc_trim(0);
		}
		return nMsgs;
	}

	void Run() override
	{
		while (!IsTerminationRequested())
		{
			Write();
			if (bDrainRequested)
			{
				WriteAll();
				bDrained = true;
			}
			m_oRunThread.Wait(nWakeUpIntervalMs);
		}
		WriteAll();
	}

	CVexEvent m_oRunThread;

private:
	void WriteAll()
	{
		while (Write() != 0)
		{
		}
	}

	CVexTraceServer& m_oServer;
	bool m_bBurst = false;
	int m_nThread = 0;
};

// The options of "Trace.ini".
class CVexTraceServer::CTraceIniFile : public CVexIniFile
{
public:
	explicit CTraceIniFile(CVexTraceServer* pServer)
		: CVexIniFile(GetTraceIniName().c_str(), CVexIniFile::eAbsolutePath), m_pServer(pServer)
	{
	}

protected:
	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		ExchangeLevels(pExchange);
		ExchangeSwitch(pExchange, "Trace", "ConsoleOutput", m_pServer->m_bConsoleOuput, m_oSettings.m_bConsoleOuput);
		ExchangeSwitch(pExchange, "Trace", "MonitorOn", m_pServer->m_bMonitorOn, m_oSettings.m_bMonitorOn);
		ExchangeSwitch(pExchange, "Trace", "SaveMsg", m_pServer->m_bSaveMsg, m_oSettings.m_bSaveMsg);
		ExchangeValue(pExchange, "IPAddress", m_pServer->m_sMonitorIPAddress, m_oSettings.m_sMonitorIPAddress);
		ExchangeValue(pExchange, "Port", m_pServer->m_sMonitorPort, m_oSettings.m_sMonitorPort);
		ExchangeValue(pExchange, "MaxConnections", m_pServer->m_nMaxConnections, m_oSettings.m_nMaxConnections);
		ExchangeValue(
			pExchange, "ReserveConnections", m_pServer->m_nReserveConnections, m_oSettings.m_nReserveConnections);
		ExchangeSwitch(pExchange, "Monitor", "RequireLogin", m_pServer->m_bLoginRequired, false);
		unsigned int nMaxUnconfirmed = m_pServer->m_nMaxUnconfirmed;
		IOX_Std(pExchange, "Monitor", "MaxUnconfirmed", nMaxUnconfirmed, 0u);
		m_pServer->m_nMaxUnconfirmed = nMaxUnconfirmed;
		// User name and password never come from the file.
		m_pServer->SetUser(m_oSettings.m_sUsername, m_oSettings.m_sPassword);
	}

private:
	void ExchangeLevels(CVexIniOptionExchange* pExchange)
	{
		// By the number in the file.
		const int anDebugLevels[] = { 0, CVexTraceMsg::eDebug, CVexTraceMsg::eDebugL2, CVexTraceMsg::eDebugL3 };
		int nDebug = 0;
		bool bError = false;
		bool bInfo = false;
		bool bWarning = false;
		const bool bSave = pExchange->m_bSaveOption;
		if (bSave)
		{
			const int nLevels = m_pServer->m_nDefaultTraceLevels;
			for (nDebug = 3; nDebug > 0 && !(nLevels & anDebugLevels[nDebug]);)
				--nDebug;
			bError = (nLevels & CVexTraceMsg::eError) != 0;
			bInfo = (nLevels & CVexTraceMsg::eInfo) != 0;
			bWarning = (nLevels & CVexTraceMsg::eWarning) != 0;
		}
		IOX_Std(pExchange, "Trace", "Debug", nDebug, 0);
		IOX_Std(pExchange, "Trace", "Error", bError, false);
		IOX_Std(pExchange, "Trace", "Info", bInfo, false);
		IOX_Std(pExchange, "Trace", "Warning", bWarning, false);
		if (bSave)
			return;
		int nLevels = nDebug >= 0 && nDebug <= 3 ? anDebugLevels[nDebug] : 0;
		nLevels |= (bInfo ? CVexTraceMsg::eInfo : 0) | (bError ? CVexTraceMsg::eError : 0) |
			(bWarning ? CVexTraceMsg::eWarning : 0);
		m_pServer->m_nDefaultTraceLevels = nLevels ? nLevels : m_oSettings.m_nDefaultTraceLevels;
	}

	static void ExchangeSwitch(CVexIniOptionExchange* pExchange, const char* pszSection, const char* pszEntry,
		std::atomic<bool>& rbSwitch, bool bDefault)
	{
		bool bOn = rbSwitch;
		IOX_Std(pExchange, pszSection, pszEntry, bOn, bDefault);
		rbSwitch = bOn;
	}

	// Another thread may open the monitor port meanwhile.
	template <class T>
	void ExchangeValue(CVexIniOptionExchange* pExchange, const char* pszEntry, T& rValue, const T& rDefault)
	{
		T oValue;
		{
			CVexMutexLock oLock(m_pServer->m_oLockObjectMap);
			oValue = rValue;
		}
		IOX_Std(pExchange, "Monitor", pszEntry, oValue, rDefault);
		CVexMutexLock oLock(m_pServer->m_oLockObjectMap);
		rValue = oValue;
	}

	CVexTraceServer* m_pServer;
};

// Keeps tracing usable in a child after fork. The locks are taken over the fork, so that the child finds them free and
// what they guard whole. The server's thread does not exist there: its object is left alone, for joining it or
// destroying the event that it waits for would never end, and the child's messages are dropped. So it is with the monitor
// port and its connections.
class CVexTraceServer::CForkGuard
{
public:
	static void Install()
	{
		static const int nResult = pthread_atfork(Prepare, Parent, Child);
		static_cast<void>(nResult);
	}

private:
	static void Prepare()
	{
		// More than one tracing lock at once: nobody else waits for one of these while holding another, but for the
		// first one.
		oLockTCPIPServer.m_oObject.Lock(0xFFFFFFFF);
		m_oLockActiveServer.Lock(0xFFFFFFFF);
		m_pServer = m_pActiveServer;
		if (m_pServer)
		{
			m_pServer->m_oLockMsgArray.Lock(0xFFFFFFFF);
			m_pServer->m_oLockObjectMap.Lock(0xFFFFFFFF);
		}
	}

	static void Parent()
	{
		if (m_pServer)
		{
			m_pServer->m_oLockObjectMap.Unlock();
			m_pServer->m_oLockMsgArray.Unlock();
		}
		m_oLockActiveServer.Unlock();
		oLockTCPIPServer.m_oObject.Unlock();
	}

	static void Child()
	{
		oEntering.nThreads = 0;
		if (m_pServer)
		{
			m_pLostThread = m_pServer->m_pServerThread.exchange(nullptr);
			m_pServer->m_nActiveUserCount = 0;    // those of other threads are never given back
			m_pLostContainer = std::exchange(m_pServer->m_poServerContainer, nullptr);
			m_pServer->m_nContainerUsers = 0;
		}
		Parent();
	}

	static CVexTraceServer* m_pServer;
	static CTraceServerThread* m_pLostThread;
	static CVexTraceServerContainer* m_pLostContainer;
};

CVexTraceServer* CVexTraceServer::CForkGuard::m_pServer = nullptr;
CVexTraceServer::CTraceServerThread* CVexTraceServer::CForkGuard::m_pLostThread = nullptr;
CVexTraceServerContainer* CVexTraceServer::CForkGuard::m_pLostContainer = nullptr;

// The container with a use taken, or none: it is not deleted meanwhile.
class __attribute__((visibility("hidden"))) CVexTraceServer::CContainerUse
{
public:
	explicit CContainerUse(CVexTraceServer& rServer) : m_oServer(rServer)
	{
		CVexMutexLock oLock(m_oServer.m_oLockObjectMap);
		m_pContainer = m_oServer.m_poServerContainer;
		m_oServer.m_nContainerUsers += m_pContainer ? 1 : 0;
	}
	~CContainerUse()
	{
		if (!m_pContainer)
			return;
		CVexMutexLock oLock(m_oServer.m_oLockObjectMap);
		--m_oServer.m_nContainerUsers;
	}
	CContainerUse(const CContainerUse&) = delete;
	CContainerUse& operator=(const CContainerUse&) = delete;

	CVexTraceServerContainer* operator->() const { return m_pContainer; }
	explicit operator bool() const { return m_pContainer != nullptr; }

private:
	CVexTraceServer& m_oServer;
	CVexTraceServerContainer* m_pContainer = nullptr;
};

void CVexTraceServer::RequestDrain()
{
	const CVexTraceServer* pServer = m_pActiveServer;
	CTraceServerThread* pThread = pServer ? pServer->m_pServerThread.load() : nullptr;
	bDrained = !pThread;
	bDrainRequested = true;
	if (pThread)
		pThread->m_oRunThread.Signal();
}

void VexRequestDrain()
{
	CVexTraceServer::RequestDrain();
}

bool VexIsDrained()
{
	return bDrained;
}

CVexTraceServer::CVexTraceServer()
	: m_bConsoleOuput(m_oSettings.m_bConsoleOuput),
	  m_bMonitorOn(m_oSettings.m_bMonitorOn),
	  m_bSaveMsg(m_oSettings.m_bSaveMsg),
	  m_nDefaultTraceLevels(m_oSettings.m_nDefaultTraceLevels),
	  m_nSerial(++nLastSerial)
{
	CForkGuard::Install();
	m_oMsgArray.reserve(nQueueCapacity);
	StartServer();
}

CVexTraceServer::~CVexTraceServer()
{
	StopServer();
	StopTCPIPServer();
	for (CVexTraceMsg* pMsg : m_oMsgArray)
		delete pMsg;
	VexTraceMsgPool::Clear();
}

void CVexTraceServer::StartServer()
{
	if (m_pServerThread)
		return;
	auto poThread = std::make_unique<CTraceServerThread>(*this);
	if (poThread->Start())
		m_pServerThread = poThread.release();
}

void CVexTraceServer::StopServer()
{
	bool bWasActive = false;
	{
		CVexMutexLock oLock(m_oLockActiveServer);
		bWasActive = m_pActiveServer == this;
		if (bWasActive)
		{
			m_pActiveServer = nullptr;
			++m_nChange;
		}
	}
	if (!bWasActive && !m_pServerThread)
		return;    // stopped before: the base class's destructor comes behind the deriving one's
	// A monitor that does not confirm would cost a second for every message of the queue.
	if (const CContainerUse oContainer(*this); oContainer)
		oContainer->ExpectEnd();
	unsigned int nWaitedMs = 0;
	do
	{
		if (HasUsers())
		{
			const VexSignalEnd::CNeedsOthers oNeedsOthers;
			CVexThread::Sleep(0, nUserWaitStepMs);
		}
		else
			VexSignalEnd::SleepFixed(nUserWaitStepMs);
		nWaitedMs += nUserWaitStepMs;
	} while (HasUsers() && nWaitedMs < nUserWaitMs);
	CTraceServerThread* pThread = m_pServerThread;
	m_pLeftThread = pThread;
	if (pThread && pThread->End() && !HasUsers())
		delete std::exchange(m_pLeftThread, nullptr);
	m_pServerThread = nullptr;
	if (const CContainerUse oContainer(*this); oContainer)
		oContainer->AwaitSent();
}

bool CVexTraceServer::StopWithin(unsigned int nMs)
{
	nUserWaitMs = nMs;
	StopServer();
	nUserWaitMs = nUnlimited;
	return !HasUsers();
}

bool CVexTraceServer::HasUsers()
{
	// In this order: who has left oEntering has been counted. Threads of another server pass through it in an instant.
	for (int i = 0; oEntering.nThreads > 0; ++i)
		if (i == nEnteringLooks)
			return true;
		else
			sched_yield();
	return m_nActiveUserCount > 0;
}

void CVexTraceServer::SetUser(const std::string& sUsername, std::string sPassword)
{
	CVexPassword oPassword(true);
	oPassword.SetPassword(sPassword);
	CVexMutexLock oLock(m_oLockObjectMap);
	m_sUsername = sUsername;
	m_sPassword = oPassword.GetPassword();
}

// KEPT: what is given back is the scrambled form. Test: CVexTraceServer.PasswordIsKeptAndGivenBackScrambledKept
void CVexTraceServer::GetUser(std::string& sUsername, std::string& sPassword) const
{
	{
		CVexMutexLock oLock(m_oLockObjectMap);
		sUsername = m_sUsername;
		sPassword = m_sPassword;
	}
	CVexPassword oPassword(false);
	oPassword.SetPassword(sPassword);
	sPassword = oPassword.GetPassword();
}

void CVexTraceServer::AddMsg(CVexTraceMsg* pMsg)
{
	if (!pMsg)
		return;
	CTraceServerThread* pThread = m_pServerThread;
	if (!pThread)
	{
		// Nobody would ever write it.
		delete pMsg;
		return;
	}
	bool bWakeUp = false;
	{
		std::unique_ptr<CVexTraceMsg> poMsg(pMsg);
		CVexMutexLock oLock(m_oLockMsgArray);
		try
		{
			m_oMsgArray.push_back(poMsg.get());
		}
		catch (const std::bad_alloc&)
		{
			return;    // no memory: the message disappears
		}
		static_cast<void>(poMsg.release());    // the queue owns it
		// Not for every further one: the event keeps the signal until the thread waits again.
		bWakeUp = m_oMsgArray.size() > nWakeUpLength && m_oMsgArray.size() % nWakeUpLength == 1;
	}
	if (bWakeUp)
		pThread->m_oRunThread.Signal();
}

// One round of the thread; the number of messages that it took.
std::size_t CVexTraceServer::WriteQueuedMsgs()
{
	// A round may have been broken off: SaveMsg() has called abort() or exit(), and another thread goes on with it.
	if (m_nNextInRound == m_apRound.size())
	{
		m_nNextInRound = 0;
		m_apRound.clear();
		CVexMutexLock oLock(m_oLockMsgArray);
		m_apRound.swap(m_oMsgArray);
	}
	const std::size_t nMsgs = m_apRound.size() - m_nNextInRound;
	std::string sName;    // one buffer for all
	while (m_nNextInRound < m_apRound.size())
	{
		CVexTraceMsg* const pMsg = m_apRound[m_nNextInRound++];
		try
		{
			if (pMsg->GetText() == CVexTraceMsg::m_szMsgObjectDeleteReq)
				DeRegisterObject(pMsg->GetID());
			else
				WriteMsg(*pMsg, sName);
		}
		catch (const std::exception&)
		{
			// No memory for it: this message is dropped.
		}
		VexTraceMsgPool::GiveBack(pMsg);
		VexSignalEnd::CountProgress();
	}
	if (m_apRound.capacity() > nKeptCapacity)
	{
		m_nNextInRound = 0;
		m_apRound = std::vector<CVexTraceMsg*>();
	}
	return nMsgs;
}

bool CVexTraceServer::IsQueueEmpty()
{
	CVexMutexLock oLock(m_oLockMsgArray);
	return m_oMsgArray.empty();
}

void CVexTraceServer::WriteMsg(const CVexTraceMsg& oMsg, std::string& rsName)
{
	if (!m_bSaveMsg && !m_bConsoleOuput && !m_bMonitorOn)
		return;
	GetObjectName(oMsg.GetID(), rsName);
	if (m_bSaveMsg)
		SaveMsg(oMsg, rsName.c_str());
	if (m_bConsoleOuput)
		WriteConsole(oMsg, rsName);
	if (m_bMonitorOn)
		MonitorMsg(oMsg, rsName.c_str());
}

// One write: lines of several processes on one terminal stay whole. Not by std::cerr, whose state belongs to the program.
void CVexTraceServer::WriteConsole(const CVexTraceMsg& oMsg, const std::string& rsName)
{
	const std::string sLine = (m_bConsoleTorn ? "\n" : "") + oMsg.GetMsgText(rsName, ' ') + '\n';
	const std::size_t nWritten = WriteToStandardError(sLine);
	if (nWritten > 0)
		m_bConsoleTorn = sLine[nWritten - 1] != '\n';
}

void CVexTraceServer::RaiseSyncFlag()
{
	++m_nSyncFlag;
	++m_nChange;
}

void CVexTraceServer::RegisterObject(CVexTrace* pTraceObject)
{
	// The monitors are asked first: no lock is held then.
	const CContainerUse oContainer(*this);
	int nRequested = 0;
	int nWatched = 0;
	if (oContainer)
	{
		nRequested = oContainer->GetClientTraceLevels(pTraceObject->GetID());
		nWatched = oContainer->GetWatchMask(pTraceObject->GetClassName());
	}
	if (!EnterObject(pTraceObject, oContainer ? &nRequested : nullptr, nWatched))
		return;
	// What a monitor has changed meanwhile is not lost.
	if (oContainer && oContainer->GetClientTraceLevels(pTraceObject->GetID()) != nRequested)
		RefreshClientTraceLevels(pTraceObject->GetID(), true);
}

// True if the object was known. pnRequested: null while there are no monitors.
bool CVexTraceServer::EnterObject(CVexTrace* pTraceObject, const int* pnRequested, int nWatched)
{
	CVexMutexLock oLock(m_oLockObjectMap);
	// Looked at under the lock: two threads may register one object at once. An identifier of another server is none.
	const long nID = pTraceObject->GetID();
	const auto oFound = pTraceObject->IsKnownTo(*this, nID) ? m_oObjectMap.find(nID) : m_oObjectMap.end();
	if (oFound != m_oObjectMap.end())
	{
		pTraceObject->SetID(*this, nID);
		oFound->second.m_sObName = pTraceObject->GetName();
		oFound->second.m_sClassName = pTraceObject->GetClassName();
		if (pnRequested)
			oFound->second.m_nLevelsClients = GetTracelevelMask(static_cast<unsigned int>(*pnRequested));
		return true;
	}
	SObjectDesc oDesc;
	oDesc.m_sObName = pTraceObject->GetName();
	oDesc.m_sClassName = pTraceObject->GetClassName();
	oDesc.m_nLevelsClients = GetTracelevelMask(static_cast<unsigned int>(nWatched));
	oDesc.m_nLevelsLocal = m_nDefaultTraceLevels;
	const int nLevels = GetLevels(oDesc);
	m_oObjectMap.emplace(m_nLastTraceObjectID, std::move(oDesc));
	pTraceObject->SetTraceLevels(nLevels);
	pTraceObject->SetID(*this, m_nLastTraceObjectID);
	++m_nLastTraceObjectID;
	return false;
}

// An entry with the object's names; -1 if there is none.
long CVexTraceServer::FindObject(const CVexTrace& rTrace) const
{
	CVexMutexLock oLock(m_oLockObjectMap);
	for (const auto& rEntry : m_oObjectMap)
		if (rEntry.second.m_sObName == rTrace.GetName() && rEntry.second.m_sClassName == rTrace.GetClassName())
			return rEntry.first;
	return -1;
}

void CVexTraceServer::DeRegisterObject(long nObjectID)
{
	CVexMutexLock oLock(m_oLockObjectMap);
	m_oObjectMap.erase(nObjectID);
}

void CVexTraceServer::SetTraceLevels(long nObjectID, int nTraceLevels)
{
	CVexMutexLock oLock(m_oLockObjectMap);
	const auto oFound = m_oObjectMap.find(nObjectID);
	if (oFound == m_oObjectMap.end() || oFound->second.m_nLevelsLocal == nTraceLevels)
		return;
	oFound->second.m_nLevelsLocal = nTraceLevels;
	RaiseSyncFlag();
}

void CVexTraceServer::RefreshClientTraceLevels(long nObjectID, bool bLock)
{
	// Until it holds: what a monitor changes between the question and the entry is not lost.
	int nLevels = 0;
	do
	{
		nLevels = bLock ? GetLevelsOfClients(nObjectID) : 0;
		SetLevelsOfClients(nObjectID, nLevels);
	} while (bLock && GetLevelsOfClients(nObjectID) != nLevels);
}

int CVexTraceServer::GetLevelsOfClients(long nObjectID)
{
	const CContainerUse oContainer(*this);
	return oContainer ? oContainer->GetClientTraceLevels(nObjectID) : 0;
}

void CVexTraceServer::SetLevelsOfClients(long nObjectID, int nLevels)
{
	CVexMutexLock oLock(m_oLockObjectMap);
	const auto oFound = m_oObjectMap.find(nObjectID);
	if (oFound == m_oObjectMap.end() || oFound->second.m_nLevelsClients == nLevels)
		return;
	oFound->second.m_nLevelsClients = nLevels;
	RaiseSyncFlag();
}

void CVexTraceServer::SetConsoleOutput(bool bOn)
{
	m_bConsoleOuput = bOn;
}

void CVexTraceServer::SetTCPIPMonitorOn(bool bOn)
{
	m_bMonitorOn = bOn;
	if (bOn)
		StartTCPIPServer();
	else
		StopTCPIPServer();
}

void CVexTraceServer::SetSaveMsg(bool bOn)
{
	m_bSaveMsg = bOn;
}

void CVexTraceServer::SetActiveServer(CVexTraceServer* pServer)
{
	{
		CVexMutexLock oLock(m_oLockActiveServer);
		m_pActiveServer = pServer;
		++m_nChange;
	}
	if (pServer)
		pServer->StartTCPIPServer();
}

CVexTraceServer* CVexTraceServer::GetActiveServer()
{
	++oEntering.nThreads;
	CVexTraceServer* pServer = m_pActiveServer;
	if (pServer)
		pServer->IncActiveUser();
	--oEntering.nThreads;
	return pServer;
}

void CVexTraceServer::IncActiveUser()
{
	++m_nActiveUserCount;
}

void CVexTraceServer::DecActiveUser()
{
	--m_nActiveUserCount;
}

void CVexTraceServer::StartTCPIPServer()
{
	CVexMutexLock oLock(oLockTCPIPServer.m_oObject);
	// In a child after fork nobody would forward anything.
	if (!m_bMonitorOn || m_poServerContainer || !m_pServerThread)
		return;
	std::string sAddress;
	int nPort = 0;
	unsigned int nMaxConnections = 0;
	unsigned int nReserveConnections = 0;
	{
		CVexMutexLock oLockOptions(m_oLockObjectMap);
		sAddress = m_sMonitorIPAddress;
		nPort = m_sMonitorPort;
		nMaxConnections = m_nMaxConnections;
		nReserveConnections = m_nReserveConnections;
	}
	auto poContainer = std::make_unique<CVexTraceServerContainer>(
		nMaxConnections, 0, sAddress, static_cast<unsigned short>(nPort), *this);
	CVexTraceServerContainer* const pContainer = poContainer.get();
	{
		CVexMutexLock oLockContainer(m_oLockObjectMap);
		m_poServerContainer = poContainer.release();
	}
	// Now that what the first clients ask for reaches the objects. Nobody deletes it while the port's lock is held.
	pContainer->Listen(nReserveConnections);
}

void CVexTraceServer::StopTCPIPServer()
{
	CVexMutexLock oLock(oLockTCPIPServer.m_oObject);
	std::unique_ptr<CVexTraceServerContainer> poContainer;
	{
		CVexMutexLock oLockContainer(m_oLockObjectMap);
		poContainer.reset(std::exchange(m_poServerContainer, nullptr));
	}
	if (!poContainer)
		return;
	poContainer->StopTrace();
	while (IsContainerUsed())
		CVexThread::Sleep(0, 1);
}

bool CVexTraceServer::IsContainerUsed()
{
	CVexMutexLock oLock(m_oLockObjectMap);
	return m_nContainerUsers > 0;
}

void CVexTraceServer::ReadOptionsFromIniFile()
{
	CTraceIniFile(this).UpdateOptions(false);
}

bool CVexTraceServer::GetTraceFlag(const char* pcTraceFlagName, const std::string& sName) const
{
	CVexIniFile oIniFile(GetTraceIniName().c_str(), CVexIniFile::eAbsolutePath);
	bool bFlag = false;
	return VexFromString(bFlag, oIniFile.ReadOption(("Trace-" + sName).c_str(), pcTraceFlagName, "0")) && bFlag;
}

void CVexTraceServer::GetObjectList(std::vector<std::pair<long, std::string>>& aoObjectList)
{
	aoObjectList.clear();
	CVexMutexLock oLock(m_oLockObjectMap);
	for (const auto& rEntry : m_oObjectMap)
	{
		aoObjectList.emplace_back(rEntry.first, std::string());
		JoinNames(rEntry.second, aoObjectList.back().second);
	}
}

std::string CVexTraceServer::GetObjectName(long nID)
{
	std::string sName;
	GetObjectName(nID, sName);
	return sName;
}

void CVexTraceServer::GetObjectName(long nID, std::string& rsName)
{
	rsName.clear();
	CVexMutexLock oLock(m_oLockObjectMap);
	const auto oFound = m_oObjectMap.find(nID);
	if (oFound != m_oObjectMap.end())
		JoinNames(oFound->second, rsName);
}

long CVexTraceServer::GetObjectId(const std::string& sName)
{
	CVexMutexLock oLock(m_oLockObjectMap);
	for (const auto& rEntry : m_oObjectMap)
		if (rEntry.second.m_sClassName == sName)
			return rEntry.first;
	return -1;
}

int CVexTraceServer::GetTraceLevels(long nObjectID)
{
	CVexMutexLock oLock(m_oLockObjectMap);
	const auto oFound = m_oObjectMap.find(nObjectID);
	if (oFound == m_oObjectMap.end())
		return m_nDefaultTraceLevels;
	return GetLevels(oFound->second);
}

// The object's flag and levels change together: another thread that has fetched earlier must not put older levels under
// the newer flag.
void CVexTraceServer::RefreshLevels(CVexTrace& rTrace)
{
	CVexMutexLock oLock(m_oLockObjectMap);
	const long nID = rTrace.GetID();
	if (!rTrace.IsKnownTo(*this, nID))
		return;    // another thread has given it to another server
	const auto oFound = m_oObjectMap.find(nID);
	rTrace.m_nSyncFlag = GetSyncFlag();
	rTrace.SetTraceLevels(oFound == m_oObjectMap.end() ? m_nDefaultTraceLevels.load() : GetLevels(oFound->second));
}

int CVexTraceServer::GetLevels(const SObjectDesc& rDesc) const
{
	return GetTracelevelMask(static_cast<unsigned int>(rDesc.m_nLevelsClients | rDesc.m_nLevelsLocal));
}

int CVexTraceServer::GetTracelevelMask(unsigned int uiMask) const
{
	int nLevels = 0;
	for (unsigned int nBit = CVexTraceMsg::eError; nBit <= CVexTraceMsg::eDebugL3 && nBit <= uiMask; nBit <<= 1)
		nLevels |= static_cast<int>(nBit);
	return nLevels;
}

void CVexTraceServer::SetDefaultSettings(const SVexTraceServerDefaultSettings& oSettings)
{
	m_oSettings = oSettings;
}

void CVexTraceServer::SetDefaultTraceLevels(int nTraceLevels)
{
	m_nDefaultTraceLevels = nTraceLevels;
	RaiseSyncFlag();
}

bool CVexTraceServer::MonitorMsg(const CVexTraceMsg& oMsg, const char*)
{
	const CContainerUse oContainer(*this);
	if (oContainer && bDrainRequested)
		oContainer->ExpectEnd();
	if (oContainer)
		oContainer->TraceReq(oMsg);
	return true;
}

bool CVexTraceServer::IsLoginRequired() const
{
	return m_bLoginRequired;
}

unsigned int CVexTraceServer::GetMaxUnconfirmed() const
{
	return m_nMaxUnconfirmed;
}

long CVexTraceServer::GetSyncFlag() const
{
	return m_nSyncFlag;
}

int CVexTraceServer::GetDefaultTraceLevels() const
{
	return m_nDefaultTraceLevels;
}
