// SMTP send of a 10 MB message to the scripted server with the library; 50 MB shows how time and memory grow.
#include "VexMail.h"
#include "VexMailAddress.h"
#include "VexSMTPClient.h"
#include "net.h"

static void Send(size_t size, const std::string& job)
{
	const CVexMail mail(net::Mail(size));
	const size_t total = mail.GetTotalMail().size();
	const std::vector<CVexMailAddress> to(1, CVexMailAddress(std::string("control@example.org")));
	std::atomic<size_t> taken(0);
	unsigned short port;
	int listener = net::Listen(port);
	std::thread server([&] { net::ServeSmtp(listener, 1, taken); });
	{
		CVexSMTPClient c;
		bench::Check(c.ConnectToServer("127.0.0.1", port) == CVexSMTPClient::eSmtpOK, "connect");
		// The peak of all that came before is forgotten.
		bench::Check(system(("echo 5 >/proc/" + std::to_string(getpid()) + "/clear_refs").c_str()) == 0, "clear_refs");
		const unsigned long before = bench::ProcNumber("/proc/self/status", "VmRSS:");
		std::vector<double> t;
		for (int i = 0; i < 3; ++i)
		{
			uint64_t t0 = bench::NowNs();
			bench::Check(c.SendMessage(mail, to) == CVexSMTPClient::eSmtpOK, "sent");
			t.push_back(bench::Since(t0));
			bench::Check(taken == total, "the server took it whole");
		}
		const unsigned long peak = bench::ProcNumber("/proc/self/status", "VmHWM:");
		double x = bench::Quantile(t, 0.5);
		bench::Out(job, "VexCommon", "one recipient", "MB/s", double(total) * 1e-6 / x);
		bench::Out(job, "VexCommon", "one recipient", "ms", x * 1e3);
		// Beside the mail that the program has.
		bench::Out(job,
			"VexCommon",
			"one recipient",
			"peak x message",
			(double(peak) - double(before)) * 1024 / double(total));
		c.LogOut();
	}
	server.join();
	close(listener);
}

int main()
{
	Send(10000000, "6 SMTP send of 10 MB");
	Send(50000000, "6 SMTP send of 50 MB");
}
