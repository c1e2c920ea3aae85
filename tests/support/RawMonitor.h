#pragma once

// A monitor made of a plain socket: it sends the bytes that the test gives it and reads frames.

#include "ScriptedTraceServer.h"

#include <cstring>

// A port of 127.0.0.1 that was free a moment ago.
inline unsigned short FindFreePort()
{
	const int nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
	sockaddr_in oAddress = {};
	oAddress.sin_family = AF_INET;
	oAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	socklen_t nSize = sizeof oAddress;
	const bool bBound = bind(nSocket, reinterpret_cast<sockaddr*>(&oAddress), nSize) == 0 &&
		getsockname(nSocket, reinterpret_cast<sockaddr*>(&oAddress), &nSize) == 0;
	close(nSocket);
	if (!bBound)
		throw std::runtime_error("no free port");
	return ntohs(oAddress.sin_port);
}

// Connects in the constructor, for up to a minute. Nothing that is waited for takes longer than that either.
class CRawMonitor
{
public:
	explicit CRawMonitor(unsigned short nPort)
	{
		if (!ComesTrue([&] { return Connect(nPort); }))
			throw std::runtime_error("no monitor port");
	}
	~CRawMonitor() { close(m_nSocket); }
	CRawMonitor(const CRawMonitor&) = delete;
	CRawMonitor& operator=(const CRawMonitor&) = delete;

	void Send(const std::string& sBytes)
	{
		for (std::size_t nDone = 0; nDone < sBytes.size();)
		{
			const ssize_t nSent = send(m_nSocket, sBytes.data() + nDone, sBytes.size() - nDone, MSG_NOSIGNAL);
			if (nSent <= 0)
				return;
			nDone += static_cast<std::size_t>(nSent);
		}
	}

	// The payload of the next frame; "none" if none has come in that time, "end" behind the last one.
	std::string Receive(int nLimitMs = 60000)
	{
		std::string sPayload;
		for (;;)
		{
			if (TakeFrame(sPayload))
				return sPayload;
			pollfd oWait = { m_nSocket, POLLIN, 0 };
			if (poll(&oWait, 1, nLimitMs) != 1)
				return "none";
			char szBuffer[65536];
			const ssize_t nRead = recv(m_nSocket, szBuffer, sizeof szBuffer, 0);
			if (nRead <= 0)
				return "end";
			m_sInput.append(szBuffer, static_cast<std::size_t>(nRead));
		}
	}

	// Sends a request; the payload of its answer. Lines that come before it are confirmed.
	std::string Ask(const std::string& sPayload)
	{
		Send(Frame(sPayload));
		for (;;)
		{
			const std::string sAnswer = Receive();
			if (!IsLine(sAnswer))
				return sAnswer;
			Confirm(sAnswer);
		}
	}

	static bool IsLine(const std::string& sPayload) { return sPayload.compare(0, 4, Word(0x01000500)) == 0; }

	// The text of a line, from behind its time stamp on.
	static std::string TextOf(const std::string& sPayload)
	{
		return IsLine(sPayload) && sPayload.size() >= 40 ? sPayload.substr(40) : sPayload;
	}

	void Confirm(const std::string& sLine) { Send(Frame(Word(0x02000500) + sLine.substr(4, 4))); }

	// The next line, confirmed; its text.
	std::string ReceiveLine(int nLimitMs = 60000)
	{
		const std::string sLine = Receive(nLimitMs);
		if (IsLine(sLine))
			Confirm(sLine);
		return TextOf(sLine);
	}

	// Requests that most tests begin with.
	std::string Login(const std::string& sUser, const std::string& sPassword)
	{
		return Ask(Word(0x01000100) + Item(sUser) + Item(sPassword));
	}
	std::string Start() { return Ask(Word(0x01000200)); }
	std::string Watch(const std::string& sClass, int nLevels)
	{
		return Ask(Word(0x01000800) + Item(sClass) + Word(nLevels));
	}
	std::string Change(long nObject, int nLevels)
	{
		return Ask(Word(0x01000600) + Word(1) + Word(nObject) + Word(nLevels));
	}

	// Without the closing handshake: the other end gets a reset.
	void Reset()
	{
		const linger oLinger = { 1, 0 };
		setsockopt(m_nSocket, SOL_SOCKET, SO_LINGER, &oLinger, sizeof oLinger);
		close(m_nSocket);
		m_nSocket = -1;
	}

private:
	bool Connect(unsigned short nPort)
	{
		sockaddr_in oAddress = {};
		oAddress.sin_family = AF_INET;
		oAddress.sin_port = htons(nPort);
		oAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
		m_nSocket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
		if (connect(m_nSocket, reinterpret_cast<sockaddr*>(&oAddress), sizeof oAddress) == 0)
			return true;
		close(m_nSocket);
		m_nSocket = -1;
		return false;
	}

	bool TakeFrame(std::string& rsPayload)
	{
		if (m_sInput.size() < 12)
			return false;
		std::uint32_t nSize = 0;
		std::memcpy(&nSize, m_sInput.data() + 4, 4);
		if (m_sInput.compare(0, 4, "effe") != 0)
			throw std::runtime_error("no frame: " + m_sInput);
		if (m_sInput.size() < nSize + std::size_t(12))
			return false;
		if (m_sInput.compare(nSize + std::size_t(8), 4, "feef") != 0)
			throw std::runtime_error("no end of a frame");
		rsPayload = m_sInput.substr(8, nSize);
		m_sInput.erase(0, nSize + std::size_t(12));
		return true;
	}

	int m_nSocket = -1;
	std::string m_sInput;
};
