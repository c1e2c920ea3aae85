// Language files of any content that include each other: every entry has a text for every language, and every key is found.

#include "Require.h"

#include "VexResourceFile.h"

#include <sys/mman.h>
#include <unistd.h>

namespace
{
const int nFirstFile = 900;    // named /proc/self/fd/900 and so on

struct CResources : CVexResourceFile
{
	using CVexResourceFile::CVexResourceFile;

	void Check()
	{
		Require(m_nCurLanguageIndex == 0 || m_nCurLanguageIndex < static_cast<int>(m_oLanguageRelation.size()));
		for (const ELanguage eLanguage : m_oLanguageRelation)
		{
			SetLanguage(eLanguage);
			for (const auto& [rsKey, rasTexts] : m_oResourceMap)
			{
				Require(rasTexts.size() == m_oLanguageRelation.size());
				const std::string& rsText = rasTexts[static_cast<std::size_t>(GetLanguageIndex(eLanguage))];
				Require(GetLString(rsKey) == (rsText.empty() ? rasTexts[0] : rsText));
			}
		}
	}
};
}    // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
	for (int n = 0; n < 3; ++n)
		Require(dup2(memfd_create("fuzz", 0), nFirstFile + n) >= 0);
	return 0;
}

// The files, with a byte 1 between them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	std::string sRest(reinterpret_cast<const char*>(pData), nSize);
	for (int n = 0; n < 3; ++n)
	{
		const std::size_t nEnd = n == 2 ? sRest.npos : sRest.find('\1');
		const std::string sFile = sRest.substr(0, nEnd);
		Require(ftruncate(nFirstFile + n, 0) == 0);
		Require(pwrite(nFirstFile + n, sFile.data(), sFile.size(), 0) == static_cast<ssize_t>(sFile.size()));
		sRest.erase(0, nEnd == sRest.npos ? nEnd : nEnd + 1);
	}
	CResources oResources("/proc/self/fd/900", CVexResourceFile::eAbsolutePath);
	oResources.Check();
	return 0;
}
