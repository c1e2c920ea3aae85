// Requests and their confirmations, and the reading of frames.

#include "VexTraceClientConnection.h"

#include "VexPassword.h"
#include "VexStringFunc.h"
#include "VexThread.h"

#include <algorithm>
#include <chrono>
#include <iostream>

namespace
{
const std::size_t nHeaderSize = 8;
const std::size_t nMarkerSize = 4;
const int nMaxPayloadSize = 16 * 1024 * 1024;
const char* const pszStartMarker = "effe";

// More than the largest frame.
const std::size_t nMaxBacklog = 32 * 1024 * 1024;
const long nFullPauseMs = 5;

// How long the read thread does not look whether it is to end or the connection has broken.
const int nSliceMs = 100;

const std::int32_t nRequestToConfirmation = 0x01000000;

struct SLoginResult
{
	int nCode;
	CVexTraceClientConnection::ELoginRetCode eRetCode;
	const char* pszExplanation;
};

const SLoginResult aoLoginResults[] = {
	{ 0, CVexTraceClientConnection::eLoginOK, "Anmeldung ist erfolgreich!" },
	{ 1, CVexTraceClientConnection::eUsernameInvalid, "Benutzername ist falsch!" },
	{ 2, CVexTraceClientConnection::ePasswordInvalid, "Passwort ist falsch!" },
	{ 3, CVexTraceClientConnection::eLoginFailed, "Benutzername und Passwort sind ungueltig!" },
};

// Waits in milliseconds, of which 0xFFFFFFFF never pass.
class CDeadline
{
public:
	explicit CDeadline(std::uint32_t nTimeoutMs) : m_nTimeoutMs(nTimeoutMs) {}

	std::uint32_t LeftMs() const
	{
		if (m_nTimeoutMs == 0xFFFFFFFF)
			return m_nTimeoutMs;
		const auto nPassedMs =
			std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_oBegin).count();
		return nPassedMs < m_nTimeoutMs ? static_cast<std::uint32_t>(m_nTimeoutMs - nPassedMs) : 0;
	}

private:
	const std::chrono::steady_clock::time_point m_oBegin = std::chrono::steady_clock::now();
	const std::uint32_t m_nTimeoutMs;
};

// The levels are the bits of a mask; a number with others names none of them.
CVexTraceMsg::ETraceLevel LevelOf(long nLevel)
{
	return nLevel >= 0 && nLevel < 2 * CVexTraceMsg::eDebugL3 ? static_cast<CVexTraceMsg::ETraceLevel>(nLevel)
															  : CVexTraceMsg::eNone;
}

// Ends at the first entry that the payload does not hold, whatever the count says.
std::vector<std::pair<long, std::string>> ReadObjectList(CVexTraceTCPIPMsg& rMsg, long nCount)
{
	std::vector<std::pair<long, std::string>> aoObjectList;
	long nID = 0;
	std::string sName;
	for (; nCount > 0 && rMsg.GetData(nID) && rMsg.GetData(sName); --nCount)
		aoObjectList.emplace_back(nID, sName);
	return aoObjectList;
}
}    // namespace

// Reads while there is a connection and rests in between.
class CVexTraceClientConnection::CReadThread : public CVexThread
{
public:
	explicit CReadThread(CVexTraceClientConnection* poBaseClass) : CVexThread(0), m_poBaseClass(poBaseClass) {}

	~CReadThread() override { End(); }
	CReadThread(const CReadThread&) = delete;
	CReadThread& operator=(const CReadThread&) = delete;

	void Run() override
	{
		while (!IsTerminationRequested())
		{
			m_WaitForConnectionEstablished.Wait(0xFFFFFFFF);
			if (m_bTerminateThread)
				break;
			// What came before the end of the connection is read too.
			while (m_poBaseClass->ReadMessage() != CVexTCPIPBase::eNotConnected && !m_bTerminateThread)
			{
			}
			Rest();
		}
		m_ThreadTerminated.Signal();
	}

	// The connection is there.
	void Wake()
	{
		m_bResting = false;
		m_WaitForConnectionEstablished.Signal();
	}

	bool IsResting() const { return m_bResting; }

	// False if the thread does not come to rest within the time.
	bool WaitForRest(std::uint32_t nTimeoutMs)
	{
		const CDeadline oDeadline(nTimeoutMs);
		while (!m_bResting)
			if (!m_oRest.Wait(oDeadline.LeftMs()))
				return m_bResting;
		return true;
	}

	bool IsTerminating() const { return m_bTerminateThread; }

	void End()
	{
		m_bTerminateThread = true;
		m_WaitForConnectionEstablished.Signal();
		Terminate();
	}

private:
	void Rest()
	{
		m_bResting = true;
		m_oRest.Signal();
		// Nothing more will be confirmed.
		m_poBaseClass->m_oConfEvent.Signal();
	}

	CVexTraceClientConnection* m_poBaseClass;
	CVexEvent m_WaitForConnectionEstablished;
	CVexEvent m_ThreadTerminated;
	std::atomic<bool> m_bTerminateThread{ false };
	std::atomic<bool> m_bResting{ true };    // from the loss of a connection to the next login
	CVexEvent m_oRest;
};

CVexTraceClientConnection::CVexTraceClientConnection() : m_poReadThread(std::make_unique<CReadThread>(this))
{
	m_poReadThread->Start();
}

CVexTraceClientConnection::~CVexTraceClientConnection()
{
	m_oServer.DisconnectReq(5);
	// Ended before anything of this object goes, the pointer to it included.
	m_poReadThread->End();
}

void CVexTraceClientConnection::SetTraceName(const char* pszName)
{
	m_oTrace.SetName(pszName, nullptr);
	m_oServer.SetTraceName(m_oTrace.CreateObjectName("m_oServer", &m_oTrace).c_str());
	m_oConfEvent.SetTraceName(m_oTrace.CreateObjectName("m_oConfEvent", &m_oTrace).c_str());
}

bool CVexTraceClientConnection::LoginReq(
	const std::string& sUser, const CVexPassword& oPassword, const char* szAddress, unsigned short nPort)
{
	const bool bPrepared = PrepareLogin();
	// While connected too: the refused request says so in the trace.
	if ((!bPrepared && !IsConnected()) ||
		m_oServer.ConnectToServer(szAddress, nPort, static_cast<int>(m_nTimeout.load())) != CVexTCPIPBase::eOK)
		return false;
	if (bPrepared)
		return ExecuteLogin(sUser, oPassword) == eOK && m_eLoginRetCode == eLoginOK;
	// The earlier connection has just ended, and may still be read.
	m_oServer.DisconnectReq(5);
	return false;
}

// A read thread that still waits for the rest of a frame would take the bytes of the next connection for it.
bool CVexTraceClientConnection::PrepareLogin()
{
	return !IsConnected() && m_poReadThread->WaitForRest(m_nTimeout);
}

CVexTraceClientConnection::EErrorCode CVexTraceClientConnection::ExecuteLogin(
	const std::string& sUser, const CVexPassword& oPassword)
{
	// An undefined code leaves it as it is, and is no login.
	m_eLoginRetCode = eLoginFailed;
	m_poReadThread->Wake();
	CVexTraceTCPIPMsg oMsg;
	oMsg.CreateMsg(sUser, VexToString(oPassword));
	return ExecuteReq(oMsg);
}

void CVexTraceClientConnection::EndReading()
{
	m_oServer.DisconnectReq(5);
	m_poReadThread->WaitForRest(0xFFFFFFFF);
}

bool CVexTraceClientConnection::IsConnected()
{
	return m_oServer.GetConnectState() == CVexTCPIPBase::eConnected;
}

bool CVexTraceClientConnection::StartReq()
{
	if (m_eLoginRetCode != eLoginOK)
		return false;
	CVexTraceTCPIPMsg oMsg;
	oMsg.CreateMsg(CVexTraceTCPIPMsg::START_REQ);
	return ExecuteReq(oMsg) == eOK;
}

bool CVexTraceClientConnection::StopReq()
{
	CVexTraceTCPIPMsg oMsg;
	oMsg.CreateMsg(CVexTraceTCPIPMsg::STOP_REQ);
	return ExecuteReq(oMsg) == eOK;
}

bool CVexTraceClientConnection::InfoReq(std::string& sInfo)
{
	CVexTraceTCPIPMsg oMsg;
	oMsg.CreateMsg(CVexTraceTCPIPMsg::INFO_REQ, sInfo);
	if (ExecuteReq(oMsg) != eOK)
		return false;
	CVexMutexLock oLock(m_oResultMutex);
	sInfo = m_sReturnString;
	return true;
}

CVexTraceClientConnection::CServer::~CServer()
{
	EndThreads();
}

void CVexTraceClientConnection::CServer::DataInd(const unsigned char*, int)
{
	while (IsFull() && m_eState == eConnected)
		CVexThread::Sleep(0, nFullPauseMs);
}

bool CVexTraceClientConnection::CServer::IsFull()
{
	CVexMutexLock oLock(m_oRecvBufferMutex);
	return m_aRecvBuffer.size() > nMaxBacklog;
}

bool CVexTraceClientConnection::GetObjectListReq(std::vector<std::pair<long, std::string>>& aoObjectList)
{
	CVexTraceTCPIPMsg oMsg;
	oMsg.CreateMsg(CVexTraceTCPIPMsg::GET_OBJECT_LIST_REQ);
	if (ExecuteReq(oMsg) != eOK)
		return false;
	CVexMutexLock oLock(m_oResultMutex);
	aoObjectList = m_aoReturnObjectArray;
	return true;
}

bool CVexTraceClientConnection::ChangeTraceLevelReq(
	const std::vector<std::pair<long, CVexTraceMsg::ETraceLevel>>& aoLevels)
{
	CVexTraceTCPIPMsg oMsg;
	oMsg.CreateMsg(CVexTraceTCPIPMsg::CHANGE_TRACE_LEVEL_REQ, aoLevels);
	return ExecuteReq(oMsg) == eOK && m_nReturnParam == 0;
}

bool CVexTraceClientConnection::WatchClassReq(const std::string& sClass, CVexTraceMsg::ETraceLevel eLevel)
{
	CVexTraceTCPIPMsg oMsg;
	oMsg.CreateMsg(CVexTraceTCPIPMsg::WATCH_CLASS_REQ, sClass, eLevel);
	return ExecuteReq(oMsg) == eOK && m_nReturnParam == 0;
}

bool CVexTraceClientConnection::NameIDReq(int nID, std::string& sName)
{
	CVexTraceTCPIPMsg oMsg;
	oMsg.CreateMsg(CVexTraceTCPIPMsg::NAME_ID_REQ, nID);
	if (ExecuteReq(oMsg) != eOK)
		return false;
	CVexMutexLock oLock(m_oResultMutex);
	sName = m_sReturnString;
	return true;
}

// The late confirmation of an earlier request signals the event too, but does not answer this one.
CVexTraceClientConnection::EErrorCode CVexTraceClientConnection::ExecuteReq(const CVexTraceTCPIPMsg& oMsg)
{
	m_oConfEvent.Reset();
	m_nAwaited = oMsg.GetCommand() + nRequestToConfirmation;
	const CVexTCPIPBase::ERetCode eSent = Send(oMsg);
	if (eSent != CVexTCPIPBase::eOK)
		return eSent == CVexTCPIPBase::eTimeout ? eTimeout : eError;
	const CDeadline oDeadline(m_nTimeout);
	while (m_nAwaited != 0 && !m_poReadThread->IsResting() && m_oConfEvent.Wait(oDeadline.LeftMs()))
	{
	}
	return m_nAwaited.exchange(-1) == 0 ? eOK : eTimeout;
}

CVexTCPIPBase::ERetCode CVexTraceClientConnection::Send(const CVexTraceTCPIPMsg& oMsg)
{
	const std::string sFrame = oMsg.GetMessage();
	CVexMutexLock oLock(m_oSendMutex);
	return m_oServer.DataReq(sFrame.data(), static_cast<int>(sFrame.size()), 0);
}

void CVexTraceClientConnection::LoginCnf(int nCode)
{
	const auto pResult = std::find_if(std::begin(aoLoginResults),
		std::end(aoLoginResults),
		[nCode](const SLoginResult& rResult) { return rResult.nCode == nCode; });
	if (pResult != std::end(aoLoginResults))
		m_eLoginRetCode = pResult->eRetCode;
	m_oConfEvent.Signal();
}

void CVexTraceClientConnection::StartCnf()
{
	m_oConfEvent.Signal();
}

void CVexTraceClientConnection::StopCnf()
{
	m_oConfEvent.Signal();
}

void CVexTraceClientConnection::InfoCnf(const std::string& sInfo)
{
	{
		CVexMutexLock oLock(m_oResultMutex);
		m_sReturnString = sInfo;
	}
	m_oConfEvent.Signal();
}

void CVexTraceClientConnection::ChangeTraceLevelCnf(long nResult)
{
	m_nReturnParam = static_cast<std::int32_t>(nResult);
	m_oConfEvent.Signal();
}

void CVexTraceClientConnection::GetObjectListCnf(const std::vector<std::pair<long, std::string>>& aoObjectList)
{
	{
		CVexMutexLock oLock(m_oResultMutex);
		m_aoReturnObjectArray = aoObjectList;
	}
	m_oConfEvent.Signal();
}

void CVexTraceClientConnection::WatchClassCnf(long nResult)
{
	m_nReturnParam = static_cast<std::int32_t>(nResult);
	m_oConfEvent.Signal();
}

void CVexTraceClientConnection::NameIDCnf(int, const std::string& sName)
{
	{
		CVexMutexLock oLock(m_oResultMutex);
		m_sReturnString = sName;
	}
	m_oConfEvent.Signal();
}

void CVexTraceClientConnection::TraceInd(const CVexTraceMsg& oMsg)
{
	TraceResp(static_cast<int>(oMsg.GetID()));
	// One write: lines of several threads stay whole.
	const std::string sLine = oMsg.GetText() + '\n';
	std::cerr.write(sLine.data(), static_cast<std::streamsize>(sLine.size())).flush();
}

void CVexTraceClientConnection::TraceResp(int nID)
{
	CVexTraceTCPIPMsg oMsg;
	oMsg.CreateMsg(CVexTraceTCPIPMsg::TRACE_CNF, nID);
	Send(oMsg);
}

CVexTCPIPBase::ERetCode CVexTraceClientConnection::ReadMessage()
{
	CVexTCPIPBase::ERetCode eRetCode = ReadInput(nHeaderSize);
	if (eRetCode == CVexTCPIPBase::eOK)
	{
		const CVexTraceTCPIPMsg oHeader(m_sInput.data(), static_cast<int>(m_sInput.size()));
		const int nPayloadSize = oHeader.GetDataSize();
		if (!oHeader.IsValid() || nPayloadSize < 0 || nPayloadSize > nMaxPayloadSize)
		{
			DropToStartMarker();
			return eRetCode;
		}
		eRetCode = ReadInput(nHeaderSize + static_cast<std::size_t>(nPayloadSize) + nMarkerSize);
	}
	CVexTraceTCPIPMsg oMsg(m_sInput.data(), static_cast<int>(m_sInput.size()));
	m_sInput.clear();
	if (eRetCode == CVexTCPIPBase::eOK && oMsg.IsValid())
		MsgInterpretation(oMsg);
	return eRetCode;
}

// Until m_sInput has nLength bytes. In slices: what a wait that times out hands over is kept, and the next one goes on.
CVexTCPIPBase::ERetCode CVexTraceClientConnection::ReadInput(std::size_t nLength)
{
	const CDeadline oDeadline(m_nTimeout);
	std::string sData;
	for (;;)
	{
		// Asked before the wait: what comes before the end of the connection is in the buffer then.
		const bool bConnected = IsConnected();
		const std::uint32_t nWaitMs = bConnected ? std::min<std::uint32_t>(oDeadline.LeftMs(), nSliceMs) : 0;
		m_oServer.WaitForData(static_cast<int>(nLength - m_sInput.size()), sData, static_cast<int>(nWaitMs));
		m_sInput += sData;
		if (m_sInput.size() >= nLength)
			return CVexTCPIPBase::eOK;
		if (!bConnected || m_poReadThread->IsTerminating())
			return CVexTCPIPBase::eNotConnected;
		if (oDeadline.LeftMs() == 0)
			return CVexTCPIPBase::eTimeout;
	}
}

// The bytes behind the first one may be the beginning of a start marker.
void CVexTraceClientConnection::DropToStartMarker()
{
	std::size_t nDrop = 1;
	while (nDrop < m_sInput.size() &&
		m_sInput.compare(nDrop, nMarkerSize, pszStartMarker, std::min(nMarkerSize, m_sInput.size() - nDrop)) != 0)
		++nDrop;
	m_sInput.erase(0, nDrop);
}

void CVexTraceClientConnection::MsgInterpretation(CVexTraceTCPIPMsg& oMsg)
{
	long nNumber = 0;
	long nLevel = 0;
	std::string sText;
	const CVexTraceTCPIPMsg::EMsgID eCommand = oMsg.GetCommand();
	switch (eCommand)
	{
	case CVexTraceTCPIPMsg::LOGIN_CNF:
		if (!oMsg.GetData(nNumber))
			return;
		LoginCnf(static_cast<int>(nNumber));
		break;
	case CVexTraceTCPIPMsg::START_CNF:
		StartCnf();
		break;
	case CVexTraceTCPIPMsg::STOP_CNF:
		StopCnf();
		break;
	case CVexTraceTCPIPMsg::INFO_CNF:
		if (!oMsg.GetData(sText))
			return;
		InfoCnf(sText);
		break;
	case CVexTraceTCPIPMsg::CHANGE_TRACE_LEVEL_CNF:
		if (!oMsg.GetData(nNumber))
			return;
		ChangeTraceLevelCnf(nNumber);
		break;
	case CVexTraceTCPIPMsg::GET_OBJECT_LIST_CNF:
		if (!oMsg.GetData(nNumber))
			return;
		GetObjectListCnf(ReadObjectList(oMsg, nNumber));
		break;
	case CVexTraceTCPIPMsg::WATCH_CLASS_CNF:
		if (!oMsg.GetData(nNumber))
			return;
		WatchClassCnf(nNumber);
		break;
	case CVexTraceTCPIPMsg::NAME_ID_CNF:
		if (!oMsg.GetData(nNumber) || !oMsg.GetData(sText))
			return;
		NameIDCnf(static_cast<int>(nNumber), sText);
		break;
	case CVexTraceTCPIPMsg::TRACE_REQ:
		if (oMsg.GetData(nNumber) && oMsg.GetData(nLevel) && oMsg.GetData(sText))
			TraceInd(CVexTraceMsg(LevelOf(nLevel), nNumber, sText.c_str()));
		return;
	default:
		m_oTrace.AddMsg(CVexTraceMsg::eError, "Kommando ist unbekannt");
		return;
	}
	Confirmed(eCommand);
}

// Behind the handlers, so that the result is there when ExecuteReq() sees it.
void CVexTraceClientConnection::Confirmed(CVexTraceTCPIPMsg::EMsgID eCommand)
{
	std::int32_t nAwaited = eCommand;
	if (m_nAwaited.compare_exchange_strong(nAwaited, 0))
		m_oConfEvent.Signal();
}

CVexTraceClientConnection::CVexTraceEx::CVexTraceEx() : CVexTrace("CVexTraceClientConnection", nullptr, nullptr) {}
