#include "VexUTCTime.h"
#include "date.h"

static const long long kTicks1970 = 6216721920000000000ll;
static const long long kTicksPerMicrosecond = 100;

static std::string Format(uint64_t us)
{
	const CVexUTCTime time(kTicks1970 + static_cast<long long>(us) * kTicksPerMicrosecond);
	return time.Time2Str(CVexUTCTime::TTMMJJJJ_HHMMSSmmm);
}

static uint64_t Parse(const std::string& text)
{
	CVexUTCTime time;
	bench::Check(VexFromString(time, CVexUTCTime::TTMMJJJJ_HHMMSSmmm, text), "parse");
	return static_cast<uint64_t>(time.GetHighResolutionLocaltime() - kTicks1970) / kTicksPerMicrosecond;
}

int main()
{
	return date::Main("VexCommon", Format, Parse);
}
