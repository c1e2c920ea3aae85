// The event job: ping-pong between two threads over two auto-resetting events, and one thread that signals and takes.
#pragma once
#include "bench.h"

namespace event
{

// Event: Signal(), and Wait(), which waits without limit and takes the signal.
template <class Event>
int Main(const char* who)
{
	const std::string job = "7 event ping-pong";
	for (bool oneCore : { true, false })
	{
		bench::Place(oneCore);
		Event ping, pong;
		std::atomic<bool> stop(false);
		std::atomic<unsigned> answers(0);
		std::thread t(
			[&]
			{
				for (;;)
				{
					ping.Wait();
					if (stop)
						return;
					++answers;
					pong.Signal();
				}
			});
		std::vector<uint32_t> each;
		unsigned asked = 0;
		auto step = [&]
		{
			++asked;
			ping.Signal();
			pong.Wait();
		};
		bench::Rate(0.05, step);
		const double rate = bench::Rate(0.3, step, &each);
		stop = true;
		ping.Signal();
		t.join();
		bench::Check(answers == asked, "one answer to each signal");
		const std::string what = std::string("2 threads") + bench::PlaceName(oneCore);
		bench::Out(job, who, what, "round trips/s", rate);
		bench::Out(job, who, what, "p50 us", bench::Quantile(each, 0.5) * 1e-3);
		bench::Out(job, who, what, "p99 us", bench::Quantile(each, 0.99) * 1e-3);
	}
	Event e;    // nobody waits: set it and take it
	const double own = bench::RateFast(0.1,
		[&]
		{
			e.Signal();
			e.Wait();
		});
	bench::Out(job, who, "signal and take, 1 thread", "ns", 1e9 / own);
	return 0;
}

}    // namespace event
