#pragma once

// One monitor client of the trace server.

#include "VexMutex.h"
#include "VexTCPIPServerBase.h"
#include "VexTraceMsg.h"

#include <atomic>
#include <chrono>
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
//          client that takes no byte for a second, while there is something to send to it, is disconnected.
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

	// Where a login is required a failed one is answered after a second.
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

	// Sends the message if the client watches its object or its class, and waits up to a second for a confirmation. A
	// late one counts for the next message. Disconnects a client that has left too many in a row unconfirmed.
	void TraceReq(const CVexTraceMsg& oMsg);

	// The levels that the client has requested for the object; 0 if none.
	int GetRequestedTraceLevels(long nID);

	// The levels that the client watches in the class: its own entry or else that of "*".
	int GetWatchLevels(const std::string& sClass);

	// The objects that the client has requested levels for.
	std::vector<long> GetRequestedObjects();

	// No message is sent any more, and a wait for a confirmation ends.
	void StopTrace();

	// The last messages come: no confirmation is awaited any more, and a start does not count.
	void ExpectEnd();

	// The client gets messages, and some of what was sent has not arrived there yet.
	bool IsSending() const;

	// Disconnects a client that had to log in and has not done so in time.
	void DisconnectOverdue();

	// The client has gone: the next one starts clean.
	void ForgetClient();

private:
	bool Interpret(CVexTraceTCPIPMsg& rMsg);
	bool InterpretLogin(CVexTraceTCPIPMsg& rMsg);
	void InterpretChangeTraceLevel(CVexTraceTCPIPMsg& rMsg);
	void InterpretWatchClass(CVexTraceTCPIPMsg& rMsg);
	bool WatchClass(const std::string& sClass, ETraceLevel eLevel);
	void TraceConfirm(long nID);
	bool IsWanted(const CVexTraceMsg& oMsg, const std::string& sClass);
	bool SendLine(const CVexTraceMsg& oMsg);
	bool AwaitRoom();
	void CountUnconfirmed();
	int GetUntaken() const;
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
	// for nobody but the client, as long as that goes on reading.
	CVexMutex m_oLockSend;
	std::atomic<unsigned int> m_nUnconfirmed{ 0 };    // lines in a row that were not confirmed in time
	std::atomic<bool> m_bEnding{ false };
	std::chrono::microseconds m_oRoomLeft;             // how long the last lines may still wait for room
	std::chrono::steady_clock::time_point m_oSince;    // when the client has come; guarded by m_oLockSend
};
