// The schedule job: the next due time of a schedule whose start date lies ever further in the past, and the pass in which
// the shared thread signals many schedulers and finds the next time of each.
#include "VexScheduler.h"
#include "bench.h"
#include <memory>

static const char* const kJob = "9 schedule";
static const char* const kWho = "VexCommon";
static const long long kSecond = 100000000;    // an interval: its milliseconds count as ticks of 10 ns
static const short kAllDays = 127;

static CVexLocalTime DaysAgo(int days)
{
	CVexLocalTime time = CVexLocalTime::CurrentLocalTime();
	time.CVexUTCTime::operator-=(CVexTimeDiff(days, 0, 0, 0, 0, 0, 0));
	return time;
}

// From 8 to 18 o'clock of the days given.
static CVexScheduleInfo Schedule(bool recurring, int daysPast, long long interval, short days)
{
	const CVexTimeDiff from(0, 8, 0, 0, 0, 0, 0), to(0, 18, 0, 0, 0, 0, 0);
	if (recurring)
		return CVexScheduleInfo(DaysAgo(daysPast), 2000000000u, interval, days, from, to);
	return CVexScheduleInfo(DaysAgo(daysPast), DaysAgo(-100), interval, days, from, to);
}

static void MeasureNextTime(bool recurring, int days, long long interval, const std::string& step, bool due = true)
{
	const CVexScheduleInfo schedule = Schedule(recurring, days, interval, kAllDays & ~3);
	const CVexLocalTime before = CVexLocalTime::CurrentLocalTime();
	CVexLocalTime next(before);
	const double rate =
		bench::Rate(0.05, [&] { bench::Check(schedule.GetNextTime(next) == due, "there is a next time"); });
	bench::Check(!due || (next >= before && schedule.IsNextTimeNotInException(next)), "it is permitted and not over");
	const std::string type = recurring ? "E_RECURRING, " : "E_FROM_TO, ";
	bench::Out(kJob, kWho, type + step + ", " + std::to_string(days) + " days", "next time us", 1e6 / rate);
}

// Notes when it is signalled, and does what every scheduler does.
class Job : public CVexScheduler
{
public:
	explicit Job(const CVexScheduleInfo& schedule) : CVexScheduler(schedule) { Enable(&m_event); }
	~Job() override { m_pScheduleThread->RemoveItem(GetId()); }
	void SignalIndication() override
	{
		CVexScheduler::SignalIndication();
		const uint64_t now = bench::NowNs();
		if (now - s_last > 200000000)    // the first one of a pass
			s_first = now;
		s_last = now;
		s_longest = std::max<uint64_t>(s_longest, now - s_first);
		++s_calls;
	}

	static std::atomic<unsigned> s_calls;
	static std::atomic<uint64_t> s_longest;

private:
	CVexEvent m_event;
	static uint64_t s_first, s_last;    // of the shared thread
};

std::atomic<unsigned> Job::s_calls{ 0 };
std::atomic<uint64_t> Job::s_longest{ 0 };
uint64_t Job::s_first = 0, Job::s_last = 0;

// All are due at each pass: the interval is a second, as the pause between two passes is.
static void MeasurePass(unsigned jobs)
{
	const unsigned passes = 3;
	const CVexScheduleInfo schedule(DaysAgo(3650), 2000000000u, kSecond, kAllDays, 0, CVexTimeDiff(86399999));
	std::vector<std::unique_ptr<Job>> all;
	const uint64_t made = bench::NowNs();
	for (unsigned i = 0; i < jobs; ++i)
		all.push_back(std::make_unique<Job>(schedule));
	const double making = bench::Since(made);
	// In the middle between two passes.
	while (Job::s_calls < 2 * jobs)
		CVexThread::Sleep(0, 10);
	CVexThread::Sleep(0, 500);
	const unsigned before = Job::s_calls;
	Job::s_longest = 0;
	const uint64_t cpu = bench::CpuNs();
	CVexThread::Sleep(passes, 0);
	const double used = double(bench::CpuNs() - cpu);
	bench::Check(Job::s_calls == before + passes * jobs, "each job once a pass");
	const std::string what = std::to_string(jobs) + " schedulers, all due";
	bench::Out(kJob, kWho, what, "pass ms", double(Job::s_longest) * 1e-6);
	bench::Out(kJob, kWho, what, "pass cpu ms", used * 1e-6 / passes);
	bench::Out(kJob, kWho, what, "make ms", making * 1e3);
}

int main()
{
	for (const int days : { 1, 10, 100, 1000, 3650 })
		for (const bool recurring : { false, true })
			MeasureNextTime(recurring, days, kSecond, "1 s");
	for (const bool recurring : { false, true })
	{
		MeasureNextTime(recurring, 3650, 61803398, "0.618 s");    // divides nothing
		// An interval of one second as it is taken. So many repetitions are used up in a day.
		MeasureNextTime(recurring, 3650, 1000, "1000 ticks", !recurring);
	}
	MeasurePass(1000);
	return 0;
}
