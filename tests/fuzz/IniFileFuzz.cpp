// Ini files of any content: a file that the library has written reads back as the same options.

#include "Require.h"

#include "VexIniFile.h"
#include "VexOptionExchange.h"

#include <algorithm>
#include <locale>
#include <map>
#include <sys/mman.h>
#include <unistd.h>

namespace
{
typedef std::map<std::string, std::string> Options;

const int nFile = memfd_create("fuzz", 0);

std::string Key(const CVexIniFile& rIniFile, const std::string& sSection, const std::string& sEntry)
{
	std::string sKey = sSection + "]" + sEntry;
	if (!rIniFile.IsCaseSensitiv())
		std::transform(
			sKey.begin(), sKey.end(), sKey.begin(), [](char c) { return std::tolower(c, std::locale::classic()); });
	return sKey;
}

// But for those whose names hold a NUL: nobody can ask for them.
Options AllOptions(CVexIniFile& rIniFile, CVexIniOptionExchange& rExchange)
{
	std::vector<std::string> asSections, asEntries;
	rExchange.GetSections(asSections);
	asSections.push_back("");
	Options oAll;
	for (const std::string& rsSection : asSections)
	{
		rExchange.GetOptions(rsSection.c_str(), asEntries);
		for (const std::string& rsEntry : asEntries)
			if ((rsSection + rsEntry).find('\0') == std::string::npos)
				Require(rExchange.GetOptionString(
					rsSection.c_str(), rsEntry.c_str(), oAll[Key(rIniFile, rsSection, rsEntry)]));
	}
	return oAll;
}
}    // namespace

// The first byte: the case rule; the rest: the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	if (nSize == 0)
		return 0;
	CVexIniFile oIniFile(("/proc/self/fd/" + std::to_string(nFile)).c_str());
	oIniFile.SetCasesensitiv(pData[0] % 2 != 0);
	Require(ftruncate(nFile, 0) == 0);
	Require(pwrite(nFile, pData + 1, nSize - 1, 0) == static_cast<ssize_t>(nSize - 1));

	Options oBefore;
	for (int nRound = 0; nRound < 3; ++nRound)
	{
		CVexIniOptionExchange oExchange(&oIniFile, true);
		const Options oRead = AllOptions(oIniFile, oExchange);
		Require(nRound == 0 || oRead == oBefore);
		oBefore = oRead;
		oExchange.m_bDirty = true;
	}
	return 0;
}
