// Path names are handled as texts only; the file system is never asked.

#include "VexPathFunc.h"

#include <algorithm>
#include <cstring>

namespace
{
const char szSeparators[] = "\\/";
const std::size_t nNowhere = std::string::npos;

// Where the directory begins behind the drive: not 0 for a network share only.
std::size_t DriveLength(const std::string& rPath)
{
	if (rPath.compare(0, 2, "\\\\") != 0)
		return 0;
	const std::size_t nSeparator = rPath.find_first_of(szSeparators, 2);
	return nSeparator == nNowhere ? rPath.size() : nSeparator + 1;
}

void Assign(std::string* psTarget, const std::string& rText, std::size_t nFirst, std::size_t nLast)
{
	if (psTarget)
		psTarget->assign(rText, nFirst, nLast - nFirst);
}

bool BeginsWithStep(const std::string& rName, std::size_t nFirst, const char* pszDots)
{
	const std::size_t nDots = std::strlen(pszDots);
	return rName.compare(nFirst, nDots, pszDots) == 0 && nFirst + nDots < rName.size() &&
		IsSeparator(rName[nFirst + nDots]);
}

// Cuts the base back for every "../" at the start of the name. Where the name goes on behind its steps.
std::size_t ResolveSteps(const std::string& rName, std::string& rBase)
{
	std::size_t nFirst = 0;
	while (nFirst < rName.size())
	{
		// KEPT: an absolute name is joined like a relative one. Test: MakePathAbsolute.JoinsAbsoluteNamesTooKept
		if (IsSeparator(rName[nFirst]))
			++nFirst;
		if (BeginsWithStep(rName, nFirst, ".."))
		{
			const std::size_t nLast = rBase.find_last_of(szSeparators);
			if (nLast != nNowhere)
				rBase.erase(nLast);
			nFirst += 3;
		}
		else if (BeginsWithStep(rName, nFirst, "."))
			nFirst += 2;
		else
			break;
	}
	return nFirst;
}
}    // namespace

bool IsSeparator(char c)
{
	return c == '\\' || c == '/';
}

std::string RemoveLastDirSeparator(const std::string& rPath)
{
	const bool bSeparator = !rPath.empty() && IsSeparator(rPath.back());
	return rPath.substr(0, rPath.size() - (bSeparator ? 1 : 0));
}

bool SplitPath(const char* pszPath, std::string* psDrive, std::string* psDir, std::string* psName, std::string* psExt)
{
	// A copy: the caller may split a text into itself.
	const std::string sPath = pszPath ? pszPath : "";
	const std::size_t nDir = DriveLength(sPath);
	std::size_t nName = sPath.size();
	std::size_t nExt = sPath.size();
	const bool bName = !sPath.empty() && (nDir == sPath.size() || !IsSeparator(sPath.back()));
	if (bName)
	{
		// KEPT: a separator right at the start of the directory ends none: "/x" is all name.
		// Test: SplitPath.LeadingSlashBelongsToTheNameKept
		const std::size_t nSeparator = sPath.find_last_of(szSeparators);
		nName = nSeparator == nNowhere || nSeparator <= nDir ? nDir : nSeparator + 1;
		const std::size_t nDot = sPath.rfind('.');
		if (nDot != nNowhere && nDot > nName)
			nExt = nDot;
	}
	Assign(psDrive, sPath, 0, nDir);
	Assign(psDir, sPath, nDir, nName);
	Assign(psName, sPath, nName, nExt);
	Assign(psExt, sPath, nExt, sPath.size());
	return bName;
}

std::string GetFileName(const char* pszPath)
{
	std::string sName;
	std::string sExt;
	SplitPath(pszPath, nullptr, nullptr, &sName, &sExt);
	return sName + sExt;
}

std::string GetPathName(const char* pszPath)
{
	std::string sDrive;
	std::string sDir;
	SplitPath(pszPath, &sDrive, &sDir, nullptr, nullptr);
	return sDrive + sDir;
}

std::string MakePathAbsolute(const char* pszName, const char* pszBaseDir)
{
	const std::string sName = pszName ? pszName : "";
	std::string sBaseDir = pszBaseDir ? pszBaseDir : "";
	if (!sBaseDir.empty() && !IsSeparator(sBaseDir.back()))
		sBaseDir += '/';
	std::string sPath;
	std::string sBase;
	SplitPath(sBaseDir.c_str(), &sPath, &sBase, nullptr, nullptr);
	sBase = RemoveLastDirSeparator(sBase);
	const std::size_t nRest = ResolveSteps(sName, sBase);
	sPath += sBase;
	sPath += '/';
	sPath.append(sName, nRest, nNowhere);
	std::replace(sPath.begin(), sPath.end(), '\\', '/');
	return sPath;
}
