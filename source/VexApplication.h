#pragma once

// The frame of a program: the life of its main object from construction to exit.

#include "VexApplicationInfo.h"
#include "VexCmdLine.h"
#include "VexLocalTime.h"
#include "VexMutex.h"
#include "VexTrace.h"

#include <atomic>
#include <string>

class CVexCmdLineApplExchange;
class CVexTraceServer;

// A program derives its application class from this one (normally through CVexConApplication), makes exactly one object
// of it and calls Start(). From the constructor on there is an active trace server: a CVexTraceServerStd in the
// program's directory, unless another one is active already. The object deletes the server that it started.
//
// When the program calls exit() while the object lives, the trace server writes what is queued before the process is
// gone; it waits for users of the server for 5 s at most. Finalize() does not run then.
//
// Threads: construction, Start() and destruction on one thread.
class CVexBaseApplication
{
public:
	class CVexTraceEx : public CVexTrace
	{
	public:
		CVexTraceEx();
	};

	// Each text may be null: the ini file is then the program's path + application name + ".ini", the application name
	// the program's file name, the extension of the log files ".log".
	CVexBaseApplication(const char* pszStdConfigFile, const char* pszApplName, const char* pszLogfileExt);
	CVexBaseApplication(const CVexBaseApplication&) = delete;
	CVexBaseApplication& operator=(const CVexBaseApplication&) = delete;

	virtual void SetTraceName(const char* pszName);

	// Also when another object was registered, GetApplication() answers null from here on.
	virtual ~CVexBaseApplication();

	// False: Start() skips Run().
	virtual bool Initialize();

	// Runs once, after Run() or on a signal, also when Initialize() failed. Its result is the result of Start().
	virtual bool Finalize();

	// Describes and reads the program's options. Called twice; what the second call reads counts
	// (CVexCmdLineExchange::IsInitialized() is true then).
	virtual void DoCmdLineExchange(CVexCmdLineApplExchange* pExchange);

	// The whole life: command line, Initialize(), Run(), Finalize(). Once per object.
	bool Start(int nArgc, char** ppszArgv);

	// The application object that was constructed first, or null.
	static CVexBaseApplication* GetApplication();

	const CVexLocalTime& GetStartZeit() const;

	// From any thread. Empty until Start() if none was given.
	std::string GetApplName() const;
	const CVexApplicationInfo& GetInfo() const;

	// The arguments behind the program path, each followed by one blank.
	const std::string& GetCommandLine() const;

protected:
	virtual void ParseCommandLine();

	// The program's work.
	virtual void Run() = 0;

	void SetApplName(const char* pszApplName);

	CVexTraceEx m_oTrace;
	std::string m_sStdConfigFile;    // final once Start() has taken the command line
	CVexApplicationInfo m_oApplInfo;
	CVexLocalTime m_oStartTime;
	CVexCmdLine m_oCmdLine;
	std::string m_sCommandLine;
	CVexMutex m_oMutexStdTraceServer;                // guards m_pStdTraceServer, and is held while that is stopped
	CVexTraceServer* m_pStdTraceServer = nullptr;    // owned; null if another server was active
	std::string m_sStdLogfileExt;

	static std::atomic<CVexBaseApplication*> m_pApplication;

private:
	friend class CVexConApplication;

	mutable CVexMutex m_oNameLock;    // guards the application name in m_oApplInfo

	void InitializeClass(int nArgc, char** ppszArgv);
	void StartTraceServer();
	void StopTraceServer();
	void StopTraceServerWithin(unsigned int nMs);
	static void StopAtExit();
	void TraceText(CVexTraceMsg::ETraceLevel eLevel, const std::string& sText, int nLine);
};
