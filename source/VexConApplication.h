#pragma once

// The application frame of programs without a user interface.

#include "VexApplication.h"

#include <sys/types.h>

#include <atomic>

// Ends cleanly on SIGINT, SIGTERM and SIGABRT: Finalize() runs, the trace server writes what is queued and stops, and
// the process exits with status 0, or 3 for SIGABRT. The application object is not destroyed then.
//
// From the end of this class's construction on a signal may call Finalize(): before Initialize(), and before the members
// of the deriving class are built. Finalize() also finds Run() interrupted anywhere.
//
// The handler does all this on the thread that the signal interrupts. While that thread holds a tracing lock or a use
// of the trace server it is put off until both are given back; a second signal of the same kind does not wait for the
// uses. When the end is under way already, a signal has no further effect; in a child after fork it is traced and
// ignored.
class CVexConApplication : public CVexBaseApplication
{
public:
	CVexConApplication(const char* pszStdConfigFile, const char* pszApplName, const char* pszLogfileExt);

	// From its beginning on signals have the system's default action. A deriving class whose members Finalize() needs
	// calls RemoveSignalHandlers() in its own destructor.
	~CVexConApplication() override;

protected:
	bool Initialize() override;
	bool Finalize() override;
	virtual void InstallSignalHandlers();
	virtual void RemoveSignalHandlers();

	static std::atomic<pid_t> m_nPID;    // the process that constructed the application

private:
	static void StdSignalHandler(int nSignal);
	static bool FinalizeFromSignalHandler();
};
