// Tells how the machine was during the round: a fixed loop, the cost of one clock reading, and what waking a
// thread on the other core costs. A round in which these stray was disturbed.
#include "bench.h"
#include <condition_variable>
#include <mutex>

int main()
{
	std::vector<double> t;
	volatile unsigned sink = 0;
	for (int k = 0; k < 15; ++k)
	{
		uint64_t a = bench::NowNs();
		unsigned x = 1;
		for (unsigned i = 0; i < 3000000; ++i)
			x = x * 1664525u + 1013904223u;
		sink = sink + x;
		t.push_back(double(bench::NowNs() - a) * 1e-6);
	}
	bench::Out("0 machine", "this machine", "fixed loop", "ms", bench::Quantile(t, 0.5));
	bench::Out("0 machine", "this machine", "fixed loop", "worst ms", *std::max_element(t.begin(), t.end()));
	uint64_t a = bench::NowNs();
	for (int i = 0; i < 1000000; ++i)
		bench::NowNs();
	bench::Out("0 machine", "this machine", "reading the clock", "ns", double(bench::NowNs() - a) * 1e-6);

	std::mutex m;
	std::condition_variable c;
	int turn = 0;
	bool stop = false;
	std::vector<uint32_t> wake;
	std::atomic<uint64_t> at(0);
	std::thread other(
		[&]
		{
			cpu_set_t last;
			CPU_ZERO(&last);
			CPU_SET(std::max(1u, std::thread::hardware_concurrency()) - 1, &last);
			sched_setaffinity(0, sizeof last, &last);
			std::unique_lock<std::mutex> l(m);
			for (;;)
			{
				c.wait(l, [&] { return turn == 1 || stop; });
				if (stop)
					return;
				wake.push_back(uint32_t(bench::NowNs() - at));
				turn = 0;
			}
		});
	bench::Place(true);
	for (int i = 0; i < 1000; ++i)
	{
		usleep(100);
		std::lock_guard<std::mutex> l(m);
		turn = 1;
		at = bench::NowNs();
		c.notify_one();
	}
	{
		std::lock_guard<std::mutex> l(m);
		stop = true;
	}
	c.notify_one();
	other.join();
	bench::Out(
		"0 machine", "this machine", "wake a thread on the other core", "p50 us", bench::Quantile(wake, 0.5) * 1e-3);
	bench::Out(
		"0 machine", "this machine", "wake a thread on the other core", "p99 us", bench::Quantile(wake, 0.99) * 1e-3);
}
