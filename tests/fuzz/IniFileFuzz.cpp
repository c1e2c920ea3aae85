// Ini files of any content, changed by any operations: a file that the library has written reads back as the same
// options, and what is set and removed is so in memory and in the written file.

#include "VexIniFile.h"
#include "VexOptionExchange.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <locale>
#include <map>
#include <sys/mman.h>
#include <unistd.h>

namespace
{
typedef std::map<std::string, std::string> Options;

const int nFile = memfd_create("fuzz", 0);

void Require(bool bHolds)
{
	if (!bHolds)
		std::abort();
}

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

// Each operation takes three bytes: what it does, the section and the entry.
void Change(CVexIniFile& rIniFile, CVexIniOptionExchange& rExchange, const std::string& sOperations, Options& rOptions)
{
	const char* const apszSections[] = { "A", "a", "B", "" };
	const char* const apszEntries[] = { "k", "K", "l", "m n" };
	for (std::size_t n = 0; n + 2 < sOperations.size(); n += 3)
	{
		const char* const pszSection = apszSections[sOperations[n + 1] & 3];
		const char* const pszEntry = apszEntries[sOperations[n + 2] & 3];
		const std::string sKey = Key(rIniFile, pszSection, pszEntry), sValue = std::to_string(n);
		if (sOperations[n] & 1)
		{
			rExchange.SetOptionString(pszSection, pszEntry, sValue.c_str());
			rOptions[sKey] = sValue;
		}
		else
		{
			rExchange.RemoveOption(pszSection, pszEntry);
			rOptions.erase(sKey);
		}
	}
}
}    // namespace

// The first byte: the case rule and the number of operations; these; the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	if (nSize == 0)
		return 0;
	CVexIniFile oIniFile(("/proc/self/fd/" + std::to_string(nFile)).c_str());
	oIniFile.SetCasesensitiv(pData[0] % 2 != 0);
	const std::size_t nOperations = std::min<std::size_t>(pData[0] / 2 % 16 * 3, nSize - 1);
	const std::string sInput(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
	const std::size_t nText = sInput.size() - nOperations;
	Require(ftruncate(nFile, 0) == 0);
	Require(pwrite(nFile, sInput.data() + nOperations, nText, 0) == static_cast<ssize_t>(nText));

	Options oOptions;
	for (int nRound = 0; nRound < 3; ++nRound)
	{
		CVexIniOptionExchange oExchange(&oIniFile, true);
		const Options oRead = AllOptions(oIniFile, oExchange);
		Require(nRound == 0 || oRead == oOptions);
		oOptions = oRead;
		Change(oIniFile, oExchange, nRound == 1 ? sInput.substr(0, nOperations) : "", oOptions);
		Require(AllOptions(oIniFile, oExchange) == oOptions);
		oExchange.m_bDirty = true;
	}
	return 0;
}
