#include "MonitorConnection.h"

#include "VexPassword.h"
#include "VexThread.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace
{
const std::size_t nMaxLines = 100000;
const int nLookAgainMs = 5;
const int nReasonMs = 1000;

// Why the system cannot connect. The library's connection says only that it has failed.
std::string ReasonOfFailure(const std::string& sHost, unsigned short nPort)
{
	addrinfo oHints = {};
	oHints.ai_family = AF_INET;
	oHints.ai_socktype = SOCK_STREAM;
	addrinfo* pFound = nullptr;
	if (getaddrinfo(sHost.c_str(), std::to_string(nPort).c_str(), &oHints, &pFound) != 0)
		return "unknown host";
	const std::unique_ptr<addrinfo, void (*)(addrinfo*)> poFound(pFound, freeaddrinfo);
	const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
	if (nSocket < 0)
		return std::strerror(errno);
	int nError = connect(nSocket, pFound->ai_addr, pFound->ai_addrlen) == 0 ? 0 : errno;
	pollfd oWait = { nSocket, POLLOUT, 0 };
	if (nError == EINPROGRESS)
	{
		nError = ETIMEDOUT;
		socklen_t nSize = sizeof nError;
		if (poll(&oWait, 1, nReasonMs) == 1)
			getsockopt(nSocket, SOL_SOCKET, SO_ERROR, &nError, &nSize);
	}
	close(nSocket);
	return nError == 0 ? "connection lost at once" : std::strerror(nError);
}
}    // namespace

CMonitorConnection::CMonitorConnection(CVexEvent& rLinesCame) : m_rLinesCame(rLinesCame) {}

CMonitorConnection::~CMonitorConnection()
{
	EndReading();
}

void CMonitorConnection::TraceInd(const CVexTraceMsg& oMsg)
{
	TraceResp(static_cast<int>(oMsg.GetID()));
	{
		CVexMutexLock oLock(m_oLinesMutex);
		if (m_aoLines.size() < nMaxLines)
			m_aoLines.push_back(oMsg);
		else
			++m_nDropped;
	}
	m_rLinesCame.Signal();
}

CMonitorConnection::EResult CMonitorConnection::Connect(
	const SMonitorOptions& oOptions, const std::atomic<bool>& rbStop, std::string& rsProblem)
{
	const std::string sPeer = oOptions.m_sHost + ":" + std::to_string(oOptions.m_nPort);
	PrepareLogin();
	// Not LoginReq(): where nothing listens it would say so after its whole time-out only.
	m_oServer.ConnectReq(oOptions.m_sHost.c_str(), oOptions.m_nPort, true, -2);
	for (std::uint32_t nMs = 0;
		 m_oServer.GetConnectState() == CVexTCPIPBase::eConnecting && nMs < m_nTimeout && !rbStop;
		 nMs += nLookAgainMs)
		CVexThread::Sleep(0, nLookAgainMs);
	if (rbStop)
		return eStopped;
	if (!IsAlive())
	{
		rsProblem = "cannot connect to " + sPeer + ": " + ReasonOfFailure(oOptions.m_sHost, oOptions.m_nPort);
		return eNotReached;
	}

	CVexPassword oPassword(true);
	std::string sPassword = oOptions.m_sPassword;
	oPassword.SetPassword(sPassword);
	if (ExecuteLogin(oOptions.m_sUser, oPassword) != eOK)
	{
		rsProblem = sPeer + " does not answer the login";
		return rbStop ? eStopped : eNotReached;
	}
	switch (m_eLoginRetCode.load())
	{
	case eLoginOK:
		return eLoggedIn;
	case eUsernameInvalid:
		rsProblem = "wrong user name";
		return eRejected;
	case ePasswordInvalid:
		rsProblem = "wrong password";
		return eRejected;
	default:
		rsProblem = "wrong user name and password";
		return eRejected;
	}
}

bool CMonitorConnection::IsAlive()
{
	return m_oServer.GetConnectState() == CVexTCPIPBase::eConnected;
}

void CMonitorConnection::End()
{
	EndReading();
}

std::size_t CMonitorConnection::TakeLines(std::vector<CVexTraceMsg>& raoLines)
{
	raoLines.clear();
	CVexMutexLock oLock(m_oLinesMutex);
	m_aoLines.swap(raoLines);
	const std::size_t nDropped = m_nDropped;
	m_nDropped = 0;
	return nDropped;
}
