// packages: libpoco-dev
// libs: -lPocoUtil -lPocoFoundation
// Poco IniFileConfiguration. It cannot save; a user writes the file himself from its keys, as done here.
#include "ini.h"
#include <Poco/AutoPtr.h>
#include <Poco/Util/IniFileConfiguration.h>

struct Ini
{
	Poco::AutoPtr<Poco::Util::IniFileConfiguration> c{ new Poco::Util::IniFileConfiguration };
	void Load(const std::string& file) { c->load(file); }
	int Number(const std::string& s, const std::string& e) { return c->getInt(s + "." + e); }
	std::string String(const std::string& s, const std::string& e) { return c->getString(s + "." + e); }
	void Change(const std::string& s, const std::string& e, int n) { c->setInt(s + "." + e, n); }
	void Save(const std::string& file)
	{
		std::ofstream f(file.c_str());
		Poco::Util::AbstractConfiguration::Keys sections, entries;
		c->keys(sections);
		for (const std::string& s : sections)
		{
			f << "[" << s << "]\n";
			entries.clear();
			c->keys(s, entries);
			for (const std::string& e : entries)
				f << e << "=" << c->getRawString(s + "." + e) << "\n";
			f << "\n";
		}
	}
};

int main()
{
	return ini::Main<Ini>("Poco IniFileConfiguration");
}
