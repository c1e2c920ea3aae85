// packages: libboost-dev
// Boost property_tree with its ini parser (headers only).
#include "ini.h"
#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

struct Ini
{
	boost::property_tree::ptree c;
	void Load(const std::string& file) { boost::property_tree::read_ini(file, c); }
	int Number(const std::string& s, const std::string& e) { return c.get<int>(s + "." + e); }
	std::string String(const std::string& s, const std::string& e) { return c.get<std::string>(s + "." + e); }
	void Change(const std::string& s, const std::string& e, int n) { c.put(s + "." + e, n); }
	void Save(const std::string& file) { boost::property_tree::write_ini(file, c); }
};

int main()
{
	return ini::Main<Ini>("Boost property_tree");
}
