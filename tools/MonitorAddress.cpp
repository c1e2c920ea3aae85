#include "MonitorAddress.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

namespace
{
const int nReasonMs = 1000;
}    // namespace

bool ResolveHost(const std::string& sHost, std::string& rsAddress)
{
	addrinfo oHints = {};
	oHints.ai_family = AF_INET;
	oHints.ai_socktype = SOCK_STREAM;
	addrinfo* pFound = nullptr;
	if (getaddrinfo(sHost.c_str(), nullptr, &oHints, &pFound) != 0)
		return false;
	const std::unique_ptr<addrinfo, void (*)(addrinfo*)> poFound(pFound, freeaddrinfo);
	char szAddress[INET_ADDRSTRLEN] = "";
	getnameinfo(
		pFound->ai_addr, pFound->ai_addrlen, szAddress, sizeof szAddress, nullptr, 0, NI_NUMERICHOST | NI_NUMERICSERV);
	rsAddress = szAddress;
	return true;
}

std::string ReasonOfFailure(const std::string& sAddress, unsigned short nPort)
{
	sockaddr_in oAddress = {};
	oAddress.sin_family = AF_INET;
	oAddress.sin_port = htons(nPort);
	inet_pton(AF_INET, sAddress.c_str(), &oAddress.sin_addr);
	const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
	if (nSocket < 0)
		return std::strerror(errno);
	int nError = connect(nSocket, reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress) == 0 ? 0 : errno;
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
