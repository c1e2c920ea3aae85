#include "VexTraceServerStd.h"

#include "VexTimeInternal.h"
#include "VexTraceMsgInternal.h"

#include <cstdio>
#include <cstring>

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
	const std::string sName = m_sCurFilePath + szName + m_sFileExt;
	m_oCurFile.clear();
	// Unbuffered: every line is one write, nothing of a line that failed is written later, and a child after fork
	// inherits no unwritten bytes.
	m_oCurFile.rdbuf()->pubsetbuf(nullptr, 0);
	m_oCurFile.open(sName, std::ios::out | std::ios::app);
	if (m_bLineTorn && m_oCurFile.is_open())
		EndTornLine(sName);
}

// After a full disk: ends what was written of the last line, so that the next one stands alone.
void CVexTraceServerStd::EndTornLine(const std::string& sName)
{
	std::ifstream oFile(sName, std::ios::in | std::ios::binary);
	oFile.seekg(-1, std::ios::end);
	const int cLast = oFile.get();
	m_bLineTorn = oFile.good() && cLast != '\n' && !m_oCurFile.put('\n');
}

bool CVexTraceServerStd::SaveMsg(const CVexTraceMsg& oMsg, const char* pszObjectName)
{
	SwitchTraceFile(oMsg.GetTime());
	const char* pszObject = pszObjectName ? pszObjectName : "Unknown ";
	m_sLine.clear();
	VexAppendMsgText(m_sLine, oMsg, pszObject, std::strlen(pszObject), '\t');
	m_sLine += '\n';
	if (m_oCurFile.is_open() && !m_oCurFile.write(m_sLine.data(), static_cast<std::streamsize>(m_sLine.size())))
	{
		m_bLineTorn = true;
		m_oCurFile.close();
	}
	if (m_sLine.capacity() > nKeptCapacity)
		m_sLine = std::string();
	return true;
}
