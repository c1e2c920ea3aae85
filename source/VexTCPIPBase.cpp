#include "VexTCPIPBase.h"

#include "VexDescriptorInternal.h"
#include "VexImmortalInternal.h"
#include "VexListenTurnsInternal.h"
#include "VexThread.h"
#include "VexTraceTextInternal.h"
#include "VexWakeUpInternal.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iostream>

namespace
{
const std::size_t nReceiveBlock = 1024;
const std::size_t nMaxUnreachable = 1048576;
const std::size_t nCutOff = 65536;    // so much taken data, at least, is cut off the buffer at once

typedef std::shared_ptr<CVexDescriptor> Descriptor;

struct SLocation
{
	int m_nLine;
};

std::ostream& operator<<(std::ostream& rStream, SLocation oLocation)
{
	return rStream << "\tFile source/VexTCPIPBase Line " << oLocation.m_nLine;
}

bool SetOption(const Descriptor& poSocket, int nLevel, int nOption, int nValue)
{
	return setsockopt(poSocket->Get(), nLevel, nOption, &nValue, sizeof nValue) == 0;
}

Descriptor MakeSocket(int nFlags)
{
	const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | nFlags, 0);
	return nSocket < 0 ? nullptr : std::make_shared<CVexDescriptor>(nSocket);
}

void SetBlocking(int nSocket, bool bBlocking)
{
	const int nFlags = fcntl(nSocket, F_GETFL);
	fcntl(nSocket, F_SETFL, bBlocking ? nFlags & ~O_NONBLOCK : nFlags | O_NONBLOCK);
}

in_addr ResolveHost(const char* szHost)
{
	in_addr oAddress = {};
	addrinfo oHints = {};
	oHints.ai_family = AF_INET;
	oHints.ai_socktype = SOCK_STREAM;
	addrinfo* pFound = nullptr;
	if (getaddrinfo(szHost, nullptr, &oHints, &pFound) == 0 && pFound)
	{
		sockaddr_in oFound = {};
		std::memcpy(&oFound, pFound->ai_addr, sizeof oFound);
		freeaddrinfo(pFound);
		return oFound.sin_addr;
	}
	oAddress.s_addr = inet_addr(szHost);
	return oAddress;
}

sockaddr_in ConvTCPAddrToSocketAddr(const char* szAddress, unsigned short nPort)
{
	sockaddr_in oAddress = {};
	oAddress.sin_family = AF_INET;
	oAddress.sin_port = htons(nPort);
	char szOwn[128] = "";
	if (!szAddress)
	{
		gethostname(szOwn, sizeof szOwn - 1);
		oAddress.sin_addr = ResolveHost(szOwn);
	}
	else if (std::isdigit(static_cast<unsigned char>(szAddress[0])))
		oAddress.sin_addr.s_addr = inet_addr(szAddress);
	else
		oAddress.sin_addr = ResolveHost(szAddress);
	return oAddress;
}

// 0, or the system's number of the error.
int Listen(const Descriptor& poSocket, const sockaddr_in& rAddress)
{
	// What is no address reads as the broadcast address, which can be bound but never be reached.
	if (rAddress.sin_addr.s_addr == INADDR_NONE)
		return EADDRNOTAVAIL;
	if (!SetOption(poSocket, SOL_SOCKET, SO_REUSEADDR, 1) ||
		bind(poSocket->Get(), reinterpret_cast<const sockaddr*>(&rAddress), sizeof rAddress) != 0 ||
		listen(poSocket->Get(), 128) != 0)
		return errno;
	// The accepted sockets inherit these. A dead client is found after 60 s and three probes.
	const int anSettings[][3] = {
		{ IPPROTO_TCP, TCP_NODELAY, 1 },
		{ SOL_SOCKET, SO_KEEPALIVE, 1 },
		{ IPPROTO_TCP, TCP_KEEPIDLE, 60 },
		{ IPPROTO_TCP, TCP_KEEPINTVL, 10 },
		{ IPPROTO_TCP, TCP_KEEPCNT, 3 },
	};
	for (const auto& rSetting : anSettings)
		SetOption(poSocket, rSetting[0], rSetting[1], rSetting[2]);
	return 0;
}

// A line of its own, after the text that says what failed.
void TraceReason(CVexTrace& rTrace, const std::string& sAddress, unsigned short nPort, int nError)
{
	char acBuffer[256];
	VexTraceText(rTrace,
		CVexTraceMsg::eError,
		[&](std::ostream& rStream)
		{
			rStream << "TCP/IP-Address=" << sAddress << ",Port=" << nPort << ": "
					<< strerror_r(nError, acBuffer, sizeof acBuffer);
		});
}

// The time limit that a program has set on sending; 0 if there is none.
std::chrono::microseconds GetSendLimit(int nSocket)
{
	timeval oLimit = {};
	socklen_t nLength = sizeof oLimit;
	getsockopt(nSocket, SOL_SOCKET, SO_SNDTIMEO, &oLimit, &nLength);
	return std::chrono::seconds(oLimit.tv_sec) + std::chrono::microseconds(oLimit.tv_usec);
}

unsigned int Deadline(int nTimeout)
{
	return static_cast<unsigned int>(nTimeout);    // -1 is for ever in both forms
}

// A byte of a length, with its sign.
int SignedByte(char c)
{
	return static_cast<signed char>(c);
}

unsigned int Byte(char c)
{
	return static_cast<unsigned char>(c);
}

// The whole length of the telegram at pData, its prefix included.
//
// KEPT: the last byte counts with its sign. Test: CVexTCPIPBase.TelegramLengthBytesHaveASignKept
std::uint32_t GetTelegramTotal(
	const char* pData, CVexTCPIPBase::ETelegramLengthFormat eFormat, CVexTCPIPBase::EByteOrder eByteOrder)
{
	const bool bBig = eByteOrder == CVexTCPIPBase::eBigEndian;
	if (eFormat == CVexTCPIPBase::eByteData)
		return static_cast<std::uint32_t>(SignedByte(pData[0]) + 1);
	if (eFormat == CVexTCPIPBase::eWordData)
	{
		const int nLength = bBig ? static_cast<int>(Byte(pData[0]) << 8) + SignedByte(pData[1])
								 : static_cast<int>(Byte(pData[1]) << 8 | Byte(pData[0]));
		return static_cast<std::uint32_t>(nLength + 2);
	}
	if (bBig)
		return (Byte(pData[0]) << 24 | Byte(pData[1]) << 16 | Byte(pData[2]) << 8) +
			static_cast<std::uint32_t>(SignedByte(pData[3])) + 4u;
	return (Byte(pData[3]) << 24 | Byte(pData[2]) << 16 | Byte(pData[1]) << 8 | Byte(pData[0])) + 4u;
}

// Errors of accept() that tell of a client that has left again, or of its network (accept(2)). All others are the
// process's or the socket's own.
bool IsClientsFault(int nError)
{
	const int anClients[] = { EAGAIN,
		EWOULDBLOCK,
		EINTR,
		ECONNABORTED,
		ENETDOWN,
		EPROTO,
		ENOPROTOOPT,
		EHOSTDOWN,
		ENONET,
		EHOSTUNREACH,
		EOPNOTSUPP,
		ENETUNREACH };
	return std::find(std::begin(anClients), std::end(anClients), nError) != std::end(anClients);
}

// A total that can never be cut: 0, or negative as a signed number.
bool IsUnreachable(std::uint32_t nTotal)
{
	return nTotal == 0 || nTotal > 0x7FFFFFFFu;
}

}    // namespace

// Makes the connections: connects, or accepts in turn with the other listening connections.
class CVexTCPIPBase::CConnectThread : public CVexThread
{
public:
	class CVexTraceEx : public CVexTrace
	{
	public:
		CVexTraceEx() : CVexTrace("CVexTCPIPBase::CConnectThread", nullptr, nullptr) {}
	};

	explicit CConnectThread(CVexTCPIPBase* poBaseClass) : CVexThread(0), m_poBaseClass(poBaseClass) {}

	~CConnectThread() override
	{
		Quit();
		Terminate();
		m_oTurn.Leave();
		Deregister(m_oServerSocket);
	}
	CConnectThread(const CConnectThread&) = delete;
	CConnectThread& operator=(const CConnectThread&) = delete;

	void Quit()
	{
		m_bQuit = true;
		m_oTurn.Leave();
		m_poStartConnecting->Signal();
	}

	virtual void SetTraceName(const char* szName) { m_oTrace.SetName(szName, nullptr); }

	// Blocks while ConInd() runs on this thread. For the read thread, so that the end of a connection is told behind its
	// begin.
	void AwaitIndicated();

	// The outcome of this request, or of any one, is being told.
	bool IsIndicating(unsigned nRequest) const { return m_nIndicating == nRequest; }
	bool IsIndicating() const { return m_nIndicating != 0; }

	bool IsCurrent() const { return IsOwnThread(); }

	// The request has timed out while its outcome was being indicated: what the base version of ConInd() is yet to be
	// told does not count. Both with the connection's lock.
	void DropIndication() { m_bDropped = true; }
	bool IsDropped() const { return m_bDropped && IsCurrent(); }

	// 0, or the system's number of the error.
	int SetConnectionParameter(const char* szAddress, unsigned short nPort, bool bActive, unsigned nRequest);

	// Begins with the request that was set.
	void Begin();

	void Run() override;

	CVexTraceEx m_oTrace;
	CVexTCPIPBase* m_poBaseClass;
	const std::shared_ptr<CVexWakeUp> m_poStartConnecting = std::make_shared<CVexWakeUp>();
	sockaddr_in m_oRemoteAddr = {};    // this and the next two are guarded by the connection's m_oLock
	Descriptor m_oServerSocket;
	bool m_bActive = true;
	std::atomic<bool> m_bQuit{ false };

	// A listening socket, shared by all connections of the process that listen on its address and port.
	struct SSocketEntry
	{
		std::string sIPAddress;
		std::uint16_t nPort;
		Descriptor oSocket;
		std::uint32_t nUsers;
	};

	static CVexImmortal<CVexMutex> m_oLockSocketTable;      // guards m_oaSocketTable
	static std::vector<SSocketEntry>& m_oaSocketTable();    // never destroyed: connections may be static objects

private:
	// What the thread works on: a copy, as the owner may set the next request meanwhile.
	struct SRequest
	{
		unsigned m_nNumber = 0;    // 0: there is none, or it is over
		bool m_bActive = true;
		sockaddr_in m_oRemoteAddr = {};
		Descriptor m_poSocket;    // to connect or to listen on; null if it was closed meanwhile
	};

	static Descriptor Register(const std::string& sIPAddress, std::uint16_t nPort, const sockaddr_in& rAddress,
		const Descriptor& poOldSocket, int& rnError);
	static void Deregister(const Descriptor& poSocket);
	static Descriptor Share(const std::string& sIPAddress, std::uint16_t nPort);
	static void RemoveUser(const Descriptor& poSocket);

	int PrepareActive();
	int PreparePassive(const Descriptor& poSocket, int nError);
	SRequest GetRequest() const;
	bool IsOver(const SRequest& rRequest) const;
	bool Claim(const SRequest& rRequest, const Descriptor& poConnected);
	int AcceptAndClaim(const SRequest& rRequest, int& rnError);
	void Indicate(bool bConnected, int nSocket);
	void Connect(const SRequest& rRequest);
	static int ConnectSocket(const SRequest& rRequest);
	void Accept(const SRequest& rRequest);
	void FailToAccept(const SRequest& rRequest);

	unsigned m_nRequest = 0;    // 0: none, or it has been answered; guarded by the connection's m_oLock
	std::atomic<unsigned> m_nIndicating{
		0
	};                          // the request whose outcome is claimed; set under the connection's m_oLock
	bool m_bDropped = false;    // guarded by the connection's m_oLock
	CVexEvent m_oIndicated;
	VexListenTurns::CTurn m_oTurn{ m_poStartConnecting };
};

// Receives what the connection's socket brings.
class CVexTCPIPBase::CReadThread : public CVexThread
{
public:
	class CVexTraceEx : public CVexTrace
	{
	public:
		CVexTraceEx() : CVexTrace("CVexTCPIPBase::CReadThread", nullptr, nullptr) {}
	};

	explicit CReadThread(CVexTCPIPBase* poBaseClass) : CVexThread(0), m_poBaseClass(poBaseClass) {}

	~CReadThread() override
	{
		Quit();
		Terminate();
	}

	void Quit()
	{
		m_bQuit = true;
		m_oStartReading.Signal();
	}

	CReadThread(const CReadThread&) = delete;
	CReadThread& operator=(const CReadThread&) = delete;

	void Initialize() override;
	void Run() override;
	bool IsCurrent() const { return IsOwnThread(); }

	CVexTraceEx m_oTrace;
	CVexTCPIPBase* m_poBaseClass;
	CVexWakeUp m_oStartReading;
	std::atomic<bool> m_bQuit{ false };

private:
	bool Read();
	void ReportEnd();
};

std::atomic<int> CVexTCPIPBase::m_nInstances{ 0 };

CVexTCPIPBase::CVexTCPIPBase()
	: m_poReadThread(std::make_unique<CReadThread>(this)), m_poConnectThread(std::make_unique<CConnectThread>(this))
{
	if (!StartThreads())
		m_eState = eClassNotInitialized;
	++m_nInstances;
}

CVexTCPIPBase::~CVexTCPIPBase()
{
	EndThreads();
	--m_nInstances;
}

// True if a thread was missing and both are there now.
bool CVexTCPIPBase::StartThreads()
{
	const auto IsMissing = [](const CVexThread& rThread)
	{ return rThread.GetState() == CVexThread::STATE_NEW || rThread.GetState() == CVexThread::STATE_TERMINATED; };
	bool bStarted = false;
	for (CVexThread* pThread :
		{ static_cast<CVexThread*>(m_poReadThread.get()), static_cast<CVexThread*>(m_poConnectThread.get()) })
		if (pThread && IsMissing(*pThread))
		{
			bStarted = pThread->Start();
			if (!bStarted)
				return false;
		}
	return bStarted;
}

void CVexTCPIPBase::EndThreads()
{
	if (!m_poReadThread)
		return;
	{
		CVexMutexLock oLock(m_oLock);
		m_bEnding = true;
		++m_nRequest;
		// For an indication that waits in a request: it sees that this is no connection.
		m_oConnected.Signal();
	}
	if (m_eState == eConnected)
		DisconnectReq(2000);
	else
		CloseSocket();
	m_poConnectThread->Quit();
	m_poReadThread->Quit();
	m_poConnectThread->Terminate();
	// Of a client that was accepted at the last moment: the read thread may wait for its data.
	CloseSocket();
	m_poReadThread->Terminate();
	CloseSocket();
	// Both objects live until both threads have ended: an indication may still signal the other one.
	m_poReadThread.reset();
	m_poConnectThread.reset();
	m_eState = eClassNotInitialized;
}

void CVexTCPIPBase::SetTraceName(const char* szName)
{
	m_oTrace.SetName(szName, nullptr);
	if (m_poReadThread)
		m_poReadThread->m_oTrace.SetName("m_poReadThread", &m_oTrace);
	if (m_poConnectThread)
		m_poConnectThread->SetTraceName(m_oTrace.CreateObjectName("m_poConnectThread", &m_oTrace).c_str());
	m_oDisconnected.SetTraceName(m_oTrace.CreateObjectName("m_oDisconnected", &m_oTrace).c_str());
	m_oConnected.SetTraceName(m_oTrace.CreateObjectName("m_oConnected", &m_oTrace).c_str());
	m_oMatching.SetTraceName(m_oTrace.CreateObjectName("m_oMatching", &m_oTrace).c_str());
}

void CVexTCPIPBase::DataInd(const unsigned char*, int) {}

void CVexTCPIPBase::ConInd(bool bConnected, int nSocket)
{
	if (bConnected)
	{
		{
			CVexMutexLock oLock(m_oLock);
			if (m_poConnectThread->IsDropped())
				return;
			Descriptor poConnected;
			poConnected.swap(m_poClaimed);
			// A socket that is new to this class was made by a deriving one.
			if (poConnected && poConnected->Get() == nSocket)
				m_poDescriptor = poConnected;
			else if (!m_poDescriptor || m_poDescriptor->Get() != nSocket)
				m_poDescriptor = std::make_shared<CVexDescriptor>(nSocket);
			m_oSocket = nSocket;
			m_eState = eConnected;
			m_oConnected.Signal();
		}
		m_poReadThread->m_oStartReading.Signal();
		VexTraceText(m_oTrace,
			CVexTraceMsg::eInfo,
			[this](std::ostream& rStream) { rStream << "Connected to TCP/IP-Address=" << GetAddressText(); });
		return;
	}
	VexTraceText(m_oTrace,
		CVexTraceMsg::eInfo,
		[this](std::ostream& rStream) { rStream << "Disconnected from TCP/IP-Address=" << GetAddressText(); });
	CVexMutexLock oLock(m_oLock);
	if (m_poConnectThread->IsDropped())
		return;
	m_eState = eDisconnected;
	m_oDisconnected.Signal();
}

std::string CVexTCPIPBase::GetAddressText() const
{
	return GetIPAddress() + ", Port=" + std::to_string(GetPort());
}

std::string CVexTCPIPBase::GetIPAddress() const
{
	CVexMutexLock oLock(m_oLock);
	return m_sIPAddress;
}

const char* CVexTCPIPBase::GetConnectStateString() const
{
	switch (m_eState)
	{
	case eDisconnected:
		return "disconnected";
	case eConnecting:
		return "connecting";
	case eConnected:
		return "connected";
	case eDisconnecting:
		return "disconnecting";
	case eClassNotInitialized:
		return "class not initialized";
	}
	return "invalid value";
}

CVexTCPIPBase::Descriptor CVexTCPIPBase::GetDescriptor() const
{
	CVexMutexLock oLock(m_oLock);
	return m_poDescriptor;
}

void CVexTCPIPBase::CloseSocket()
{
	Descriptor poDescriptor;
	{
		CVexMutexLock oLock(m_oLock);
		poDescriptor.swap(m_poDescriptor);
		m_oSocket = -1;
	}
	if (poDescriptor)
		poDescriptor->ShutDown();
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::GetAddr(bool bRemote, std::string& sAddr, unsigned short& nPort) const
{
	const Descriptor poDescriptor = GetDescriptor();
	sockaddr_in oAddress = {};
	socklen_t nLength = sizeof oAddress;
	sockaddr* pAddress = reinterpret_cast<sockaddr*>(&oAddress);
	if (!poDescriptor ||
		(bRemote ? getpeername(poDescriptor->Get(), pAddress, &nLength)
				 : getsockname(poDescriptor->Get(), pAddress, &nLength)) != 0)
		return eSocketError;
	char szAddress[INET_ADDRSTRLEN] = "";
	inet_ntop(AF_INET, &oAddress.sin_addr, szAddress, sizeof szAddress);
	sAddr = szAddress;
	nPort = ntohs(oAddress.sin_port);
	return eOK;
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::GetRemoteAddr(std::string& sAddr, unsigned short& nPort) const
{
	return GetAddr(true, sAddr, nPort);
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::GetLocalAddr(std::string& sAddr, unsigned short& nPort) const
{
	return GetAddr(false, sAddr, nPort);
}

// Connect and disconnect requests

CVexTCPIPBase::ERetCode CVexTCPIPBase::ConnectToServer(const char* szAddress, unsigned short nPort, int nTimeout)
{
	return ConnectReq(szAddress, nPort, true, nTimeout);
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::AwaitConnectionFromClient(
	const char* szAddress, unsigned short nPort, int nTimeout)
{
	return ConnectReq(szAddress, nPort, false, nTimeout);
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::ConnectReq(
	const char* szAddress, unsigned short nPort, bool bActive, int nTimeout)
{
	unsigned nRequest = 0;
	const ERetCode eRequested = RequestConnection(szAddress, nPort, bActive, nRequest);
	if (eRequested != eOK)
		return eRequested;
	VexTraceText(m_oTrace,
		CVexTraceMsg::eDebug,
		[](std::ostream& rStream)
		{ rStream << "Signalling event STARTCONNECTING (Connect-Request)" << SLocation{ __LINE__ }; });
	m_poConnectThread->Begin();
	if (nTimeout == -2)
	{
		VexTraceText(m_oTrace,
			CVexTraceMsg::eInfo,
			[&](std::ostream& rStream)
			{
				rStream << (bActive ? "Asynchon. connection requested at TCP/IP-Address="    // KEPT: spelling
									: "Listening at TCP/IP-Address=")
						<< GetIPAddress() << ",Port=" << GetPort();
			});
		return eOK;
	}
	const bool bConnected = EndRequest(nRequest, bActive, m_oConnected.Wait(Deadline(nTimeout)));
	const int nSocket = m_oSocket;
	VexTraceText(m_oTrace,
		bConnected ? CVexTraceMsg::eInfo : CVexTraceMsg::eError,
		[&](std::ostream& rStream)
		{
			rStream << (bConnected ? "Connection established, TCP/IP-Address=" : "Connect-Timeout, TCP/IP-Address=")
					<< GetIPAddress() << ",Port=" << GetPort() << ",Active=" << bActive << ",Timeout=" << nTimeout
					<< ",socket=" << SVexHex{ bConnected ? nSocket : -1 };
		});
	return bConnected ? eOK : eTimeout;
}

// True if it is connected. Looking at the signal and ending a request that has timed out are one step: no outcome comes
// in between.
bool CVexTCPIPBase::EndRequest(unsigned nRequest, bool bActive, bool bConnected)
{
	Descriptor poDescriptor;
	Descriptor poClaimed;
	{
		CVexMutexLock oLock(m_oLock);
		if (bConnected || m_oConnected.Wait(0))
			return !m_bEnding;
		// Over, also if an indication has asked for the next connection already.
		if (m_bEnding || m_nRequest != nRequest)
			return false;
		// An override of ConInd() has not yet called the base version. A client that has come is kept: a passive
		// connection goes on.
		if (m_poConnectThread->IsIndicating(nRequest) && (bActive || !m_poClaimed))
		{
			m_poConnectThread->DropIndication();
			poClaimed.swap(m_poClaimed);
		}
		m_eState = eDisconnected;
		m_nRequest += bActive ? 1 : 0;
		poDescriptor.swap(m_poDescriptor);
		m_oSocket = -1;
	}
	for (const Descriptor& rpoSocket : { poDescriptor, poClaimed })
		if (rpoSocket)
			rpoSocket->ShutDown();
	return false;
}

// Everything of a connect request up to the signal for the connect thread.
CVexTCPIPBase::ERetCode CVexTCPIPBase::RequestConnection(
	const char* szAddress, unsigned short nPort, bool bActive, unsigned& rnRequest)
{
	ERetCode eResult = eOK;
	// The system may have threads again.
	if (m_eState == eClassNotInitialized && StartThreads())
		m_eState = eDisconnected;
	{
		CVexMutexLock oLock(m_oLock);
		if (m_eState == eClassNotInitialized || m_bEnding)
			eResult = eNotInitialized;
		else if (m_eState != eDisconnected || m_poClaimed)
			eResult = eCallNotAllowed;
		else
		{
			m_eState = eConnecting;
			m_oConnected.Reset();
			m_oDisconnected.Reset();
			rnRequest = ++m_nRequest;
			if (szAddress)
				m_sIPAddress = szAddress;
			m_nPort = nPort;
		}
	}
	const char* szReason = eResult == eNotInitialized ? "class not initialiszed" : "not allowed";    // KEPT: spelling
	int nError = 0;
	if (eResult == eOK)
	{
		EmptyRecvBuffer();
		nError = m_poConnectThread->SetConnectionParameter(szAddress, nPort, bActive, rnRequest);
		if (nError == 0)
			return eOK;
		eResult = eSocketError;
		szReason = "param setting";
		CloseSocket();
		CVexMutexLock oLock(m_oLock);
		m_eState = eDisconnected;
	}
	VexTraceText(m_oTrace,
		CVexTraceMsg::eError,
		[&](std::ostream& rStream)
		{
			rStream << "Connect-Request failed (" << szReason << "), TCP/IP-Address=" << (szAddress ? szAddress : "")
					<< ",Port=" << nPort;
			if (eResult == eSocketError)
				rStream << ",Active=" << bActive;
		});
	if (eResult == eSocketError)
		TraceReason(m_oTrace, GetIPAddress(), nPort, nError);
	return eResult;
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::DisconnectReq(int nTimeout)
{
	bool bAllowed = false;
	{
		CVexMutexLock oLock(m_oLock);
		bAllowed = m_eState == eConnected;
		if (bAllowed)
		{
			m_eState = eDisconnecting;
			m_oDisconnected.Reset();
		}
	}
	if (!bAllowed)
	{
		VexTraceText(m_oTrace,
			CVexTraceMsg::eDebugL2,
			[this](std::ostream& rStream)
			{ rStream << "DisconnectReq failed: current state=" << GetConnectStateString() << SLocation{ __LINE__ }; });
		return eCallNotAllowed;
	}
	CloseSocket();
	m_poReadThread->m_oStartReading.Signal();
	// In an indication there is nothing to wait for: the end is told when it has returned.
	if (!m_poReadThread->IsCurrent() && !m_poConnectThread->IsCurrent() && m_oDisconnected.Wait(Deadline(nTimeout)))
	{
		CVexMutexLock oLock(m_oLock);
		// Unless the indication has asked for the next connection already.
		if (m_eState == eDisconnecting)
			m_eState = eDisconnected;
	}
	return eOK;
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::DataReq(const char* pData, int nLen, int)
{
	std::size_t nDone = 0;
	// No data at all: refused by SendBlock() when it has looked at the state.
	const char* pBlock = nLen < 0 ? nullptr : pData;
	return SendBlock(pBlock, static_cast<std::size_t>(nLen), nDone);
}

// One send. What a signal has cut short is taken up again; what a time limit on the socket has cut short, or a socket
// that a program has made non-blocking, counts as it is. rnDone: the bytes that were sent.
CVexTCPIPBase::ERetCode CVexTCPIPBase::SendBlock(const char* pData, std::size_t nLen, std::size_t& rnDone)
{
	typedef std::chrono::steady_clock CClock;
	rnDone = 0;
	if (m_eState != eConnected)
		return eCallNotAllowed;
	const Descriptor poDescriptor = GetDescriptor();
	if (!poDescriptor || (!pData && nLen > 0))
		return eSocketError;
	const CClock::time_point oBegin = CClock::now();
	for (;;)
	{
		const ssize_t nSent = send(poDescriptor->Get(), pData + rnDone, nLen - rnDone, MSG_NOSIGNAL);
		if (nSent < 0 && errno != EINTR)
			return rnDone > 0 && errno == EAGAIN ? eOK : eSocketError;
		rnDone += static_cast<std::size_t>(std::max<ssize_t>(nSent, 0));
		if (rnDone >= nLen)
			return eOK;
		const auto oLimit = GetSendLimit(poDescriptor->Get());
		if (oLimit.count() != 0 && CClock::now() - oBegin >= oLimit)
			return rnDone > 0 ? eOK : eSocketError;
	}
}

// Listening sockets

CVexImmortal<CVexMutex> CVexTCPIPBase::CConnectThread::m_oLockSocketTable;

std::vector<CVexTCPIPBase::CConnectThread::SSocketEntry>& CVexTCPIPBase::CConnectThread::m_oaSocketTable()
{
	static std::vector<SSocketEntry>& rTable = *new std::vector<SSocketEntry>;
	return rTable;
}

// poOldSocket: the share of the last request, which is returned; may be null. The result is null with an error in rnError.
Descriptor CVexTCPIPBase::CConnectThread::Register(const std::string& sIPAddress, std::uint16_t nPort,
	const sockaddr_in& rAddress, const Descriptor& poOldSocket, int& rnError)
{
	rnError = 0;
	bool bNew = false;
	Descriptor poSocket;
	{
		CVexMutexLock oLock(m_oLockSocketTable.m_oObject);
		poSocket = Share(sIPAddress, nPort);
		// Behind the search: clients that wait at the same port stay in its queue.
		RemoveUser(poOldSocket);
		if (!poSocket)
		{
			poSocket = MakeSocket(SOCK_NONBLOCK);
			rnError = poSocket ? Listen(poSocket, rAddress) : errno;
			bNew = rnError == 0;
			if (bNew)
				m_oaSocketTable().push_back({ sIPAddress, nPort, poSocket, 1 });
		}
	}
	// Without the lock: a trace server may be about to listen itself.
	if (!poSocket)
		VexTraceText(CVexTrace::m_oGlobalTrace,
			CVexTraceMsg::eError,
			[](std::ostream& rStream) { rStream << "Error creating server socket."; });
	if (bNew)
		VexTraceText(CVexTrace::m_oGlobalTrace,
			CVexTraceMsg::eDebugL2,
			[&](std::ostream& rStream) {
				rStream << "Added new socket in socket table: socket=" << SVexHex{ poSocket->Get() }
						<< SLocation{ __LINE__ };
			});
	return rnError == 0 ? poSocket : nullptr;
}

// With m_oLockSocketTable held. Null if nobody listens there yet.
Descriptor CVexTCPIPBase::CConnectThread::Share(const std::string& sIPAddress, std::uint16_t nPort)
{
	for (SSocketEntry& rEntry : m_oaSocketTable())
		if (rEntry.sIPAddress == sIPAddress && rEntry.nPort == nPort)
		{
			++rEntry.nUsers;
			return rEntry.oSocket;
		}
	return nullptr;
}

// With m_oLockSocketTable held.
void CVexTCPIPBase::CConnectThread::RemoveUser(const Descriptor& poSocket)
{
	std::vector<SSocketEntry>& rTable = m_oaSocketTable();
	const auto oFound = std::find_if(
		rTable.begin(), rTable.end(), [&](const SSocketEntry& rEntry) { return rEntry.oSocket == poSocket; });
	if (oFound == rTable.end() || --oFound->nUsers != 0)
		return;
	// The port is free from here on, also while another thread still looks at the socket.
	poSocket->ShutDown();
	rTable.erase(oFound);
}

void CVexTCPIPBase::CConnectThread::Deregister(const Descriptor& poSocket)
{
	CVexMutexLock oLock(m_oLockSocketTable.m_oObject);
	RemoveUser(poSocket);
}

// Connect thread

int CVexTCPIPBase::CConnectThread::SetConnectionParameter(
	const char* szAddress, unsigned short nPort, bool bActive, unsigned nRequest)
{
	VexTraceText(m_oTrace,
		CVexTraceMsg::eDebugL3,
		[&](std::ostream& rStream)
		{
			// KEPT: nothing stands between the port and "Active=".
			rStream << "Setting connection parameters: TCP/IP-Address=" << (szAddress ? szAddress : "")
					<< ", Port=" << nPort << "Active=" << bActive << SLocation{ __LINE__ };
		});
	// May take its time: without a lock.
	const sockaddr_in oAddress = ConvTCPAddrToSocketAddr(szAddress, nPort);
	Descriptor poOldSocket;
	{
		CVexMutexLock oLock(m_poBaseClass->m_oLock);
		m_nRequest = 0;
		poOldSocket.swap(m_oServerSocket);
		m_bActive = bActive;
		m_oRemoteAddr = oAddress;
	}
	m_oTurn.Leave();
	int nError = 0;
	if (bActive)
	{
		Deregister(poOldSocket);
		nError = PrepareActive();
	}
	else
	{
		const Descriptor poSocket = Register(szAddress ? szAddress : "", nPort, oAddress, poOldSocket, nError);
		nError = PreparePassive(poSocket, nError);
	}
	if (nError == 0)
	{
		CVexMutexLock oLock(m_poBaseClass->m_oLock);
		m_nRequest = nRequest;
	}
	return nError;
}

// poSocket: null with an error.
int CVexTCPIPBase::CConnectThread::PreparePassive(const Descriptor& poSocket, int nError)
{
	if (!poSocket)
	{
		VexTraceText(m_oTrace,
			CVexTraceMsg::eError,
			[](std::ostream& rStream)
			{
				rStream << "Server socket could not registed: socket=" << SVexHex{ -1 };    // KEPT: spelling
			});
		TraceReason(m_oTrace, m_poBaseClass->GetIPAddress(), m_poBaseClass->GetPort(), nError);
		return nError;
	}
	VexTraceText(m_oTrace,
		CVexTraceMsg::eDebugL3,
		[&](std::ostream& rStream)
		{
			rStream << "Server socket registed successfully: socket=" << SVexHex{ poSocket->Get() }    // KEPT: spelling
					<< SLocation{ __LINE__ };
		});
	CVexMutexLock oLock(m_poBaseClass->m_oLock);
	m_oServerSocket = poSocket;
	return 0;
}

int CVexTCPIPBase::CConnectThread::PrepareActive()
{
	if (m_poBaseClass->m_oSocket != -1)
		return 0;
	const Descriptor poSocket = MakeSocket(0);
	if (!poSocket)
		return errno;
	if (!m_poBaseClass->SetDescriptor(poSocket))
		return ECANCELED;
	if (!SetOption(poSocket, SOL_SOCKET, SO_REUSEADDR, 1))
		return errno;
	const struct
	{
		int nLevel;
		int nOption;
		int nValue;
		const char* szName;
	} aSettings[] = {
		{ SOL_SOCKET, SO_KEEPALIVE, 1, "KEEPALIVE" },
		{ IPPROTO_TCP, TCP_KEEPIDLE, 5, "TCP_KEEPIDLE" },
		{ IPPROTO_TCP, TCP_KEEPINTVL, 1, "TCP_KEEPINTVL" },
		{ IPPROTO_TCP, TCP_KEEPCNT, 5, "TCP_KEEPCNT" },
	};
	for (const auto& rSetting : aSettings)
		if (!SetOption(poSocket, rSetting.nLevel, rSetting.nOption, rSetting.nValue))
		{
			const int nError = errno;
			std::cout << "socket option " << rSetting.szName << " failed for socket " << SVexHex{ poSocket->Get() }
					  << ": errno=" << SVexHex{ nError } << std::flush;
			return nError;
		}
	SetOption(poSocket, IPPROTO_TCP, TCP_NODELAY, 1);
	return 0;
}

CVexTCPIPBase::CConnectThread::SRequest CVexTCPIPBase::CConnectThread::GetRequest() const
{
	SRequest oRequest;
	CVexMutexLock oLock(m_poBaseClass->m_oLock);
	oRequest.m_nNumber = m_nRequest == m_poBaseClass->m_nRequest ? m_nRequest : 0;
	oRequest.m_bActive = m_bActive;
	oRequest.m_oRemoteAddr = m_oRemoteAddr;
	oRequest.m_poSocket = m_bActive ? m_poBaseClass->m_poDescriptor : m_oServerSocket;
	return oRequest;
}

// With the connection's lock.
bool CVexTCPIPBase::CConnectThread::IsOver(const SRequest& rRequest) const
{
	return m_nRequest != rRequest.m_nNumber || m_poBaseClass->m_nRequest != rRequest.m_nNumber;
}

// Takes the request as answered, with the connection or with null. False if it is over: its outcome must not be
// reported any more.
bool CVexTCPIPBase::CConnectThread::Claim(const SRequest& rRequest, const Descriptor& poConnected)
{
	CVexMutexLock oLock(m_poBaseClass->m_oLock);
	if (IsOver(rRequest))
		return false;
	m_nRequest = 0;
	m_nIndicating = rRequest.m_nNumber;
	m_bDropped = false;
	m_poBaseClass->m_poClaimed = poConnected;
	return true;
}

// With the request claimed.
void CVexTCPIPBase::CConnectThread::Indicate(bool bConnected, int nSocket)
{
	m_poBaseClass->ConInd(bConnected, nSocket);
	m_nIndicating = 0;
	m_oIndicated.Signal();
	// Still there if an override does not call the base version.
	Descriptor poConnected;
	CVexMutexLock oLock(m_poBaseClass->m_oLock);
	poConnected.swap(m_poBaseClass->m_poClaimed);
}

void CVexTCPIPBase::CConnectThread::AwaitIndicated()
{
	while (IsIndicating())
		m_oIndicated.Wait(0xFFFFFFFF);
}

void CVexTCPIPBase::CConnectThread::Run()
{
	while (!m_bQuit)
	{
		m_poStartConnecting->Wait();
		if (m_bQuit)
			return;
		const bool bTurn = m_oTurn.Begin();
		const SRequest oRequest = GetRequest();
		// Otherwise the signal is left over from an earlier request.
		if (bTurn)
			Accept(oRequest);
		else if (oRequest.m_bActive && oRequest.m_nNumber != 0)
			Connect(oRequest);
	}
}

void CVexTCPIPBase::CConnectThread::Connect(const SRequest& rRequest)
{
	const int nSocket = rRequest.m_poSocket ? rRequest.m_poSocket->Get() : -1;
	const int nError = rRequest.m_poSocket ? ConnectSocket(rRequest) : ECANCELED;
	if (!Claim(rRequest, nError == 0 ? rRequest.m_poSocket : nullptr))
		return;
	if (nError == 0)
	{
		VexTraceText(m_oTrace,
			CVexTraceMsg::eDebugL2,
			[&](std::ostream& rStream)
			{ rStream << "connect to socket " << SVexHex{ nSocket } << " successful." << SLocation{ __LINE__ }; });
		Indicate(true, nSocket);
		return;
	}
	VexTraceText(m_oTrace,
		CVexTraceMsg::eError,
		[&](std::ostream& rStream) { rStream << "connect to socket " << SVexHex{ nSocket } << " failed."; });
	TraceReason(m_oTrace, m_poBaseClass->GetIPAddress(), m_poBaseClass->GetPort(), nError);
	Indicate(false, nSocket);
	Sleep(0, 5);
}

// Blocks until the outcome is known or the socket is shut down. Not a blocking connect(): a shutdown does not end that.
// 0, or the system's number of the error.
int CVexTCPIPBase::CConnectThread::ConnectSocket(const SRequest& rRequest)
{
	const int nSocket = rRequest.m_poSocket->Get();
	SetBlocking(nSocket, false);
	const sockaddr* pAddress = reinterpret_cast<const sockaddr*>(&rRequest.m_oRemoteAddr);
	int nError = 0;
	for (;;)
	{
		// Asked for again behind the wait: connect() itself tells the outcome, and a socket that was refused can then be
		// connected anew, which it cannot after a look at its error alone.
		nError = connect(nSocket, pAddress, sizeof rRequest.m_oRemoteAddr) == 0 ? 0 : errno;
		if (nError != EINPROGRESS && nError != EALREADY && nError != EINTR)
			break;
		// A shutdown before connect() wakes nobody, but can be seen; one behind this look ends the wait.
		if (rRequest.m_poSocket->IsShutDown())
			return ECANCELED;
		pollfd oPoll = { nSocket, POLLOUT, 0 };
		poll(&oPoll, 1, -1);
	}
	SetBlocking(nSocket, true);
	return nError == EISCONN ? 0 : nError;
}

// A thread that would only wait for its turn is not woken before that has come.
void CVexTCPIPBase::CConnectThread::Begin()
{
	const SRequest oRequest = GetRequest();
	if (oRequest.m_bActive)
		m_poStartConnecting->Signal();
	else if (oRequest.m_nNumber != 0)
		m_oTurn.Enter(oRequest.m_poSocket);
}

// With the turn begun, perhaps for a request that is over by now.
void CVexTCPIPBase::CConnectThread::Accept(const SRequest& rRequest)
{
	using VexListenTurns::CTurn;
	const bool bPassive = !rRequest.m_bActive && rRequest.m_nNumber != 0;
	const CTurn::EResult eResult = bPassive && !m_bQuit ? m_oTurn.WaitForClient() : CTurn::eStopped;
	int nError = 0;
	const int nSocket = eResult == CTurn::eClient ? AcceptAndClaim(rRequest, nError) : -1;
	const bool bFailed =
		eResult == CTurn::eError || (eResult == CTurn::eClient && nSocket < 0 && !IsClientsFault(nError));
	// The turn goes on over the indication: clients are reported one after the other in the whole process.
	if (nSocket >= 0)
		Indicate(true, nSocket);
	m_oTurn.End();
	if (bFailed)
		FailToAccept(rRequest);
	const SRequest oNext = GetRequest();
	if (!oNext.m_bActive && oNext.m_nNumber != 0)
		m_oTurn.EnterAgain(oNext.m_poSocket);
	else if (oNext.m_nNumber != 0)
		m_poStartConnecting->Signal();
}

// One step: a client is taken only by a connection that still wants one. -1 with EAGAIN if it does not.
int CVexTCPIPBase::CConnectThread::AcceptAndClaim(const SRequest& rRequest, int& rnError)
{
	CVexMutexLock oLock(m_poBaseClass->m_oLock);    // the socket does not block
	rnError = EAGAIN;
	if (IsOver(rRequest))
		return -1;
	const int nSocket = accept4(rRequest.m_poSocket->Get(), nullptr, nullptr, SOCK_CLOEXEC);
	rnError = errno;
	if (nSocket >= 0)
	{
		m_nRequest = 0;
		m_nIndicating = rRequest.m_nNumber;
		m_bDropped = false;
		m_poBaseClass->m_poClaimed = std::make_shared<CVexDescriptor>(nSocket);
	}
	return nSocket;
}

// No descriptors left, as a rule: the client stays in the queue, and trying at once would only burn the processor.
void CVexTCPIPBase::CConnectThread::FailToAccept(const SRequest& rRequest)
{
	Sleep(0, 50);
	if (Claim(rRequest, nullptr))
		Indicate(false, rRequest.m_poSocket->Get());
}

// False: no more, the connection is being destroyed.
bool CVexTCPIPBase::SetDescriptor(const Descriptor& poDescriptor)
{
	CVexMutexLock oLock(m_oLock);
	if (m_bEnding)
		return false;
	m_poDescriptor = poDescriptor;
	m_oSocket = poDescriptor->Get();
	return true;
}

// Read thread and receive buffer

// Not in Run(): Start() waits for this, so that the owner may name the trace object behind it.
void CVexTCPIPBase::CReadThread::Initialize()
{
	VexTraceText(m_oTrace,
		CVexTraceMsg::eDebugL2,
		[](std::ostream& rStream) { rStream << "Main loop of read thread is running now." << SLocation{ __LINE__ }; });
}

void CVexTCPIPBase::CReadThread::Run()
{
	while (!m_bQuit)
	{
		// Read once: a connection that is made meanwhile has not ended.
		const EConState eState = m_poBaseClass->m_eState;
		if (eState == eConnected && Read())
			continue;
		if (eState == eConnected || eState == eDisconnecting)
			ReportEnd();
		m_oStartReading.Wait();
	}
}

void CVexTCPIPBase::CReadThread::ReportEnd()
{
	CConnectThread& rConnectThread = *m_poBaseClass->m_poConnectThread;
	if (rConnectThread.IsIndicating())
	{
		// What ConInd(true) still does may depend on the state.
		{
			CVexMutexLock oLock(m_poBaseClass->m_oLock);
			if (m_poBaseClass->m_eState == eConnected)
				m_poBaseClass->m_eState = eDisconnecting;
		}
		rConnectThread.AwaitIndicated();
	}
	m_poBaseClass->ConInd(false, -1);
}

// One block; false if the connection has ended. Waits in recv() itself, which returns when the socket is shut down.
bool CVexTCPIPBase::CReadThread::Read()
{
	const Descriptor poSocket = m_poBaseClass->GetDescriptor();
	char acBlock[nReceiveBlock];
	const ssize_t nLength = poSocket ? recv(poSocket->Get(), acBlock, sizeof acBlock, 0) : -1;
	const int nError = errno;
	if (nLength > 0 && m_poBaseClass->BaseDataInd(acBlock, static_cast<std::size_t>(nLength)))
		return true;
	if (nLength < 0 && poSocket && (nError == EINTR || nError == EAGAIN))
	{
		// EAGAIN: a program has made the socket non-blocking, or set a time limit on it.
		pollfd oPoll = { poSocket->Get(), POLLIN, 0 };
		poll(&oPoll, 1, nError == EAGAIN ? -1 : 0);
		return true;
	}
	// Not when the program itself has ended it.
	if (nLength == 0 && !poSocket->IsShutDown())
		VexTraceText(m_oTrace,
			CVexTraceMsg::eDebug,
			[&](std::ostream& rStream)
			{
				rStream << "recv: connection has been gracefully closed for socket " << SVexHex{ poSocket->Get() }
						<< SLocation{ __LINE__ };
			});
	m_poBaseClass->CloseSocket();
	return false;
}

// False: there is no memory for it, and the connection ends.
template <class TAction>
bool CVexTCPIPBase::IsInMemory(TAction oAction)
{
	try
	{
		oAction();
		return true;
	}
	catch (const std::exception&)
	{
		VexTraceText(m_oTrace,
			CVexTraceMsg::eError,
			[this](std::ostream& rStream) { rStream << "recv: no memory left, TCP/IP-Address=" << GetAddressText(); });
		return false;
	}
}

bool CVexTCPIPBase::BaseDataInd(const char* pData, std::size_t nLen)
{
	const auto Keep = [&]
	{
		CVexMutexLock oLock(m_oRecvBufferMutex);
		m_aRecvBuffer.append(pData, nLen);
		if (m_eTelegramLengthFormat == eRawData)
			CheckMatchingEvent();
	};
	if (!IsInMemory(Keep))
		return false;
	if (m_eTelegramLengthFormat != eRawData)
		return DataIndTelegramMode(pData, nLen);
	DataInd(reinterpret_cast<const unsigned char*>(pData), static_cast<int>(nLen));
	return true;
}

bool CVexTCPIPBase::DataIndTelegramMode(const char* pData, std::size_t nLen)
{
	const ETelegramLengthFormat eFormat = m_eTelegramLengthFormat;
	if (eFormat != eByteData && eFormat != eWordData && eFormat != eLongData)
	{
		DataInd(reinterpret_cast<const unsigned char*>(pData), static_cast<int>(nLen));
		return true;
	}
	std::string sTelegram;
	bool bFound = false;
	while (IsInMemory([&] { bFound = TakeTelegram(sTelegram); }))
	{
		if (!bFound)
			return true;
		DataInd(reinterpret_cast<const unsigned char*>(sTelegram.data()), static_cast<int>(sTelegram.size()));
	}
	return false;
}

bool CVexTCPIPBase::TakeTelegram(std::string& rsTelegram)
{
	CVexMutexLock oLock(m_oRecvBufferMutex);
	const ETelegramLengthFormat eFormat = m_eTelegramLengthFormat;
	if (GetUnread() < static_cast<std::size_t>(eFormat) || eFormat == eRawData)
		return false;
	const std::uint32_t nTotal = GetTelegramTotal(m_aRecvBuffer.data() + m_nTaken, eFormat, m_eTelegramByteOrder);
	// Nothing is ever cut any more: what comes is not piled up without end.
	if (IsUnreachable(nTotal) && GetUnread() > nMaxUnreachable)
		m_aRecvBuffer.resize(m_nTaken + nMaxUnreachable);
	if (IsUnreachable(nTotal) || GetUnread() < nTotal)
		return false;
	TakeUnread(nTotal, rsTelegram);
	return true;
}

void CVexTCPIPBase::SetTelegramLength(ETelegramLengthFormat eFormat, EByteOrder eByteOrder)
{
	m_eTelegramLengthFormat = eFormat;
	m_eTelegramByteOrder = eByteOrder;
}

void CVexTCPIPBase::EmptyRecvBuffer()
{
	std::string sDropped;
	CVexMutexLock oLock(m_oRecvBufferMutex);
	TakeUnread(GetUnread(), sDropped);
}

// With the buffer's lock. What is taken is cut off now and then only: otherwise every small piece would move all that
// lies behind it.
void CVexTCPIPBase::TakeUnread(std::size_t nLength, std::string& rsData)
{
	if (m_nTaken == 0 && nLength == m_aRecvBuffer.size())
	{
		// The two exchange their memory: neither allocates for the next block.
		rsData.swap(m_aRecvBuffer);
		m_aRecvBuffer.clear();
		m_nBufferStart += nLength;
	}
	else
	{
		rsData.assign(m_aRecvBuffer, m_nTaken, nLength);
		m_nTaken += nLength;
		if (m_nTaken < m_aRecvBuffer.size() && (m_nTaken < nCutOff || m_nTaken < m_aRecvBuffer.size() / 2))
			return;
		m_nBufferStart += m_nTaken;
		m_aRecvBuffer.erase(0, m_nTaken);
		m_nTaken = 0;
	}
	// The memory of a burst is not kept for the life of the connection.
	if (m_aRecvBuffer.capacity() > 4 * (m_aRecvBuffer.size() + nCutOff))
		m_aRecvBuffer.shrink_to_fit();
}

// With the buffer's lock. Looks only at what has come since it looked last.
bool CVexTCPIPBase::Find(const std::string& sMatch, SSearch& rSearch) const
{
	const std::uint64_t nUnread = m_nBufferStart + m_nTaken;
	if (rSearch.m_nDone < nUnread)
		rSearch = SSearch{ nUnread, false };
	if (rSearch.m_bFound)
		return true;
	const std::size_t nFound = m_aRecvBuffer.find(sMatch, static_cast<std::size_t>(rSearch.m_nDone - m_nBufferStart));
	rSearch.m_bFound = nFound != std::string::npos;
	if (rSearch.m_bFound)
		rSearch.m_nDone = m_nBufferStart + nFound;
	else if (m_aRecvBuffer.size() >= sMatch.size())
		// Its begin may be here already.
		rSearch.m_nDone = std::max(rSearch.m_nDone, m_nBufferStart + m_aRecvBuffer.size() - sMatch.size() + 1);
	return rSearch.m_bFound;
}

// With the buffer's lock.
void CVexTCPIPBase::CheckMatchingEvent()
{
	bool bMatch = false;
	if (m_eMatchMuster == eMatchLaenge)
	{
		bMatch = m_nMatchLaenge < 0 || GetUnread() >= static_cast<std::size_t>(m_nMatchLaenge);
		m_nMatchEnd = m_nBufferStart + m_nTaken + static_cast<std::uint64_t>(std::max(m_nMatchLaenge, 0));
	}
	else if (m_eMatchMuster == eMatchString)
	{
		bMatch = Find(m_sMatchString, m_oSearch);
		m_nMatchEnd = m_oSearch.m_nDone + m_sMatchString.size();
	}
	else if (m_eMatchMuster == eMatchVector)
		for (std::size_t i = 0; i < m_vMatchString.size() && !bMatch; ++i)
			if (Find(m_vMatchString[i], m_aoSearches[i]))
			{
				bMatch = true;
				m_sMatchString = m_vMatchString[i];
				m_nMatchEnd = m_aoSearches[i].m_nDone + m_sMatchString.size();
			}
	if (!bMatch)
		return;
	m_eMatchMuster = eNoMatch;
	m_oMatching.Signal();
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::WaitForData(const std::string& sMatch, std::string& sData, int nTimeout)
{
	{
		CVexMutexLock oLock(m_oRecvBufferMutex);
		m_oMatching.Reset();
		m_sMatchString = sMatch;
		m_oSearch = SSearch();
		m_eMatchMuster = eMatchString;
		CheckMatchingEvent();
	}
	return WaitForMatch(sData, nTimeout);
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::WaitForData(int nLength, std::string& sData, int nTimeout)
{
	{
		CVexMutexLock oLock(m_oRecvBufferMutex);
		m_oMatching.Reset();
		m_nMatchLaenge = nLength;
		m_eMatchMuster = eMatchLaenge;
		CheckMatchingEvent();
	}
	return WaitForMatch(sData, nTimeout);
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::WaitForData(std::vector<std::string>& aMatch, std::string& sData, int nTimeout)
{
	{
		CVexMutexLock oLock(m_oRecvBufferMutex);
		m_oMatching.Reset();
		// The same candidates as before go on where their searches have come to: one that never comes is not looked
		// for again in all that is buffered.
		if (aMatch != m_vMatchString)
		{
			m_vMatchString = aMatch;
			m_aoSearches.assign(aMatch.size(), SSearch());
		}
		m_eMatchMuster = eMatchVector;
		CheckMatchingEvent();
	}
	return WaitForMatch(sData, nTimeout);
}

CVexTCPIPBase::ERetCode CVexTCPIPBase::WaitForMatch(std::string& sData, int nTimeout)
{
	m_oMatching.Wait(Deadline(nTimeout));
	CVexMutexLock oLock(m_oRecvBufferMutex);
	// Not what the wait says: a match may come between its end and the lock.
	const bool bMatch = m_eMatchMuster == eNoMatch;
	m_eMatchMuster = eNoMatch;
	const std::uint64_t nUnread = m_nBufferStart + m_nTaken;
	// Less than was found if a connect request has emptied the buffer meanwhile.
	const std::uint64_t nFound = m_nMatchEnd - std::min(m_nMatchEnd, nUnread);
	const std::uint64_t nLength = bMatch ? std::min<std::uint64_t>(nFound, GetUnread()) : GetUnread();
	try
	{
		TakeUnread(static_cast<std::size_t>(nLength), sData);
	}
	catch (const std::exception&)
	{
		// No memory for a copy: what was received is lost.
		sData.clear();
		std::string sDropped;
		m_nTaken = 0;
		m_nBufferStart += m_aRecvBuffer.size();
		m_aRecvBuffer.swap(sDropped);
		return eTimeout;
	}
	return bMatch ? eOK : eTimeout;
}

CVexTCPIPBase::CVexTraceEx::CVexTraceEx() : CVexTrace("CVexTCPIPBase", nullptr, nullptr) {}

CVexTCPIPBase::ETelegramLengthFormat CVexTCPIPBase::GetTelegramLengthFormat() const
{
	return m_eTelegramLengthFormat;
}

CVexTCPIPBase::EByteOrder CVexTCPIPBase::GetTelegramLengthByteOrder() const
{
	return m_eTelegramByteOrder;
}

CVexTCPIPBase::EConState CVexTCPIPBase::GetConnectState() const
{
	return m_eState;
}

unsigned short CVexTCPIPBase::GetPort() const
{
	return m_nPort;
}
