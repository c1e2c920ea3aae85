// packages: libspdlog-dev
// libs: -DSPDLOG_SHARED_LIB -DSPDLOG_COMPILED_LIB -DSPDLOG_FMT_EXTERNAL -lspdlog -lfmt
// spdlog, async logger, one background thread, queue of 8192 (its default), callers wait when it is full.
#include "bench.h"
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

struct Peer
{
	std::shared_ptr<spdlog::logger> log;
	std::string Open(const std::string& dir, bool buffered)
	{
		std::string s = dir + "/peer.log";
		const char* q = getenv("BENCH_QUEUE");
		spdlog::init_thread_pool(q ? size_t(atol(q)) : 8192, 1);
		auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(s, true);
		log = std::make_shared<spdlog::async_logger>(
			BENCH_NAME, sink, spdlog::thread_pool(), spdlog::async_overflow_policy::block);
		log->set_pattern("%d.%m.%Y %H:%M:%S.%e\t%l\t%n\t%v");
		log->set_level(spdlog::level::info);
		if (!buffered)
			log->flush_on(spdlog::level::trace);
		return s;
	}
	size_t LineBytes() const { return 23 + 6 + strlen(BENCH_NAME) + 1 + bench::TextBytes() + 1; }
	void Log(unsigned n) { log->info(BENCH_TEXT_A "{}" BENCH_TEXT_B, n); }
	void LogAtHand(const char* text) { log->info(text); }
	void LogDisabled(unsigned n) { log->debug(BENCH_TEXT_A "{}" BENCH_TEXT_B, n); }
	void Close()
	{
		log.reset();
		spdlog::shutdown();
	}
};

int main(int argc, char** argv)
{
	const char* who = getenv("BENCH_QUEUE") ? "spdlog async, queue 512k" : "spdlog async";
	if (argc == 3 && !strcmp(argv[1], "calls"))
		return bench::LogCalls<Peer>(who, atoi(argv[2]));
	if (argc > 1)
		return bench::LogMain<Peer>(who, argc, argv);
	int bad = bench::LogMain<Peer>("spdlog async", argc, argv);
	setenv("BENCH_QUEUE", "524288", 1);    // once more with a queue that takes all lines, as those without limit do
	return bench::LogMain<Peer>("spdlog async, queue 512k", argc, argv, { "line", "calls" }) | bad;
}
