// packages: libpoco-dev
// libs: -lPocoNet -lPocoFoundation
// SMTP send of a 10 MB message to the scripted server: Poco SMTPClientSession, from a MailMessage and from a text.
#include "net.h"
#include <Poco/Net/MailMessage.h>
#include <Poco/Net/MailRecipient.h>
#include <Poco/Net/SMTPClientSession.h>
#include <sstream>

using namespace Poco::Net;

int main()
{
	const std::string body = net::Body(10000000);
	std::atomic<size_t> taken(0);
	unsigned short port;
	int listener = net::Listen(port);
	std::thread server([&] { net::ServeSmtp(listener, 1, taken); });
	{
		SMTPClientSession c("127.0.0.1", port);
		c.login("station7");
		MailMessage m;
		m.setSender("station7@example.org");
		m.addRecipient(MailRecipient(MailRecipient::PRIMARY_RECIPIENT, "control@example.org"));
		m.setSubject("Report of the day");
		m.setContentType("text/plain; charset=iso-8859-1");
		m.setContent(body, MailMessage::ENCODING_7BIT);
		std::vector<double> t;
		for (int i = 0; i < 3; ++i)
		{
			uint64_t t0 = bench::NowNs();
			c.sendMessage(m);
			t.push_back(bench::Since(t0));
			bench::Check(taken >= body.size() && taken < body.size() + 2000, "the server took it whole");
		}
		double x = bench::Quantile(t, 0.5);
		bench::Out(
			"6 SMTP send of 10 MB", "Poco SMTPClientSession", "one recipient", "MB/s", double(body.size()) * 1e-6 / x);
		bench::Out("6 SMTP send of 10 MB", "Poco SMTPClientSession", "one recipient", "ms", x * 1e3);
		c.close();
	}
	server.join();
	close(listener);
}
