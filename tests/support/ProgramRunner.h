#pragma once

// Runs a program as a test's child: with arguments and a text on its standard input, and with its output kept.

#include "TempFolder.h"
#include "Waiting.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

// Makes the program a file of the folder, so that the folder is its program directory. The new path.
inline std::string LinkProgram(const std::string& sProgram, const CTempFolder& rFolder)
{
	const std::filesystem::path oLink = rFolder.Path() / std::filesystem::path(sProgram).filename();
	std::error_code oError;
	std::filesystem::create_hard_link(sProgram, oLink, oError);
	if (oError)    // another file system
		std::filesystem::copy_file(sProgram, oLink);
	return oLink.string();
}

// One run of one program. A program that still runs is killed when its runner goes.
//
//     CProgramRunner oProgram(LinkProgram(VEX_TEST_PROGRAM_DIR "/LoginProgram", oFolder));
//     oProgram.Start({ "-v" }, "text on its standard input");
//     EXPECT_EQ(oProgram.EndStatus(), 0) << oProgram.ErrorOutput();
class CProgramRunner
{
public:
	explicit CProgramRunner(const std::string& sProgram) : m_sProgram(sProgram) {}

	~CProgramRunner()
	{
		SendSignal(SIGKILL);
		if (m_bRunning)
			waitpid(m_nPid, &m_nStatus, 0);
	}

	// Call it once. The program's path becomes the first argument. With nStdin that descriptor is its standard input
	// in place of the text; it stays the caller's.
	void Start(const std::vector<std::string>& asArgs = {}, const std::string& sStdin = "", int nStdin = -1)
	{
		if (std::fwrite(sStdin.data(), 1, sStdin.size(), m_poIn.get()) != sStdin.size())
			throw std::runtime_error("cannot write the standard input");
		std::rewind(m_poIn.get());
		std::vector<char*> apArgs = { m_sProgram.data() };
		for (const std::string& rsArg : asArgs)
			apArgs.push_back(const_cast<char*>(rsArg.c_str()));
		apArgs.push_back(nullptr);
		m_nPid = fork();
		if (m_nPid == 0)
			BecomeProgram(nStdin < 0 ? fileno(m_poIn.get()) : nStdin, apArgs.data());
		if (m_nPid < 0)
			throw std::runtime_error("cannot fork for " + m_sProgram);
		m_bRunning = true;
	}

	// Nothing is sent once WaitForEnd() has seen the end: the identifier may be another process's by then.
	void SendSignal(int nSignal) const
	{
		if (m_bRunning)
			kill(m_nPid, nSignal);
	}

	// To one of its threads that do not block the signal; nWhich counts them round and round. Before WaitForEnd() only.
	void SendSignalToThread(int nSignal, int nWhich) const
	{
		std::vector<pid_t> anThreads;
		std::error_code oGone;
		for (const auto& rEntry :
			std::filesystem::directory_iterator("/proc/" + std::to_string(m_nPid) + "/task", oGone))
		{
			std::ifstream oStatus(rEntry.path() / "status");
			std::string sMask;
			while (oStatus >> sMask && sMask != "SigBlk:")
				continue;
			oStatus >> sMask;
			if ((std::strtoull(sMask.c_str(), nullptr, 16) >> (nSignal - 1) & 1) == 0)
				anThreads.push_back(std::stoi(rEntry.path().filename()));
		}
		const std::size_t nAt = static_cast<std::size_t>(nWhich) % std::max<std::size_t>(anThreads.size(), 1);
		if (anThreads.empty() || syscall(SYS_tgkill, m_nPid, anThreads[nAt], nSignal) != 0)
			SendSignal(nSignal);
	}

	// False if the program still runs after the limit.
	bool WaitForEnd(int nLimitMs = 60000)
	{
		return ComesTrue([this] { return HasEnded(); }, nLimitMs);
	}

	// Waits until the program has written the text to its standard output. False if it ends without, or at the limit.
	bool WaitForOutput(const std::string& sText, int nLimitMs = 60000)
	{
		const auto HasWritten = [&] { return Output().find(sText) != std::string::npos; };
		return ComesTrue([&] { return HasWritten() || HasEnded(); }, nLimitMs) && HasWritten();
	}

	// Waits for the end, perhaps one that the signal brings: the exit status, or the signal that ended the program,
	// negative. -1000 if it does not end.
	int EndStatus(int nSignal = 0)
	{
		SendSignal(nSignal);
		return WaitForEnd(60000) ? ExitStatus() : -1000;
	}

	// After WaitForEnd(), the same.
	int ExitStatus() const { return WIFEXITED(m_nStatus) ? WEXITSTATUS(m_nStatus) : -WTERMSIG(m_nStatus); }

	// What the program has written so far.
	std::string Output() const { return Text(m_poOut); }
	std::string ErrorOutput() const { return Text(m_poErr); }

private:
	// Files, not pipes: a program never waits for its test to read.
	typedef std::unique_ptr<std::FILE, int (*)(std::FILE*)> TFile;

	// In the child.
	[[noreturn]] void BecomeProgram(int nStdin, char** ppszArgs) const
	{
		dup2(nStdin, STDIN_FILENO);
		dup2(fileno(m_poOut.get()), STDOUT_FILENO);
		dup2(fileno(m_poErr.get()), STDERR_FILENO);
		// Whatever started the tests may have blocked or ignored signals; the program starts with none of that.
		sigset_t oNone;
		sigemptyset(&oNone);
		sigprocmask(SIG_SETMASK, &oNone, nullptr);
		for (const int nSignal : { SIGINT, SIGTERM, SIGABRT, SIGPIPE, SIGHUP, SIGQUIT })
			signal(nSignal, SIG_DFL);
		execv(m_sProgram.c_str(), ppszArgs);
		_exit(127);
	}

	static TFile UnnamedFile()
	{
		TFile poFile(std::tmpfile(), std::fclose);
		return poFile ? std::move(poFile) : throw std::runtime_error("no temporary file");
	}

	static std::string Text(const TFile& rpoFile)
	{
		std::string sText;
		char szBuffer[4096];
		const int nFile = fileno(rpoFile.get());
		for (ssize_t n; (n = pread(nFile, szBuffer, sizeof(szBuffer), static_cast<off_t>(sText.size()))) > 0;)
			sText.append(szBuffer, static_cast<std::size_t>(n));
		return sText;
	}

	bool HasEnded()
	{
		if (m_bRunning && waitpid(m_nPid, &m_nStatus, WNOHANG) == m_nPid)
			m_bRunning = false;
		return !m_bRunning;
	}

	std::string m_sProgram;
	TFile m_poIn = UnnamedFile(), m_poOut = UnnamedFile(), m_poErr = UnnamedFile();
	pid_t m_nPid = -1;
	int m_nStatus = 0;
	bool m_bRunning = false;
};
