// packages: libboost-log-dev libboost-thread-dev libboost-dev
// libs: -DBOOST_LOG_DYN_LINK -lboost_log -lboost_thread -lboost_filesystem -lboost_system
// Boost.Log, asynchronous sink with a text file backend; a queue without limit (its default), a logger a thread.
#include "bench.h"
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/log/attributes/clock.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/async_frontend.hpp>
#include <boost/log/sinks/text_file_backend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include <boost/log/support/date_time.hpp>
#include <boost/log/trivial.hpp>
#include <boost/make_shared.hpp>

namespace lg = boost::log;
typedef lg::sources::severity_channel_logger<lg::trivial::severity_level> Source;
typedef lg::sinks::asynchronous_sink<lg::sinks::text_file_backend> Sink;
BOOST_LOG_ATTRIBUTE_KEYWORD(channel, "Channel", std::string)

struct Peer
{
	boost::shared_ptr<Sink> sink;
	std::string Open(const std::string& dir, bool buffered)
	{
		std::string s = dir + "/peer.log";
		auto back = boost::make_shared<lg::sinks::text_file_backend>(
			lg::keywords::file_name = s, lg::keywords::auto_flush = !buffered);
		sink = boost::make_shared<Sink>(back);
		sink->set_formatter(lg::expressions::stream
			<< lg::expressions::format_date_time<boost::posix_time::ptime>("TimeStamp", "%d.%m.%Y %H:%M:%S.%f") << '\t'
			<< lg::trivial::severity << '\t' << channel << '\t' << lg::expressions::smessage);
		lg::core::get()->add_sink(sink);
		lg::core::get()->add_global_attribute("TimeStamp", lg::attributes::local_clock());
		lg::core::get()->set_filter(lg::trivial::severity >= lg::trivial::info);
		return s;
	}
	size_t LineBytes() const { return 26 + 6 + strlen(BENCH_NAME) + 1 + bench::TextBytes() + 1; }
	static Source& Mine()
	{
		thread_local Source s(lg::keywords::channel = BENCH_NAME);
		return s;
	}
	void Log(unsigned n) { BOOST_LOG_SEV(Mine(), lg::trivial::info) << BENCH_TEXT_A << n << BENCH_TEXT_B; }
	void LogDisabled(unsigned n) { BOOST_LOG_SEV(Mine(), lg::trivial::debug) << BENCH_TEXT_A << n << BENCH_TEXT_B; }
	void Close()
	{
		lg::core::get()->remove_sink(sink);
		sink->stop();
		sink->flush();
		sink.reset();
	}
};

int main(int argc, char** argv)
{
	return bench::LogMain<Peer>("Boost.Log async", argc, argv);
}
