// Asks the system for the status of files.

#include "VexFileStatus.h"

#include "VexTimeInternal.h"

#include <cerrno>
#include <sys/stat.h>

namespace
{
CVexFileStatus::EKind KindOf(mode_t nMode)
{
	switch (nMode & S_IFMT)
	{
	case S_IFREG:
		return CVexFileStatus::eFile;
	case S_IFDIR:
		return CVexFileStatus::eDirectory;
	case S_IFLNK:
		return CVexFileStatus::eLink;
	case S_IFIFO:
		return CVexFileStatus::ePipe;
	case S_IFSOCK:
		return CVexFileStatus::eSocket;
	default:
		return CVexFileStatus::eDevice;
	}
}

CVexUTCTime TimeOf(const timespec& rTime)
{
	// Unsigned, so that times before 1970 and absurd ones wrap instead of being undefined.
	const VexTime::Ticks nTicks = VexTime::nTicksUntil1970 +
		static_cast<VexTime::Ticks>(rTime.tv_sec) * VexTime::nTicksPerSecond +
		static_cast<VexTime::Ticks>(rTime.tv_nsec) / 10;
	return CVexUTCTime(static_cast<long long>(nTicks));
}
}    // namespace

CVexFileStatus::CVexFileStatus() : m_eKind(eNone), m_nMode(0), m_nSize(0), m_nDevice(0), m_nInode(0), m_nError(ENOENT)
{
}

CVexFileStatus::CVexFileStatus(const char* pszName, bool bFollowLinks) : CVexFileStatus()
{
	Read(pszName, bFollowLinks);
}

CVexFileStatus::~CVexFileStatus() = default;

bool CVexFileStatus::Read(const char* pszName, bool bFollowLinks)
{
	*this = CVexFileStatus();
	struct stat oStatus;
	if (!pszName)
		return false;
	if ((bFollowLinks ? stat(pszName, &oStatus) : lstat(pszName, &oStatus)) != 0)
	{
		m_nError = errno;
		return false;
	}
	m_nError = 0;
	m_eKind = KindOf(oStatus.st_mode);
	m_nMode = oStatus.st_mode & 07777;
	m_nSize = oStatus.st_size;
	m_nDevice = oStatus.st_dev;
	m_nInode = oStatus.st_ino;
	m_oModificationTime = TimeOf(oStatus.st_mtim);
	m_oAccessTime = TimeOf(oStatus.st_atim);
	m_oStatusChangeTime = TimeOf(oStatus.st_ctim);
	return true;
}

bool CVexFileStatus::IsSameFile(const CVexFileStatus& rOther) const
{
	return Exists() && rOther.Exists() && m_nDevice == rOther.m_nDevice && m_nInode == rOther.m_nInode;
}

bool CVexFileStatus::Exists() const
{
	return m_eKind != eNone;
}

CVexFileStatus::EKind CVexFileStatus::GetKind() const
{
	return m_eKind;
}

bool CVexFileStatus::IsFile() const
{
	return m_eKind == eFile;
}

bool CVexFileStatus::IsDirectory() const
{
	return m_eKind == eDirectory;
}

long long CVexFileStatus::GetSize() const
{
	return m_nSize;
}

unsigned int CVexFileStatus::GetMode() const
{
	return m_nMode;
}

const CVexUTCTime& CVexFileStatus::GetModificationTime() const
{
	return m_oModificationTime;
}

const CVexUTCTime& CVexFileStatus::GetAccessTime() const
{
	return m_oAccessTime;
}

const CVexUTCTime& CVexFileStatus::GetStatusChangeTime() const
{
	return m_oStatusChangeTime;
}

int CVexFileStatus::GetLastError() const
{
	return m_nError;
}
