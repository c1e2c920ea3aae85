#pragma once

#include "VexUTCTime.h"

// What the system knows of a file, at the time of the last Read().
//
// Threads: a plain value, no lock.
// Errors:  reported by the result and GetLastError(); nothing is thrown. Without a file all values are 0 and the times
//          invalid.
class CVexFileStatus
{
public:
	enum EKind
	{
		eNone = 0,    // there is no such file
		eFile = 1,    // a regular one
		eDirectory = 2,
		eLink = 3,    // only if links are not followed
		ePipe = 4,
		eSocket = 5,
		eDevice = 6
	};

	// As if read for a name that does not exist.
	CVexFileStatus();

	// Read() with the same parameters.
	explicit CVexFileStatus(const char* pszName, bool bFollowLinks = true);
	virtual ~CVexFileStatus();

	// Never waits for the file itself, also if it is a pipe. Without bFollowLinks a symbolic link is looked at in place
	// of what it names. False if there is no such file (a null or empty name, and a link to nothing, name none) or if it
	// cannot be asked for.
	bool Read(const char* pszName, bool bFollowLinks = true);

	bool Exists() const;
	EKind GetKind() const;
	bool IsFile() const;
	bool IsDirectory() const;

	// In bytes; of a link that was not followed the length of its text.
	long long GetSize() const;

	// The permission bits alone, such as 0644.
	unsigned int GetMode() const;

	const CVexUTCTime& GetModificationTime() const;
	const CVexUTCTime& GetAccessTime() const;

	// The last change of contents, mode, owner or number of links.
	const CVexUTCTime& GetStatusChangeTime() const;

	// True if both exist and are one and the same file, whatever names and links led to it.
	bool IsSameFile(const CVexFileStatus& rOther) const;

	// The system's error number of the last Read(); 0 if it succeeded.
	int GetLastError() const;

private:
	EKind m_eKind;
	unsigned int m_nMode;
	long long m_nSize;
	unsigned long long m_nDevice;
	unsigned long long m_nInode;
	CVexUTCTime m_oModificationTime;
	CVexUTCTime m_oAccessTime;
	CVexUTCTime m_oStatusChangeTime;
	int m_nError;
};
