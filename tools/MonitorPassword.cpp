#include "MonitorPassword.h"

#include "MonitorOutput.h"

#include <termios.h>
#include <unistd.h>

#include <csignal>

namespace
{
termios oTerminal;
volatile std::sig_atomic_t bEchoOff = 0;
}    // namespace

bool CMonitorPassword::CanAsk()
{
	return isatty(STDIN_FILENO) != 0;
}

bool CMonitorPassword::Ask(const std::string& sQuestion, std::string& rsPassword)
{
	CMonitorOutput::Write(STDERR_FILENO, sQuestion);
	if (tcgetattr(STDIN_FILENO, &oTerminal) == 0)
	{
		bEchoOff = 1;
		termios oWithoutEcho = oTerminal;
		oWithoutEcho.c_lflag &= ~static_cast<tcflag_t>(ECHO);
		tcsetattr(STDIN_FILENO, TCSAFLUSH, &oWithoutEcho);
	}
	rsPassword.clear();
	char c = 0;
	bool bRead = false;
	while ((bRead = read(STDIN_FILENO, &c, 1) == 1) && c != '\n')
		rsPassword += c;
	RestoreTerminal();
	CMonitorOutput::Write(STDERR_FILENO, "\n");
	return bRead || !rsPassword.empty();
}

void CMonitorPassword::RestoreTerminal()
{
	if (!bEchoOff)
		return;
	tcsetattr(STDIN_FILENO, TCSADRAIN, &oTerminal);
	bEchoOff = 0;
}
