// Remote log streaming by the library: a trace server with its monitor port on sends the lines of one long burst, all of
// them in its queue, to the monitor of stream_raw.cpp, which confirms each and takes the times.
#include "VexMutex.h"
#include "VexTrace.h"
#include "VexTraceServer.h"
#include "net.h"

namespace
{
const unsigned kWarmUp = 2000, kLines = 20000;
const size_t kSlot = 256;    // room for a line's frame

class CServer : public CVexTraceServer
{
public:
	explicit CServer(unsigned short port)
	{
		SetDefaultTraceLevels(CVexTraceMsg::eNone);
		SetUser("bench", "bench");
		m_sMonitorIPAddress = "127.0.0.1";
		m_sMonitorPort = port;
		m_nMaxConnections = 2;
		m_nReserveConnections = 1;
		SetActiveServer(this);
		SetTCPIPMonitorOn(true);
	}
	~CServer() override { StopServer(); }
	CServer(const CServer&) = delete;
	CServer& operator=(const CServer&) = delete;

	// The queue is full: the lines may go.
	void Go() { m_oGo.Signal(); }

protected:
	bool SaveMsg(const CVexTraceMsg&, const char*) override
	{
		if (!m_bGone)
			m_oGo.Wait(0xFFFFFFFF);
		m_bGone = true;
		return true;
	}

private:
	CVexEvent m_oGo;
	bool m_bGone = false;
};

void Word(std::string& s, uint32_t n)
{
	for (int i = 0; i < 4; ++i)
		s += char(n >> (8 * i));
}

void Item(std::string& s, const std::string& text)
{
	Word(s, uint32_t(text.size()));
	s += text;
}

std::string Frame(const std::string& payload)
{
	std::string s = "effe";
	Item(s, payload);
	return s + "feef";
}

bool RecvFrame(int fd, char* buf)    // a header, then what it announces; buf of kSlot
{
	if (!net::RecvAll(fd, buf, 8))
		return false;
	uint32_t n;
	memcpy(&n, buf + 4, 4);
	return n <= kSlot - 12 && net::RecvAll(fd, buf + 8, n + 4);
}

void Ask(int fd, std::string request)
{
	char buf[kSlot];
	bench::Check(net::SendAll(fd, Frame(request)) && RecvFrame(fd, buf), "answer");
	request[3] = 2;    // the answer's number begins where the request's does
	bench::Check(request.compare(0, 4, buf + 8, 4) == 0, "answer to the request");
}

// Login, class and start; then every line is confirmed as soon as it is there.
class CMonitor
{
public:
	explicit CMonitor(unsigned short port) : m_fd(net::Connect(port))
	{
		std::string login, watch, start;
		Word(login, 0x01000100);
		Item(login, "bench");
		Item(login, "bench");
		Word(watch, 0x01000800);
		Item(watch, "OrderConnection");
		Word(watch, CVexTraceMsg::eInfo);
		Word(start, 0x01000200);
		for (const std::string* request : { &login, &watch, &start })
			Ask(m_fd, *request);
	}
	~CMonitor() { close(m_fd); }
	CMonitor(const CMonitor&) = delete;
	CMonitor& operator=(const CMonitor&) = delete;

	void Run()
	{
		char* slot = m_frames.data();
		for (uint64_t& t : m_times)
		{
			bench::Check(RecvFrame(m_fd, slot), "line");
			t = bench::NowNs();
			std::string confirm;
			Word(confirm, 0x02000500);
			confirm.append(slot + 12, 4);
			bench::Check(net::SendAll(m_fd, Frame(confirm)), "confirmation");
			slot += kSlot;
		}
	}

	bool AllLinesInOrder() const
	{
		for (unsigned i = 0; i < m_times.size(); ++i)
		{
			const char* frame = m_frames.data() + i * kSlot;
			uint32_t n;
			memcpy(&n, frame + 4, 4);
			const std::string end =
				" OrderConnection " BENCH_TEXT_A + std::to_string(kFirstNumber + i) + BENCH_TEXT_B "feef";
			if (n + 12 < end.size() || end.compare(0, end.size(), frame + 12 + n - end.size(), end.size()) != 0)
				return false;
		}
		return true;
	}

	static const unsigned kFirstNumber = 100000;
	std::vector<uint64_t> m_times = std::vector<uint64_t>(kWarmUp + kLines, 1);

private:
	int m_fd;
	std::vector<char> m_frames = std::vector<char>((kWarmUp + kLines) * kSlot, 1);
};
}    // namespace

int main()
{
	for (bool oneCore : { true, false })
	{
		bench::Place(oneCore);
		unsigned short port;
		close(net::Listen(port));
		CServer server(port);
		CMonitor monitor(port);
		CVexTrace trace("OrderConnection", nullptr, nullptr);
		std::thread reader(&CMonitor::Run, &monitor);
		for (unsigned i = 0; i < kWarmUp + kLines; ++i)
		{
			const std::string text = BENCH_TEXT_A + std::to_string(CMonitor::kFirstNumber + i) + BENCH_TEXT_B;
			trace.AddMsg(CVexTraceMsg::eInfo, text.c_str());
		}
		server.Go();
		reader.join();
		bench::Check(monitor.AllLinesInOrder(), "all lines in order");
		const uint64_t* times = monitor.m_times.data() + kWarmUp - 1;
		std::vector<uint32_t> each;
		for (unsigned i = 0; i < kLines; ++i)
			each.push_back(uint32_t(times[i + 1] - times[i]));
		const std::string what = std::string("reader thread") + bench::PlaceName(oneCore);
		const double rate = kLines / (double(times[kLines] - times[0]) * 1e-9);
		bench::Out("2 log stream, stop and wait", "VexCommon", what, "lines/s", rate);
		bench::Out("2 log stream, stop and wait", "VexCommon", what, "p50 us", bench::Quantile(each, 0.5) * 1e-3);
		bench::Out("2 log stream, stop and wait", "VexCommon", what, "p99 us", bench::Quantile(each, 0.99) * 1e-3);
	}
}
