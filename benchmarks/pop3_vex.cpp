// POP3 fetch of a 10 MB message from the scripted server with the library: whole, and less the 300 ms of silence in which
// it makes sure that the message has ended. 50 MB shows how time and memory grow.
#include "VexMail.h"
#include "VexPOP3Client.h"
#include "net.h"

static void Fetch(size_t size, const std::string& job)
{
	const std::string mail = net::Mail(size);
	unsigned short port;
	int listener = net::Listen(port);
	std::thread server([&] { net::ServePop3(listener, mail, 1); });
	{
		CVexPOP3Client c;
		bench::Check(c.LogIn("127.0.0.1", port, "user", "secret") == CVexPOP3Client::eOK, "login");
		bench::Check(c.GetNumberOfMessage() == 1, "one message");
		// The peak of all that came before is forgotten.
		bench::Check(system(("echo 5 >/proc/" + std::to_string(getpid()) + "/clear_refs").c_str()) == 0, "clear_refs");
		const unsigned long before = bench::ProcNumber("/proc/self/status", "VmRSS:");
		unsigned long peak = 0;
		std::vector<double> t;
		for (int i = 0; i < 3; ++i)
		{
			CVexMail m;
			uint64_t t0 = bench::NowNs();
			bench::Check(c.GetMessage(m, 1) == CVexPOP3Client::eOK, "fetched");
			t.push_back(bench::Since(t0));
			if (i == 0)
				peak = bench::ProcNumber("/proc/self/status", "VmHWM:");    // the check below takes memory of its own
			bench::Check(m.GetTotalMail() + "\r\n" == mail, "text whole");
		}
		const double x = bench::Quantile(t, 0.5), y = x - 0.3, mb = double(mail.size()) * 1e-6;
		bench::Out(job, "VexCommon", "into a message", "MB/s", mb / y);
		bench::Out(job, "VexCommon", "into a message", "ms", y * 1e3);
		bench::Out(job, "VexCommon", "into a message, whole", "MB/s", mb / x);
		bench::Out(job, "VexCommon", "into a message, whole", "ms", x * 1e3);
		// The message that the program gets is in it.
		bench::Out(job,
			"VexCommon",
			"into a message",
			"peak x message",
			(double(peak) - double(before)) * 1024 / double(mail.size()));
		c.LogOut();
	}
	server.join();
	close(listener);
}

int main()
{
	Fetch(10000000, "6 POP3 fetch of 10 MB");
	Fetch(50000000, "6 POP3 fetch of 50 MB");
}
