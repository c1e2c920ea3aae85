// gmtime_r and strftime, strptime and timegm, the milliseconds by hand.
#include "date.h"

static std::string Format(uint64_t us)
{
	const time_t s = time_t(us / 1000000);
	tm parts;
	gmtime_r(&s, &parts);
	char buf[64];
	const size_t n = strftime(buf, sizeof buf, "%d.%m.%Y %H:%M:%S", &parts);
	snprintf(buf + n, sizeof buf - n, ".%03u", unsigned(us / 1000 % 1000));
	return buf;
}

static uint64_t Parse(const std::string& text)
{
	tm parts;
	memset(&parts, 0, sizeof parts);
	const char* p = strptime(text.c_str(), "%d.%m.%Y %H:%M:%S", &parts);
	bench::Check(p && *p == '.', "parse");
	return uint64_t(timegm(&parts)) * 1000000u + uint64_t(atoi(p + 1)) * 1000u;
}

int main()
{
	return date::Main("strftime/strptime", Format, Parse);
}
