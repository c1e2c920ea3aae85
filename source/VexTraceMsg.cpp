#include "VexTraceMsg.h"

#include "VexImmortalInternal.h"
#include "VexTimeInternal.h"
#include "VexTrace.h"
#include "VexTraceMsgInternal.h"
#include "VexTraceServer.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <typeinfo>

namespace
{
typedef CEnumDescription<CVexTraceMsg::ETraceLevel> CLevelDescription;

CVexImmortalMemory<std::string> oDeleteReq;
CVexImmortalMemory<CLevelDescription> oLevelNames;
CVexImmortalMemory<SVexTraceServerDefaultSettings> oDefaultSettings;
CVexImmortalMemory<CVexTrace> oGlobalTrace;
std::once_flag oStaticsOnce;

// The messages that are kept: a ring of slots. Each slot counts its uses, so that a thread sees whether it is its turn.
// The count is kept relative to the slot's index: a ring of zeros is an empty one, usable before any constructor.
const std::size_t nPoolSlots = 1024;    // a power of two
const std::size_t nPooledCapacity = 1024;

struct SPoolSlot
{
	std::atomic<std::size_t> nTurn;
	CVexTraceMsg* pMsg;
};

// On a cache line of its own.
struct alignas(64) SPoolPosition
{
	std::atomic<std::size_t> nNext;
};

SPoolSlot aoPool[nPoolSlots];
SPoolPosition oPoolGiven;
SPoolPosition oPoolTaken;

// The slot of the next position if its turn has come, else null: the ring is full, or empty. nAhead: 0 for giving, 1
// for taking.
SPoolSlot* ClaimSlot(SPoolPosition& rPosition, std::size_t nAhead, std::size_t& rnClaimed)
{
	std::atomic<std::size_t>& rnPosition = rPosition.nNext;
	rnClaimed = rnPosition.load(std::memory_order_relaxed);
	for (;;)
	{
		const std::size_t nSlot = rnClaimed % nPoolSlots;
		const std::size_t nTurn = aoPool[nSlot].nTurn.load(std::memory_order_acquire) + nSlot;
		if (nTurn == rnClaimed + nAhead)
		{
			if (rnPosition.compare_exchange_weak(rnClaimed, rnClaimed + 1, std::memory_order_relaxed))
				return &aoPool[nSlot];
			continue;
		}
		const std::size_t nNow = rnPosition.load(std::memory_order_relaxed);
		if (nNow == rnClaimed)
			return nullptr;
		rnClaimed = nNow;    // another thread was faster
	}
}

CVexTraceMsg* TakePooled()
{
	std::size_t nPosition;
	SPoolSlot* const pSlot = ClaimSlot(oPoolTaken, 1, nPosition);
	if (!pSlot)
		return nullptr;
	CVexTraceMsg* const pMsg = pSlot->pMsg;
	pSlot->nTurn.store(nPosition + nPoolSlots - nPosition % nPoolSlots, std::memory_order_release);
	return pMsg;
}
}    // namespace

CVexTraceMsg* VexTraceMsgPool::Make(CVexTraceMsg::ETraceLevel eLevel, long nID, const char* pszText)
{
	std::unique_ptr<CVexTraceMsg> poMsg(TakePooled());
	if (!poMsg)
		return new CVexTraceMsg(eLevel, nID, pszText);
	poMsg->SetMsg(eLevel, nID, pszText);
	return poMsg.release();
}

void VexTraceMsgPool::GiveBack(CVexTraceMsg* pMsg)
{
	std::unique_ptr<CVexTraceMsg> poMsg(pMsg);
	if (typeid(*pMsg) != typeid(CVexTraceMsg) || pMsg->GetText().capacity() > nPooledCapacity)
		return;
	std::size_t nPosition;
	SPoolSlot* const pSlot = ClaimSlot(oPoolGiven, 0, nPosition);
	if (!pSlot)
		return;
	pSlot->pMsg = poMsg.release();
	pSlot->nTurn.store(nPosition + 1 - nPosition % nPoolSlots, std::memory_order_release);
}

void VexTraceMsgPool::Clear()
{
	while (CVexTraceMsg* pMsg = TakePooled())
		delete pMsg;
}

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

namespace
{
const std::size_t nTimeLength = 23;
const std::size_t nMilliLength = 3;

// Most lines fall into the second of the line before: then only the milliseconds differ.
void AppendTime(std::string& rsLine, const CVexLocalTime& rTime)
{
	static thread_local struct
	{
		VexTime::Ticks nSecond;
		char szText[nTimeLength];    // empty at the start
	} oLast;
	const auto nTicks = static_cast<VexTime::Ticks>(rTime.GetHighResolutionLocaltime());
	const auto nInSecond = static_cast<unsigned int>(nTicks % VexTime::nTicksPerSecond);
	if (nTicks - nInSecond != oLast.nSecond || oLast.szText[0] == '\0')
	{
		const std::string sTime = rTime.Time2Str(CVexUTCTime::TTMMJJJJ_HHMMSSmmm);
		rsLine += sTime;
		if (sTime.size() != nTimeLength)
			return;
		std::memcpy(oLast.szText, sTime.data(), nTimeLength);
		oLast.nSecond = nTicks - nInSecond;
		return;
	}
	VexTime::WriteDigits(oLast.szText + nTimeLength - nMilliLength,
		nInSecond / static_cast<unsigned int>(VexTime::nTicksPerMilli),
		nMilliLength);
	rsLine.append(oLast.szText, nTimeLength);
}
}    // namespace

void VexAppendMsgText(
	std::string& rsLine, const CVexTraceMsg& oMsg, const char* pszObName, std::size_t nObNameLength, char nSeparator)
{
	const std::string sLevel = oMeineBeschreibung.GetDescriptionString(oMsg.GetTraceLevel());
	const std::string& sText = oMsg.GetText();
	rsLine.reserve(rsLine.size() + nTimeLength + sLevel.size() + nObNameLength + sText.size() + 4);
	AppendTime(rsLine, oMsg.GetTime());
	rsLine.append(1, nSeparator).append(sLevel).append(1, nSeparator);
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
