// TCP echo over loopback with raw blocking sockets: the client sends a block and waits until all of it is back.
#include "net.h"

int main()
{
	for (size_t size : { size_t(64), size_t(65536) })
		for (bool oneCore : { true, false })
		{
			bench::Place(oneCore);
			unsigned short port;
			int listener = net::Listen(port);
			std::thread server(
				[&]
				{
					int fd = net::Accept(listener);
					std::vector<char> buf(65536);
					ssize_t k;
					while ((k = recv(fd, buf.data(), buf.size(), 0)) > 0)
						if (!net::SendAll(fd, buf.data(), size_t(k)))
							break;
					close(fd);
				});
			int fd = net::Connect(port);
			std::vector<char> out(size, 'x'), in(size);
			std::vector<uint32_t> each;
			auto step = [&]
			{ bench::Check(net::SendAll(fd, out.data(), size) && net::RecvAll(fd, in.data(), size), "echo"); };
			bench::Rate(0.05, step);
			double rate = bench::Rate(0.3, step, &each);
			bench::Check(in == out, "echo the same");
			close(fd);
			server.join();
			close(listener);
			std::string what = std::string(size == 64 ? "64 bytes" : "64 KB") + bench::PlaceName(oneCore);
			bench::Out("3 TCP echo", "raw sockets", what, "round trips/s", rate);
			bench::Out("3 TCP echo", "raw sockets", what, "MB/s each way", rate * double(size) * 1e-6);
			bench::Out("3 TCP echo", "raw sockets", what, "p50 us", bench::Quantile(each, 0.5) * 1e-3);
			bench::Out("3 TCP echo", "raw sockets", what, "p99 us", bench::Quantile(each, 0.99) * 1e-3);
		}
}
