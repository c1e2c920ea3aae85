// packages: liblog4cplus-dev
// libs: -llog4cplus
// log4cplus, AsyncAppender in front of a FileAppender. Its default is a flush per line (ImmediateFlush=true)
// and a queue of 100; callers wait when it is full.
#include "bench.h"
#include <log4cplus/asyncappender.h>
#include <log4cplus/configurator.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

struct Peer
{
	log4cplus::Initializer* init = nullptr;
	log4cplus::SharedAppenderPtr file, async;
	log4cplus::Logger log;
	std::string Open(const std::string& dir, bool buffered)
	{
		std::string s = dir + "/peer.log";
		init = new log4cplus::Initializer;
		file = new log4cplus::FileAppender(s, std::ios_base::trunc, !buffered, false);
		file->setLayout(
			std::unique_ptr<log4cplus::Layout>(new log4cplus::PatternLayout("%D{%d.%m.%Y %H:%M:%S.%q}\t%p\t%c\t%m%n")));
		const char* q = getenv("BENCH_QUEUE");
		async = new log4cplus::AsyncAppender(file, q ? unsigned(atoi(q)) : 100);
		log = log4cplus::Logger::getInstance(BENCH_NAME);
		log.setLogLevel(log4cplus::INFO_LOG_LEVEL);
		log.setAdditivity(false);
		log.addAppender(async);
		return s;
	}
	size_t LineBytes() const { return 23 + 6 + strlen(BENCH_NAME) + 1 + bench::TextBytes() + 1; }
	void Log(unsigned n) { LOG4CPLUS_INFO(log, BENCH_TEXT_A << n << BENCH_TEXT_B); }
	void LogDisabled(unsigned n) { LOG4CPLUS_DEBUG(log, BENCH_TEXT_A << n << BENCH_TEXT_B); }
	void Close()
	{
		async->close();
		file->close();
		log.removeAllAppenders();
	}
};

int main(int argc, char** argv)
{
	if (argc > 1)
		return bench::LogMain<Peer>(
			getenv("BENCH_QUEUE") ? "log4cplus async, queue 512k" : "log4cplus async", argc, argv);
	int bad = bench::LogMain<Peer>("log4cplus async", argc, argv);
	setenv("BENCH_QUEUE", "524288", 1);    // once more with a queue that takes all lines, as those without limit do
	return bench::LogMain<Peer>("log4cplus async, queue 512k", argc, argv, { "line" }) | bad;
}
