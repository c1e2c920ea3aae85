#include "VexTraceServerConnection.h"

#include "VexApplication.h"
#include "VexPassword.h"
#include "VexStringFunc.h"
#include "VexThread.h"
#include "VexTraceServer.h"
#include "VexTraceTCPIPMsg.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <climits>
#include <mutex>
#include <numeric>

namespace
{
typedef CVexTraceServerConnection::ETraceLevel ETraceLevel;
typedef std::chrono::steady_clock CClock;

const char szStartMarker[] = "effe";
const char szEndMarker[] = "feef";
const std::size_t nMarkerSize = 4;
const std::size_t nHeaderSize = 8;
const int nMaxPayload = 1024 * 1024;

const unsigned int nConfirmTimeoutMs = 1000;
const int nSendTimeoutMs = 1000;
const std::chrono::seconds oRoomWaitAtEnd{ 1 };    // for all lines together

// These hold where a login is required.
const std::chrono::seconds oLoginTimeout{ 10 };
const long nFailedLoginDelayS = 1;

// What a client may make the server keep. Objects that the server knows do not count.
const std::size_t nMaxUnknownObjects = 10000;
const std::size_t nMaxWatchClasses = 4096;
const std::size_t nMaxWatchedNames = 1024 * 1024;    // bytes, of all classes

const unsigned int nAllLevels = 63;

// The position of the next start marker, of the beginning of one at the very end, or the end.
std::size_t FindStartMarker(const std::string& sInput, std::size_t nFrom)
{
	const std::size_t nFound = sInput.find(szStartMarker, nFrom, nMarkerSize);
	if (nFound != std::string::npos)
		return nFound;
	for (std::size_t nTail = std::min(nMarkerSize - 1, sInput.size() - nFrom); nTail > 0; --nTail)
		if (sInput.compare(sInput.size() - nTail, nTail, szStartMarker, nTail) == 0)
			return sInput.size() - nTail;
	return sInput.size();
}

// True: a whole frame of rnSize bytes begins at rnBegin. False: more bytes are needed, those before rnBegin are none.
bool FindFrame(const std::string& sInput, std::size_t& rnBegin, std::size_t& rnSize)
{
	for (;; ++rnBegin)
	{
		rnBegin = FindStartMarker(sInput, rnBegin);
		const std::size_t nLeft = sInput.size() - rnBegin;
		if (nLeft < nHeaderSize)
			return false;
		const CVexTraceTCPIPMsg oHeader(sInput.data() + rnBegin, static_cast<int>(nHeaderSize));
		if (oHeader.GetDataSize() < 0 || oHeader.GetDataSize() > nMaxPayload)
			continue;
		rnSize = static_cast<std::size_t>(oHeader.GetSize());
		if (nLeft < rnSize)
			return false;
		if (sInput.compare(rnBegin + rnSize - nMarkerSize, nMarkerSize, szEndMarker) == 0)
			return true;
	}
}

// A level of the wire as a set of levels; bits that are none stay out.
ETraceLevel LevelBits(long nLevels)
{
	return static_cast<ETraceLevel>(static_cast<unsigned long>(nLevels) & nAllLevels);
}

// A level of the wire that will be widened: all that is above the highest one means all.
ETraceLevel LevelsUpTo(long nLevels)
{
	return static_cast<ETraceLevel>(std::min<unsigned long>(static_cast<unsigned long>(nLevels), nAllLevels));
}

std::string GetClassName(const std::string& sObjectName)
{
	return sObjectName.substr(sObjectName.rfind('/') + 1);
}

// The time that this takes does not show where the texts differ.
bool IsSame(const std::string& sGiven, const std::string& sStored)
{
	unsigned int nDifference = sGiven.size() == sStored.size() ? 0 : 1;
	for (std::size_t i = 0; i < sGiven.size() && !sStored.empty(); ++i)
		nDifference |= static_cast<unsigned char>(sGiven[i] ^ sStored[i % sStored.size()]);
	return nDifference == 0;
}

// The stored form, or its text form.
bool IsPassword(const std::string& sGiven, const std::string& sStored)
{
	CVexPassword oDecoded(false);
	const bool bText = sGiven.size() == 2 * sStored.size() && VexFromString(oDecoded, sGiven);
	return IsSame(bText ? oDecoded.GetPassword() : sGiven, sStored);
}
}    // namespace

CVexTraceServerConnection::CVexTraceServerConnection(
	CVexTCPIPServerContainer* pServer, int nID, CVexTraceServer& oTraceServer)
	: CVexTCPIPServerBase(pServer, nID), m_oTraceServer(oTraceServer), m_oRoomLeft(oRoomWaitAtEnd)
{
	m_sWatchClasses["*"] = CVexTraceMsg::eNone;
}

CVexTraceServerConnection::~CVexTraceServerConnection()
{
	EndThreads();
}

void CVexTraceServerConnection::ConInd(bool bConnected, int nSocket)
{
	if (bConnected)
	{
		// A client that does not read must not hold the trace server up for ever.
		timeval oTimeout = {};
		oTimeout.tv_sec = nSendTimeoutMs / 1000;
		setsockopt(nSocket, SOL_SOCKET, SO_SNDTIMEO, &oTimeout, sizeof oTimeout);
		CVexMutexLock oLock(m_oLockSend);
		m_oSince = CClock::now();
	}
	CVexTCPIPServerBase::ConInd(bConnected, nSocket);
}

void CVexTraceServerConnection::DataInd(const unsigned char* pData, int nLen)
{
	if (!pData || nLen <= 0)
		return;
	// Taken out of the receive buffer, where it would pile up. It is there already: nothing is waited for.
	std::string sTaken;
	WaitForData(nLen, sTaken, 0);
	m_sInputMessage.append(reinterpret_cast<const char*>(pData), static_cast<std::size_t>(nLen));
	std::size_t nBegin = 0;
	std::size_t nSize = 0;
	while (FindFrame(m_sInputMessage, nBegin, nSize))
	{
		CVexTraceTCPIPMsg oMsg(m_sInputMessage.data() + nBegin, static_cast<int>(nSize));
		nBegin += nSize;
		if (oMsg.IsValid() && !Interpret(oMsg))
			nBegin = m_sInputMessage.size();
	}
	m_sInputMessage.erase(0, nBegin);
}

// False: the client is disconnected, nothing more of it counts.
bool CVexTraceServerConnection::Interpret(CVexTraceTCPIPMsg& rMsg)
{
	const CVexTraceTCPIPMsg::EMsgID eCommand = rMsg.GetCommand();
	const bool bLoginRequired = m_oTraceServer.IsLoginRequired();
	if (bLoginRequired && !m_bLoginOk && eCommand != CVexTraceTCPIPMsg::LOGIN_IND)
		return true;
	long nID = 0;
	switch (eCommand)
	{
	case CVexTraceTCPIPMsg::LOGIN_IND:
		return InterpretLogin(rMsg);
	case CVexTraceTCPIPMsg::START_IND:
		StartInd();
		break;
	case CVexTraceTCPIPMsg::STOP_IND:
		StopInd();
		break;
	case CVexTraceTCPIPMsg::INFO_IND:
		InfoInd();
		break;
	case CVexTraceTCPIPMsg::CHANGE_TRACE_LEVEL_IND:
		InterpretChangeTraceLevel(rMsg);
		break;
	case CVexTraceTCPIPMsg::GET_OBJECT_LIST_IND:
		GetObjectListInd();
		break;
	case CVexTraceTCPIPMsg::WATCH_CLASS_IND:
		InterpretWatchClass(rMsg);
		break;
	case CVexTraceTCPIPMsg::NAME_ID_IND:
		if (rMsg.GetData(nID))
			NameIDInd(nID);
		break;
	case CVexTraceTCPIPMsg::TRACE_CNF:
		if (rMsg.GetData(nID))
			TraceConfirm(nID);
		break;
	default:
		break;
	}
	return true;
}

bool CVexTraceServerConnection::InterpretLogin(CVexTraceTCPIPMsg& rMsg)
{
	std::string sUserName;
	std::string sPassword;
	if (!rMsg.GetData(sUserName) || !rMsg.GetData(sPassword))
		return true;
	LoginInd(sUserName, sPassword);
	if (m_bLoginOk || !m_oTraceServer.IsLoginRequired())
		return true;
	CloseSocket();
	return false;
}

void CVexTraceServerConnection::InterpretChangeTraceLevel(CVexTraceTCPIPMsg& rMsg)
{
	long nCount = 0;
	rMsg.GetData(nCount);
	std::vector<std::pair<long, ETraceLevel>> aoLevels;
	long nID = 0;
	long nLevels = 0;
	for (long i = 0; i < nCount && rMsg.GetData(nID) && rMsg.GetData(nLevels); ++i)
		aoLevels.emplace_back(nID, LevelsUpTo(nLevels));
	ChangeTraceLevelInd(aoLevels);
}

void CVexTraceServerConnection::InterpretWatchClass(CVexTraceTCPIPMsg& rMsg)
{
	std::string sClass;
	long nLevels = 0;
	if (!rMsg.GetData(sClass) || !rMsg.GetData(nLevels))
		return;
	const bool bWatched = WatchClass(sClass, LevelBits(nLevels));
	CVexTraceTCPIPMsg oAnswer;
	oAnswer.CreateMsg(CVexTraceTCPIPMsg::WATCH_CLASS_RESP, bWatched ? 0 : 1);
	Answer(oAnswer);
}

// False: the class would be more than a client may make the server keep.
bool CVexTraceServerConnection::WatchClass(const std::string& sClass, ETraceLevel eLevel)
{
	CVexMutexLock oLock(m_oLockConnectionObjectMap);
	const auto oFound = m_sWatchClasses.find(sClass);
	if (oFound != m_sWatchClasses.end())
	{
		oFound->second = eLevel;
		return true;
	}
	const std::size_t nNames = std::accumulate(m_sWatchClasses.begin(),
		m_sWatchClasses.end(),
		sClass.size(),
		[](std::size_t nSum, const auto& rEntry) { return nSum + rEntry.first.size(); });
	if (m_sWatchClasses.size() >= nMaxWatchClasses || nNames > nMaxWatchedNames)
		return false;
	m_sWatchClasses.emplace(sClass, eLevel);
	return true;
}

void CVexTraceServerConnection::TraceConfirm(long nID)
{
	TraceCnf(static_cast<int>(nID));
}

void CVexTraceServerConnection::TraceCnf(int)
{
	m_oTraceConfEvent.Signal();
}

void CVexTraceServerConnection::LoginInd(const std::string& sUserName, const std::string& sPassword)
{
	std::string sOurUserName;
	std::string sOurPassword;
	m_oTraceServer.GetUser(sOurUserName, sOurPassword);
	const int nCode = (sUserName == sOurUserName ? 0 : 1) + (IsPassword(sPassword, sOurPassword) ? 0 : 2);
	m_bLoginOk = nCode == 0;
	// Slows down a client that tries one password after another.
	if (nCode != 0 && m_oTraceServer.IsLoginRequired())
		CVexThread::Sleep(nFailedLoginDelayS, 0);
	CVexTraceTCPIPMsg oAnswer;
	oAnswer.CreateMsg(CVexTraceTCPIPMsg::LOGIN_RESP, nCode);
	Answer(oAnswer);
}

void CVexTraceServerConnection::StartInd()
{
	SwitchTrace(CVexTraceTCPIPMsg::START_RESP, true);
}

void CVexTraceServerConnection::StopInd()
{
	SwitchTrace(CVexTraceTCPIPMsg::STOP_RESP, false);
}

// No line goes out before the answer to the start, or after the answer to the stop. The switch comes first: once the
// client has the answer, TraceReq() sees it, though it looks without the lock.
void CVexTraceServerConnection::SwitchTrace(int nAnswerID, bool bWanted)
{
	CVexTraceTCPIPMsg oAnswer;
	oAnswer.CreateMsg(static_cast<CVexTraceTCPIPMsg::EMsgID>(nAnswerID));
	CVexMutexLock oLock(m_oLockSend);
	m_bTraceWanted = bWanted && !m_bEnding;
	Send(oAnswer);
}

void CVexTraceServerConnection::InfoInd()
{
	std::string sInfo = "unknown Application";
	if (const CVexBaseApplication* pApplication = CVexBaseApplication::GetApplication())
		sInfo = pApplication->GetApplName() + " started at " + VexToString(pApplication->GetStartZeit());
	CVexTraceTCPIPMsg oAnswer;
	oAnswer.CreateMsg(CVexTraceTCPIPMsg::INFO_RESP, sInfo);
	Answer(oAnswer);
}

void CVexTraceServerConnection::ChangeTraceLevelInd(const std::vector<std::pair<long, ETraceLevel>>& aoLevels)
{
	for (const auto& rLevel : aoLevels)
	{
		const int nLevels = m_oTraceServer.GetTracelevelMask(static_cast<unsigned int>(rLevel.second));
		const bool bKnown = !m_oTraceServer.GetObjectName(rLevel.first).empty();
		CVexMutexLock oLock(m_oLockConnectionObjectMap);
		const auto oFound = m_oConnectionObjectMap.find(rLevel.first);
		if (oFound != m_oConnectionObjectMap.end())
			oFound->second.m_nLevelsClient = nLevels;
		else if (bKnown || m_oConnectionObjectMap.size() < nMaxUnknownObjects)
			m_oConnectionObjectMap[rLevel.first].m_nLevelsClient = nLevels;
	}
	for (const auto& rLevel : aoLevels)
		m_oTraceServer.RefreshClientTraceLevels(rLevel.first, true);
	CVexTraceTCPIPMsg oAnswer;
	oAnswer.CreateMsg(CVexTraceTCPIPMsg::CHANGE_TRACE_LEVEL_RESP, aoLevels.empty() ? 1 : 0);
	Answer(oAnswer);
}

void CVexTraceServerConnection::GetObjectListInd()
{
	std::vector<std::pair<long, std::string>> aoObjectList;
	m_oTraceServer.GetObjectList(aoObjectList);
	CVexTraceTCPIPMsg oAnswer;
	oAnswer.CreateMsg(CVexTraceTCPIPMsg::GET_OBJECT_LIST_RESP, aoObjectList);
	Answer(oAnswer);
}

// KEPT: a new entry waits for the next refresh of the object. No message of a client leads here.
// Test: CVexTraceServerConnection.WatchedObjectIsRefreshedTheSecondTimeKept
void CVexTraceServerConnection::WatchClassInd(const std::string& sClass, ETraceLevel eLevel)
{
	const long nID = m_oTraceServer.GetObjectId(sClass);
	bool bRefresh = false;
	if (nID != -1)
	{
		CVexMutexLock oLock(m_oLockConnectionObjectMap);
		const auto oResult = m_oConnectionObjectMap.emplace(nID, SClientObjectDesc{ sClass, 0 });
		oResult.first->second.m_nLevelsClient |= eLevel;
		bRefresh = !oResult.second;
	}
	if (bRefresh)
		m_oTraceServer.RefreshClientTraceLevels(nID, true);
	CVexTraceTCPIPMsg oAnswer;
	oAnswer.CreateMsg(CVexTraceTCPIPMsg::WATCH_CLASS_RESP, nID == -1 ? 1 : 0);
	Answer(oAnswer);
}

void CVexTraceServerConnection::NameIDInd(long nID)
{
	CVexTraceTCPIPMsg oAnswer;
	oAnswer.CreateMsg(CVexTraceTCPIPMsg::NAME_ID_RESP, nID, m_oTraceServer.GetObjectName(nID));
	Answer(oAnswer);
}

int CVexTraceServerConnection::GetRequestedTraceLevels(long nID)
{
	CVexMutexLock oLock(m_oLockConnectionObjectMap);
	const auto oFound = m_oConnectionObjectMap.find(nID);
	return oFound == m_oConnectionObjectMap.end() ? 0 : oFound->second.m_nLevelsClient;
}

int CVexTraceServerConnection::GetWatchLevels(const std::string& sClass)
{
	CVexMutexLock oLock(m_oLockConnectionObjectMap);
	const auto oFound = m_sWatchClasses.find(sClass);
	return oFound == m_sWatchClasses.end() ? m_sWatchClasses["*"] : oFound->second;
}

std::vector<long> CVexTraceServerConnection::GetRequestedObjects()
{
	std::vector<long> anIDs;
	CVexMutexLock oLock(m_oLockConnectionObjectMap);
	for (const auto& rEntry : m_oConnectionObjectMap)
		anIDs.push_back(rEntry.first);
	return anIDs;
}

void CVexTraceServerConnection::StopTrace()
{
	m_bTraceWanted = false;
	m_oTraceConfEvent.Signal();
}

void CVexTraceServerConnection::ExpectEnd()
{
	m_bEnding = true;
	m_oTraceConfEvent.Signal();
}

// A closed socket's number may be in use again, so that this counts for another one. It is looked at again soon then.
int CVexTraceServerConnection::GetUntaken() const
{
	int nUntaken = 0;
	return ioctl(m_oSocket, SIOCOUTQ, &nUntaken) == 0 ? nUntaken : 0;
}

bool CVexTraceServerConnection::IsSending() const
{
	return m_bTraceWanted && GetUntaken() > 0;
}

void CVexTraceServerConnection::DisconnectOverdue()
{
	// While something is being sent it is looked at another time. With the lock it is still the same client.
	const std::unique_lock<CVexMutex> oLock(m_oLockSend, std::try_to_lock);
	if (oLock && m_oTraceServer.IsLoginRequired() && !m_bLoginOk && CClock::now() - m_oSince >= oLoginTimeout)
		CloseSocket();
}

void CVexTraceServerConnection::ForgetClient()
{
	StopTrace();
	{
		// After a line that is just being sent: the next one finds that none is wanted.
		CVexMutexLock oLock(m_oLockSend);
		m_nUnconfirmed = 0;
		m_bLoginOk = false;
	}
	std::string().swap(m_sInputMessage);
	CVexMutexLock oLock(m_oLockConnectionObjectMap);
	m_oConnectionObjectMap.clear();
	m_sWatchClasses.clear();
	m_sWatchClasses["*"] = CVexTraceMsg::eNone;
}

void CVexTraceServerConnection::TraceReq(const CVexTraceMsg& oMsg)
{
	if (!SendLine(oMsg) || m_bEnding)
		return;
	// On one processor the client and the read thread go first: this one need not be woken then.
	sched_yield();
	if (m_oTraceConfEvent.Wait(nConfirmTimeoutMs))
		m_nUnconfirmed = 0;
	else
		CountUnconfirmed();
}

bool CVexTraceServerConnection::IsWanted(const CVexTraceMsg& oMsg, const std::string& sClass)
{
	const int nLevels = GetRequestedTraceLevels(oMsg.GetID()) | GetWatchLevels(sClass);
	return (nLevels & oMsg.GetTraceLevel()) != 0;
}

bool CVexTraceServerConnection::SendLine(const CVexTraceMsg& oMsg)
{
	const std::string sClass = GetClassName(m_oTraceServer.GetObjectName(oMsg.GetID()));
	CVexMutexLock oLock(m_oLockSend);
	if (!m_bTraceWanted || !IsWanted(oMsg, sClass) || !AwaitRoom())
		return false;
	CVexTraceTCPIPMsg oLine;
	oLine.CreateMsg(CVexTraceTCPIPMsg::TRACE_REQ, oMsg.GetID(), oMsg.GetTraceLevel(), oMsg.GetMsgText(sClass, ' '));
	// In this order nobody's StopTrace() or ExpectEnd() is missed.
	m_oTraceConfEvent.Reset();
	return m_bTraceWanted && Send(oLine);
}

// At the end nobody is waited for longer than a second in all. A client that reads then still gets every line.
bool CVexTraceServerConnection::AwaitRoom()
{
	if (!m_bEnding || m_oSocket < 0)
		return true;
	const CClock::time_point oBegin = CClock::now();
	pollfd oPoll = { m_oSocket, POLLOUT, 0 };
	const int nLeftMs = static_cast<int>(std::max<std::chrono::microseconds::rep>(m_oRoomLeft.count() / 1000, 0));
	const bool bRoom = poll(&oPoll, 1, nLeftMs) != 0;
	m_oRoomLeft -= std::chrono::duration_cast<std::chrono::microseconds>(CClock::now() - oBegin);
	if (!bRoom)
		m_bTraceWanted = false;
	return bRoom;
}

void CVexTraceServerConnection::CountUnconfirmed()
{
	CVexMutexLock oLock(m_oLockSend);
	const unsigned int nMax = m_oTraceServer.GetMaxUnconfirmed();
	if (m_bTraceWanted && ++m_nUnconfirmed >= nMax && nMax != 0)
		CloseSocket();
}

void CVexTraceServerConnection::Answer(const CVexTraceTCPIPMsg& oMsg)
{
	CVexMutexLock oLock(m_oLockSend);
	Send(oMsg);
}

// With m_oLockSend held, so that it is still the same client that is disconnected when the frame was cut: nothing after
// it would be understood. A slow reader is waited for as long as it takes something each second, until the end comes.
bool CVexTraceServerConnection::Send(const CVexTraceTCPIPMsg& oMsg)
{
	const std::string sFrame = oMsg.GetMessage();
	std::size_t nSent = 0;
	bool bTaken = true;
	for (int nUntaken = INT_MAX; bTaken; bTaken = bTaken && !m_bEnding)
	{
		std::size_t nDone = 0;
		if (SendBlock(sFrame.data() + nSent, sFrame.size() - nSent, nDone) == eCallNotAllowed)
			return false;
		nSent += nDone;
		if (nSent == sFrame.size())
			return true;
		const int nBefore = std::exchange(nUntaken, GetUntaken());
		bTaken = nDone > 0 || nUntaken < nBefore;
	}
	CloseSocket();
	return false;
}

bool CVexTraceServerConnection::IsTraceWanted() const
{
	return m_bTraceWanted;
}
