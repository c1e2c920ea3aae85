#include "VexTraceServerStd.h"

#include "VexTimeInternal.h"
#include "VexTraceMsgInternal.h"

#include <ext/stdio_filebuf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace
{
const std::size_t nKeptCapacity = 65536;    // a longer line does not keep its memory

// KEPT: year, month and day of the UTC instant, as everywhere in the calendar getters of a local time.
// Test: CVexTraceServerStd.FileOfTheUtcDayKept
CVexLocalTime GetDate(const CVexLocalTime& oTime)
{
	CVexLocalTime oDate(oTime);
	oDate.CutOffParts(CVexUTCTime::HHMMSSMS);
	return oDate;
}
// The same without a date of its own: asked for every line.
bool IsOnDay(const CVexLocalTime& oTime, const CVexLocalTime& oDate)
{
	const long long nIntoDay = oTime.GetHighResolutionLocaltime() - oDate.GetHighResolutionLocaltime();
	return nIntoDay >= 0 && nIntoDay < static_cast<long long>(VexTime::nTicksPerDay);
}

// Like open(); -1 if it fails. Never one of the first three descriptors: in a program that was started without them the
// file would be its standard output or standard error.
int OpenDescriptor(const std::string& sName, int nFlags)
{
	const int nFile = open(sName.c_str(), nFlags | O_CLOEXEC, 0666);
	if (nFile < 0 || nFile > STDERR_FILENO)
		return nFile;
	const int nHigher = fcntl(nFile, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
	close(nFile);
	return nHigher;
}

// False if not all of it could be written.
bool WriteWhole(int nFile, const std::string& rsText)
{
	ssize_t nWritten;
	do
		nWritten = write(nFile, rsText.data(), rsText.size());
	while (nWritten < 0 && errno == EINTR);
	return nWritten == static_cast<ssize_t>(rsText.size());
}

bool IsLastLineTorn(const std::string& sName)
{
	struct stat oStatus = {};
	if (stat(sName.c_str(), &oStatus) != 0 || !S_ISREG(oStatus.st_mode) || oStatus.st_size == 0)
		return false;
	const int nFile = OpenDescriptor(sName, O_RDONLY);
	char cLast = '\n';
	const bool bRead = nFile >= 0 && pread(nFile, &cLast, 1, oStatus.st_size - 1) == 1;
	if (nFile >= 0)
		close(nFile);
	return bRead && cLast != '\n';
}
}    // namespace

CVexTraceServerStd::CVexTraceServerStd(const char* pszPath, const char* pszExt)
	: m_oCurFileDate(GetDate(CVexLocalTime::CurrentLocalTime())),
	  m_sCurFilePath(pszPath ? pszPath : ""),
	  m_sFileExt(pszExt ? pszExt : ".log")
{
}

CVexTraceServerStd::~CVexTraceServerStd()
{
	StopServer();
}

void CVexTraceServerStd::SwitchTraceFile(const CVexLocalTime& oTime)
{
	if (m_oCurFile.is_open() && IsOnDay(oTime, m_oCurFileDate))
		return;
	const CVexLocalTime oDate = GetDate(oTime);
	if (oDate.GetHighResolutionLocaltime() != m_oCurFileDate.GetHighResolutionLocaltime())
	{
		m_oCurFileDate = oDate;
		if (m_oCurFile.is_open())
			m_oCurFile.close();
	}
	if (m_oCurFile.is_open())
		return;
	char szName[64];
	std::snprintf(szName,
		sizeof szName,
		"Trace%04u%02u%02u",
		static_cast<unsigned>(oDate.GetYear()),
		static_cast<unsigned>(oDate.GetMonth()),
		static_cast<unsigned>(oDate.GetDay()));
	OpenFile(m_sCurFilePath + szName + m_sFileExt);
}

void CVexTraceServerStd::OpenFile(const std::string& sName)
{
	m_nCurFile = OpenDescriptor(sName, O_WRONLY | O_APPEND | O_CREAT);
	if (m_nCurFile < 0)
		return;
	// A stream cannot open a file with these flags, but take over a buffer that has done so. It only owns the file: the
	// lines are written to the descriptor, each by one write. Nothing of a line that failed is written later, and a
	// child after fork inherits no unwritten bytes.
	__gnu_cxx::stdio_filebuf<char> oBuffer(m_nCurFile, std::ios::out | std::ios::app);
	if (!oBuffer.is_open())
		close(m_nCurFile);
	*m_oCurFile.rdbuf() = std::move(oBuffer);
	m_bLineTorn = IsLastLineTorn(sName);
}

bool CVexTraceServerStd::SaveMsg(const CVexTraceMsg& oMsg, const char* pszObjectName)
{
	SwitchTraceFile(oMsg.GetTime());
	const char* pszObject = pszObjectName ? pszObjectName : "Unknown ";
	m_sLine.assign(m_bLineTorn ? "\n" : "");
	VexAppendMsgText(m_sLine, oMsg, pszObject, std::strlen(pszObject), '\t');
	m_sLine += '\n';
	if (m_oCurFile.is_open())
	{
		// What is left of a line that could not be written is found when the file is opened again.
		if (WriteWhole(m_nCurFile, m_sLine))
			m_bLineTorn = false;
		else
			m_oCurFile.close();
	}
	if (m_sLine.capacity() > nKeptCapacity)
		m_sLine = std::string();
	return true;
}
