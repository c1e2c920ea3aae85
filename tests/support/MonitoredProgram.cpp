// A program on the frame, for the tests of monitors: its one object traces while it is raised to debug level. Each
// change of that is told on standard output, a line each.

#include "VexConApplication.h"
#include "VexThread.h"
#include "VexTraceServer.h"

#include <unistd.h>

namespace
{
void Tell(const char* pszLine, std::size_t nSize)
{
	if (write(STDOUT_FILENO, pszLine, nSize) < 0)
		_exit(9);
}

class CMonitoredProgram : public CVexConApplication
{
public:
	CMonitoredProgram() : CVexConApplication(nullptr, nullptr, nullptr), m_oWorker("CWorker", "worker", nullptr) {}

protected:
	void Run() override
	{
		bool bRaised = false;
		m_oWorker.AddMsg(CVexTraceMsg::eError, "begins");    // known to the server from now on
		Tell("ready\n", 6);
		for (int i = 0;; ++i)
		{
			CVexTraceServer* pServer = m_oWorker.GetServerObject(CVexTraceMsg::eDebug);
			if (bRaised != (pServer != nullptr))
			{
				bRaised = !bRaised;
				if (bRaised)
					Tell("raised\n", 7);
				else
					Tell("fell back\n", 10);
			}
			if (pServer)
				m_oWorker.AddMsg(CVexTraceMsg::eDebug, ("step " + std::to_string(i)).c_str(), pServer);
			CVexThread::Sleep(0, 5);
		}
	}

private:
	CVexTrace m_oWorker;
};
}    // namespace

int main(int nArgc, char** ppszArgv)
{
	CMonitoredProgram oProgram;
	return oProgram.Start(nArgc, ppszArgv) ? 0 : 1;
}
