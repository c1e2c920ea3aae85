#include "MonitorConnection.h"

#include "MonitorAddress.h"
#include "MonitorText.h"
#include "VexPassword.h"
#include "VexThread.h"

namespace
{
const int nLookAgainMs = 5;

std::string NameOfPeer(const SMonitorOptions& oOptions)
{
	return oOptions.m_sHost + ":" + std::to_string(oOptions.m_nPort);
}
}    // namespace

CMonitorConnection::CMonitorConnection(CMonitorLines& rLines) : m_rLines(rLines) {}

CMonitorConnection::~CMonitorConnection()
{
	EndReading();
}

void CMonitorConnection::TraceInd(const CVexTraceMsg& oMsg)
{
	const int nObject = static_cast<int>(oMsg.GetID());
	// Asked before the line is confirmed: until then the program keeps the object's name, even if the object has gone.
	// The answer comes to NameIDCnf().
	if (m_rLines.ClaimQuestion(nObject))
	{
		CVexTraceTCPIPMsg oQuestion;
		oQuestion.CreateMsg(CVexTraceTCPIPMsg::NAME_ID_REQ, nObject);
		Send(oQuestion);
	}
	TraceResp(nObject);
	m_rLines.Add(oMsg);
}

// Not handed on to the base class, whose NameIDReq() is not used: the name would replace the text that InfoReq() waits for.
void CMonitorConnection::NameIDCnf(int nID, const std::string& sName)
{
	m_rLines.SetName(nID, sName);
}

CMonitorConnection::EResult CMonitorConnection::Connect(
	const SMonitorOptions& oOptions, const std::atomic<bool>& rbStop, std::string& rsProblem)
{
	const EResult eResult = ConnectTo(oOptions, rbStop, rsProblem);
	return eResult == eLoggedIn ? LogIn(oOptions, rbStop, rsProblem) : eResult;
}

CMonitorConnection::EResult CMonitorConnection::ConnectTo(
	const SMonitorOptions& oOptions, const std::atomic<bool>& rbStop, std::string& rsProblem)
{
	rsProblem = "cannot connect to " + NameOfPeer(oOptions) + ": ";
	// Not left to the library, which takes all that begins with a digit for an address.
	std::string sAddress;
	if (!ResolveHost(oOptions.m_sHost, sAddress))
	{
		rsProblem += "unknown host";
		return eNotReached;
	}
	// Not LoginReq(), which takes its whole time-out to answer where nothing listens.
	m_oServer.ConnectReq(sAddress.c_str(), oOptions.m_nPort, true, -2);
	for (std::uint32_t nMs = 0;
		 m_oServer.GetConnectState() == CVexTCPIPBase::eConnecting && nMs < m_nTimeout && !rbStop;
		 nMs += nLookAgainMs)
		CVexThread::Sleep(0, nLookAgainMs);
	if (rbStop)
		return eStopped;
	if (IsAlive())
		return eLoggedIn;
	rsProblem += ReasonOfFailure(sAddress, oOptions.m_nPort);
	return eNotReached;
}

CMonitorConnection::EResult CMonitorConnection::LogIn(
	const SMonitorOptions& oOptions, const std::atomic<bool>& rbStop, std::string& rsProblem)
{
	CVexPassword oPassword(true);
	std::string sPassword = TextToProgram(oOptions.m_sPassword, oOptions.m_bTerminalUtf8);
	oPassword.SetPassword(sPassword);
	if (ExecuteLogin(TextToProgram(oOptions.m_sUser, oOptions.m_bTerminalUtf8), oPassword) != eOK)
	{
		rsProblem = NameOfPeer(oOptions) + " does not answer the login";
		return rbStop ? eStopped : eNotReached;
	}
	switch (m_eLoginRetCode.load())
	{
	case eLoginOK:
		return eLoggedIn;
	case eUsernameInvalid:
		rsProblem = "wrong user name";
		return eRejected;
	case ePasswordInvalid:
		rsProblem = "wrong password";
		return eRejected;
	default:
		rsProblem = "wrong user name and password";
		return eRejected;
	}
}

bool CMonitorConnection::IsAlive()
{
	return m_oServer.GetConnectState() == CVexTCPIPBase::eConnected;
}

void CMonitorConnection::End()
{
	EndReading();
}
