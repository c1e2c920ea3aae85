#pragma once

// FrameProgram, or another test program, in a folder of its own, running in one of its modes.

#include "ProgramRunner.h"

struct SFrameRun
{
	explicit SFrameRun(const std::string& sMode, const std::string& sTraceIni = "[Trace]\nDebug=3\n",
		const std::string& sProgram = "FrameProgram", int nStdin = -1)
		: m_oProgram(LinkProgram(VEX_TEST_PROGRAM_DIR "/" + sProgram, m_oFolder))
	{
		m_oFolder.WriteFile("Trace.ini", sTraceIni);
		m_oProgram.Start({ sMode }, "", nStdin);
	}

	// A file's text that sets the levels, all of them unless told otherwise, and opens the monitor port.
	static std::string MonitorIni(unsigned short nPort, const std::string& sLevels = "Debug=3")
	{
		return "[Trace]\n" + sLevels + "\nMonitorOn=1\n[Monitor]\nIPAddress=127.0.0.1\nPort=" + std::to_string(nPort) +
			"\nMaxConnections=5\nReserveConnections=2\n";
	}

	std::string Log() const
	{
		std::string sLog;
		for (const auto& rEntry : std::filesystem::directory_iterator(m_oFolder.Path()))
			if (rEntry.path().extension() == ".log")
				sLog += m_oFolder.ReadFile(rEntry.path().filename().string());
		return sLog;
	}

	CTempFolder m_oFolder;
	CProgramRunner m_oProgram;
};
