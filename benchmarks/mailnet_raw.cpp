// Physical reference of the two mail transfers: the same dialogues with raw blocking sockets, nothing parsed.
#include "net.h"

static bool Ask(int fd, std::string& rest, const std::string& command, const char* want)
{
	std::string line;
	return net::SendAll(fd, command) && net::Line(fd, rest, line) && line.compare(0, strlen(want), want) == 0;
}

int main()
{
	const std::string mail = net::Mail(10000000);
	std::string rest, line;
	{
		unsigned short port;
		int listener = net::Listen(port);
		std::thread server([&] { net::ServePop3(listener, mail, 1); });
		int fd = net::Connect(port);
		std::vector<double> t;
		std::vector<char> buf(65536);
		bench::Check(
			net::Line(fd, rest, line) && Ask(fd, rest, "USER u\r\n", "+OK") && Ask(fd, rest, "PASS p\r\n", "+OK"),
			"login");
		for (int i = 0; i < 3; ++i)
		{
			uint64_t t0 = bench::NowNs();
			bench::Check(Ask(fd, rest, "RETR 1\r\n", "+OK"), "RETR");
			std::string s;
			s.swap(rest);
			s.reserve(mail.size() + 100);
			while (s.size() < 5 || s.compare(s.size() - 5, 5, "\r\n.\r\n") != 0)
			{
				ssize_t k = recv(fd, buf.data(), buf.size(), 0);
				bench::Check(k > 0, "recv");
				s.append(buf.data(), size_t(k));
			}
			t.push_back(bench::Since(t0));
			bench::Check(s.size() == mail.size() + 3, "text whole");
		}
		Ask(fd, rest, "QUIT\r\n", "+OK");
		close(fd);
		server.join();
		close(listener);
		double x = bench::Quantile(t, 0.5);
		bench::Out("6 POP3 fetch of 10 MB", "raw sockets", "into a text", "MB/s", double(mail.size()) * 1e-6 / x);
		bench::Out("6 POP3 fetch of 10 MB", "raw sockets", "into a text", "ms", x * 1e3);
	}
	rest.clear();
	{
		std::atomic<size_t> taken(0);
		unsigned short port;
		int listener = net::Listen(port);
		std::thread server([&] { net::ServeSmtp(listener, 1, taken); });
		int fd = net::Connect(port);
		std::vector<double> t;
		bench::Check(net::Line(fd, rest, line) && Ask(fd, rest, "HELO s\r\n", "250"), "login");
		for (int i = 0; i < 3; ++i)
		{
			uint64_t t0 = bench::NowNs();
			bench::Check(Ask(fd, rest, "MAIL FROM: <a@b>\r\n", "250") && Ask(fd, rest, "RCPT TO: <c@d>\r\n", "250") &&
					Ask(fd, rest, "DATA\r\n", "354"),
				"dialogue");
			bench::Check(net::SendAll(fd, mail) && Ask(fd, rest, "\r\n.\r\n", "250"), "sent");
			t.push_back(bench::Since(t0));
			bench::Check(taken == mail.size(), "the server took it whole");
		}
		Ask(fd, rest, "QUIT\r\n", "221");
		close(fd);
		server.join();
		close(listener);
		double x = bench::Quantile(t, 0.5);
		bench::Out("6 SMTP send of 10 MB", "raw sockets", "one recipient", "MB/s", double(mail.size()) * 1e-6 / x);
		bench::Out("6 SMTP send of 10 MB", "raw sockets", "one recipient", "ms", x * 1e3);
	}
}
