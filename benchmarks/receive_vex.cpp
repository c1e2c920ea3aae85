// The receive buffer: what a byte costs when 100 MB pass through, beside 1 MB. Linear when both cost the same. The bytes
// come over loopback, sender and system included, but in the "backlog" cases, where they are there already and only the
// taking counts. Where all of them pile up, "raw buffer" shows what receiving 1024 bytes at a time and appending them to
// a string costs: the memory for 100 MB comes from the system, that for 1 MB is there and in the cache.
// Processor time, so that a busy machine does not lengthen the longer run more.
#include "VexMutex.h"
#include "VexTCPIPBase.h"
#include "net.h"

#include <functional>

namespace
{
const size_t kSmall = 1000000, kLarge = 100000000, kChunk = 100000;
const char kNever[] = "\nnever";    // its first byte comes again and again
const char kEnd[] = "\nnever\r\n";

class CReceiver : public CVexTCPIPBase
{
public:
	explicit CReceiver(size_t bytes) : m_wanted(bytes) {}
	~CReceiver() override { EndThreads(); }

	void DataInd(const unsigned char*, int len) override
	{
		m_received += size_t(len);
		if (m_received == m_wanted)
		{
			m_allAt = bench::CpuNs();
			m_oAll.Signal();
		}
	}

	void AwaitAll() { bench::Check(m_oAll.Wait(100000), "all received"); }
	uint64_t AllAt() const { return m_allAt; }

private:
	const size_t m_wanted;
	size_t m_received = 0;
	std::atomic<uint64_t> m_allAt{ 0 };
	CVexEvent m_oAll;
};

struct SCase
{
	const char* name;
	size_t line;       // length of the lines that are sent
	bool isBacklog;    // the taking begins when all is there
	bool isOneWait;    // a single wait goes on over all, and ends with what is sent behind
	std::function<bool(CReceiver&, std::string&)> take;
};

CVexTCPIPBase::ERetCode WaitForOneOf(CReceiver& receiver, std::string& data, const char* last)
{
	static std::vector<std::string> texts;
	texts = { "not this", "nor that", last };
	return receiver.WaitForData(texts, data, 100000);
}

const std::vector<SCase> aCases = {
	{ "lines of 100 bytes",
		100,
		false,
		false,
		[](CReceiver& r, std::string& s) { return r.WaitForData("\r\n", s, 100000) == r.eOK; } },
	{ "lines of 100 bytes, one of several",
		100,
		false,
		false,
		[](CReceiver& r, std::string& s) { return WaitForOneOf(r, s, "\r\n") == r.eOK; } },
	{ "lengths of 100 bytes",
		100,
		false,
		false,
		[](CReceiver& r, std::string& s) { return r.WaitForData(100, s, 100000) == r.eOK; } },
	{ "a string that does not come",
		100,
		false,
		true,
		[](CReceiver& r, std::string& s) { return r.WaitForData(kNever, s, 100000) == r.eOK; } },
	{ "several that do not come",
		100,
		false,
		true,
		[](CReceiver& r, std::string& s) { return WaitForOneOf(r, s, kNever) == r.eOK; } },
	{ "pieces of 20 bytes off a backlog, string",
		20,
		true,
		false,
		[](CReceiver& r, std::string& s) { return r.WaitForData("\r\n", s, 0) == r.eOK; } },
	{ "pieces of 20 bytes off a backlog, one of several",
		20,
		true,
		false,
		[](CReceiver& r, std::string& s) { return WaitForOneOf(r, s, "\r\n") == r.eOK; } },
	{ "pieces of 20 bytes off a backlog, length",
		20,
		true,
		false,
		[](CReceiver& r, std::string& s) { return r.WaitForData(20, s, 0) == r.eOK; } },
};

// What the receiving and keeping costs at least.
double RawNsPerByte(size_t bytes)
{
	const std::string chunk(kChunk, 'x');
	unsigned short port;
	const int listener = net::Listen(port), fd = net::Connect(port), peer = net::Accept(listener);
	const uint64_t begin = bench::CpuNs();
	std::thread sender(
		[&]
		{
			for (size_t sent = 0; sent < bytes; sent += chunk.size())
				bench::Check(net::SendAll(peer, chunk), "sent");
		});
	std::string buffer;
	char block[1024];
	while (buffer.size() < bytes)
	{
		const ssize_t n = recv(fd, block, sizeof block, 0);
		bench::Check(n > 0, "received");
		buffer.append(block, size_t(n));
	}
	const uint64_t end = bench::CpuNs();
	sender.join();
	for (const int socket : { listener, fd, peer })
		close(socket);
	return double(end - begin) / double(bytes);
}

double NsPerByte(const SCase& which, size_t bytes)
{
	const std::string line = std::string(which.line - 2, 'x') + "\r\n";
	std::string chunk, data;
	while (chunk.size() < kChunk)
		chunk += line;
	unsigned short port;
	const int listener = net::Listen(port);
	CReceiver receiver(bytes);
	bench::Check(receiver.ConnectToServer("127.0.0.1", port, 10000) == receiver.eOK, "connect");
	const int fd = net::Accept(listener);
	uint64_t begin = bench::CpuNs();
	std::thread sender(
		[&]
		{
			for (size_t sent = 0; sent < bytes; sent += chunk.size())
				bench::Check(net::SendAll(fd, chunk), "sent");
			receiver.AwaitAll();
			if (which.isOneWait)
				bench::Check(net::SendAll(fd, kEnd), "end sent");
		});
	if (which.isBacklog)
	{
		sender.join();
		begin = bench::CpuNs();
	}
	size_t taken = 0, wrong = 0;
	while (taken < bytes)
	{
		bench::Check(which.take(receiver, data), "taken");
		taken += data.size();
		wrong += data.size() != line.size();
	}
	const uint64_t end = which.isOneWait ? receiver.AllAt() : bench::CpuNs();
	if (sender.joinable())
		sender.join();
	const std::string last = which.isOneWait ? line + kNever : line;
	bench::Check(data.size() >= last.size() && data.compare(data.size() - last.size(), last.size(), last) == 0 &&
			(which.isOneWait ? taken == bytes + strlen(kNever) : taken == bytes && wrong == 0),
		"every byte in its place");
	close(fd);
	close(listener);
	return double(end - begin) / double(bytes);
}
}    // namespace

template <class F>
void Measure(const char* who, const char* what, F&& nsPerByte)
{
	std::vector<double> small;
	for (int i = 0; i < 15; ++i)
		small.push_back(nsPerByte(kSmall));
	const double one = bench::Quantile(small, 0.5), hundred = nsPerByte(kLarge);
	bench::Out("3c TCP receive buffer", who, what, "ns/byte of 1 MB", one);
	bench::Out("3c TCP receive buffer", who, what, "ns/byte of 100 MB", hundred);
	bench::Out("3c TCP receive buffer", who, what, "100 MB / 1 MB", hundred / one);
}

int main()
{
	bench::Place(true);
	for (const SCase& which : aCases)
	{
		Measure("VexCommon", which.name, [&](size_t bytes) { return NsPerByte(which, bytes); });
		if (which.isOneWait && sizeof(void*) == 8)    // both word sizes are compared with one raw figure
			Measure("raw buffer", which.name, RawNsPerByte);
	}
}
