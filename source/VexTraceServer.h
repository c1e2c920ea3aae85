#pragma once

// The trace server: collects the messages of all trace objects of the process and hands them to its outputs.

#include "VexMutex.h"
#include "VexTraceMsg.h"

#include <atomic>
#include <map>
#include <string>
#include <utility>
#include <vector>

class CVexTrace;
class CVexTraceServerContainer;

// What a trace server starts with. A program may replace the process's copy before it starts its application object.
struct SVexTraceServerDefaultSettings
{
	int m_nDefaultTraceLevels = CVexTraceMsg::eError;
	bool m_bConsoleOuput = false;    // KEPT: spelling
	std::string m_sMonitorIPAddress = "0.0.0.0";
	int m_sMonitorPort = 15000;
	unsigned int m_nMaxConnections = 0;
	unsigned int m_nReserveConnections = 0;
	std::string m_sUsername = "monitorix";
	std::string m_sPassword = "monitorix";
	bool m_bMonitorOn = false;
	bool m_bSaveMsg = true;
};

// Queue of messages, registry of trace objects with their levels, and the thread that writes. At most one server is
// active; trace objects find it by GetActiveServer(). Messages reach the outputs 3 s after they were queued at the
// latest, at once when more than 250 wait.
//
// Threads:   everything but the construction and the end may be called from any thread. SaveMsg() and MonitorMsg()
//            run on the server's thread, with no lock held.
// Ownership: messages pass to the server with AddMsg(). The creator deletes the server.
// Ending:    a deriving class calls StopServer() in its destructor, before anything that its SaveMsg() needs is gone.
class CVexTraceServer
{
public:
	struct SObjectDesc
	{
		std::string m_sObName;
		std::string m_sClassName;
		int m_nLevelsClients = 0;    // what monitors ask for
		int m_nLevelsLocal = 0;
	};

	// What a server starts with. Set it before the server, not while one starts.
	static SVexTraceServerDefaultSettings& m_oSettings;

	CVexTraceServer();
	virtual ~CVexTraceServer();
	CVexTraceServer(const CVexTraceServer&) = delete;
	CVexTraceServer& operator=(const CVexTraceServer&) = delete;

	// The user name and password that monitors log in with. The password is kept scrambled; GetUser() gives back the
	// scrambled form.
	void SetUser(const std::string& sUsername, std::string sPassword);
	void GetUser(std::string& sUsername, std::string& sPassword) const;

	// Takes the message over; null is ignored.
	void AddMsg(CVexTraceMsg* pMsg);

	// Gives the object an identifier and its levels, or, if this server knows it, takes over its new names.
	void RegisterObject(CVexTrace* pTraceObject);

	// The levels set locally for an object. Unknown identifiers are ignored.
	void SetTraceLevels(long nObjectID, int nTraceLevels);

	// Takes over the levels that the monitors want for an object; with bLock false: none.
	void RefreshClientTraceLevels(long nObjectID, bool bLock);

	void SetConsoleOutput(bool bOn);

	// Opens the monitor port, or closes it and disconnects the clients. Not from an indication of a connection.
	void SetTCPIPMonitorOn(bool bOn);
	void SetSaveMsg(bool bOn);

	// Makes a server the active one, null none. The server is not owned.
	static void SetActiveServer(CVexTraceServer* pServer);

	// The active server with a use taken, or null. Until DecActiveUser() gives the use back the server does not stop.
	static CVexTraceServer* GetActiveServer();

	// Opens the monitor port if it is switched on and not open yet.
	void StartTCPIPServer();

	// A monitor client has to log in before anything else ("RequireLogin" in section "Monitor" of the options file).
	bool IsLoginRequired() const;

	// A monitor that leaves so many lines in a row unconfirmed is disconnected; 0: none is ("MaxUnconfirmed" there).
	unsigned int GetMaxUnconfirmed() const;

	// Changes with every change of levels.
	long GetSyncFlag() const;
	void DecActiveUser();

	// "Trace.ini" in the program's directory; missing keys take their defaults.
	void ReadOptionsFromIniFile();

	// The bool pcTraceFlagName of section "Trace-" + sName in that file, read anew at every call; false if it is
	// missing or unreadable.
	bool GetTraceFlag(const char* pcTraceFlagName, const std::string& sName) const;

	// Identifier and object name, "/", class name of every object, by rising identifier.
	void GetObjectList(std::vector<std::pair<long, std::string>>& aoObjectList);

	// Object name, "/", class name; empty for an unknown identifier.
	std::string GetObjectName(long nID);

	// The lowest identifier whose CLASS name is sName; -1 if there is none.
	long GetObjectId(const std::string& sName);

	// The object's levels, widened; the default levels, not widened, for an unknown identifier.
	int GetTraceLevels(long nObjectID);

	// All levels up to the highest one in the mask: 4 gives 7, 19 gives 31, 32 and more give 63.
	int GetTracelevelMask(unsigned int uiMask) const;

	static void SetDefaultSettings(const SVexTraceServerDefaultSettings& oSettings);
	int GetDefaultTraceLevels() const;

	// The levels of objects that register from now on.
	void SetDefaultTraceLevels(int nTraceLevels);

protected:
	void DeRegisterObject(long nObjectID);

	// Only while the server cannot end: for the active server with m_oLockActiveServer held.
	void IncActiveUser();

	// Writes one message. The result is not used.
	virtual bool SaveMsg(const CVexTraceMsg& oMsg, const char* pszObjectName) = 0;

	// Passes the message to the monitors, and waits for their confirmations. True always.
	bool MonitorMsg(const CVexTraceMsg& oMsg, const char* pszObjectName);

	// Makes the server's thread; does nothing if there is one.
	void StartServer();

	// No longer active; waits in steps of 500 ms until nobody uses the server, and ends the thread, which writes what
	// is queued. Blocks for ever while a use is not given back.
	void StopServer();

	std::atomic<bool> m_bConsoleOuput;    // KEPT: spelling
	std::atomic<bool> m_bMonitorOn;
	std::atomic<bool> m_bSaveMsg;
	class CTraceServerThread;
	std::atomic<CTraceServerThread*> m_pServerThread{ nullptr };    // owned
	std::atomic<long> m_nSyncFlag{ 0 };
	CVexMutex m_oLockMsgArray;    // guards m_oMsgArray
	std::vector<CVexTraceMsg*> m_oMsgArray;
	std::atomic<int> m_nDefaultTraceLevels;
	long m_nLastTraceObjectID = 1;    // the next identifier; guarded by m_oLockObjectMap
	std::map<long, SObjectDesc> m_oObjectMap;
	mutable CVexMutex m_oLockObjectMap;    // guards m_oObjectMap, and what the monitor port is opened with
	std::atomic<long> m_nActiveUserCount{ 0 };
	std::string m_sMonitorIPAddress;
	int m_sMonitorPort = 0;
	unsigned int m_nMaxConnections = 0;
	unsigned int m_nReserveConnections = 0;
	std::string m_sUsername;
	std::string m_sPassword;
	// Owned; there while the monitor port is open. Guarded by m_oLockObjectMap, and not deleted while there are users.
	CVexTraceServerContainer* m_poServerContainer = nullptr;

	static std::atomic<CVexTraceServer*> m_pActiveServer;
	static CVexMutex& m_oLockActiveServer;    // held while m_pActiveServer changes

private:
	friend class CVexBaseApplication;
	friend class CVexTrace;
	friend void VexRequestDrain();
	class CTraceIniFile;
	class CForkGuard;
	class CContainerUse;

	// StopServer(), but it waits for users for that long at most. False if there still are some: the object must stay.
	bool StopWithin(unsigned int nMs);
	bool HasUsers();
	static void RequestDrain();

	void StopTCPIPServer();
	bool IsContainerUsed();
	bool EnterObject(CVexTrace* pTraceObject, const int* pnRequested, int nWatched);
	int GetLevelsOfClients(long nObjectID);
	void SetLevelsOfClients(long nObjectID, int nLevels);
	void RaiseSyncFlag();
	std::size_t WriteQueuedMsgs();
	bool IsQueueEmpty();
	void RefreshLevels(CVexTrace& rTrace);
	long FindObject(const CVexTrace& rTrace) const;
	int GetLevels(const SObjectDesc& rDesc) const;
	void WriteMsg(const CVexTraceMsg& oMsg, std::string& rsName);
	void WriteConsole(const CVexTraceMsg& oMsg, const std::string& rsName);
	void GetObjectName(long nID, std::string& rsName);

	// Rises with every change of levels of any server and of the active server: while it stands still, a trace object's
	// own levels are current.
	static std::atomic<unsigned> m_nChange;

	const unsigned m_nSerial;    // tells this server from earlier ones
	std::atomic<bool> m_bLoginRequired{ false };
	int m_nContainerUsers = 0;               // guarded by m_oLockObjectMap
	std::vector<CVexTraceMsg*> m_apRound;    // what the thread writes now
	std::size_t m_nNextInRound = 0;
	CTraceServerThread* m_pLeftThread = nullptr;    // ended, but a user of the server may still use it
	bool m_bConsoleTorn = false;                    // the last line on the console has no end
	std::atomic<unsigned int> m_nMaxUnconfirmed{ 0 };
};
