// TCP echo with raw sockets used as the library uses them: both ends receive at most 1024 bytes at a time, and a thread
// of the client receives while another one waits for the whole block.
#include "net.h"

#include <condition_variable>
#include <mutex>

namespace
{
template <class Taker>
void ReceiveBlocks(int fd, Taker take)
{
	char buf[1024];
	ssize_t k;
	while ((k = recv(fd, buf, sizeof buf, 0)) > 0)
		take(buf, size_t(k));
}
}    // namespace

int main()
{
	for (size_t size : { size_t(64), size_t(65536) })
		for (bool oneCore : { true, false })
		{
			bench::Place(oneCore);
			unsigned short port;
			const int listener = net::Listen(port);
			std::thread server(
				[&]
				{
					const int fd = net::Accept(listener);
					ReceiveBlocks(fd, [&](const char* p, size_t n) { net::SendAll(fd, p, n); });
					close(fd);
				});
			const int fd = net::Connect(port);
			std::mutex mutex;
			std::condition_variable whole;
			std::string in;
			std::thread reader(
				[&]
				{
					ReceiveBlocks(fd,
						[&](const char* p, size_t n)
						{
							std::lock_guard<std::mutex> lock(mutex);
							in.append(p, n);
							if (in.size() >= size)
								whole.notify_one();
						});
				});
			const std::string out(size, 'x');
			std::vector<uint32_t> each;
			auto step = [&]
			{
				bench::Check(net::SendAll(fd, out), "sent");
				std::unique_lock<std::mutex> lock(mutex);
				whole.wait(lock, [&] { return in.size() >= size; });
				bench::Check(in == out, "echo the same");
				in.clear();
			};
			bench::Rate(0.05, step);
			const double rate = bench::Rate(0.3, step, &each);
			shutdown(fd, SHUT_RDWR);
			reader.join();
			server.join();
			close(fd);
			close(listener);
			const std::string what = std::string(size == 64 ? "64 bytes" : "64 KB") + bench::PlaceName(oneCore);
			const char* const who = "sockets, reader thread, 1024";
			bench::Out("3 TCP echo", who, what, "round trips/s", rate);
			bench::Out("3 TCP echo", who, what, "MB/s each way", rate * double(size) * 1e-6);
			bench::Out("3 TCP echo", who, what, "p50 us", bench::Quantile(each, 0.5) * 1e-3);
			bench::Out("3 TCP echo", who, what, "p99 us", bench::Quantile(each, 0.99) * 1e-3);
		}
}
