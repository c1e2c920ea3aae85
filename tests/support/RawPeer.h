#pragma once

// The other end of a connection, made of a plain socket on 127.0.0.1. Nothing is waited for longer than a minute.

#include "LoopbackSocket.h"
#include "Waiting.h"

#include <dirent.h>
#include <netinet/tcp.h>

#include <algorithm>
#include <memory>

class CRawPeer
{
public:
	explicit CRawPeer(int nSocket) : m_nSocket(nSocket)
	{
		const int nOn = 1;
		setsockopt(m_nSocket, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
	}
	~CRawPeer() { Close(); }
	CRawPeer(const CRawPeer&) = delete;
	CRawPeer& operator=(const CRawPeer&) = delete;

	// bWait: until the system has made the connection; a server program need not have taken it.
	static std::unique_ptr<CRawPeer> ConnectTo(unsigned short nPort, bool bWait = true)
	{
		const int nSocket =
			bWait ? ConnectToLoopback(nPort) : socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
		if (nSocket < 0)
			throw std::runtime_error("cannot connect");
		const sockaddr_in oAddress = LoopbackAddress(nPort);
		if (!bWait)
			connect(nSocket, reinterpret_cast<const sockaddr*>(&oAddress), sizeof oAddress);
		return std::make_unique<CRawPeer>(nSocket);
	}

	void Send(const std::string& sBytes, bool bByteByByte = false)
	{
		const std::size_t nPiece = bByteByByte ? 1 : sBytes.size();
		for (std::size_t nDone = 0; nDone < sBytes.size(); nDone += nPiece)
			SendAll(m_nSocket, sBytes.substr(nDone, nPiece));
	}

	// So many bytes, or fewer if the connection ends or nothing comes any more.
	std::string Receive(std::size_t nLength, int nLimitMs = 60000)
	{
		std::string sBytes;
		pollfd oWait = { m_nSocket, POLLIN, 0 };
		while (sBytes.size() < nLength && poll(&oWait, 1, nLimitMs) == 1)
		{
			char acBuffer[65536];
			const ssize_t nRead = recv(m_nSocket, acBuffer, std::min(sizeof acBuffer, nLength - sBytes.size()), 0);
			m_bEnded = nRead <= 0;
			if (m_bEnded)
				break;
			sBytes.append(acBuffer, static_cast<std::size_t>(nRead));
		}
		return sBytes;
	}

	bool SeesTheEnd() { return Receive(1).empty() && m_bEnded; }

	void HalfClose() { shutdown(m_nSocket, SHUT_WR); }
	void Reset()
	{
		const linger oLinger = { 1, 0 };
		setsockopt(m_nSocket, SOL_SOCKET, SO_LINGER, &oLinger, sizeof oLinger);
		Close();
	}
	void Close()
	{
		if (m_nSocket >= 0)
			close(m_nSocket);
		m_nSocket = -1;
	}

private:
	int m_nSocket;
	bool m_bEnded = false;
};

// Listens on a port that the system chooses.
class CRawListener
{
public:
	explicit CRawListener(int nBacklog = 128) : m_nSocket(ListenOnLoopback(m_nPort, nBacklog)) {}
	~CRawListener() { close(m_nSocket); }
	CRawListener(const CRawListener&) = delete;
	CRawListener& operator=(const CRawListener&) = delete;

	unsigned short Port() const { return m_nPort; }

	// Null if no client comes.
	std::unique_ptr<CRawPeer> Accept(int nLimitMs = 60000)
	{
		pollfd oWait = { m_nSocket, POLLIN, 0 };
		if (poll(&oWait, 1, nLimitMs) != 1)
			return nullptr;
		return std::make_unique<CRawPeer>(accept4(m_nSocket, nullptr, nullptr, SOCK_CLOEXEC));
	}

private:
	unsigned short m_nPort = 0;
	const int m_nSocket;
};

// Entries of a folder of /proc/self, such as "fd" and "task".
inline long CountOwn(const char* szFolder)
{
	long nCount = 0;
	DIR* pDir = opendir((std::string("/proc/self/") + szFolder).c_str());
	while (readdir(pDir))
		++nCount;
	closedir(pDir);
	return nCount;
}
