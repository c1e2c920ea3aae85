#pragma once

// Fetches and deletes the mails of a POP3 mailbox.

#include "VexTCPIPBase.h"
#include "VexTrace.h"

#include <string>
#include <utility>

class CVexMail;

// One connection to a mailbox: LogIn(), the other requests in any order, LogOut(), and then
// m_oVexTCPIPBase.DisconnectReq(). Messages count from 1; their numbers stay until LogOut(), which deletes what
// DeleteMessage() has marked.
//
// Threads: one at a time. The call waits until its answer is there or its time is over, with two exceptions: sending
//          waits while the server takes nothing (another thread ends that with m_oVexTCPIPBase.CloseSocket()), and
//          GetMessage() and GetTopOfMessage() have no limit at all once the server has begun to answer.
// Trap:    those two return when the message has come whole, and never if it does not, not even when the connection
//          breaks; nothing but the end of the process ends them then. A program that has to go on calls them on a
//          thread of its own, with a client that nobody destroys while that thread is in it (so no static one), and
//          that must not be joined. The process can end at any time.
// Errors:  by the result; a failed command is traced as an error. No failure closes the connection. When the server
//          has closed it, a status line that is awaited ends in eTimeout, and the next command in eTCPIPError.
// Replies: what has come by the time of a command answers it, a late reply to an earlier one too: after eTimeout,
//          disconnect.
// Units:   milliseconds; 0xFFFFFFFF waits for ever.
class CVexPOP3Client
{
public:
	class CVexTraceEx : public CVexTrace
	{
	public:
		CVexTraceEx();
	};

	enum ERetCode
	{
		eOK = 1,
		eTimeout = 2,
		eTCPIPError = 3,
		eLoginFailed = 4,
		eMessageNotFound = 5,
		eIPAddressInvalid = 6,
		ePortInvalid = 7,
		eIllegalCommand = 8,
		eError = 9    // a status line that is none of those
	};

	// The time-out is 6000.
	CVexPOP3Client();
	CVexPOP3Client(const CVexPOP3Client&) = delete;
	CVexPOP3Client& operator=(const CVexPOP3Client&) = delete;

	// Names the connection's trace object, too. Before the first request.
	virtual void SetTraceName(const char* pszName);

	// Closes the connection, without LogOut(): nothing is deleted then.
	virtual ~CVexPOP3Client();

	// Of connecting and of each status line.
	void SetTimeout(unsigned int nTimeout);
	unsigned int GetTimeout() const;

	// A failed connect shows as what the greeting then ends in: eTimeout, after two time-outs. Null texts count as empty.
	// A user or password with a line break in it is not sent: eIllegalCommand.
	//
	// The password goes over the line as it is, and stands in the trace: at level debug, or error if it is refused.
	ERetCode LogIn(const char* pszAddress, unsigned short nPort, const char* pszUser, const char* pszPassword);

	// The connection stays open.
	ERetCode LogOut();

	// 0 also on any failure.
	unsigned long GetNumberOfMessage();

	// Octets as the server counts them; 0 on any failure.
	unsigned long GetSizeOfMessage(unsigned int n);

	// The whole message, or its header only. Unless eOK the mail is unchanged. Takes 300 ms longer than the message
	// itself: the end is looked for when nothing more comes. A line that begins with a dot comes with the second dot
	// that the server has put in front of it.
	//
	// Memory: eError if there is none for the text; the rest of the message then answers the next command, so disconnect.
	// If it runs out while the connection receives, the connection ends, and the call never returns.
	ERetCode GetMessage(CVexMail& oMail, unsigned int n);
	ERetCode GetTopOfMessage(CVexMail& oMail, unsigned int n);

	// Marks the message; LogOut() deletes it.
	ERetCode DeleteMessage(unsigned int n);

	// For display, in ISO-8859-1; empty for values that are none.
	std::string GetTextOfResponse(ERetCode eRetCode) const;

protected:
	CVexTraceEx m_oTrace;

public:
	// For DisconnectReq() behind LogOut() or a failure, and for GetConnectState().
	CVexTCPIPBase m_oVexTCPIPBase;

protected:
	unsigned int m_nTimeout = 6000;

	ERetCode ConvertRetCode(CVexTCPIPBase::ERetCode eRetCode) const;

	// Waits for one status line; on eTimeout the text is what has come of it.
	ERetCode GetResponse(std::string& sResponse);

	// Collects a multi-line answer up to its end mark, which is cut off. Only eOK, and only when the end mark has come.
	ERetCode GetData(std::string& sData);

	// The command line ends in "\r\n". With another line break in it nothing is sent: eIllegalCommand. The response is
	// the status line, empty if there is none.
	ERetCode ExecuteCommand(const char* pszCommandLine, std::string& sResponse);

	ERetCode MakeLogIn(const char* pszUser, const char* pszPassword);

	// The two numbers behind "+OK "; 0 for each that is not there, is negative, or is too large for the type.
	void ReadNumberAndSizeOfMessage(unsigned long& nNumber, unsigned long& nSize, const std::string& sResponse);

private:
	ERetCode Fetch(CVexMail& oMail, const std::string& sCommandLine);

	// Plain texts, not std::string: no exit handler destroys them while another thread still waits for an answer.
	static const std::pair<ERetCode, const char*> m_aoReturnPair[7];
	static const std::pair<ERetCode, const char*> m_aoReturnPairOfString[9];
};
