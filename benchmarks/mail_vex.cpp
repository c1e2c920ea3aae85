// The jobs of the peer, and what grows with the header: 10,000 fields set and read one by one, 100 recipients, a header of
// 1 MB and one of 100 KB.
#include "VexMail.h"
#include "VexUTCTime.h"
#include "net.h"

static const char kWho[] = "VexCommon";
static const char kJob[] = "5 mail of 1 MB";
static const char kLarge[] = "5b mail with a large header";

static double Ms(uint64_t t0)
{
	return double(bench::NowNs() - t0) * 1e-6;
}

static std::string Name(int i)
{
	return "X-Field-" + std::to_string(i);
}

static void MeasureMail()
{
	const std::string body = net::Body(1000000);
	std::string text;
	int fields = 0;
	bool compare = true;
	auto build = [&]
	{
		CVexMail m;
		m.SetFrom("Station 7 <station7@example.org>");
		m.SetTo({ CVexMailAddress(std::string("Control"), std::string("control@example.org")) });
		m.SetSubject("Report of the day");
		m.SetDate(CVexUTCTime::CurrentTime());
		m.SetFieldValue("Content-Type", "text/plain; charset=iso-8859-1", ';');
		for (int i = 0; i < 14; ++i)
			m.SetFieldValue(Name(i), "value of the field " + std::to_string(i), ' ');
		m.SetBodyText(body);
		text = m.GetTotalMail();
	};
	auto read = [&]
	{
		const CVexMail m(text);
		fields = 0;
		for (int k = 0; k < 14; ++k)
			fields += m.GetFieldValue(Name(k), ' ').size() > 18;
		fields += m.GetSubject() == "Report of the day";
		fields += m.GetFrom().GetSmtpAddress() == "station7@example.org";
		fields += m.GetTo().size() == 1;
		fields += m.GetDate().size() > 10;
		fields += m.GetFieldValue("Content-Type", ';').size() > 10;
		bench::Check(
			m.GetBodyText().size() == body.size() + 2 && (!compare || !m.GetBodyText().compare(2, body.npos, body)),
			"the body came back whole");
	};
	build();
	// What a server sends for the header alone.
	const std::string top = text.substr(0, text.find("\r\n\r\n") + 4);
	auto header = [&]
	{
		const CVexMail m(top);
		bench::Check(m.GetFieldValue("X-Field-13", ' ').size() > 18, "header read");
	};
	read();
	compare = false;
	bench::Check(text.size() > body.size() && fields == 19, "every field came back");
	double b = bench::Rate(0.25, build), r = bench::Rate(0.25, read), h = bench::Rate(0.1, header);
	bench::Out(kJob, kWho, "build text", "ms", 1e3 / b);
	bench::Out(kJob, kWho, "build text", "MB/s", b * double(text.size()) * 1e-6);
	bench::Out(kJob, kWho, "read back, fields", "ms", 1e3 / r);
	bench::Out(kJob, kWho, "read back, fields", "MB/s", r * double(text.size()) * 1e-6);
	bench::Out(kJob, kWho, "header only", "ms", 1e3 / h);
}

// One operation looks through the whole header, so that all of them together grow with the square of the fields.
static void MeasureFields()
{
	double last = 0;
	for (int n = 1000; n <= 10000; n *= 10)
	{
		CVexMail m;
		uint64_t t = bench::NowNs();
		for (int i = 0; i < n; ++i)
			m.SetFieldValue(Name(i), "value of the field " + std::to_string(i), ' ');
		double set = Ms(t);
		t = bench::NowNs();
		for (int i = 0; i < n; ++i)
			bench::Check(m.GetFieldValue(Name(i), ' ').size() > 18, "every field came back");
		double get = Ms(t), each = (set + get) * 1e3 / n;
		std::string what = std::to_string(n) + " fields";
		bench::Out(kLarge, kWho, what, "set all ms", set);
		bench::Out(kLarge, kWho, what, "get all ms", get);
		bench::Out(kLarge, kWho, what, "us/field", each);
		if (last > 0)
			bench::Out(kLarge, kWho, what, "x the size before", each / last);
		last = each;
	}
}

static void MeasureRecipients()
{
	std::vector<CVexMailAddress> to;
	for (int i = 0; i < 100; ++i)
		to.emplace_back("Station, " + std::to_string(i), "station" + std::to_string(i) + "@example.org");
	CVexMail m;
	auto step = [&]
	{
		m.SetTo(to);
		const std::vector<CVexMailAddress> read = m.GetRecipients();
		bench::Check(read.size() == 100 && read[99] == to[99], "every recipient came back");
	};
	bench::Out(kLarge, kWho, "100 recipients", "set and get ms", 1e3 / bench::Rate(0.2, step));
}

static void MeasureHeader()
{
	// Memory stays with the process: what the system takes for new pages would hide how the library's work grows.
	mallopt(M_MMAP_THRESHOLD, 1 << 30);
	mallopt(M_TRIM_THRESHOLD, 1 << 30);
	double last = 0;
	for (size_t size = 100000; size <= 1000000; size *= 10)
	{
		std::string text;
		for (int i = 0; text.size() < size; ++i)
			text += Name(i) + ": value of the field,\r\n\tand its second line\r\n";
		text += "Last: x\r\n\r\nbody";
		double read = bench::Rate(0.2, [&] { bench::Check(CVexMail(text).GetBodyText() == "body", "body"); });
		CVexMail m(text);
		double get = bench::Rate(0.2, [&] { bench::Check(m.GetFieldValue("last", ' ') == "x", "the last field"); });
		double set = bench::Rate(0.2, [&] { m.SetFieldValue("Last", "x", ' '); });
		bench::Check(m.GetTotalMail() == text, "the text is the same");
		std::string what = size < 1000000 ? "header of 100 KB" : "header of 1 MB";
		bench::Out(kLarge, kWho, what, "read ms", 1e3 / read);
		bench::Out(kLarge, kWho, what, "get last ms", 1e3 / get);
		bench::Out(kLarge, kWho, what, "set last ms", 1e3 / set);
		double all = 1 / read + 1 / get + 1 / set;
		if (last > 0)
			bench::Out(kLarge, kWho, what, "x the size before", all / last);
		last = all;
	}
}

int main()
{
	MeasureMail();
	MeasureFields();
	MeasureRecipients();
	MeasureHeader();
}
