#pragma once

// Asks for a password on the terminal.

#include <string>

class CMonitorPassword
{
public:
	// Whether there is somebody to ask.
	static bool CanAsk();

	// Asks on standard error and reads a line of standard input without echo. False at the end of the input.
	static bool Ask(const std::string& sQuestion, std::string& rsPassword);

	// For the handler of a signal that ends the program while it asks: the echo is on again.
	static void RestoreTerminal();
};
