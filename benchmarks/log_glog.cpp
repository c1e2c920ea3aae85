// packages: libgoogle-glog-dev
// libs: -lglog
// glog: the calling thread formats and writes under a lock; buffers INFO lines by default.
// The disabled call is VLOG(1), its debug call.
#include "bench.h"
#include <glog/logging.h>

struct Peer
{
	std::string Open(const std::string& dir, bool buffered)
	{
		std::string s = dir + "/peer.log";
		FLAGS_timestamp_in_logfile_name = false;
		FLAGS_stderrthreshold = google::GLOG_FATAL;
		FLAGS_logbuflevel = buffered ? google::GLOG_INFO : -1;    // -1: nothing is held back
		google::SetLogDestination(google::GLOG_INFO, s.c_str());
		google::SetLogSymlink(google::GLOG_INFO, "");
		google::InitGoogleLogging("peers");
		return s;
	}
	size_t LineBytes() const { return 0; }
	void Log(unsigned n) { LOG(INFO) << BENCH_NAME "\t" BENCH_TEXT_A << n << BENCH_TEXT_B; }
	void LogDisabled(unsigned n) { VLOG(1) << BENCH_NAME "\t" BENCH_TEXT_A << n << BENCH_TEXT_B; }
	void Close() { google::FlushLogFiles(google::GLOG_INFO); }
};

int main(int argc, char** argv)
{
	return bench::LogMain<Peer>("glog sync", argc, argv);
}
