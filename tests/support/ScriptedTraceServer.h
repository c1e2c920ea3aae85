#pragma once

// A trace server made of a plain socket: it answers frames as its script says and keeps the bytes that it received.

#include "LoopbackSocket.h"
#include "TraceFrames.h"
#include "Waiting.h"

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

// Serves one client after the other on a port of 127.0.0.1.
class CScriptedTraceServer
{
public:
	// The payload of a frame that has come; what to send. Called on the server's thread.
	typedef std::function<std::string(const std::string& sPayload)> Script;

	// Port 0: one that the system chooses.
	explicit CScriptedTraceServer(const Script& oScript = Confirm, unsigned short nPort = 0)
		: m_oScript(oScript), m_nPort(nPort), m_nListener(ListenOnLoopback(m_nPort)), m_oThread([this] { Serve(); })
	{
	}

	~CScriptedTraceServer()
	{
		m_bEnd = true;
		m_oThread.join();
		close(m_nListener);
	}

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
		const std::map<int, std::string> asItems = { { 1, Word(0) },
			{ 4, Item("Program started at 24.12.2009") },
			{ 6, Word(0) },
			{ 7, Word(1) + Word(5) + Item("Name/CClass") },
			{ 8, Word(0) },
			{ 9, sPayload.substr(4, 4) + Item("Name/CClass") } };
		const auto oItems = asItems.find(sPayload[1]);
		return Frame(oItems != asItems.end() ? sID + oItems->second : sID);
	}

	// A script that sends these bytes for the requests of the number, and confirms the others.
	static Script Answering(int nRequest, const std::string& sBytes)
	{
		return [=](const std::string& sPayload) { return sPayload[1] == nRequest ? sBytes : Confirm(sPayload); };
	}

private:
	void Serve()
	{
		while (!m_bEnd)
		{
			if (!HasInput(m_nListener, 1))
				continue;
			const int nClient = accept(m_nListener, nullptr, nullptr);
			TakeWhatToSend();    // was for the client before
			m_bHangup = false;
			ServeClient(nClient);
			close(nClient);
		}
	}

	void ServeClient(int nClient)
	{
		std::string sInput;
		std::string sPayload;
		for (;;)
		{
			const bool bLast = m_bEnd || m_bHangup;
			SendAll(nClient, TakeWhatToSend());
			if (bLast)
				return;
			if (!HasInput(nClient, 1))
				continue;
			const std::string sMore = ReceiveSome(nClient);
			if (sMore.empty())
				return;
			// Before what it leads to can be seen.
			{
				std::lock_guard<std::mutex> oLock(m_oMutex);
				m_sReceived += sMore;
			}
			sInput += sMore;
			while (TakeFrame(sInput, sPayload))
				Send(m_oScript(sPayload));
		}
	}

	std::string TakeWhatToSend()
	{
		std::lock_guard<std::mutex> oLock(m_oMutex);
		return std::exchange(m_sToSend, "");
	}

	const Script m_oScript;
	unsigned short m_nPort;
	const int m_nListener;
	std::mutex m_oMutex;    // guards m_sReceived and m_sToSend
	std::string m_sReceived;
	std::string m_sToSend;
	std::atomic<bool> m_bHangup{ false };
	std::atomic<bool> m_bEnd{ false };
	std::thread m_oThread;    // the last one: it uses the others
};
