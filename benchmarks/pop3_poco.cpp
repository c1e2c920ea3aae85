// packages: libpoco-dev
// libs: -lPocoNet -lPocoFoundation
// POP3 fetch of a 10 MB message from the scripted server: Poco POP3ClientSession, into a MailMessage and into a text.
#include "net.h"
#include <Poco/Net/MailMessage.h>
#include <Poco/Net/POP3ClientSession.h>
#include <sstream>

using namespace Poco::Net;

int main()
{
	const std::string mail = net::Mail(10000000);
	unsigned short port;
	int listener = net::Listen(port);
	std::thread server([&] { net::ServePop3(listener, mail, 1); });
	{
		POP3ClientSession c("127.0.0.1", port);
		c.login("user", "secret");
		bench::Check(c.messageCount() == 1, "one message");
		size_t got = 0;
		auto parsed = [&]
		{
			MailMessage m;
			c.retrieveMessage(1, m);
			got = m.getContent().size();
		};
		auto text = [&]
		{
			std::ostringstream o;
			c.retrieveMessage(1, o);
			got = o.str().size();
		};
		std::vector<double> a, b;
		for (int i = 0; i < 3; ++i)
		{
			uint64_t t0 = bench::NowNs();
			parsed();
			a.push_back(bench::Since(t0));
			bench::Check(got > 9999000, "body whole");
			t0 = bench::NowNs();
			text();
			b.push_back(bench::Since(t0));
			bench::Check(got >= mail.size() - 2 && got <= mail.size(), "text whole");
		}
		double x = bench::Quantile(a, 0.5), y = bench::Quantile(b, 0.5);
		bench::Out("6 POP3 fetch of 10 MB",
			"Poco POP3ClientSession",
			"into a message",
			"MB/s",
			double(mail.size()) * 1e-6 / x);
		bench::Out("6 POP3 fetch of 10 MB", "Poco POP3ClientSession", "into a message", "ms", x * 1e3);
		bench::Out(
			"6 POP3 fetch of 10 MB", "Poco POP3ClientSession", "into a text", "MB/s", double(mail.size()) * 1e-6 / y);
		bench::Out("6 POP3 fetch of 10 MB", "Poco POP3ClientSession", "into a text", "ms", y * 1e3);
		c.close();
	}
	server.join();
	close(listener);
}
