// Job "3b TCP accept": the clients of a server that sends a byte to each.
#pragma once
#include "net.h"

inline void MeasureAccepting(const char* who, const std::vector<unsigned short>& ports, bool oneCore)
{
	size_t next = 0;
	auto step = [&]
	{
		const int fd = net::Connect(ports[next++ % ports.size()]);
		char byte = 0;
		bench::Check(net::RecvAll(fd, &byte, 1) && byte == 'x', "first byte");
		const linger reset = { 1, 0 };    // no port is left waiting for late packets
		setsockopt(fd, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
		close(fd);
	};
	std::vector<uint32_t> each;
	bench::Rate(0.05, step);
	const double rate = bench::Rate(0.3, step, &each);
	const std::string what =
		std::to_string(ports.size()) + (ports.size() == 1 ? " port" : " ports") + bench::PlaceName(oneCore);
	bench::Out("3b TCP accept", who, what, "clients/s", rate);
	bench::Out("3b TCP accept", who, what, "p50 us", bench::Quantile(each, 0.5) * 1e-3);
	bench::Out("3b TCP accept", who, what, "max us", bench::Quantile(each, 1) * 1e-3);
}
