// Physical reference of the logging job: the line is formatted in place and written by the calling thread,
// with write(2) or, buffered, with stdio. No queue, no other thread.
#include "bench.h"
#include <fcntl.h>

struct Raw
{
	int fd = -1;
	FILE* file = nullptr;
	std::atomic<int> level{ 4 };
	std::string Open(const std::string& dir, bool buffered)
	{
		std::string s = dir + "/raw.log";
		if (buffered)
			file = fopen(s.c_str(), "w");
		else
			fd = open(s.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
		return s;
	}
	size_t LineBytes() const { return 23 + 6 + strlen(BENCH_NAME) + 1 + bench::TextBytes() + 1; }
	void Log(unsigned n)
	{
		thread_local time_t second = 0;
		thread_local char date[32];
		timespec t;
		clock_gettime(CLOCK_REALTIME, &t);
		if (t.tv_sec != second)
		{
			second = t.tv_sec;
			tm parts;
			localtime_r(&second, &parts);
			strftime(date, sizeof date, "%d.%m.%Y %H:%M:%S", &parts);
		}
		char line[256];
		int len = snprintf(line,
			sizeof line,
			"%s.%03d\t%s\t%s\t" BENCH_TEXT_A "%u" BENCH_TEXT_B "\n",
			date,
			int(t.tv_nsec / 1000000),
			"INFO",
			BENCH_NAME,
			n);
		if (file)
			fwrite(line, 1, size_t(len), file);
		else
			bench::Check(write(fd, line, size_t(len)) == len, "write");
	}
	void LogDisabled(unsigned n)
	{
		if (level.load(std::memory_order_relaxed) & 8)
			Log(n);
	}
	void Close()
	{
		if (file)
			fclose(file);
		if (fd >= 0)
			close(fd);
	}
};

int main(int argc, char** argv)
{
	return bench::LogMain<Raw>("raw write(2), sync", argc, argv);
}
