#pragma once

// Terminals for tests, and serial devices at numbers that no real one has. Those take write access to /dev.

#include <cerrno>
#include <pty.h>
#include <string>
#include <termios.h>
#include <unistd.h>

// A link "/dev/ttyS<n>" to any file, for as long as the object lives.
class CDeviceLink
{
public:
	explicit CDeviceLink(const std::string& sTarget)
	{
		while (symlink(sTarget.c_str(), Name().c_str()) != 0 && errno == EEXIST)
			++m_nPort;
	}
	~CDeviceLink() { unlink(Name().c_str()); }
	CDeviceLink(const CDeviceLink&) = delete;
	CDeviceLink& operator=(const CDeviceLink&) = delete;
	std::string Name() const { return "/dev/ttyS" + std::to_string(m_nPort); }

	unsigned int m_nPort = 9000;
};

// A line, as it is before anyone has set it up, and the device at its other end. The line's descriptor keeps the settings
// while nobody else has the line open.
struct CPseudoTerminal
{
	CPseudoTerminal() { openpty(&m_nDevice, &m_nLine, nullptr, nullptr, nullptr); }
	~CPseudoTerminal() { close(m_nDevice), close(m_nLine); }

	// Whether what is typed is shown.
	bool Echo() const
	{
		termios oAttributes = {};
		tcgetattr(m_nLine, &oAttributes);
		return (oAttributes.c_lflag & ECHO) != 0;
	}

	int m_nDevice = -1, m_nLine = -1;
};
