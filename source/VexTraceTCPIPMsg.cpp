#include "VexTraceTCPIPMsg.h"

namespace
{
const long nStartMarker = 0x65666665;    // "effe" on the wire
const long nEndMarker = 0x66656566;      // "feef"
const int nBehindID = 4;

// The numbers of the exchanges run from 1 to 9 in the third digit, requests and confirmations differ in the first byte.
bool IsMsgID(std::int32_t nID)
{
	const std::int32_t nKind = nID & ~0xF00;
	const std::int32_t nExchange = (nID & 0xF00) >> 8;
	return (nKind == 0x01000000 || nKind == 0x02000000) && nExchange >= 1 && nExchange <= 9;
}
}    // namespace

CVexTraceTCPIPMsg::CVexTraceTCPIPMsg() : CVexMessageBase(nStartMarker, nEndMarker)
{
	CVexTraceTCPIPMsg::ResetDataOffset();
}

CVexTraceTCPIPMsg::CVexTraceTCPIPMsg(const char* pData, int nLen)
	: CVexMessageBase(nStartMarker, nEndMarker, pData, nLen)
{
	CVexTraceTCPIPMsg::ResetDataOffset();
}

bool CVexTraceTCPIPMsg::IsValid() const
{
	const EMsgID eID = GetCommand();
	return CVexMessageBase::IsValid() && (eID == 0 || IsMsgID(eID));
}

void CVexTraceTCPIPMsg::ResetDataOffset()
{
	m_nOffset = nBehindID;
}

CVexTraceTCPIPMsg::EMsgID CVexTraceTCPIPMsg::GetCommand() const
{
	long nID = 0;
	GetData(nID, 0);
	return static_cast<EMsgID>(nID);
}

void CVexTraceTCPIPMsg::AddString(const std::string& s)
{
	AddData(static_cast<long>(s.size()));
	AddData(s);
}

void CVexTraceTCPIPMsg::CreateMsg(const std::string& sUser, const std::string& sPassword)
{
	CreateMsg(LOGIN_REQ, sUser);
	AddString(sPassword);
}

void CVexTraceTCPIPMsg::CreateMsg(EMsgID eID)
{
	AddData(eID);
}

void CVexTraceTCPIPMsg::CreateMsg(EMsgID eID, long n)
{
	CreateMsg(eID);
	AddData(n);
}

void CVexTraceTCPIPMsg::CreateMsg(EMsgID eID, const std::string& sText)
{
	CreateMsg(eID);
	AddString(sText);
}

void CVexTraceTCPIPMsg::CreateMsg(EMsgID eID, long n, CVexTraceMsg::ETraceLevel eLevel, const std::string& sText)
{
	CreateMsg(eID, n);
	AddData(eLevel);
	AddString(sText);
}

void CVexTraceTCPIPMsg::CreateMsg(EMsgID eID, const std::string& sText, CVexTraceMsg::ETraceLevel eLevel)
{
	CreateMsg(eID, sText);
	AddData(eLevel);
}

void CVexTraceTCPIPMsg::CreateMsg(EMsgID eID, long n, const std::string& sText)
{
	CreateMsg(eID, n);
	AddString(sText);
}

void CVexTraceTCPIPMsg::CreateMsg(EMsgID eID, const std::vector<std::pair<long, CVexTraceMsg::ETraceLevel>>& aoLevels)
{
	CreateMsg(eID, static_cast<long>(aoLevels.size()));
	for (const auto& rLevel : aoLevels)
	{
		AddData(rLevel.first);
		AddData(rLevel.second);
	}
}

void CVexTraceTCPIPMsg::CreateMsg(EMsgID eID, const std::vector<std::pair<long, std::string>>& aoNames)
{
	CreateMsg(eID, static_cast<long>(aoNames.size()));
	for (const auto& rName : aoNames)
	{
		AddData(rName.first);
		AddString(rName.second);
	}
}
