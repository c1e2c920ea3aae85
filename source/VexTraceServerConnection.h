#pragma once

// One monitor client of the trace server.

#include "VexMutex.h"
#include "VexTCPIPServerBase.h"
#include "VexTraceMsg.h"

#include <atomic>
#include <map>
#include <string>
#include <utility>
#include <vector>

class CVexTraceServer;
class CVexTraceTCPIPMsg;

// Answers a client's requests and sends it the trace messages that it wants, one at a time: the next one only after the
// client has confirmed the last one, or after a second. The container reuses the object for one client after another;
// each starts without anything that the one before it asked for.
//
// Threads: the ...Ind() and TraceCnf() on the read thread of the connection, TraceReq() on the trace server's thread,
//          the rest on any.
// Locks:   m_oLockSend, then m_oLockConnectionObjectMap; none while a confirmation is awaited.
// Errors:  what begins no frame, counts and lengths that the bytes do not bear out, and unknown commands are ignored. A
//          client that leaves no room to send for a second is disconnected.
class CVexTraceServerConnection : public CVexTCPIPServerBase
{
public:
	typedef CVexTraceMsg::ETraceLevel ETraceLevel;

	// What the client asks for of one trace object.
	struct SClientObjectDesc
	{
		std::string m_sClassName;
		int m_nLevelsClient = 0;    // mask
	};

	// The container and the server must outlive the object.
	CVexTraceServerConnection(CVexTCPIPServerContainer* pServer, int nID, CVexTraceServer& oTraceServer);
	~CVexTraceServerConnection() override;

	// Collects the bytes and carries out every whole frame. Frames of more than 1 MiB of payload are none.
	void DataInd(const unsigned char* pData, int nLen) override;

	void ConInd(bool bConnected, int nSocket) override;

	virtual void TraceCnf(int nID);
	virtual void LoginInd(const std::string& sUserName, const std::string& sPassword);
	virtual void StartInd();
	virtual void StopInd();
	virtual void InfoInd();
	virtual void ChangeTraceLevelInd(const std::vector<std::pair<long, ETraceLevel>>& aoLevels);
	virtual void GetObjectListInd();

	// Requests levels for the first object of the class. No message of the client leads here.
	virtual void WatchClassInd(const std::string& sClass, ETraceLevel eLevel);

	virtual void NameIDInd(long nID);

	bool IsTraceWanted() const;

	// Sends the message if the client watches its object or its class, and waits for the confirmation. False if the
	// client let its second pass.
	bool TraceReq(const CVexTraceMsg& oMsg);

	// The levels that the client has requested for the object; 0 if none.
	int GetRequestedTraceLevels(long nID);

	// The levels that the client watches in the class: its own entry or else that of "*".
	int GetWatchLevels(const std::string& sClass);

	// The objects that the client has requested levels for.
	std::vector<long> GetRequestedObjects();

	// No message is sent any more, and a wait for a confirmation ends.
	void StopTrace();

	// The client has gone: the next one starts clean.
	void ForgetClient();

private:
	bool Interpret(CVexTraceTCPIPMsg& rMsg);
	bool InterpretLogin(CVexTraceTCPIPMsg& rMsg);
	void InterpretChangeTraceLevel(CVexTraceTCPIPMsg& rMsg);
	void InterpretWatchClass(CVexTraceTCPIPMsg& rMsg);
	bool WatchClass(const std::string& sClass, ETraceLevel eLevel);
	void TraceConfirm(long nID);
	int CountConfirmation();
	bool IsWanted(const CVexTraceMsg& oMsg, const std::string& sClass);
	int SendLine(const CVexTraceMsg& oMsg);
	bool AwaitConfirmation(int nUnconfirmed);
	void SwitchTrace(int nAnswerID, bool bWanted);
	void Answer(const CVexTraceTCPIPMsg& oMsg);
	bool Send(const CVexTraceTCPIPMsg& oMsg);

	CVexEvent m_oTraceConfEvent;
	std::map<long, SClientObjectDesc> m_oConnectionObjectMap;
	CVexMutex m_oLockConnectionObjectMap;    // guards m_oConnectionObjectMap and m_sWatchClasses
	std::string m_sInputMessage;
	CVexTraceServer& m_oTraceServer;
	std::atomic<bool> m_bTraceWanted{ false };
	std::atomic<bool> m_bLoginOk{ false };
	std::map<std::string, ETraceLevel> m_sWatchClasses;

	// Held over the sending: frames of two threads must not mix, and no line may reach the next client. Its holder waits
	// for nobody but the client's receive window, a second at most.
	CVexMutex m_oLockSend;
	std::atomic<int> m_nUnconfirmed{ 0 };    // lines that were sent and not confirmed yet
	std::atomic<int> m_nLateWaits{ 0 };      // waits in a row that saw only confirmations of earlier lines
};
