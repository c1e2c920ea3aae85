// Accepting with raw blocking sockets: a loop that accepts, sends a byte and closes behind the client; a thread a port.
#include "accept.h"

int main()
{
	for (size_t count : { size_t(1), size_t(10) })
		for (bool oneCore : { true, false })
		{
			bench::Place(oneCore);
			std::vector<unsigned short> numbers(count);
			std::vector<int> listeners;
			std::vector<std::thread> servers;
			for (size_t i = 0; i < count; ++i)
			{
				const int listener = net::Listen(numbers[i]);
				listeners.push_back(listener);
				servers.emplace_back(
					[listener]
					{
						int fd;
						char byte;
						while ((fd = accept(listener, nullptr, nullptr)) >= 0)
						{
							net::SendAll(fd, "x", 1);
							while (recv(fd, &byte, 1, 0) > 0)
								;
							close(fd);
						}
					});
			}
			MeasureAccepting("raw sockets", numbers, oneCore);
			for (size_t i = 0; i < count; ++i)
			{
				shutdown(listeners[i], SHUT_RDWR);
				servers[i].join();
				close(listeners[i]);
			}
		}
}
