// The date job: an instant to "24.12.2019 18:05:03.042" and back.
#pragma once
#include "bench.h"

namespace date
{

// Format: an instant (microseconds since 1970, UTC) to its text. Parse: the way back.
template <class Format, class Parse>
int Main(const char* who, Format format, Parse parse)
{
	uint64_t us = 1577210703042000ull;
	bench::Check(format(us) == "24.12.2019 18:05:03.042" && parse(format(us)) == us, "there and back");
	size_t bytes = 0;
	const double written = bench::RateFast(0.2,
		[&]
		{
			us += 1234567;
			bytes += format(us).size();
		});
	bench::Check(bytes % 23 == 0, "23 characters each");

	std::vector<std::string> texts;
	uint64_t sum = 0, read = 0;
	for (us = us / 1000 * 1000; texts.size() < 1024; us += 7235674000ull)
	{
		texts.push_back(format(us));
		sum += us;
	}
	unsigned next = 0;
	const double rate = bench::RateFast(0.2, [&] { read += parse(texts[next++ & 1023]); });
	bench::Check(next % 1024 != 0 || read == sum * (next / 1024), "every text read back");

	bench::Out("8 date text", who, "instant to text, with ms", "M/s", written * 1e-6);
	bench::Out("8 date text", who, "text to instant, with ms", "M/s", rate * 1e-6);
	return 0;
}

}    // namespace date
