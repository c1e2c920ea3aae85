#pragma once

// Sends mails over an SMTP server.

#include "VexTCPIPBase.h"
#include "VexTrace.h"

#include <string>
#include <utility>
#include <vector>

class CVexMail;
class CVexMailAddress;

// One connection to an SMTP server: ConnectToServer(), SendMessage() any number of times, LogOut(), and then
// m_oVexTCPIPBase.DisconnectReq().
//
// Threads: one at a time. The call waits until its answer is there or its time is over; only sending waits without a
//          limit, while the server takes nothing. Another thread ends that with m_oVexTCPIPBase.CloseSocket().
// Errors:  by the result; a failed command is traced as an error. No failure closes the connection. When the server
//          has closed it, a reply that is awaited ends in eTimeout, and the next command in eError.
// Replies: the first line of a reply decides. If a hyphen follows its code, the reply's other lines are dropped as far as
//          they have come when the next command is sent. Whatever else has come by then answers that command: after
//          eTimeout, disconnect.
// Units:   milliseconds; 0xFFFFFFFF waits for ever.
class CVexSMTPClient
{
public:
	class CVexTraceEx : public CVexTrace
	{
	public:
		CVexTraceEx();
	};

	enum ERetCode
	{
		eOK = 0,
		eTimeout = 1,
		eTCPIPError = 2,
		eIPAddressInvalid = 3,
		ePortInvalid = 4,
		eError = 5,
		eSmtpOK = 6,
		eHelp = 7,
		eSendData = 8,
		eServiceNotAvailable = 9,
		eServiceReady = 10,
		eIllegalCommand = 11,
		eIllegalParameterOfCommand = 12,
		eCommandNotFound = 13,
		eIllegalSequenceOfCommands = 14,
		eParameterOfCommandNotFound = 15,
		eMailboxNotFound = 16,
		eUserFailed = 17,    // 521
		eStorageAllocationExceeded = 18,
		eNameOfMailboxIllegal = 19,
		eTransactionFailed = 20,
		eSmtpError = 21    // a reply that is none of those
	};

	// The time-out is 60000.
	CVexSMTPClient();
	CVexSMTPClient(const CVexSMTPClient&) = delete;
	CVexSMTPClient& operator=(const CVexSMTPClient&) = delete;

	// Names the connection's trace object, too. Before the first request.
	virtual void SetTraceName(const char* pszName);

	// Closes the connection, without LogOut().
	virtual ~CVexSMTPClient();

	// Of connecting and of each reply.
	void SetTimeout(unsigned int nTimeout);
	unsigned int GetTimeout() const;

	// Connects, and greets the server with its own address. eSmtpOK if that went well. eTimeout
	// where nobody listens, when the time is over; eError while still connected.
	ERetCode ConnectToServer(const char* pszAddress, unsigned short nPort);

	// Sends the mail once for each recipient, whatever its "To" and "Cc" say, and ends at the first one that fails: those
	// before it have got their mail. The result of the last step: eSmtpOK if all went well, eOK without recipients.
	//
	// An address with a line break in it is not sent: eIllegalParameterOfCommand. The text goes as it stands; a mail with
	// a line "." in it would end there, so double such a dot before.
	ERetCode SendMessage(const CVexMail& oMail, std::vector<CVexMailAddress> aoRecipients);

	// The server's good-bye counts as eServiceNotAvailable: that is the success. The connection stays open.
	ERetCode LogOut();

	// German, for display; empty for eOK.
	std::string GetTextOfResponse(ERetCode eRetCode) const;

protected:
	CVexTraceEx m_oTrace;

public:
	// For DisconnectReq() behind LogOut() or a failure, and for GetConnectState().
	CVexTCPIPBase m_oVexTCPIPBase;

protected:
	unsigned int m_nTimeout = 60000;

	ERetCode ConvertRetCode(CVexTCPIPBase::ERetCode eRetCode) const;

	// Waits for one reply line; never eOK.
	ERetCode GetResponse();

	// Sends the command with its argument behind it and waits for the reply. With a line break in one of them nothing is
	// sent: eIllegalParameterOfCommand.
	ERetCode ExecuteCommand(const char* pszCommand, const std::string& sArgument);

	// The text, its end mark and the reply to it.
	ERetCode SendData(const CVexMail& oMail);

private:
	ERetCode SendTo(const CVexMail& oMail, const CVexMailAddress& oRecipient);

	// Completes m_sLine; after eTimeout it holds what has come.
	ERetCode ReceiveLine(unsigned int nTimeout);
	void DropRestOfReply();

	// Plain texts, not std::string: no exit handler destroys them while another thread still waits for a reply.
	static const std::pair<ERetCode, const char*> m_aoReturnPair[17];
	static const std::pair<ERetCode, const char*> m_aoReturnPairOfString[21];

	std::string m_sLine;          // received but not yet read as a reply: a line or the beginning of one
	std::string m_sReplyBegin;    // the code of the reply that was read last, and the character after it
};
