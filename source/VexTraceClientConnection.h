#pragma once

// The monitor's side of remote tracing: logs in to a trace server and receives its trace messages.

#include "VexMutex.h"
#include "VexTCPIPBase.h"
#include "VexTrace.h"
#include "VexTraceTCPIPMsg.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class CVexPassword;

// Connects to the monitor port of a program, sends requests that are confirmed one by one, and hands the trace messages
// that the program sends to TraceInd().
//
// Threads: the requests belong to one thread at a time, never to that of TraceInd() and NameIDCnf(), which run on a
//          read thread of this object. While one of those runs nothing else is read, so no request is confirmed.
// Errors:  a request answers false if it could not be sent, was not confirmed within the time-out, or the connection
//          broke meanwhile; out-parameters are unchanged then. Frames that are none are dropped without a trace.
// Trap:    a deriving class that overrides TraceInd() or NameIDCnf() calls EndReading() in its destructor: by the time
//          this one runs, its versions are gone.
class CVexTraceClientConnection
{
public:
	class CVexTraceEx : public CVexTrace
	{
	public:
		CVexTraceEx();
	};

	enum ELoginRetCode
	{
		eLoginOK = 0,
		eUsernameInvalid = 1,
		ePasswordInvalid = 2,
		eLoginFailed = 3    // both are wrong
	};

	// The result of one request and its confirmation.
	enum EErrorCode
	{
		eOK = 0,
		eError = 1,
		eTimeout = 2
	};

	CVexTraceClientConnection();
	CVexTraceClientConnection(const CVexTraceClientConnection&) = delete;
	CVexTraceClientConnection& operator=(const CVexTraceClientConnection&) = delete;

	virtual void SetTraceName(const char* pszName);

	// Disconnects, and waits for TraceInd() if that runs.
	virtual ~CVexTraceClientConnection();

	// On the read thread: the name of an object (its name, "/", its class) has come. Overriding versions call this one,
	// which answers NameIDReq().
	virtual void NameIDCnf(int nID, const std::string& sName);

	// On the read thread: one line of the program. The program waits up to a second for TraceResp(oMsg.GetID()):
	// overriding versions call it soon. This version does, and writes the text to standard error. The message has the
	// time of its receipt; the time of the line is in its text.
	virtual void TraceInd(const CVexTraceMsg& oMsg);

	// Connects and logs in. False at once while connected. Where nothing listens the answer takes the whole time-out.
	bool LoginReq(const std::string& sUser, const CVexPassword& oPassword, const char* szAddress, unsigned short nPort);

	// The lines flow from StartReq() to StopReq(). Before a successful login StartReq() sends nothing and answers false.
	bool StartReq();
	bool StopReq();

	// The text is sent along, and replaced by what the program tells of itself.
	bool InfoReq(std::string& sInfo);

	// Identifier and object name, "/", class name of every trace object.
	bool GetObjectListReq(std::vector<std::pair<long, std::string>>& aoObjectList);

	// The level of each object, by identifier; all levels up to it come.
	bool ChangeTraceLevelReq(const std::vector<std::pair<long, CVexTraceMsg::ETraceLevel>>& aoLevels);

	// Asks for the lines of a class; "*" stands for all classes that are not asked for by name. eLevel is taken as a
	// mask: only the levels that are in it come. Objects that exist already keep their own levels.
	bool WatchClassReq(const std::string& sClass, CVexTraceMsg::ETraceLevel eLevel);

	// Object name, "/", class name of the identifier; empty if there is no such object.
	bool NameIDReq(int nID, std::string& sName);

	// Sends the request and waits for its confirmation.
	EErrorCode ExecuteReq(const CVexTraceTCPIPMsg& oMsg);

	// Confirmations, on the read thread.
	void LoginCnf(int nCode);
	void StartCnf();
	void StopCnf();
	void InfoCnf(const std::string& sInfo);
	void ChangeTraceLevelCnf(long nResult);
	void GetObjectListCnf(const std::vector<std::pair<long, std::string>>& aoObjectList);
	void WatchClassCnf(long nResult);

	// Confirms a line to the program. Any thread.
	void TraceResp(int nID);

protected:
	// Disconnects and waits until the read thread rests: neither TraceInd() nor NameIDCnf() is called until the next
	// login. Not on the read thread.
	void EndReading();

	// LoginReq() in two halves, for deriving classes that connect m_oServer in their own way: the first one before, the
	// second one once it is connected. The first one answers false while an earlier connection is being read. eOK of the
	// second one: the program has answered, and m_eLoginRetCode is its answer.
	bool PrepareLogin();
	EErrorCode ExecuteLogin(const std::string& sUser, const CVexPassword& oPassword);

	// Sends a message without waiting for its confirmation. Any thread.
	CVexTCPIPBase::ERetCode Send(const CVexTraceTCPIPMsg& oMsg);

	// Reads one message and handles it. eOK: one frame, or bytes that begin none, have been taken; eTimeout: nothing
	// has come, or only a part, which is dropped; eNotConnected: nothing more will come.
	CVexTCPIPBase::ERetCode ReadMessage();

	// Handles a message whose IsValid() is true.
	void MsgInterpretation(CVexTraceTCPIPMsg& oMsg);

	// Receives no more while the read thread is far behind, so that a flood fills the network's buffers and not the memory.
	class CServer : public CVexTCPIPBase
	{
	public:
		~CServer() override;
		void DataInd(const unsigned char* pData, int nLen) override;

	private:
		bool IsFull();
	};

	CVexTraceEx m_oTrace;
	CServer m_oServer;
	CVexEvent m_oConfEvent;
	std::string m_sReturnString;                                        // guarded by m_oResultMutex
	std::atomic<std::int32_t> m_nReturnParam{ 0 };                      // of the last CHANGE_TRACE_LEVEL or WATCH_CLASS
	std::vector<std::pair<long, std::string>> m_aoReturnObjectArray;    // guarded by m_oResultMutex
	std::atomic<std::uint32_t> m_nTimeout{ 10000 };    // ms; for connecting, confirmations, and the rest of a frame
	std::atomic<ELoginRetCode> m_eLoginRetCode{ eLoginFailed };
	class CReadThread;
	std::unique_ptr<CReadThread> m_poReadThread;

private:
	bool IsConnected();
	CVexTCPIPBase::ERetCode ReadInput(std::size_t nLength);
	void DropToStartMarker();
	void Confirmed(CVexTraceTCPIPMsg::EMsgID eCommand);

	std::string m_sInput;                         // the beginning of a frame; the read thread's
	CVexMutex m_oResultMutex;                     // held while results are copied, never while calling out
	CVexMutex m_oSendMutex;                       // keeps frames of two threads apart, so it is held while sending
	std::atomic<std::int32_t> m_nAwaited{ 0 };    // the confirmation that ExecuteReq() waits for; 0: it has come
};
