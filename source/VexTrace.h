#pragma once

// The handle through which one object of a program writes trace messages.

#include "VexTraceMsg.h"

#include <atomic>
#include <sstream>
#include <string>

class CVexTraceServer;

// Name, class name, identifier and enabled levels of one tracing object. It registers itself with the active trace
// server at its first message, follows changes of its levels, and tells the server when it dies.
//
// A class that traces declares a nested class CVexTraceEx : CVexTrace whose default constructor calls
// CVexTrace(<class name>, nullptr, nullptr), and holds one as m_oTrace. To trace:
//
//	if (CVexTraceServer* pServer = m_oTrace.GetServerObject(CVexTraceMsg::eDebug))
//	{
//		std::ostringstream oStream;
//		oStream << "text" << "\tFile " << "source/VexName" << " Line " << __LINE__;
//		m_oTrace.AddMsg(CVexTraceMsg::eDebug, oStream, pServer);
//	}
//
// Threads: AddMsg, GetServerObject and GetTraceFlag from any thread; the names are set by the owner while no other
//          thread uses the object. No lock is taken for a level that is off.
// Errors:  without an active server, or with the level off, a message disappears.
class CVexTrace
{
public:
	// Class name "-" and object name "Global": for code without a trace object of its own. Usable from constructors
	// and destructors of static objects; never destroyed.
	static CVexTrace& m_oGlobalTrace;

	CVexTrace(const char* pszClassName, const char* pszName, const CVexTrace* pParentObject);

	// Nothing is copied: both leave a fresh object without names.
	CVexTrace(const CVexTrace&);
	CVexTrace& operator=(const CVexTrace&);

	virtual ~CVexTrace();

	// -1 while no trace server knows the object. An identifier that SetID() sets counts for whatever server asks.
	long GetID() const;
	void SetID(long nID);
	const std::string& GetName() const;
	const std::string& GetClassName() const;

	// Mask of CVexTraceMsg::ETraceLevel; holds until the server's levels change. 3 (error and warning) at the start.
	void SetTraceLevels(int nTraceLevels);

	// CreateObjectName(pszName, pParentObject); the next message reports a new name to the server.
	void SetName(const char* pszName, const CVexTrace* pParentObject);

	// Null counts as "-".
	void SetClassName(const char* pszClassName);

	// The parent's name and ":" if there is a parent, then pszName if it is not null.
	std::string CreateObjectName(const char* pszName, const CVexTrace* pParentObject);

	// Writes one message if eLevel is on and the text is not null. pServer: the use that GetServerObject gave, which is
	// given back in any case; null makes the call find the active server itself. The stream gets a NUL at its end.
	void AddMsg(CVexTraceMsg::ETraceLevel eLevel, const char* pszText, CVexTraceServer* pServer = nullptr);
	void AddMsg(CVexTraceMsg::ETraceLevel eLevel, std::ostringstream& oStream, CVexTraceServer* pServer = nullptr);

	// The active server if eLevel is on for this object, else null. What is not null must be given back, on the same
	// thread, by AddMsg or CVexTraceServer::DecActiveUser: the server cannot stop before.
	CVexTraceServer* GetServerObject(CVexTraceMsg::ETraceLevel eLevel);

	// The switch pcTraceFlagName in section "Trace-" + class name of "Trace.ini"; the file is read at every call.
	// Every call that finds an active server leaves that server's count of users one higher, so it can no longer be
	// stopped: meant for programs that end without stopping it.
	bool GetTraceFlag(const char* pcTraceFlagName) const;

protected:
	// Like AddMsg, with level debug, whatever levels are on.
	void AddMsgSpecial(const char* pszText, CVexTraceServer* pServer);

	// The active server with a use taken, or null; makes sure that it knows this object and that the levels are current.
	CVexTraceServer* RegisterObject();
	void DeRegisterObject();

private:
	friend class CVexTraceServer;

	bool IsKnownOff(CVexTraceMsg::ETraceLevel eLevel) const;
	static unsigned KeyOf(const CVexTraceServer& rServer, long nID);
	bool IsKnownTo(const CVexTraceServer& rServer, long nID) const;
	void SetID(const CVexTraceServer& rServer, long nID);
	long FindID(CVexTraceServer& rServer);
	void HandOver(CVexTraceMsg::ETraceLevel eLevel, const char* pszText, CVexTraceServer* pServer);

	std::atomic<long> m_nID{ -1 };
	std::atomic<int> m_nTraceLevels{ CVexTraceMsg::eError | CVexTraceMsg::eWarning };
	std::string m_sObName;
	std::string m_sClassName;
	std::atomic<bool> m_bRegistered{ false };
	std::atomic<long> m_nSyncFlag{ 0 };          // the server's change counter when the levels were fetched
	std::atomic<unsigned> m_nSeenChange{ 0 };    // CVexTraceServer::m_nChange when the levels were fetched; 0: never
	std::atomic<unsigned> m_nKey{ 0 };           // KeyOf() m_nID and the server that gave it; 0: no server did
};
