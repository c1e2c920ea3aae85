// Files over the system's descriptors.

#include "VexFile.h"

#include "VexFileStatus.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// In one call the system takes no more than SSIZE_MAX.
const std::size_t nMaxTransfer = 0x40000000;
const std::size_t nMinChunk = 0x10000;

// More memory may be granted than there is, but using it ends the process: a quarter of the machine's is enough.
std::uint64_t MaxContent(const std::string& rsContent)
{
	const long nPages = sysconf(_SC_PHYS_PAGES);
	const long nPageSize = sysconf(_SC_PAGESIZE);
	const std::uint64_t nMax = rsContent.max_size();
	return nPages > 0 ? std::min(nMax, static_cast<std::uint64_t>(nPages) / 4 * static_cast<std::uint64_t>(nPageSize))
					  : nMax;
}

// Where links lead, also to a file that does not exist yet.
std::string RealName(const char* pszName)
{
	const std::unique_ptr<char, void (*)(void*)> pszReal(realpath(pszName, nullptr), std::free);
	if (pszReal)
		return pszReal.get();
	const int nMaxLinks = 40;    // the system follows no more
	std::string sName = pszName;
	char acTarget[PATH_MAX];
	for (int i = 0; i < nMaxLinks; ++i)
	{
		const ssize_t nLength = readlink(sName.c_str(), acTarget, sizeof acTarget);
		if (nLength <= 0)
			break;
		const std::string sTarget(acTarget, static_cast<std::size_t>(nLength));
		sName.resize(sTarget[0] == '/' ? 0 : sName.rfind('/') + 1);
		sName += sTarget;
	}
	return sName;
}

// A new file gets the owner and the mode of the one that it replaces.
bool TakeOwnerAndMode(int nFile, const std::string& rsOld)
{
	struct stat oOld;
	if (stat(rsOld.c_str(), &oOld) != 0)
		return errno == ENOENT;
	if (fchown(nFile, oOld.st_uid, oOld.st_gid) == 0)
		return fchmod(nFile, oOld.st_mode & 07777) == 0;
	// Without the right to give files away the new one belongs to this process's user: set-user-id bits must go, and what
	// the group may do if it is another group.
	const bool bSameGroup = fchown(nFile, static_cast<uid_t>(-1), oOld.st_gid) == 0;
	return fchmod(nFile, oOld.st_mode & (bSameGroup ? 0777 : 0707)) == 0;
}
}    // namespace

CVexFile::CVexFile() = default;

CVexFile::CVexFile(const char* pszName, EOpenMode eMode)
{
	Open(pszName, eMode);
}

CVexFile::~CVexFile()
{
	Close();
}

bool CVexFile::SetResult(bool bSuccess)
{
	m_nError = bSuccess ? 0 : errno;
	return bSuccess;
}

bool CVexFile::OpenDescriptor(const char* pszName, int nFlags)
{
	m_nFile = static_cast<int>(TEMP_FAILURE_RETRY(open(pszName, nFlags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666)));
	// Only opening must not wait.
	if (IsOpen())
		fcntl(m_nFile, F_SETFL, nFlags & O_APPEND);
	return SetResult(IsOpen());
}

bool CVexFile::Open(const char* pszName, EOpenMode eMode)
{
	static const int anFlags[] = {
		O_RDONLY, O_WRONLY | O_CREAT | O_TRUNC, O_WRONLY | O_CREAT | O_APPEND, O_RDWR | O_CREAT
	};
	Close();
	if (static_cast<std::size_t>(eMode) >= std::size(anFlags))
	{
		m_nError = EINVAL;
		return false;
	}
	if (!OpenDescriptor(pszName ? pszName : "", anFlags[eMode]))
		return false;
	struct stat oStatus;
	if (fstat(m_nFile, &oStatus) == 0 && S_ISDIR(oStatus.st_mode))
	{
		Close();
		m_nError = EISDIR;
	}
	return IsOpen();
}

bool CVexFile::Close()
{
	const int nFile = m_nFile;
	m_nFile = -1;
	// The descriptor is free even if a signal interrupted its closing.
	return SetResult(nFile < 0 || close(nFile) == 0 || errno == EINTR);
}

bool CVexFile::Read(void* pBuffer, std::size_t nSize, std::size_t& rnRead)
{
	rnRead = 0;
	ssize_t nPart;
	do
	{
		nPart = TEMP_FAILURE_RETRY(
			read(m_nFile, static_cast<char*>(pBuffer) + rnRead, std::min(nSize - rnRead, nMaxTransfer)));
		if (nPart > 0)
			rnRead += static_cast<std::size_t>(nPart);
	} while (nPart > 0 && rnRead < nSize);
	return SetResult(nPart >= 0);
}

bool CVexFile::Write(const void* pBuffer, std::size_t nSize)
{
	std::size_t nWritten = 0;
	ssize_t nPart;
	do
	{
		nPart = TEMP_FAILURE_RETRY(
			write(m_nFile, static_cast<const char*>(pBuffer) + nWritten, std::min(nSize - nWritten, nMaxTransfer)));
		if (nPart > 0)
			nWritten += static_cast<std::size_t>(nPart);
	} while (nPart > 0 && nWritten < nSize);
	if (nPart == 0 && nWritten < nSize)
		errno = EIO;
	return SetResult(nPart >= 0 && nWritten == nSize);
}

bool CVexFile::Write(const std::string& rsText)
{
	return Write(rsText.data(), rsText.size());
}

bool CVexFile::Seek(long long nOffset, EOrigin eOrigin)
{
	static const int anOrigins[] = { SEEK_SET, SEEK_CUR, SEEK_END };
	const std::size_t nOrigin = static_cast<std::size_t>(eOrigin);
	return SetResult(lseek(m_nFile, nOffset, nOrigin < std::size(anOrigins) ? anOrigins[nOrigin] : -1) >= 0);
}

bool CVexFile::Tell(long long& rnPosition)
{
	const long long nPosition = lseek(m_nFile, 0, SEEK_CUR);
	if (nPosition >= 0)
		rnPosition = nPosition;
	return SetResult(nPosition >= 0);
}

bool CVexFile::Flush()
{
	return SetResult(TEMP_FAILURE_RETRY(fsync(m_nFile)) == 0);
}

bool CVexFile::Truncate(long long nSize)
{
	return SetResult(TEMP_FAILURE_RETRY(ftruncate(m_nFile, nSize)) == 0);
}

bool CVexFile::ReadToEnd(std::string& rsContent)
{
	try
	{
		// The size is a hint: files of /proc have none, others grow or shrink meanwhile.
		struct stat oStatus;
		const bool bHint = fstat(m_nFile, &oStatus) == 0 && oStatus.st_size > 0;
		std::uint64_t nSize = bHint ? static_cast<std::uint64_t>(oStatus.st_size) + 1 : nMinChunk;
		std::size_t nFilled = 0;
		for (;; nSize = nFilled + std::uint64_t{ std::max(nFilled, nMinChunk) })
		{
			if (nSize > MaxContent(rsContent))
				throw std::bad_alloc();
			rsContent.resize(static_cast<std::size_t>(nSize));
			std::size_t nRead;
			if (!Read(&rsContent[nFilled], rsContent.size() - nFilled, nRead))
				return false;
			nFilled += nRead;
			if (nFilled < rsContent.size())
				break;
		}
		rsContent.resize(nFilled);
		return true;
	}
	catch (const std::exception&)
	{
		m_nError = ENOMEM;
		return false;
	}
}

bool CVexFile::ReadAll(const char* pszName, std::string& rsContent, int* pnError)
{
	CVexFile oFile;
	std::string sContent;
	const bool bRead = oFile.Open(pszName, eRead) && oFile.ReadToEnd(sContent);
	if (bRead)
		rsContent.swap(sContent);
	if (pnError)
		*pnError = oFile.GetLastError();
	return bRead;
}

// A new file in the directory of rsTarget.
bool CVexFile::OpenBeside(const std::string& rsTarget, std::string& rsName)
{
	static std::atomic<unsigned int> nCount{ 0 };
	const std::string sDir = rsTarget.substr(0, rsTarget.rfind('/') + 1);
	for (int nTry = 0; nTry < 100; ++nTry)
	{
		rsName = sDir + ".vex-" + std::to_string(getpid()) + "-" + std::to_string(++nCount) + ".tmp";
		if (OpenDescriptor(rsName.c_str(), O_WRONLY | O_CREAT | O_EXCL))
			return true;
		// Left behind by a process of the same number.
		if (m_nError != EEXIST)
			break;
	}
	return false;
}

bool CVexFile::ReplaceContent(const char* pszName, const std::string& rsContent)
{
	const CVexFileStatus oOld(pszName);
	if (oOld.Exists() ? !oOld.IsFile() : oOld.GetLastError() != ENOENT)
	{
		m_nError = oOld.IsDirectory() ? EISDIR : oOld.Exists() ? EINVAL : oOld.GetLastError();
		return false;
	}
	// Renaming alone would replace files that are write-protected.
	if (oOld.Exists() && !SetResult(eaccess(pszName, W_OK) == 0))
		return false;
	const std::string sTarget = RealName(pszName);
	std::string sNew;
	if (!OpenBeside(sTarget, sNew))
		return false;
	bool bReplaced = SetResult(TakeOwnerAndMode(m_nFile, sTarget)) && Write(rsContent) && Flush() && Close();
	bReplaced = bReplaced && SetResult(std::rename(sNew.c_str(), sTarget.c_str()) == 0);
	if (!bReplaced)
		unlink(sNew.c_str());
	return bReplaced;
}

bool CVexFile::WriteAll(const char* pszName, const std::string& rsContent, int* pnError)
{
	CVexFile oFile;
	const bool bWritten = oFile.ReplaceContent(pszName ? pszName : "", rsContent);
	if (pnError)
		*pnError = oFile.GetLastError();
	return bWritten;
}

bool CVexFile::IsOpen() const
{
	return m_nFile >= 0;
}

int CVexFile::GetLastError() const
{
	return m_nError;
}
