#pragma once

// Plain sockets on 127.0.0.1, for the other ends of connections.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

inline sockaddr_in LoopbackAddress(unsigned short nPort)
{
	sockaddr_in oAddress = {};
	oAddress.sin_family = AF_INET;
	oAddress.sin_port = htons(nPort);
	oAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	return oAddress;
}

// A socket that listens. Port 0: the system chooses one, which the parameter becomes.
inline int ListenOnLoopback(unsigned short& rnPort, int nBacklog = 128)
{
	sockaddr_in oAddress = LoopbackAddress(rnPort);
	socklen_t nSize = sizeof oAddress;
	const int nOn = 1;
	const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
	setsockopt(nSocket, SOL_SOCKET, SO_REUSEADDR, &nOn, sizeof nOn);
	if (bind(nSocket, reinterpret_cast<sockaddr*>(&oAddress), nSize) != 0 || listen(nSocket, nBacklog) != 0 ||
		getsockname(nSocket, reinterpret_cast<sockaddr*>(&oAddress), &nSize) != 0)
		throw std::runtime_error("cannot listen");
	rnPort = ntohs(oAddress.sin_port);
	return nSocket;
}

// A port that was free a moment ago.
inline unsigned short FindFreePort()
{
	unsigned short nPort = 0;
	close(ListenOnLoopback(nPort));
	return nPort;
}

// -1 if nothing listens.
inline int ConnectToLoopback(unsigned short nPort)
{
	const sockaddr_in oAddress = LoopbackAddress(nPort);
	const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
	if (connect(nSocket, reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress) == 0)
		return nSocket;
	close(nSocket);
	return -1;
}

// Until the connection ends.
inline void SendAll(int nSocket, const std::string& sBytes)
{
	for (std::size_t nDone = 0; nDone < sBytes.size();)
	{
		const ssize_t nSent = send(nSocket, sBytes.data() + nDone, sBytes.size() - nDone, MSG_NOSIGNAL);
		if (nSent <= 0)
			return;
		nDone += static_cast<std::size_t>(nSent);
	}
}

// What has come; empty at the end of the connection.
inline std::string ReceiveSome(int nSocket)
{
	char szBuffer[65536];
	const ssize_t nRead = recv(nSocket, szBuffer, sizeof szBuffer, 0);
	return std::string(szBuffer, nRead < 0 ? 0 : static_cast<std::size_t>(nRead));
}

inline bool HasInput(int nSocket, int nLimitMs)
{
	pollfd oWait = { nSocket, POLLIN, 0 };
	return poll(&oWait, 1, nLimitMs) == 1;
}
