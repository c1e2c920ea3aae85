// packages: libpoco-dev
// libs: -lPocoNet -lPocoFoundation
// TCP echo over loopback with Poco's sockets on both sides.
#include "bench.h"
#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>

using namespace Poco::Net;

static bool SendAll(StreamSocket& s, const char* p, size_t n)
{
	while (n)
	{
		int k = s.sendBytes(p, int(n));
		if (k <= 0)
			return false;
		p += k;
		n -= size_t(k);
	}
	return true;
}

int main()
{
	for (size_t size : { size_t(64), size_t(65536) })
		for (bool oneCore : { true, false })
		{
			bench::Place(oneCore);
			ServerSocket listener(SocketAddress("127.0.0.1", 0));
			std::thread server(
				[&]
				{
					StreamSocket s = listener.acceptConnection();
					s.setNoDelay(true);
					std::vector<char> buf(65536);
					int k;
					while ((k = s.receiveBytes(buf.data(), int(buf.size()))) > 0)
						if (!SendAll(s, buf.data(), size_t(k)))
							break;
				});
			StreamSocket c(listener.address());
			c.setNoDelay(true);
			std::vector<char> out(size, 'x'), in(size);
			std::vector<uint32_t> each;
			auto step = [&]
			{
				bench::Check(SendAll(c, out.data(), size), "send");
				for (size_t n = 0; n < size;)
				{
					int k = c.receiveBytes(in.data() + n, int(size - n));
					bench::Check(k > 0, "receive");
					n += size_t(k);
				}
			};
			bench::Rate(0.05, step);
			double rate = bench::Rate(0.3, step, &each);
			bench::Check(in == out, "echo the same");
			c.close();
			server.join();
			std::string what = std::string(size == 64 ? "64 bytes" : "64 KB") + bench::PlaceName(oneCore);
			bench::Out("3 TCP echo", "Poco StreamSocket", what, "round trips/s", rate);
			bench::Out("3 TCP echo", "Poco StreamSocket", what, "MB/s each way", rate * double(size) * 1e-6);
			bench::Out("3 TCP echo", "Poco StreamSocket", what, "p50 us", bench::Quantile(each, 0.5) * 1e-3);
			bench::Out("3 TCP echo", "Poco StreamSocket", what, "p99 us", bench::Quantile(each, 0.99) * 1e-3);
		}
}
