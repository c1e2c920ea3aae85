#include "VexTraceMsg.h"

#include "VexImmortalInternal.h"
#include "VexTrace.h"
#include "VexTraceMsgInternal.h"
#include "VexTraceServer.h"

#include <mutex>
#include <new>

namespace
{
typedef CEnumDescription<CVexTraceMsg::ETraceLevel> CLevelDescription;

CVexImmortalMemory<std::string> oDeleteReq;
CVexImmortalMemory<CLevelDescription> oLevelNames;
CVexImmortalMemory<SVexTraceServerDefaultSettings> oDefaultSettings;
CVexImmortalMemory<CVexTrace> oGlobalTrace;
std::once_flag oStaticsOnce;
}    // namespace

const CLevelDescription::SEnumDescription aoMeineTexte[7] = {
	{ CVexTraceMsg::eNone, "NONE" },
	{ CVexTraceMsg::eDebugL3, "DEBUG3" },
	{ CVexTraceMsg::eDebugL2, "DEBUG2" },
	{ CVexTraceMsg::eDebug, "DEBUG" },
	{ CVexTraceMsg::eError, "ERROR" },
	{ CVexTraceMsg::eWarning, "WARNING" },
	{ CVexTraceMsg::eInfo, "INFO" },
};

// References to constant-initialised memory: bound before any constructor runs.
const CLevelDescription& oMeineBeschreibung = oLevelNames.m_oObject;
const std::string& CVexTraceMsg::m_szMsgObjectDeleteReq = oDeleteReq.m_oObject;
SVexTraceServerDefaultSettings& CVexTraceServer::m_oSettings = oDefaultSettings.m_oObject;
CVexTrace& CVexTrace::m_oGlobalTrace = oGlobalTrace.m_oObject;

CVexTraceStatics::CVexTraceStatics()
{
	std::call_once(oStaticsOnce,
		[]
		{
			new (&oDeleteReq.m_oObject) std::string("SPECIAL: DELETE REQ");
			new (&oLevelNames.m_oObject) CLevelDescription(aoMeineTexte, 7, CVexTraceMsg::eError);
			new (&oDefaultSettings.m_oObject) SVexTraceServerDefaultSettings();
			new (&oGlobalTrace.m_oObject) CVexTrace("-", "Global", nullptr);
		});
}

CVexTraceMsg::CVexTraceMsg() : m_oTime(0) {}

CVexTraceMsg::CVexTraceMsg(ETraceLevel eLevel, long nID, const char* pszText) : m_oTime(0)
{
	SetMsg(eLevel, nID, pszText);
}

void CVexTraceMsg::SetMsg(ETraceLevel eLevel, long nID, const char* pszText)
{
	m_oTime = CVexLocalTime::CurrentLocalTime();
	m_eTraceLevel = eLevel;
	m_nID = nID;
	if (pszText)
		m_sText = pszText;
}

std::string CVexTraceMsg::GetMsgText(const std::string& sObName, char nSeparator) const
{
	std::string sLine;
	VexAppendMsgText(sLine, *this, sObName.data(), sObName.size(), nSeparator);
	return sLine;
}

void VexAppendMsgText(
	std::string& rsLine, const CVexTraceMsg& oMsg, const char* pszObName, std::size_t nObNameLength, char nSeparator)
{
	const std::string sTime = oMsg.GetTime().Time2Str(CVexUTCTime::TTMMJJJJ_HHMMSSmmm);
	const std::string sLevel = oMeineBeschreibung.GetDescriptionString(oMsg.GetTraceLevel());
	const std::string& sText = oMsg.GetText();
	rsLine.reserve(rsLine.size() + sTime.size() + sLevel.size() + nObNameLength + sText.size() + 4);
	rsLine.append(sTime).append(1, nSeparator).append(sLevel).append(1, nSeparator);
	rsLine.append(pszObName, nObNameLength).append(1, nSeparator).append(sText);
}

const std::string& CVexTraceMsg::GetText() const
{
	return m_sText;
}

const CVexLocalTime& CVexTraceMsg::GetTime() const
{
	return m_oTime;
}

long CVexTraceMsg::GetID() const
{
	return m_nID;
}

CVexTraceMsg::ETraceLevel CVexTraceMsg::GetTraceLevel() const
{
	return m_eTraceLevel;
}
