#pragma once

// A folder of its own for one test, under the system's folder for temporary files.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

// The folder is made by the constructor and removed, with all that is in it, by the destructor. Errors are thrown: a
// test without its folder fails.
class CTempFolder
{
public:
	CTempFolder() : m_sPath((std::filesystem::temp_directory_path() / "vextest-XXXXXX").string())
	{
		if (!mkdtemp(m_sPath.data()))
			throw std::runtime_error("no temporary folder " + m_sPath);
	}

	~CTempFolder()
	{
		std::error_code oIgnored;
		std::filesystem::remove_all(m_sPath, oIgnored);
	}

	CTempFolder(const CTempFolder&) = delete;
	CTempFolder& operator=(const CTempFolder&) = delete;

	// Absolute, without a separator at the end.
	const std::string& Path() const { return m_sPath; }
	std::string Path(const std::string& sName) const { return m_sPath + "/" + sName; }

	bool HasFile(const std::string& sName) const { return std::filesystem::exists(Path(sName)); }

	// The bytes as they stand.
	void WriteFile(const std::string& sName, const std::string& sText) const
	{
		if (!(std::ofstream(Path(sName), std::ios::binary) << sText << std::flush))
			throw std::runtime_error("cannot write " + Path(sName));
	}

	// Empty if there is no such file.
	std::string ReadFile(const std::string& sName) const
	{
		std::ifstream oFile(Path(sName), std::ios::binary);
		return std::string(std::istreambuf_iterator<char>(oFile), std::istreambuf_iterator<char>());
	}

private:
	std::string m_sPath;
};
