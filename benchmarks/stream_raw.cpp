// Physical reference of remote log streaming: a server sends one log line in a small binary frame over
// loopback TCP, the monitor confirms it, only then comes the next one (stop and wait). Blocking sockets.
// "direct": the sending thread receives the confirmations itself. "reader thread": another thread of the
// server receives them and wakes the sender through a condition variable.
#include "net.h"
#include <condition_variable>
#include <mutex>

static void Word(std::string& s, uint32_t n)
{
	for (int i = 0; i < 4; ++i)
		s += char(n >> (8 * i));
}

static std::string Frame(const std::string& payload)
{
	std::string s = "effe";
	Word(s, uint32_t(payload.size()));
	return s + payload + "feef";
}

static std::string LineFrame()
{
	std::string text = "24.12.2019 18:05:03.042 INFO OrderConnection " BENCH_TEXT_A "123456" BENCH_TEXT_B, p;
	Word(p, 0x01000500);
	Word(p, 17);
	Word(p, 4);
	Word(p, uint32_t(text.size()));
	return Frame(p + text);
}

static std::string ConfirmFrame()
{
	std::string p;
	Word(p, 0x02000500);
	Word(p, 17);
	return Frame(p);
}

static bool RecvFrame(int fd, char* buf)    // a header, then what it announces; buf of 1024
{
	if (!net::RecvAll(fd, buf, 8))
		return false;
	uint32_t n;
	memcpy(&n, buf + 4, 4);
	return n <= 1000 && net::RecvAll(fd, buf + 8, n + 4);
}

static void Monitor(unsigned short port)    // what the far end does with each line
{
	int fd = net::Connect(port);
	char buf[1024];
	const std::string confirm = ConfirmFrame();
	while (RecvFrame(fd, buf))
		if (!net::SendAll(fd, confirm))
			break;
	close(fd);
}

int main()
{
	const std::string frame = LineFrame();
	for (bool oneCore : { true, false })
		for (bool reader : { false, true })
		{
			bench::Place(oneCore);
			unsigned short port;
			int listener = net::Listen(port);
			std::thread monitor(Monitor, port);
			int fd = net::Accept(listener);
			char buf[1024];
			std::vector<uint32_t> each;
			double rate;
			if (!reader)
			{
				auto step = [&] { bench::Check(net::SendAll(fd, frame) && RecvFrame(fd, buf), "line confirmed"); };
				bench::Rate(0.05, step);
				rate = bench::Rate(0.3, step, &each);
				shutdown(fd, SHUT_RDWR);
			}
			else
			{
				std::mutex m;
				std::condition_variable c;
				bool confirmed = false;
				std::thread t(
					[&]
					{
						char in[1024];
						while (RecvFrame(fd, in))
						{
							std::lock_guard<std::mutex> l(m);
							confirmed = true;
							c.notify_all();
						}
					});
				auto step = [&]
				{
					bench::Check(net::SendAll(fd, frame), "line sent");
					std::unique_lock<std::mutex> l(m);
					bench::Check(c.wait_for(l, std::chrono::seconds(1), [&] { return confirmed; }), "line confirmed");
					confirmed = false;
				};
				bench::Rate(0.05, step);
				rate = bench::Rate(0.3, step, &each);
				shutdown(fd, SHUT_RDWR);
				t.join();
			}
			monitor.join();
			close(fd);
			close(listener);
			const std::string what = std::string(reader ? "reader thread" : "direct") + bench::PlaceName(oneCore);
			bench::Out("2 log stream, stop and wait", "raw sockets", what, "lines/s", rate);
			bench::Out("2 log stream, stop and wait", "raw sockets", what, "p50 us", bench::Quantile(each, 0.5) * 1e-3);
			bench::Out(
				"2 log stream, stop and wait", "raw sockets", what, "p99 us", bench::Quantile(each, 0.99) * 1e-3);
		}
}
