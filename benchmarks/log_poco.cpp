// packages: libpoco-dev
// libs: -lPocoFoundation
// Poco, AsyncChannel in front of a FormattingChannel and a FileChannel. Its default is a flush per line
// (flush=true) and a queue without limit.
#define POCO_LOG_DEBUG 1    // the debug macros are empty in release builds otherwise
#include "bench.h"
#include <Poco/AsyncChannel.h>
#include <Poco/AutoPtr.h>
#include <Poco/FileChannel.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Logger.h>
#include <Poco/PatternFormatter.h>

struct Peer
{
	Poco::AutoPtr<Poco::FileChannel> file;
	Poco::AutoPtr<Poco::AsyncChannel> async;
	Poco::Logger* log = nullptr;
	std::string Open(const std::string& dir, bool buffered)
	{
		std::string s = dir + "/peer.log";
		file = new Poco::FileChannel(s);
		file->setProperty("flush", buffered ? "false" : "true");
		Poco::AutoPtr<Poco::PatternFormatter> form(new Poco::PatternFormatter("%d.%m.%Y %H:%M:%S.%i\t%p\t%s\t%t"));
		form->setProperty("times", "local");
		Poco::AutoPtr<Poco::FormattingChannel> lines(new Poco::FormattingChannel(form, file));
		async = new Poco::AsyncChannel(lines);
		log = &Poco::Logger::create(BENCH_NAME, async, Poco::Message::PRIO_INFORMATION);
		return s;
	}
	size_t LineBytes() const
	{
		return 23 + 2 + strlen("Information") + strlen(BENCH_NAME) + 1 + bench::TextBytes() + 1;
	}
	void Log(unsigned n) { poco_information_f1(*log, BENCH_TEXT_A "%u" BENCH_TEXT_B, n); }
	void LogDisabled(unsigned n) { poco_debug_f1(*log, BENCH_TEXT_A "%u" BENCH_TEXT_B, n); }
	void Close()
	{
		async->close();
		file->close();
	}
};

int main(int argc, char** argv)
{
	return bench::LogMain<Peer>("Poco AsyncChannel", argc, argv);
}
