// packages: libpoco-dev
// libs: -lPocoFoundation
#include "event.h"
#include <Poco/Event.h>

struct Event
{
	Poco::Event e;
	void Signal() { e.set(); }
	void Wait() { e.wait(); }
};

int main()
{
	return event::Main<Event>("Poco::Event");
}
