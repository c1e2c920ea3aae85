// Two ways to trace: "VexCommon" with the text at hand, "VexCommon stream" with the stream that the library's own
// classes use, which appends the source position. One trace object for all threads.
#include "VexTrace.h"
#include "VexTraceServerStd.h"
#include "bench.h"
#include <memory>
#include <sstream>

struct Peer
{
	std::unique_ptr<CVexTraceServer> server;
	CVexTrace trace{ "OrderConnection", "Line1:Port7", nullptr };
	std::string Open(const std::string& dir, bool)
	{
		server = std::make_unique<CVexTraceServerStd>((dir + "/").c_str(), nullptr);
		server->SetDefaultTraceLevels(CVexTraceMsg::eInfo);
		CVexTraceServer::SetActiveServer(server.get());
		char date[16];
		const time_t now = time(nullptr);
		tm parts;
		strftime(date, sizeof date, "%Y%m%d", localtime_r(&now, &parts));
		return dir + "/Trace" + date + ".log";
	}
	size_t LineBytes() const { return 23 + 6 + strlen(BENCH_NAME) + 1 + bench::TextBytes() + 1; }
	void Log(unsigned n)
	{
		char text[128];
		snprintf(text, sizeof text, BENCH_TEXT_A "%u" BENCH_TEXT_B, n);
		trace.AddMsg(CVexTraceMsg::eInfo, text);
	}
	void LogAtHand(const char* text) { trace.AddMsg(CVexTraceMsg::eInfo, text); }
	void LogDisabled(unsigned) { trace.AddMsg(CVexTraceMsg::eDebug, BENCH_TEXT_A "123456" BENCH_TEXT_B); }
	void Close() { server.reset(); }
};

static const int kStreamLine = 50;    // stands for __LINE__

struct StreamPeer : Peer
{
	size_t LineBytes() const
	{
		return Peer::LineBytes() + strlen("\tFile benchmarks/log_vex Line ") + std::to_string(kStreamLine).size();
	}
	void LogAt(CVexTraceMsg::ETraceLevel level, unsigned n)
	{
		if (CVexTraceServer* active = trace.GetServerObject(level))
		{
			std::ostringstream stream;
			stream << BENCH_TEXT_A << n << BENCH_TEXT_B << "\tFile benchmarks/log_vex Line " << kStreamLine;
			trace.AddMsg(level, stream, active);
		}
	}
	void Log(unsigned n) { LogAt(CVexTraceMsg::eInfo, n); }
	void LogDisabled(unsigned n) { LogAt(CVexTraceMsg::eDebug, n); }
};

int main(int argc, char** argv)
{
	if (argc == 3 && !strcmp(argv[1], "calls"))
		return bench::LogCalls<Peer>("VexCommon", atoi(argv[2]));
	if (getenv("BENCH_STREAM"))
		return bench::LogMain<StreamPeer>("VexCommon stream", argc, argv);
	if (argc > 1)
		return bench::LogMain<Peer>("VexCommon", argc, argv);
	int bad = bench::LogMain<Peer>("VexCommon", argc, argv, { "line", "calls", "paced", "disabled", "memory" });
	setenv("BENCH_STREAM", "1", 1);
	bad |= bench::LogMain<StreamPeer>("VexCommon stream", argc, argv, { "line", "disabled" });
	return bad;
}
