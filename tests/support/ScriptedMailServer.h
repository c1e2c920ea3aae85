#pragma once

// An SMTP or POP3 server made of a plain socket: it answers lines as its script says and keeps what it received.

#include "RawPeer.h"

#include <map>

// Serves one client after the other on a port of 127.0.0.1. Outlives its clients.
class CScriptedMailServer
{
public:
	// Answers to lines, by the longest of these beginnings that the line has; a message follows an answer 354, and the
	// first line is "greeting". In an answer \a is a pause of a second and \v the end of the connection.
	typedef std::map<std::string, std::string> Answers;

	explicit CScriptedMailServer(const Answers& asAnswers, bool bByteByByte = false)
		: m_asAnswers(asAnswers), m_bByteByByte(bByteByByte)
	{
	}
	~CScriptedMailServer()
	{
		m_bEnd = true;
		m_oThread.join();
	}

	unsigned short Port() const { return m_oListener.Port(); }

	// All lines and messages so far, each with a bar in place of its end. Waits for nAtLeast of them: a client does not
	// wait for those that were answered before they came.
	std::string Lines(std::ptrdiff_t nAtLeast = 0)
	{
		std::string sLines;
		const auto AreThere = [&]
		{
			std::lock_guard<std::mutex> oLock(m_oMutex);
			sLines = m_sLines;
			return std::count(sLines.begin(), sLines.end(), '|') >= nAtLeast;
		};
		ComesTrue(AreThere);
		return sLines;
	}

private:
	void Serve()
	{
		while (!m_bEnd)
			if (const auto poPeer = m_oListener.Accept(1))
				for (std::string sInput, sLine = "greeting"; Answer(*poPeer, sLine, sInput);)
				{
					std::lock_guard<std::mutex> oLock(m_oMutex);
					m_sLines += sLine + '|';
				}
	}

	// Answers a line and reads the next one. False behind the last one.
	bool Answer(CRawPeer& rPeer, std::string& rsLine, std::string& rsInput)
	{
		std::string sAnswer;
		for (const auto& rAnswer : m_asAnswers)
			if (rsLine.compare(0, rAnswer.first.size(), rAnswer.first) == 0)
				sAnswer = rAnswer.second;
		for (std::size_t nPause = 0; (nPause = sAnswer.find('\a')) != std::string::npos; sAnswer.erase(0, nPause + 1))
		{
			rPeer.Send(sAnswer.substr(0, nPause));
			std::this_thread::sleep_for(std::chrono::seconds(1));
		}
		rPeer.Send(sAnswer.substr(0, sAnswer.find('\v')), m_bByteByByte);
		const std::string sEnd = sAnswer.compare(0, 3, "354") == 0 ? "\r\n.\r\n" : "\r\n";
		bool bMore = sAnswer.find('\v') == std::string::npos;
		while (bMore && rsInput.find(sEnd) == std::string::npos)
		{
			const std::string sFirst = rPeer.Receive(1);
			rsInput += sFirst + rPeer.Receive(65536, 0);
			bMore = !sFirst.empty();
		}
		rsLine = rsInput.substr(0, rsInput.find(sEnd));
		rsInput.erase(0, rsLine.size() + sEnd.size());
		return bMore;
	}

	const Answers m_asAnswers;
	const bool m_bByteByByte;
	CRawListener m_oListener;
	std::mutex m_oMutex;    // guards m_sLines
	std::string m_sLines;
	std::atomic<bool> m_bEnd{ false };
	std::thread m_oThread{ &CScriptedMailServer::Serve, this };
};
