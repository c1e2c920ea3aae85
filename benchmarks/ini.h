// The ini job: a file with n options in 100 sections, half of them numbers. Load it, look up every option once,
// change one, save. A small file is done many times over and the median taken.
#pragma once
#include "bench.h"
#include <fstream>
#include <memory>
#include <sstream>

namespace ini
{

inline std::string Section(unsigned s)
{
	return "Station" + std::to_string(100 + s);
}
inline std::string Entry(unsigned e)
{
	return "Option" + std::to_string(10000 + e);
}
inline std::string Text(unsigned i)
{
	return "conveyor belt " + std::to_string(i);
}

inline void MakeFile(const std::string& file, unsigned n)
{
	std::ofstream f(file.c_str());
	for (unsigned s = 0; s < 100; ++s)
	{
		f << "[" << Section(s) << "]\n";
		for (unsigned e = 0; e < n / 100; ++e)
		{
			unsigned i = s * (n / 100) + e;
			f << Entry(e) << "=";
			if (i % 2)
				f << Text(i) << "\n";
			else
				f << i << "\n";
		}
		f << "\n";
	}
}

// Ini: Load(file), int Number(section, entry), std::string String(section, entry), Change(section, entry, int), Save(file)
template <class Ini>
int Main(const char* who)
{
	std::string dir = bench::TempDir(), file = dir + "/options.ini", saved = dir + "/saved.ini";
	double last[4] = { 0, 0, 0, 0 };
	const char* names[4] = { "load ms", "look up all ms", "change+save ms", "all ms" };
	std::vector<std::string> sections, entries;
	for (unsigned s = 0; s < 100; ++s)
		sections.push_back(Section(s));
	for (unsigned e = 0; e < 1000; ++e)
		entries.push_back(Entry(e));
	for (unsigned n = 100; n <= 100000; n *= 10)
	{
		MakeFile(file, n);
		std::vector<double> t[4];
		uint64_t start = bench::NowNs();
		do
		{
			uint64_t a = bench::NowNs();
			std::unique_ptr<Ini> i(new Ini);
			i->Load(file);
			uint64_t b = bench::NowNs();
			bool right = true;
			for (unsigned s = 0; s < 100; ++s)
				for (unsigned e = 0; e < n / 100; ++e)
				{
					unsigned k = s * (n / 100) + e;
					if (k % 2)
						right = right && i->String(sections[s], entries[e]).size() > 14;
					else
						right = right && i->Number(sections[s], entries[e]) == int(k);
				}
			bench::Check(right, "every option reads as written");
			uint64_t c = bench::NowNs();
			i->Change(sections[50], entries[0], 4711);
			i->Save(saved);
			uint64_t d = bench::NowNs();
			t[0].push_back(double(b - a));
			t[1].push_back(double(c - b));
			t[2].push_back(double(d - c));
			t[3].push_back(double(d - a));
		} while (bench::Since(start) < 0.1);
		Ini again;
		again.Load(saved);
		bench::Check(again.Number(sections[50], entries[0]) == 4711 &&
				again.String(sections[99], entries[n / 100 - 1]) == Text(n - 1),
			"the saved file reads back");
		for (int k = 0; k < 4; ++k)
		{
			double m = bench::Quantile(t[k], 0.5) * 1e-6;
			bench::Out("4 ini file", who, std::to_string(n) + " options", names[k], m);
			if (k == 3)
				bench::Out("4 ini file",
					who,
					std::to_string(n) + " options",
					"x the size before",
					last[k] > 0 ? m / last[k] : 0);
			last[k] = m;
		}
	}
	bench::RemoveDir(dir);
	return 0;
}

}    // namespace ini
