#include "VexMutex.h"
#include "event.h"

struct Event
{
	CVexEvent e;
	void Signal() { e.Signal(); }
	void Wait() { bench::Check(e.Wait(0xFFFFFFFF), "the event came"); }
};

int main()
{
	return event::Main<Event>("VexCommon");
}
