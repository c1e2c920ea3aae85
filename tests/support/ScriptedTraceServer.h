#pragma once

// A trace server made of a plain socket: it answers frames as its script says and keeps the bytes that it received.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

// The pieces of a frame, written here once more: they must not come from the code under test.
inline std::string Word(long long n)
{
	std::string sBytes;
	for (int i = 0; i < 4; ++i)
		sBytes += static_cast<char>((static_cast<unsigned long long>(n) >> (8 * i)) & 0xFF);
	return sBytes;
}

inline std::string Item(const std::string& sText)
{
	return Word(static_cast<long long>(sText.size())) + sText;
}

inline std::string Frame(const std::string& sPayload)
{
	return "effe" + Item(sPayload) + "feef";
}

inline std::string TraceFrame(long nObject, int nLevel, const std::string& sText)
{
	return Frame(Word(0x01000500) + Word(nObject) + Word(nLevel) + Item(sText));
}

inline std::string ConfirmationOfLine(long nObject)
{
	return Frame(Word(0x02000500) + Word(nObject));
}

// Polls the condition. False if it does not come true within a minute.
template <class TCondition>
bool ComesTrue(TCondition oCondition)
{
	for (const auto oEnd = std::chrono::steady_clock::now() + std::chrono::seconds(60); !oCondition();)
	{
		if (std::chrono::steady_clock::now() >= oEnd)
			return false;
		std::this_thread::sleep_for(std::chrono::milliseconds(1));
	}
	return true;
}

// Serves one client after the other on a port of 127.0.0.1.
class CScriptedTraceServer
{
public:
	// The payload of a frame that has come; what to send. Called on the server's thread.
	typedef std::function<std::string(const std::string& sPayload)> Script;

	// Port 0: one that the system chooses.
	explicit CScriptedTraceServer(const Script& oScript = Confirm, unsigned short nPort = 0) : m_oScript(oScript)
	{
		const int nOn = 1;
		sockaddr_in oAddress = {};
		oAddress.sin_family = AF_INET;
		oAddress.sin_port = htons(nPort);
		oAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
		socklen_t nSize = sizeof oAddress;
		m_nListener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
		setsockopt(m_nListener, SOL_SOCKET, SO_REUSEADDR, &nOn, sizeof nOn);
		if (bind(m_nListener, reinterpret_cast<sockaddr*>(&oAddress), nSize) != 0 || listen(m_nListener, 8) != 0)
			throw std::runtime_error("no port for the scripted server");
		getsockname(m_nListener, reinterpret_cast<sockaddr*>(&oAddress), &nSize);
		m_nPort = ntohs(oAddress.sin_port);
		m_oThread = std::thread([this] { Serve(); });
	}

	~CScriptedTraceServer()
	{
		m_bEnd = true;
		m_oThread.join();
		close(m_nListener);
	}

	CScriptedTraceServer(const CScriptedTraceServer&) = delete;
	CScriptedTraceServer& operator=(const CScriptedTraceServer&) = delete;

	unsigned short Port() const { return m_nPort; }

	// All bytes of all clients so far.
	std::string Received()
	{
		std::lock_guard<std::mutex> oLock(m_oMutex);
		return m_sReceived;
	}

	bool WaitForBytes(const std::string& sBytes)
	{
		return ComesTrue([&] { return Received().find(sBytes) != std::string::npos; });
	}

	int Clients() const { return m_nClients; }
	bool HasClient() const { return m_bClient; }

	// To the client that is connected.
	void Send(const std::string& sBytes)
	{
		std::lock_guard<std::mutex> oLock(m_oMutex);
		m_sToSend += sBytes;
	}

	// Closes the connection once all is sent.
	void Hangup() { m_bHangup = true; }

	// Confirms every request: 0 for a number, one object "Name/CClass" with the number 5.
	static std::string Confirm(const std::string& sPayload)
	{
		if (sPayload.size() < 4 || sPayload[3] != 1)
			return "";
		const std::string sID = sPayload.substr(0, 3) + '\x02';
		switch (sPayload[1])
		{
		case 1:
		case 6:
		case 8:
			return Frame(sID + Word(0));
		case 4:
			return Frame(sID + Item("Program started at 24.12.2009"));
		case 7:
			return Frame(sID + Word(1) + Word(5) + Item("Name/CClass"));
		case 9:
			return Frame(sID + sPayload.substr(4, 4) + Item("Name/CClass"));
		default:
			return Frame(sID);
		}
	}

private:
	void Serve()
	{
		while (!m_bEnd)
		{
			pollfd oWait = { m_nListener, POLLIN, 0 };
			if (poll(&oWait, 1, 1) != 1)
				continue;
			const int nClient = accept(m_nListener, nullptr, nullptr);
			{
				std::lock_guard<std::mutex> oLock(m_oMutex);
				m_sToSend.clear();    // was for the client before
			}
			m_bHangup = false;
			m_bClient = true;
			++m_nClients;
			ServeClient(nClient);
			m_bClient = false;
			close(nClient);
		}
	}

	void ServeClient(int nClient)
	{
		std::string sInput;
		char szBuffer[65536];
		for (;;)
		{
			const bool bLast = m_bEnd || m_bHangup;
			SendWaiting(nClient);
			if (bLast)
				return;
			pollfd oWait = { nClient, POLLIN, 0 };
			if (poll(&oWait, 1, 1) != 1)
				continue;
			const ssize_t nRead = read(nClient, szBuffer, sizeof szBuffer);
			if (nRead <= 0)
				return;
			sInput.append(szBuffer, static_cast<std::size_t>(nRead));
			// Before what it leads to can be seen.
			{
				std::lock_guard<std::mutex> oLock(m_oMutex);
				m_sReceived.append(szBuffer, static_cast<std::size_t>(nRead));
			}
			AnswerFrames(sInput);
		}
	}

	void AnswerFrames(std::string& rsInput)
	{
		while (rsInput.size() >= 8)
		{
			const std::size_t nPayload = static_cast<unsigned char>(rsInput[4]) +
				static_cast<std::size_t>(static_cast<unsigned char>(rsInput[5])) * 256;
			if (rsInput.size() < nPayload + 12)
				return;
			const std::string sAnswer = m_oScript(rsInput.substr(8, nPayload));
			rsInput.erase(0, nPayload + 12);
			Send(sAnswer);
		}
	}

	void SendWaiting(int nClient)
	{
		std::string sBytes;
		{
			std::lock_guard<std::mutex> oLock(m_oMutex);
			sBytes.swap(m_sToSend);
		}
		for (std::size_t nDone = 0; nDone < sBytes.size();)
		{
			const ssize_t nSent = send(nClient, sBytes.data() + nDone, sBytes.size() - nDone, MSG_NOSIGNAL);
			if (nSent <= 0)
				return;
			nDone += static_cast<std::size_t>(nSent);
		}
	}

	const Script m_oScript;
	int m_nListener = -1;
	unsigned short m_nPort = 0;
	std::mutex m_oMutex;    // guards m_sReceived and m_sToSend
	std::string m_sReceived;
	std::string m_sToSend;
	std::atomic<int> m_nClients{ 0 };
	std::atomic<bool> m_bClient{ false };
	std::atomic<bool> m_bHangup{ false };
	std::atomic<bool> m_bEnd{ false };
	std::thread m_oThread;
};
