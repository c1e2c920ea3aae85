#include "VexSMTPClient.h"

#include "VexMail.h"
#include "VexMailAddress.h"
#include "VexMailClientInternal.h"
#include "VexTraceTextInternal.h"

#include <exception>
#include <utility>

namespace
{
const std::size_t nMaxGreeting = 255;
const char* const pszLocation = "\tFile source/VexSMTPClient Line 329";
}    // namespace

const std::pair<CVexSMTPClient::ERetCode, const char*> CVexSMTPClient::m_aoReturnPair[17] = {
	{ eSmtpOK, "250" },
	{ eHelp, "214" },
	{ eSendData, "354" },
	{ eServiceNotAvailable, "221" },
	{ eServiceNotAvailable, "421" },
	{ eServiceReady, "220" },
	{ eIllegalCommand, "500" },
	{ eIllegalParameterOfCommand, "501" },
	{ eCommandNotFound, "502" },
	{ eIllegalSequenceOfCommands, "503" },
	{ eParameterOfCommandNotFound, "504" },
	{ eMailboxNotFound, "550" },
	// KEPT: never reached, the row of 221 above comes first. Test: CVexSMTPClient.SpeaksExactlyThisDialogueKept
	{ eUserFailed, "221" },
	{ eUserFailed, "521" },
	{ eStorageAllocationExceeded, "552" },
	{ eNameOfMailboxIllegal, "553" },
	{ eTransactionFailed, "554" },
};

const std::pair<CVexSMTPClient::ERetCode, const char*> CVexSMTPClient::m_aoReturnPairOfString[21] = {
	{ eTimeout, "Funktion wurde vorzeitig wg. Timeout abgebrochen" },
	{ eTCPIPError, "Es gab einen Fehler in der TCP/IP-Kommunikation" },
	{ eIPAddressInvalid, "IPAdresse ist nicht angegeben" },
	{ ePortInvalid, "Port ist nicht angegeben" },
	{ eError, "Anderer Fehlerzustand" },
	{ eSmtpOK, "250 Nachricht wurde ordnungsgemaess abgesendet" },
	{ eHelp, "214 Hilfe" },
	{ eSendData, "354 Start die Nachrichteingabe" },
	{ eServiceNotAvailable, "221 Transmissionkanal ist gesperrt" },
	{ eServiceReady, "220 SMTP-Service ist zur Arbeit bereit" },
	{ eIllegalCommand, "500 Kommando ist nicht korrekt (SyntaxFehler)" },
	{ eIllegalParameterOfCommand, "501 Parameter des Kommandos ist nicht korrekt" },
	{ eCommandNotFound, "502 Gegebenes Kommando ist nicht existiert" },
	{ eIllegalSequenceOfCommands, "503 Sequenz der Kommandos ist nicht korrekt" },
	{ eParameterOfCommandNotFound, "504 Parameter des Kommandos ist nicht existiert" },
	{ eMailboxNotFound, "550 Postkasten ist nicht gefunden" },
	{ eUserFailed, "221 Benutzername ist ungueltig" },
	{ eStorageAllocationExceeded, "552 Speicherzuweisung ist uberschritten" },    // KEPT: spelling
	{ eNameOfMailboxIllegal, "553 PostkastenName ist nicht korrekt" },
	{ eTransactionFailed, "554 Transaktion ist misslungen" },
	{ eSmtpError, "Unbekannter Fehlerzustand" },
};

CVexSMTPClient::CVexSMTPClient()
{
	CVexSMTPClient::SetTraceName("CVexSMTPClient");
}

CVexSMTPClient::~CVexSMTPClient() = default;

void CVexSMTPClient::SetTraceName(const char* pszName)
{
	m_oTrace.SetName(pszName, nullptr);
	m_oVexTCPIPBase.SetTraceName(m_oTrace.CreateObjectName("m_oVexTCPIPBase", &m_oTrace).c_str());
}

CVexSMTPClient::ERetCode CVexSMTPClient::ConnectToServer(const char* pszAddress, unsigned short nPort)
{
	if (nPort == 0)
		return ePortInvalid;
	if (!pszAddress || !*pszAddress)
		return eIPAddressInvalid;
	ERetCode eResult = ConvertRetCode(m_oVexTCPIPBase.ConnectToServer(pszAddress, nPort, static_cast<int>(m_nTimeout)));
	if (eResult == eOK)
	{
		m_sLine.clear();
		eResult = GetResponse();
	}
	if (eResult != eServiceReady)
		return eResult;
	// KEPT: the name is the server's, not this host's. Test: CVexSMTPClient.SpeaksExactlyThisDialogueKept
	const std::string sGreeting = std::string("HELO ") + pszAddress;
	return ExecuteCommand(sGreeting.substr(0, nMaxGreeting).c_str(), "");
}

// By value: so it is in the interface.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
CVexSMTPClient::ERetCode CVexSMTPClient::SendMessage(const CVexMail& oMail, std::vector<CVexMailAddress> aoRecipients)
{
	ERetCode eResult = eOK;
	for (const CVexMailAddress& rRecipient : aoRecipients)
	{
		eResult = SendTo(oMail, rRecipient);
		if (eResult != eOK && eResult != eSmtpOK)
			break;
	}
	return eResult;
}

CVexSMTPClient::ERetCode CVexSMTPClient::SendTo(const CVexMail& oMail, const CVexMailAddress& oRecipient)
{
	ERetCode eResult = ExecuteCommand("RSET", "");
	if (eResult == eSmtpOK)
		eResult = ExecuteCommand("MAIL FROM: ", oMail.GetFrom().GetSmtpAddress());
	if (eResult == eSmtpOK)
		eResult = ExecuteCommand("RCPT TO: ", oRecipient.GetSmtpAddress());
	if (eResult != eSmtpOK)
		return eResult;
	eResult = ExecuteCommand("DATA", "");
	return eResult == eSendData ? SendData(oMail) : eResult;
}

CVexSMTPClient::ERetCode CVexSMTPClient::LogOut()
{
	return ExecuteCommand("QUIT", "");
}

std::string CVexSMTPClient::GetTextOfResponse(ERetCode eRetCode) const
{
	return VexFindText(m_aoReturnPairOfString, eRetCode);
}

CVexSMTPClient::ERetCode CVexSMTPClient::ConvertRetCode(CVexTCPIPBase::ERetCode eRetCode) const
{
	switch (eRetCode)
	{
	case CVexTCPIPBase::eOK:
		return eOK;
	case CVexTCPIPBase::eTimeout:
		return eTimeout;
	case CVexTCPIPBase::eSocketError:
	case CVexTCPIPBase::eNotConnected:
		return eTCPIPError;
	default:
		return eError;
	}
}

CVexSMTPClient::ERetCode CVexSMTPClient::GetResponse()
{
	const ERetCode eResult = ReceiveLine(m_nTimeout);
	const std::string sReply = std::exchange(m_sLine, std::string());
	m_sReplyBegin = sReply.substr(0, 4);
	return eResult == eOK ? VexFindReply(m_aoReturnPair, sReply, eSmtpError) : eResult;
}

CVexSMTPClient::ERetCode CVexSMTPClient::ReceiveLine(unsigned int nTimeout)
{
	if (m_sLine.find("\r\n") != std::string::npos)
		return eOK;
	// The part that is there may end within the line end.
	const char* const pszEnd = !m_sLine.empty() && m_sLine.back() == '\r' ? "\n" : "\r\n";
	std::string sRest;
	const ERetCode eResult = ConvertRetCode(m_oVexTCPIPBase.WaitForData(pszEnd, sRest, static_cast<int>(nTimeout)));
	m_sLine += sRest;
	return eResult;
}

void CVexSMTPClient::DropRestOfReply()
{
	while (m_sReplyBegin.find('-') == 3 && ReceiveLine(0) == eOK && m_sLine.compare(0, 3, m_sReplyBegin, 0, 3) == 0)
		m_sReplyBegin = std::exchange(m_sLine, std::string()).substr(0, 4);
}

CVexSMTPClient::ERetCode CVexSMTPClient::ExecuteCommand(const char* pszCommand, const std::string& sArgument)
{
	const std::string sCommand = pszCommand + sArgument;
	ERetCode eResult = eIllegalParameterOfCommand;
	if (!VexHasLineBreak(sCommand))
	{
		DropRestOfReply();
		eResult = ConvertRetCode(VexSend(m_oVexTCPIPBase, sCommand + "\r\n", m_nTimeout));
		if (eResult == eOK)
			eResult = GetResponse();
	}
	// KEPT: what is no eSmtpOK is an error here, also the replies that DATA and QUIT are meant to have, and the good one
	// is traced as 0. Test: CVexSMTPClient.TracesGoodCommandsAsZeroAndSendsNoLineBreaksKept
	const bool bGood = eResult == eSmtpOK;
	VexTraceText(m_oTrace,
		bGood ? CVexTraceMsg::eDebug : CVexTraceMsg::eError,
		[&](std::ostream& rStream)
		{
			rStream << "SMTP-Command " << sCommand << " (Retcode=";
			if (bGood)
				rStream << "0,OK)" << pszLocation;
			else
				rStream << eResult << "," << GetTextOfResponse(eResult) << ")";
		});
	return eResult;
}

CVexSMTPClient::ERetCode CVexSMTPClient::SendData(const CVexMail& oMail)
{
	DropRestOfReply();
	ERetCode eResult = eError;
	try
	{
		// KEPT: lines that begin with a dot go as they are. Test: CVexSMTPClient.SpeaksExactlyThisDialogueKept
		eResult = ConvertRetCode(VexSend(m_oVexTCPIPBase, oMail.GetTotalMail(), m_nTimeout));
	}
	catch (const std::exception&)
	{
		return eError;    // no memory for the text
	}
	if (eResult == eOK)
		eResult = ConvertRetCode(VexSend(m_oVexTCPIPBase, "\r\n.\r\n", m_nTimeout));
	return eResult == eOK ? GetResponse() : eResult;
}

CVexSMTPClient::CVexTraceEx::CVexTraceEx() : CVexTrace("CVexSMTPClient", nullptr, nullptr) {}

void CVexSMTPClient::SetTimeout(unsigned int nTimeout)
{
	m_nTimeout = nTimeout;
}

unsigned int CVexSMTPClient::GetTimeout() const
{
	return m_nTimeout;
}
