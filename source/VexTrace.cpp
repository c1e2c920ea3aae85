#include "VexTrace.h"

#include "VexTraceMsgInternal.h"
#include "VexTraceServer.h"

#include <new>

namespace
{
// Reads what a stream buffer has without a copy.
class CStreamText : public std::stringbuf
{
public:
	// Null if the text does not end in a NUL.
	static const char* Get(const std::stringbuf& rBuffer)
	{
		const char* const pBegin = (rBuffer.*&CStreamText::pbase)();
		const char* const pEnd = (rBuffer.*&CStreamText::pptr)();
		return pBegin != pEnd && pEnd[-1] == '\0' ? pBegin : nullptr;
	}
};
}    // namespace

CVexTrace::CVexTrace(const char* pszClassName, const char* pszName, const CVexTrace* pParentObject)
{
	SetClassName(pszClassName);
	SetName(pszName, pParentObject);
}

CVexTrace::CVexTrace(const CVexTrace&) {}

CVexTrace& CVexTrace::operator=(const CVexTrace&)
{
	// The server would go on listing the object under the identifier that is given up here.
	DeRegisterObject();
	m_nTraceLevels = CVexTraceMsg::eError | CVexTraceMsg::eWarning;
	m_sObName.clear();
	m_sClassName.clear();
	m_bRegistered = false;
	m_nSyncFlag = 0;
	m_nSeenChange = 0;
	return *this;
}

CVexTrace::~CVexTrace()
{
	DeRegisterObject();
}

void CVexTrace::SetName(const char* pszName, const CVexTrace* pParentObject)
{
	std::string sName = CreateObjectName(pszName, pParentObject);
	if (sName == m_sObName)
		return;
	m_sObName.swap(sName);
	m_bRegistered = false;
	m_nSeenChange = 0;
}

void CVexTrace::SetClassName(const char* pszClassName)
{
	const char* pszNewName = pszClassName ? pszClassName : "-";
	if (m_sClassName == pszNewName)
		return;
	m_sClassName = pszNewName;
	m_bRegistered = false;
	m_nSeenChange = 0;
}

std::string CVexTrace::CreateObjectName(const char* pszName, const CVexTrace* pParentObject)
{
	std::string sName;
	if (pParentObject)
		sName = pParentObject->GetName() + ":";
	if (pszName)
		sName += pszName;
	return sName;
}

// The answer for most calls of a program in service: nothing has changed since the levels were fetched, and they do
// not hold this one, or there is no server. No lock, no shared write.
inline bool CVexTrace::IsKnownOff(CVexTraceMsg::ETraceLevel eLevel) const
{
	return m_nSeenChange.load(std::memory_order_acquire) ==
		CVexTraceServer::m_nChange.load(std::memory_order_acquire) &&
		((m_nTraceLevels.load(std::memory_order_relaxed) & eLevel) == 0 ||
			!CVexTraceServer::m_pActiveServer.load(std::memory_order_relaxed));
}

CVexTraceServer* CVexTrace::RegisterObject()
{
	// Read first: a change that comes while the levels are fetched makes the next call fetch them again.
	const unsigned nChange = CVexTraceServer::m_nChange.load(std::memory_order_acquire);
	CVexTraceServer* pServer = CVexTraceServer::GetActiveServer();
	if (!pServer)
	{
		m_nID = -1;
		m_bRegistered = false;
		m_nKey = 0;
	}
	else
	{
		try
		{
			if (!m_bRegistered || m_nKey != KeyOf(*pServer, m_nID))
			{
				pServer->RegisterObject(this);
				m_bRegistered = true;
			}
			if (m_nSyncFlag != pServer->GetSyncFlag())
				pServer->RefreshLevels(*this);
		}
		catch (const std::bad_alloc&)
		{
			pServer->DecActiveUser();
			return nullptr;
		}
	}
	m_nSeenChange.store(nChange, std::memory_order_release);
	return pServer;
}

void CVexTrace::DeRegisterObject()
{
	const long nID = m_nID;
	if (nID == -1)
		return;
	if (CVexTraceServer* pServer = CVexTraceServer::GetActiveServer())
	{
		// Only an identifier of this server: that of another one may belong to another object here.
		if (IsKnownTo(*pServer, nID))
			AddMsgSpecial(CVexTraceMsg::m_szMsgObjectDeleteReq.c_str(), pServer);
		else
			pServer->DecActiveUser();
	}
	m_nID = -1;
	m_nKey = 0;
}

CVexTraceServer* CVexTrace::GetServerObject(CVexTraceMsg::ETraceLevel eLevel)
{
	if (IsKnownOff(eLevel))
		return nullptr;
	CVexTraceServer* pServer = RegisterObject();
	if (!pServer || (m_nTraceLevels & eLevel) != 0)
		return pServer;
	pServer->DecActiveUser();
	return nullptr;
}

// Identifier and server in one word. While another thread gives the object to another server, it does not fit m_nID.
unsigned CVexTrace::KeyOf(const CVexTraceServer& rServer, long nID)
{
	return rServer.m_nSerial * 0x9E3779B1u + static_cast<unsigned>(nID);
}

bool CVexTrace::IsKnownTo(const CVexTraceServer& rServer, long nID) const
{
	const unsigned nKey = m_nKey;
	return nKey == KeyOf(rServer, nID) || (nKey == 0 && nID != -1);
}

void CVexTrace::SetID(const CVexTraceServer& rServer, long nID)
{
	m_nKey = KeyOf(rServer, nID);
	m_nID = nID;
}

// The identifier under which this server knows the object. While servers change it may have got one of another server;
// then the entry of its names counts, or it is entered anew. -1 if no server has known it yet.
long CVexTrace::FindID(CVexTraceServer& rServer)
{
	const long nID = m_nID;
	if (IsKnownTo(rServer, nID))
		return nID;
	const long nNamesake = rServer.FindObject(*this);
	if (nNamesake != -1 || nID == -1)
		return nNamesake;
	rServer.RegisterObject(this);
	return rServer.FindObject(*this);
}

// Tracing never fails visibly: without memory the message disappears.
void CVexTrace::HandOver(CVexTraceMsg::ETraceLevel eLevel, const char* pszText, CVexTraceServer* pServer)
{
	try
	{
		if (pszText)
			pServer->AddMsg(VexTraceMsgPool::Make(eLevel, FindID(*pServer), pszText));
	}
	catch (const std::bad_alloc&)
	{
	}
}

void CVexTrace::AddMsg(CVexTraceMsg::ETraceLevel eLevel, const char* pszText, CVexTraceServer* pServer)
{
	if (!pServer)
	{
		if (IsKnownOff(eLevel))
			return;
		pServer = RegisterObject();
		if (!pServer)
			return;
	}
	if ((m_nTraceLevels & eLevel) != 0)
		HandOver(eLevel, pszText, pServer);
	pServer->DecActiveUser();
}

void CVexTrace::AddMsg(CVexTraceMsg::ETraceLevel eLevel, std::ostringstream& oStream, CVexTraceServer* pServer)
{
	oStream << std::ends;
	const char* const pszText = CStreamText::Get(*oStream.rdbuf());
	// A stream that has failed takes no NUL.
	AddMsg(eLevel, pszText ? pszText : oStream.str().c_str(), pServer);
}

void CVexTrace::AddMsgSpecial(const char* pszText, CVexTraceServer* pServer)
{
	if (!pServer)
		pServer = RegisterObject();
	if (!pServer)
		return;
	HandOver(CVexTraceMsg::eDebug, pszText, pServer);
	pServer->DecActiveUser();
}

bool CVexTrace::GetTraceFlag(const char* pcTraceFlagName) const
{
	CVexTraceServer* pServer = CVexTraceServer::GetActiveServer();
	if (!pServer)
		return false;
	// KEPT: the use is not given back, the server's count of users stays one higher.
	// Test: CVexTrace.GetTraceFlagLeavesAUseKept
	return pServer->GetTraceFlag(pcTraceFlagName, m_sClassName);
}

long CVexTrace::GetID() const
{
	return m_nID;
}

void CVexTrace::SetID(long nID)
{
	m_nID = nID;
	m_nKey = 0;
}

const std::string& CVexTrace::GetName() const
{
	return m_sObName;
}

const std::string& CVexTrace::GetClassName() const
{
	return m_sClassName;
}

void CVexTrace::SetTraceLevels(int nTraceLevels)
{
	m_nTraceLevels = nTraceLevels;
}
