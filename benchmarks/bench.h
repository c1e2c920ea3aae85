// Measuring frame of the benchmark programs. A program prints one record a line,
//   R <tab> job <tab> who <tab> case <tab> metric <tab> value
// and `run` gathers the records of several rounds into one table. Builds for 32 and 64 bit.
#pragma once
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <sched.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <time.h>
#include <unistd.h>
#include <vector>

namespace bench
{

inline uint64_t Clock(clockid_t id)
{
	timespec t;
	clock_gettime(id, &t);
	return uint64_t(t.tv_sec) * 1000000000u + uint64_t(t.tv_nsec);
}
inline uint64_t NowNs()
{
	return Clock(CLOCK_MONOTONIC);
}
inline uint64_t CpuNs()
{
	return Clock(CLOCK_PROCESS_CPUTIME_ID);
}
inline double Since(uint64_t t0)
{
	return double(NowNs() - t0) * 1e-9;
}

inline void Out(
	const std::string& job, const std::string& who, const std::string& what, const std::string& metric, double value)
{
	printf("R\t%s\t%s\t%s\t%s\t%.9g\n", job.c_str(), who.c_str(), what.c_str(), metric.c_str(), value);
	fflush(stdout);
}

// A failed check makes the whole run fail: a wrong result has no speed.
inline void Check(bool ok, const char* what)
{
	if (!ok)
	{
		fprintf(stderr, "FAILED: %s\n", what);
		fflush(stdout);
		_exit(2);
	}
}

template <class T>
double Quantile(std::vector<T>& v, double q)
{
	if (v.empty())
		return 0;
	size_t i = std::min(v.size() - 1, size_t(q * double(v.size())));
	std::nth_element(v.begin(), v.begin() + long(i), v.end());
	return double(v[i]);
}

// Calls step() until `seconds` have gone; gives back calls per second, and each call's time in ns if asked for.
template <class F>
double Rate(double seconds, F&& step, std::vector<uint32_t>* each = nullptr)
{
	uint64_t t0 = NowNs(), end = t0 + uint64_t(seconds * 1e9), t = t0, n = 0;
	if (each)
		each->reserve(1000000);
	while (t < end)
	{
		step();
		++n;
		uint64_t u = NowNs();
		if (each)
			each->push_back(uint32_t(u - t));
		t = u;
	}
	return double(n) / (double(t - t0) * 1e-9);
}

// The same for steps of less than a microsecond: the clock is read once in 256 steps.
template <class F>
double RateFast(double seconds, F&& step)
{
	uint64_t t0 = NowNs(), end = t0 + uint64_t(seconds * 1e9), t = t0, n = 0;
	while (t < end)
	{
		for (int i = 0; i < 256; ++i)
			step();
		n += 256;
		t = NowNs();
	}
	return double(n) / (double(t - t0) * 1e-9);
}

inline unsigned long ProcNumber(const char* file, const char* key)    // a number behind a key in /proc/self/...
{
	unsigned long v = 0;
	char line[256];
	if (FILE* f = fopen(file, "r"))
	{
		while (fgets(line, sizeof line, f))
			if (!strncmp(line, key, strlen(key)))
			{
				v = strtoul(line + strlen(key), nullptr, 10);
				break;
			}
		fclose(f);
	}
	return v;
}

// Threads started from here on run on one core only, or where the system puts them. On a virtual machine waking
// a thread on an idle core costs tens of microseconds, so the two placements give very different round trips.
inline void Place(bool oneCore)
{
	static cpu_set_t all;
	static bool known = sched_getaffinity(0, sizeof all, &all) == 0;
	cpu_set_t one;
	CPU_ZERO(&one);
	for (int i = 0; i < CPU_SETSIZE; ++i)
		if (CPU_ISSET(i, &all))
		{
			CPU_SET(i, &one);
			break;
		}
	Check(known && !sched_setaffinity(0, sizeof one, oneCore ? &one : &all), "placement");
}
inline const char* PlaceName(bool oneCore)
{
	return oneCore ? ", one core" : ", free";
}

inline std::string TempDir()
{
	const char* base = getenv("BENCH_DIR");
	std::string s = std::string(base ? base : "/tmp") + "/bench-XXXXXX";
	std::vector<char> buf(s.begin(), s.end());
	buf.push_back(0);
	Check(mkdtemp(buf.data()) != nullptr, "mkdtemp");
	return buf.data();
}

inline void RemoveDir(const std::string& dir)
{
	std::string c = "rm -rf '" + dir + "'";
	if (system(c.c_str()))
	{
	}
}

// ---------------------------------------------------------------- file logging
// Every peer writes: time stamp, level, name, text of 60 characters that holds a 6-digit number.
#define BENCH_NAME "Line1:Port7/OrderConnection"
#define BENCH_TEXT_A "Order "
#define BENCH_TEXT_B " accepted from station 7, queue depth 12, ok now"
static const unsigned kFirst = 100000, kMessages = 400000;    // numbers 100000..499999: six digits each

inline size_t TextBytes()
{
	return strlen(BENCH_TEXT_A) + 6 + strlen(BENCH_TEXT_B);
}

// Counts the lines of the file that hold a message and checks that each number came exactly once.
inline bool AllLinesThere(const std::string& file, unsigned messages)
{
	FILE* f = fopen(file.c_str(), "r");
	if (!f)
		return false;
	std::vector<char> seen(messages, 0);
	char line[1024];
	unsigned n = 0;
	bool ok = true;
	while (fgets(line, sizeof line, f))
	{
		const char* p = strstr(line, "\t" BENCH_TEXT_A);
		if (!p)
			continue;
		unsigned k = unsigned(atoi(p + 1 + strlen(BENCH_TEXT_A))) - kFirst;
		size_t len = strlen(p + 1);
		if (k >= messages || seen[k] || len < TextBytes() + 1 || !strstr(line, BENCH_NAME))
		{
			ok = false;
			break;
		}
		seen[k] = 1;
		++n;
	}
	fclose(f);
	return ok && n == messages;
}

// Peer: std::string Open(dir, buffered) -> the log file; size_t LineBytes() (0 when lines differ in length);
//       void Log(unsigned number) and void LogDisabled(unsigned number), called from several threads;
//       void Close(), back when every line is in the file.
template <class Peer>
void LogThroughput(const char* who, bool buffered, int threads)
{
	const unsigned long rss0 = ProcNumber("/proc/self/status", "VmRSS:");    // so that a queue made at once counts too
	std::string dir = TempDir();
	static Peer peer;
	std::string file = peer.Open(dir, buffered);
	const uint64_t want = uint64_t(kMessages) * peer.LineBytes();
	const unsigned part = kMessages / unsigned(threads);
	std::vector<std::vector<uint32_t>> lat(static_cast<size_t>(threads), std::vector<uint32_t>(part, 1u));
	std::atomic<int> ready(0);
	std::atomic<bool> go(false), stop(false);
	std::atomic<uint64_t> seen(0);

	std::vector<std::thread> team;
	for (int t = 0; t < threads; ++t)
		team.emplace_back(
			[&, t]
			{
				std::vector<uint32_t>& mine = lat[size_t(t)];
				unsigned n = kFirst + part * unsigned(t);
				++ready;
				while (!go)
					sched_yield();
				uint64_t a = NowNs();
				for (unsigned i = 0; i < part; ++i)
				{
					peer.Log(n + i);
					uint64_t b = NowNs();
					mine[i] = uint32_t(std::min<uint64_t>(b - a, 0xffffffffu));
					a = b;
				}
			});
	while (ready < threads)
		sched_yield();
	unsigned long writes0 = ProcNumber("/proc/self/io", "syscw:");
	uint64_t cpu0 = CpuNs(), t0 = NowNs();
	go = true;
	// An onlooker sees when the last byte is in the file, whatever the peer's own closing does.
	std::thread watch(
		[&]
		{
			while (want && !stop)
			{
				struct stat st;
				if (!stat(file.c_str(), &st) && uint64_t(st.st_size) >= want)
				{
					seen = NowNs();
					return;
				}
				usleep(1000);
			}
		});
	for (std::thread& t : team)
		t.join();
	uint64_t produced = NowNs();
	peer.Close();
	uint64_t closed = NowNs();
	uint64_t cpu = CpuNs() - cpu0;
	stop = true;
	watch.join();
	uint64_t done = seen ? std::min<uint64_t>(seen, closed) : closed;
	unsigned long writes = ProcNumber("/proc/self/io", "syscw:") - writes0,
				  peak = ProcNumber("/proc/self/status", "VmHWM:");
	Check(AllLinesThere(file, kMessages), "log file complete, each line once");
	std::vector<uint32_t> all;
	for (auto& v : lat)
		all.insert(all.end(), v.begin(), v.end());
	std::string job = buffered ? "1a log, buffered" : "1a log, a write per line",
				what = std::to_string(threads) + " thr";
	Out(job, who, what, "lines/s", kMessages / (double(done - t0) * 1e-9));
	Out(job, who, what, "accepted/s", kMessages / (double(produced - t0) * 1e-9));
	Out(job, who, what, "p50 us", Quantile(all, 0.5) * 1e-3);
	Out(job, who, what, "p99 us", Quantile(all, 0.99) * 1e-3);
	Out(job, who, what, "cpu us/line", double(cpu) * 1e-3 / kMessages);
	Out(job, who, what, "writes/line", double(writes) / kMessages);
	Out(job,
		who,
		what,
		"peak MB",
		std::max(0.0, double(peak) / 1024 - double(rss0) / 1024 - kMessages * 4e-6));    // less the latencies kept here
	RemoveDir(dir);
}

// The bare call: a fixed text, 200,000 calls without a pause, the first thread being the program's own. For peers with
// void LogAtHand(const char* text).
template <class Peer>
int LogCalls(const char* who, int threads)
{
	const std::string dir = TempDir();
	static Peer peer;
	peer.Open(dir, false);
	const unsigned part = 200000 / unsigned(threads);
	std::vector<std::vector<uint32_t>> lat(size_t(threads), std::vector<uint32_t>(part, 1u));
	auto call = [&](std::vector<uint32_t>& mine)
	{
		uint64_t a = NowNs();
		for (uint32_t& each : mine)
		{
			peer.LogAtHand(BENCH_TEXT_A "123456" BENCH_TEXT_B);
			const uint64_t b = NowNs();
			each = uint32_t(b - a);
			a = b;
		}
	};
	std::vector<std::thread> team;
	for (size_t t = 1; t < lat.size(); ++t)
		team.emplace_back(call, std::ref(lat[t]));
	call(lat[0]);
	for (std::thread& t : team)
		t.join();
	peer.Close();
	std::vector<uint32_t> all;
	for (const auto& v : lat)
		all.insert(all.end(), v.begin(), v.end());
	const std::string what = std::to_string(threads) + " thr";
	Out("1a log, text at hand, without pause", who, what, "p50 us", Quantile(all, 0.5) * 1e-3);
	Out("1a log, text at hand, without pause", who, what, "p99 us", Quantile(all, 0.99) * 1e-3);
	RemoveDir(dir);
	return 0;
}

// The everyday case: one thread logs a line every 50 us, far below what any peer can take.
template <class Peer>
void LogPaced(const char* who)
{
	const unsigned messages = 8000;
	std::string dir = TempDir();
	static Peer peer;
	std::string file = peer.Open(dir, false);
	std::vector<uint32_t> lat(messages, 1u);
	uint64_t t = NowNs() + 1000000;
	for (unsigned i = 0; i < messages; ++i, t += 50000)
	{
		while (NowNs() < t)
		{
		}
		uint64_t a = NowNs();
		peer.Log(kFirst + i);
		lat[i] = uint32_t(NowNs() - a);
	}
	peer.Close();
	Check(AllLinesThere(file, messages), "log file complete, each line once");
	Out("1a log, one line each 50 us", who, "1 thr", "p50 us", Quantile(lat, 0.5) * 1e-3);
	Out("1a log, one line each 50 us", who, "1 thr", "p99 us", Quantile(lat, 0.99) * 1e-3);
	RemoveDir(dir);
}

template <class Peer>
void LogDisabledCost(const char* who, int threads)
{
	std::string dir = TempDir();
	static Peer peer;
	peer.Open(dir, false);
	std::atomic<int> ready(0);
	std::atomic<bool> go(false);
	std::vector<uint64_t> calls(size_t(threads) * 16, 0);    // spread: no shared cache line
	std::vector<std::thread> team;
	for (int t = 0; t < threads; ++t)
		team.emplace_back(
			[&, t]
			{
				++ready;
				while (!go)
					sched_yield();
				uint64_t end = NowNs() + 150000000u, n = 0;
				do
				{
					for (unsigned i = 0; i < 500; ++i)
					{
						peer.LogDisabled(kFirst + i);
						asm volatile("" ::: "memory");
					}
					n += 500;
				} while (NowNs() < end);
				calls[size_t(t) * 16] = n;
			});
	while (ready < threads)
		sched_yield();
	uint64_t cpu0 = CpuNs(), t0 = NowNs();
	go = true;
	for (std::thread& t : team)
		t.join();
	double wall = Since(t0), cpu = double(CpuNs() - cpu0);
	uint64_t n = 0;
	for (uint64_t c : calls)
		n += c;
	peer.Close();
	std::string what = std::to_string(threads) + " thr";
	Out("1b disabled call", who, what, "M calls/s", double(n) / wall * 1e-6);
	Out("1b disabled call", who, what, "cpu ns/call", cpu / double(n));
	RemoveDir(dir);
}

// What of the memory stays behind once a million messages are in the file.
template <class Peer>
void LogMemory(const char* who)
{
	const std::string dir = TempDir();
	static Peer peer;
	const std::string file = peer.Open(dir, false);
	uint64_t lines = 0;
	auto logAndWait = [&](unsigned count)
	{
		for (unsigned i = 0; i < count; ++i)
			peer.Log(kFirst + i % 900000);    // six digits
		lines += count;
		struct stat st;
		do
			usleep(1000);
		while (stat(file.c_str(), &st) || uint64_t(st.st_size) < lines * peer.LineBytes());
		usleep(100000);    // the last messages may be given back behind their lines
	};
	auto residentMB = [] { return double(ProcNumber("/proc/self/status", "VmRSS:")) / 1024; };
	auto allocatedMB = []
	{
		const struct mallinfo2 info = mallinfo2();
		return double(info.uordblks + info.hblkhd) * 1e-6;
	};
	logAndWait(1000);
	const double resident = residentMB(), allocated = allocatedMB();
	logAndWait(1000000);
	Out("1c log, memory after a million messages", who, "1 thr", "left MB", residentMB() - resident);
	Out("1c log, memory after a million messages", who, "1 thr", "left allocated MB", allocatedMB() - allocated);
	peer.Close();
	RemoveDir(dir);
}

// Each case runs in a process of its own (exec of the same program), so that none inherits another's state.
template <class Peer>
int LogMain(const char* who, int argc, char** argv,
	std::vector<const char*> modes = { "line", "buffered", "paced", "disabled" })
{
	if (argc == 3)
	{
		int threads = atoi(argv[2]);
		if (!strcmp(argv[1], "line"))
			LogThroughput<Peer>(who, false, threads);
		else if (!strcmp(argv[1], "buffered"))
			LogThroughput<Peer>(who, true, threads);
		else if (!strcmp(argv[1], "paced"))
			LogPaced<Peer>(who);
		else if (!strcmp(argv[1], "memory"))
			LogMemory<Peer>(who);
		else
			LogDisabledCost<Peer>(who, threads);
		fflush(stdout);
		return 0;
	}
	int bad = 0;
	for (const char* mode : modes)
		for (const char* threads : { "1", "4" })
		{
			if ((!strcmp(mode, "paced") || !strcmp(mode, "memory")) && *threads != '1')
				continue;
			pid_t p = fork();
			if (p == 0)
			{
				execl("/proc/self/exe", argv[0], mode, threads, (char*)nullptr);
				_exit(9);
			}
			int st = 0;
			waitpid(p, &st, 0);
			if (st)
			{
				fprintf(stderr, "%s %s %s: status %d\n", who, mode, threads, st);
				bad = 1;
			}
		}
	return bad;
}

}    // namespace bench
