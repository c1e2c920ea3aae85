// An exchange reads the file; options are looked up with IOX_Std, as classes with settings do; saving ends the exchange.
#include "VexIniFile.h"
#include "VexOptionExchange.h"
#include "ini.h"

// The peers save under another name than they have read, so this file's name can change.
struct NamedFile : CVexIniFile
{
	void SetName(const std::string& file) { m_sIniFilename = file; }
};

struct Ini
{
	NamedFile file;
	std::unique_ptr<CVexIniOptionExchange> exchange;
	void Load(const std::string& name)
	{
		file.SetName(name);
		exchange = std::make_unique<CVexIniOptionExchange>(&file, true);
		exchange->m_bSaveOption = false;
	}
	int Number(const std::string& s, const std::string& e)
	{
		int n = 0;
		IOX_Std<int>(exchange.get(), s.c_str(), e.c_str(), n, -1);
		return n;
	}
	std::string String(const std::string& s, const std::string& e)
	{
		std::string text;
		IOX_Std<std::string>(exchange.get(), s.c_str(), e.c_str(), text, "");
		return text;
	}
	void Change(const std::string& s, const std::string& e, int n)
	{
		exchange->m_bSaveOption = true;
		IOX_Std<int>(exchange.get(), s.c_str(), e.c_str(), n, n);
	}
	void Save(const std::string& name)
	{
		file.SetName(name);
		exchange.reset();
	}
};

// Every section comes twice, its options in turns, and every fourth option is there twice: all that must be put right
// while the file is read.
static void MakeRepeatedFile(const std::string& file, unsigned n)
{
	std::ofstream f(file.c_str());
	for (unsigned round = 0; round < 2; ++round)
		for (unsigned s = 0; s < 100; ++s)
		{
			f << "[" << ini::Section(s) << "]\n";
			for (unsigned e = 0; e < n / 100; ++e)
				if (e % 2 == round || e % 4 == 0)
					f << ini::Entry(e) << "=" << (e % 2 == round ? e : n) << "\n";
		}
}

static void MeasureRepeated()
{
	std::string dir = bench::TempDir(), file = dir + "/options.ini", saved = dir + "/saved.ini";
	double last = 0;
	for (unsigned n = 10000; n <= 100000; n *= 10)
	{
		MakeRepeatedFile(file, n);
		std::vector<double> times;
		uint64_t start = bench::NowNs();
		do
		{
			uint64_t t = bench::NowNs();
			Ini i;
			i.Load(file);
			i.Change("Station150", "Option10000", 0);
			i.Save(saved);
			times.push_back(double(bench::NowNs() - t));
		} while (bench::Since(start) < 0.2);
		Ini again;
		again.Load(saved);
		for (unsigned e = 0; e < n / 100; ++e)
			bench::Check(again.Number("Station177", ini::Entry(e)) == int(e), "the first of each option counts");
		double ms = bench::Quantile(times, 0.5) * 1e-6;
		std::string what = std::to_string(n) + " options, repeated";
		bench::Out("4 ini file", "VexCommon", what, "all ms", ms);
		if (last > 0)
			bench::Out("4 ini file", "VexCommon", what, "x the size before", ms / last);
		last = ms;
	}
	bench::RemoveDir(dir);
}

// New options, each put directly behind the header of the first section of a large file.
static void MeasureNew()
{
	std::string dir = bench::TempDir(), file = dir + "/options.ini", saved = dir + "/saved.ini";
	ini::MakeFile(file, 100000);
	double last = 0;
	for (unsigned n = 5000; n <= 50000; n *= 10)
	{
		Ini i;
		i.Load(file);
		uint64_t t = bench::NowNs();
		for (unsigned e = 0; e < n; ++e)
			i.Change("Station100", "New" + std::to_string(e), int(e));
		double ms = double(bench::NowNs() - t) * 1e-6;
		i.Save(saved);
		Ini again;
		again.Load(saved);
		bench::Check(again.Number("Station100", "New0") == 0 &&
				again.Number("Station100", "New" + std::to_string(n - 1)) == int(n - 1),
			"the new options read back");
		std::string what = std::to_string(n) + " new options";
		bench::Out("4 ini file", "VexCommon", what, "all ms", ms);
		if (last > 0)
			bench::Out("4 ini file", "VexCommon", what, "x the size before", ms / last);
		last = ms;
	}
	bench::RemoveDir(dir);
}

int main()
{
	const int status = ini::Main<Ini>("VexCommon");
	MeasureRepeated();
	MeasureNew();
	return status;
}
