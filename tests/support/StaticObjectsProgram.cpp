// Uses the library's statics from constructors and destructors of static objects that run before and after all others.

#include "VexApplicationInfo.h"
#include "VexLString.h"
#include "VexProcess.h"
#include "VexResourceFile.h"
#include "VexTrace.h"
#include "VexTraceServerStd.h"

#include <unistd.h>

#include <sstream>

namespace
{
void UseStatics(const std::string& sWhen)
{
	CVexTraceServerStd oServer(CVexProcess::GetCurrentProgDir().c_str(), nullptr);
	oServer.SetDefaultTraceLevels(CVexTraceServer::m_oSettings.m_nDefaultTraceLevels);
	CVexTraceServer::SetActiveServer(&oServer);
	CVexTrace::m_oGlobalTrace.AddMsg(CVexTraceMsg::eError, "static");
	std::ostringstream oStream;
	oStream << CManipUTCTime(CVexUTCTime::DB_DATE) << CVexUTCTime(1, 2, 2003, 0, 0, 0, 0, 0, 0);
	oStream << DiffTimeFormat(CVexTimeDiff::HHMMSS) << CVexTimeDiff(1, 0, 0, 1, 0, 0, 0);
	CVexResourceFile::m_oStdResFile.AddStringResource("late", "sp\xE4t", CVexResourceFile::eNeutral);
	const bool bOk = CVexLString("late").GetString() == "sp\xE4t" && oStream.str() == "2003-02-01 24:00:01" &&
		oMeineBeschreibung.GetDescriptionString(CVexTraceMsg::eError) == "ERROR" &&
		CVexApplicationInfo::GetLibraryInfo().GetVersion() == "1.0.12";
	const std::string sLine = sWhen + (bOk ? " ok\n" : " failed\n");
	if (write(STDOUT_FILENO, sLine.data(), sLine.size()) < 0)
		_exit(9);
}

struct CStatic
{
	CStatic() { UseStatics("constructor"); }
	~CStatic() { UseStatics("destructor"); }
};

CStatic oEarly __attribute__((init_priority(101)));
}    // namespace

int main()
{
	return 0;
}
