#pragma once

// The trace server that writes daily log files.

#include "VexLocalTime.h"
#include "VexTraceServer.h"

#include <fstream>
#include <string>

// Appends one line per message to the file path + "Trace" + YYYYMMDD + extension, chosen by the message's own time
// stamp: time stamp, tab, level name, tab, object name, "/", class name, tab, text. One write per line. Files are
// never truncated nor deleted. A line that cannot be written is lost silently; the next one tries to open the file again.
// A last line without an end, of this run or an earlier one, is ended first. Programs that are started do not inherit
// the file.
class CVexTraceServerStd : public CVexTraceServer
{
public:
	// pszPath: used unchanged, so it ends in a separator; null or empty: the working directory.
	// pszExt: with its dot; null: ".log".
	CVexTraceServerStd(const char* pszPath, const char* pszExt);
	~CVexTraceServerStd() override;

	// On the server's thread. True always.
	bool SaveMsg(const CVexTraceMsg& oMsg, const char* pszObjectName) override;

private:
	void SwitchTraceFile(const CVexLocalTime& oTime);
	void OpenFile(const std::string& sName);

	CVexLocalTime m_oCurFileDate;    // at 00:00:00
	std::string m_sCurFilePath;
	std::string m_sFileExt;
	std::ofstream m_oCurFile;
	std::string m_sLine;         // kept for its memory
	bool m_bLineTorn = false;    // the file's last line has no end
	int m_nCurFile = -1;         // m_oCurFile's, while it is open
};
