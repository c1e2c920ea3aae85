#pragma once

#include <string>

// The running process: its program's directory, its working directory, and starting other programs.
//
// Threads: the static functions may be called from any thread at any time, also in a child after fork.
class CVexProcess
{
public:
	CVexProcess();
	virtual ~CVexProcess();

	// Takes the process id anew, as a child needs after fork.
	void Refresh();

	// Starts a program, which is searched for in PATH, and does not wait for it: blocks only until it runs. argv ends
	// in a null pointer and holds the program's own name first; a null argv passes that name alone.
	//
	// Always -1, whether the program runs or not. The child's id is not handed back: when it has ended it remains a
	// zombie until this process ends, waits for any child or ignores SIGCHLD.
	static int Spawn(const char* pszFile, const char** argv);

	// Ends in a separator. Empty if the directory is gone or its name has 350 characters or more.
	static std::string GetCurrentWorkDir();

	// The directory of the running executable, with links resolved; ends in a separator. Of a path of more than 2048
	// characters only these count.
	static std::string GetCurrentProgDir();

protected:
	int m_nProcessId;
	int m_nThreadId;            // -1: no thread in particular
	std::string m_sReserved;    // used by nothing here
};
