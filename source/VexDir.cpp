// Directories.

#include "VexDir.h"

#include "VexFileStatus.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <exception>
#include <fnmatch.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

CVexDir::CVexDir(const char* pszPath) : m_sPath(pszPath ? pszPath : "") {}

CVexDir::~CVexDir() = default;

bool CVexDir::SetResult(bool bSuccess)
{
	m_nError = bSuccess ? 0 : errno;
	return bSuccess;
}

bool CVexDir::Exists()
{
	const CVexFileStatus oStatus(m_sPath.c_str());
	m_nError = oStatus.Exists() && !oStatus.IsDirectory() ? ENOTDIR : oStatus.GetLastError();
	return oStatus.IsDirectory();
}

bool CVexDir::MakeOne(const std::string& rsPath)
{
	if (SetResult(mkdir(rsPath.c_str(), 0777) == 0))
		return true;
	// Whatever the reason: what is there need not be made, perhaps by another process a moment ago.
	const CVexFileStatus oStatus(rsPath.c_str());
	if (oStatus.IsDirectory())
		m_nError = 0;
	else if (oStatus.Exists())
		m_nError = ENOTDIR;
	return oStatus.IsDirectory();
}

bool CVexDir::Create()
{
	for (std::size_t nEnd = m_sPath.find('/', 1); nEnd < m_sPath.size(); nEnd = m_sPath.find('/', nEnd + 1))
		if (!MakeOne(m_sPath.substr(0, nEnd)))
			return false;
	return MakeOne(m_sPath);
}

bool CVexDir::Remove()
{
	return SetResult(rmdir(m_sPath.c_str()) == 0);
}

bool CVexDir::List(std::vector<std::string>& rasNames, const char* pszPattern)
{
	const char* const pszFit = pszPattern && *pszPattern ? pszPattern : "*";
	const std::unique_ptr<DIR, int (*)(DIR*)> pDir(opendir(m_sPath.c_str()), closedir);
	if (!SetResult(pDir != nullptr))
		return false;
	try
	{
		std::vector<std::string> asNames;
		errno = 0;
		while (const dirent* pEntry = readdir(pDir.get()))
		{
			const std::string sName = pEntry->d_name;
			if (sName != "." && sName != ".." && fnmatch(pszFit, sName.c_str(), 0) == 0)
				asNames.push_back(sName);
			errno = 0;
		}
		if (!SetResult(errno == 0))
			return false;
		std::sort(asNames.begin(), asNames.end());
		rasNames.swap(asNames);
		return true;
	}
	catch (const std::exception&)
	{
		m_nError = ENOMEM;
		return false;
	}
}

const std::string& CVexDir::GetPath() const
{
	return m_sPath;
}

int CVexDir::GetLastError() const
{
	return m_nError;
}
