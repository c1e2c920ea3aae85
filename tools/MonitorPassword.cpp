#include "MonitorPassword.h"

#include "MonitorOutput.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>

namespace
{
// Signals wait while this object lives, and are taken one by one.
class CWaitingSignals
{
public:
	CWaitingSignals()
	{
		sigset_t oTaken;
		sigemptyset(&oTaken);
		for (const int nSignal :
			{ SIGHUP, SIGINT, SIGQUIT, SIGUSR1, SIGUSR2, SIGPIPE, SIGALRM, SIGTERM, SIGTSTP, SIGCONT })
			sigaddset(&oTaken, nSignal);
		m_nFile = signalfd(-1, &oTaken, SFD_CLOEXEC);
		if (m_nFile < 0)
			sigemptyset(&oTaken);
		// Setting the terminal up from the background would stop the program.
		sigaddset(&oTaken, SIGTTOU);
		sigprocmask(SIG_BLOCK, &oTaken, &m_oBefore);
	}

	~CWaitingSignals()
	{
		close(m_nFile);
		sigprocmask(SIG_SETMASK, &m_oBefore, nullptr);
	}

	CWaitingSignals(const CWaitingSignals&) = delete;
	CWaitingSignals& operator=(const CWaitingSignals&) = delete;

	// Readable when a signal waits; -1 if the system has none left: then signals do not wait.
	int File() const { return m_nFile; }

	int Take() const
	{
		signalfd_siginfo oInfo = {};
		return read(m_nFile, &oInfo, sizeof oInfo) == sizeof oInfo ? static_cast<int>(oInfo.ssi_signo) : 0;
	}

	// What the signal does usually; comes back when the program goes on.
	static void LetAct(int nSignal)
	{
		sigset_t oSignal;
		sigemptyset(&oSignal);
		sigaddset(&oSignal, nSignal);
		raise(nSignal);
		sigprocmask(SIG_UNBLOCK, &oSignal, nullptr);
		sigprocmask(SIG_BLOCK, &oSignal, nullptr);
	}

private:
	int m_nFile = -1;
	sigset_t m_oBefore;
};

// The terminal belongs to another program.
bool IsInBackground()
{
	const pid_t nForeground = tcgetpgrp(STDIN_FILENO);
	return nForeground > 0 && nForeground != getpgrp();
}

// The question, and standard input without echo.
class CQuestion
{
public:
	explicit CQuestion(const std::string& sQuestion) : m_sQuestion(sQuestion)
	{
		tcgetattr(STDIN_FILENO, &m_oTerminal);
		Ask();
	}

	~CQuestion() { Withdraw(); }
	CQuestion(const CQuestion&) = delete;
	CQuestion& operator=(const CQuestion&) = delete;

	// Once more if the echo is on again: a shell may have set up the terminal while the program was stopped.
	void Ask()
	{
		termios oNow = m_oTerminal;
		tcgetattr(STDIN_FILENO, &oNow);
		if (IsInBackground() || (m_bAsked && (oNow.c_lflag & ECHO) == 0))
			return;
		m_bAsked = true;
		oNow = m_oTerminal;
		oNow.c_lflag &= ~static_cast<tcflag_t>(ECHO);
		tcsetattr(STDIN_FILENO, TCSAFLUSH, &oNow);
		CMonitorOutput::Write(STDERR_FILENO, m_sQuestion);
	}

	void Withdraw()
	{
		if (!m_bAsked)
			return;
		m_bAsked = false;
		// At once: output that Ctrl-S holds up would keep it.
		tcsetattr(STDIN_FILENO, TCSANOW, &m_oTerminal);
		CMonitorOutput::Write(STDERR_FILENO, "\n");
	}

private:
	const std::string m_sQuestion;
	termios m_oTerminal = {};
	bool m_bAsked = false;
};
}    // namespace

EPasswordAnswer AskForPassword(const std::string& sQuestion, std::string& rsPassword)
{
	const CWaitingSignals oSignals;
	CQuestion oQuestion(sQuestion);
	rsPassword.clear();
	for (;;)
	{
		pollfd aoWaits[] = { { oSignals.File(), POLLIN, 0 }, { STDIN_FILENO, POLLIN, 0 } };
		poll(aoWaits, 2, -1);
		if (aoWaits[0].revents != 0)
		{
			const int nSignal = oSignals.Take();
			if (nSignal == SIGINT || nSignal == SIGTERM)
				return ePasswordInterrupted;
			if (nSignal != SIGCONT)
			{
				oQuestion.Withdraw();
				CWaitingSignals::LetAct(nSignal);
			}
			oQuestion.Ask();
		}
		else if (IsInBackground())
			CWaitingSignals::LetAct(SIGTTIN);
		else if (aoWaits[1].revents != 0)
		{
			char c = 0;
			if (read(STDIN_FILENO, &c, 1) != 1)
				return rsPassword.empty() ? ePasswordMissing : ePasswordGiven;
			if (c == '\n')
				return ePasswordGiven;
			rsPassword += c;
		}
	}
}
