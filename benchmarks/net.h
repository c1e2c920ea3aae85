// Raw blocking sockets on 127.0.0.1 and the scripted mail servers, for the programs that need them.
#pragma once
#include "bench.h"
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace net
{

inline void NoDelay(int fd)
{
	int on = 1;
	setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

inline int Listen(unsigned short& port)    // any free port, which it tells
{
	int fd = socket(AF_INET, SOCK_STREAM, 0), on = 1;
	setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
	sockaddr_in a;
	memset(&a, 0, sizeof a);
	a.sin_family = AF_INET;
	a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	socklen_t len = sizeof a;
	bench::Check(
		fd >= 0 && !bind(fd, (sockaddr*)&a, len) && !listen(fd, 8) && !getsockname(fd, (sockaddr*)&a, &len), "listen");
	port = ntohs(a.sin_port);
	return fd;
}

inline int Accept(int listener)
{
	int fd = accept(listener, nullptr, nullptr);
	bench::Check(fd >= 0, "accept");
	NoDelay(fd);
	return fd;
}

inline int Connect(unsigned short port)
{
	int fd = socket(AF_INET, SOCK_STREAM, 0);
	sockaddr_in a;
	memset(&a, 0, sizeof a);
	a.sin_family = AF_INET;
	a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
	a.sin_port = htons(port);
	bench::Check(fd >= 0 && !connect(fd, (sockaddr*)&a, sizeof a), "connect");
	NoDelay(fd);
	return fd;
}

inline bool SendAll(int fd, const char* p, size_t n)
{
	while (n)
	{
		ssize_t k = send(fd, p, n, MSG_NOSIGNAL);
		if (k <= 0)
			return false;
		p += k;
		n -= size_t(k);
	}
	return true;
}
inline bool SendAll(int fd, const std::string& s)
{
	return SendAll(fd, s.data(), s.size());
}

inline bool RecvAll(int fd, char* p, size_t n)
{
	while (n)
	{
		ssize_t k = recv(fd, p, n, 0);
		if (k <= 0)
			return false;
		p += k;
		n -= size_t(k);
	}
	return true;
}

// Body lines of 76 characters, about `bytes` in all; a mail text with a header before them.
inline std::string Body(size_t bytes)
{
	std::string line;
	for (int i = 0; i < 76; ++i)
		line += char('a' + i % 26);
	line += "\r\n";
	std::string s;
	s.reserve(bytes + line.size());
	while (s.size() + line.size() <= bytes)
		s += line;
	return s;
}
inline std::string Mail(size_t bytes)
{
	return "From: Station 7 <station7@example.org>\r\nTo: Control <control@example.org>\r\nSubject: Report of the day\r\n"
		   "Date: Tue, 24 Dec 2019 18:05:03 +0100\r\nContent-Type: text/plain; charset=iso-8859-1\r\nContent-Transfer-Encoding: 7bit\r\n\r\n" +
		Body(bytes);
}

// One line of a client, without its CR LF; false when the connection ended. What came behind it stays in `rest`.
inline bool Line(int fd, std::string& rest, std::string& line)
{
	size_t e;
	while ((e = rest.find("\r\n")) == std::string::npos)
	{
		char buf[4096];
		ssize_t k = recv(fd, buf, sizeof buf, 0);
		if (k <= 0)
			return false;
		rest.append(buf, size_t(k));
	}
	line = rest.substr(0, e);
	rest.erase(0, e + 2);
	return true;
}

// Serves one POP3 connection after the other until `sessions` have ended; RETR answers with `mail`.
inline void ServePop3(int listener, const std::string& mail, int sessions)
{
	const std::string answer = "+OK " + std::to_string(mail.size()) + " octets\r\n" + mail + ".\r\n";
	while (sessions-- > 0)
	{
		int fd = Accept(listener);
		std::string rest, line;
		SendAll(fd, "+OK ready\r\n");
		while (Line(fd, rest, line))
		{
			if (line.compare(0, 4, "RETR") == 0)
				SendAll(fd, answer);
			else if (line == "STAT")
				SendAll(fd, "+OK 1 " + std::to_string(mail.size()) + "\r\n");
			else
				SendAll(fd, "+OK\r\n");
			if (line == "QUIT")
				break;
		}
		close(fd);
	}
}

// Serves SMTP connections likewise; `taken` is the size of the last message received, its end mark left out.
inline void ServeSmtp(int listener, int sessions, std::atomic<size_t>& taken)
{
	while (sessions-- > 0)
	{
		int fd = Accept(listener);
		std::string rest, line;
		SendAll(fd, "220 ready\r\n");
		while (Line(fd, rest, line))
		{
			if (line == "DATA")
			{
				SendAll(fd, "354 go on\r\n");
				size_t n = 0;
				std::string tail = rest;
				std::vector<char> buf(65536);    // only the last bytes are kept
				n = tail.size();
				for (;;)
				{
					if (tail.size() >= 5 && tail.compare(tail.size() - 5, 5, "\r\n.\r\n") == 0)
						break;
					ssize_t k = recv(fd, buf.data(), buf.size(), 0);
					if (k <= 0)
						break;
					n += size_t(k);
					if (k >= 5)
						tail.assign(buf.data() + k - 5, 5);
					else
					{
						tail.append(buf.data(), size_t(k));
						if (tail.size() > 5)
							tail.erase(0, tail.size() - 5);
					}
				}
				taken = n - 5;
				rest.clear();
				SendAll(fd, "250 taken\r\n");
			}
			else if (line == "QUIT")
			{
				SendAll(fd, "221 bye\r\n");
				break;
			}
			else
				SendAll(fd, "250 ok\r\n");
		}
		close(fd);
	}
}

}    // namespace net
