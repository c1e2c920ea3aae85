// Uses the library's statics from constructors and destructors of static objects that run before and after all others.

#include "VexApplicationInfo.h"
#include "VexLocalTime.h"
#include "VexProcess.h"
#include "VexThread.h"
#include "VexTrace.h"
#include "VexTraceServer.h"
#include "VexTraceServerStd.h"

#include <unistd.h>

#include <memory>
#include <sstream>

namespace
{
bool UseStatics()
{
	CVexTraceServerStd oServer(CVexProcess::GetCurrentProgDir().c_str(), nullptr);
	oServer.SetDefaultTraceLevels(CVexTraceServer::m_oSettings.m_nDefaultTraceLevels);
	CVexTraceServer::SetActiveServer(&oServer);
	CVexTrace::m_oGlobalTrace.AddMsg(CVexTraceMsg::eError, "static");
	std::ostringstream oStream;
	oStream << CManipUTCTime(CVexUTCTime::DB_DATE) << CVexUTCTime(1, 2, 2003, 0, 0, 0, 0, 0, 0);
	oStream << DiffTimeFormat(CVexTimeDiff::HHMMSS) << CVexTimeDiff(1, 0, 0, 1, 0, 0, 0);
	return oStream.str() == "2003-02-01 24:00:01" &&
		oMeineBeschreibung.GetDescriptionString(CVexTraceMsg::eError) == "ERROR" &&
		CVexApplicationInfo::GetLibraryInfo().GetVersion() == "1.0.12";
}

class CStatic
{
public:
	CStatic() { Tell(UseStatics() ? "constructor ok\n" : "constructor failed\n"); }
	~CStatic() { Tell(UseStatics() ? "destructor ok\n" : "destructor failed\n"); }

private:
	static void Tell(const std::string& sText)
	{
		if (write(STDOUT_FILENO, sText.data(), sText.size()) < 0)
			_exit(9);
	}
};

CStatic oEarly __attribute__((init_priority(101)));
}    // namespace

int main()
{
	return 0;
}
