// An auto-resetting event made of std::mutex, std::condition_variable and a flag.
#include "event.h"
#include <condition_variable>
#include <mutex>

struct Event
{
	std::mutex m;
	std::condition_variable c;
	bool set = false;
	void Signal()
	{
		{
			std::lock_guard<std::mutex> l(m);
			set = true;
		}
		c.notify_one();
	}
	void Wait()
	{
		std::unique_lock<std::mutex> l(m);
		c.wait(l, [&] { return set; });
		set = false;
	}
};

int main()
{
	return event::Main<Event>("std::condition_variable");
}
