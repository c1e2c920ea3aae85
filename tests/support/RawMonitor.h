#pragma once

// A monitor made of a plain socket: it sends the bytes that the test gives it and reads frames.

#include "RawPeer.h"
#include "TraceFrames.h"

// Connects in the constructor, for up to a minute. Nothing that is waited for takes longer than that either.
class CRawMonitor : public CRawPeer
{
public:
	explicit CRawMonitor(unsigned short nPort) : CRawPeer(Connect(nPort)) {}

	// The payload of the next frame; empty if none has come in that time, and behind the last one.
	std::string Receive(int nLimitMs = 60000)
	{
		std::string sPayload;
		while (!TakeFrame(m_sInput, sPayload))
		{
			const std::string sFirst = CRawPeer::Receive(1, nLimitMs);
			if (sFirst.empty())
				return "";
			m_sInput += sFirst + CRawPeer::Receive(65536, 0);
		}
		return sPayload;
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

private:
	static int Connect(unsigned short nPort)
	{
		int nSocket = -1;
		if (!ComesTrue([&] { return (nSocket = ConnectToLoopback(nPort)) >= 0; }))
			throw std::runtime_error("no monitor port");
		return nSocket;
	}

	std::string m_sInput;
};
