#pragma once

// Asks for a password on the terminal.

#include <string>

enum EPasswordAnswer
{
	ePasswordGiven,
	ePasswordMissing,       // the input has ended
	ePasswordInterrupted    // by SIGINT or SIGTERM
};

// Asks on standard error and reads a line of standard input, which is a terminal, without echo.
//
// Other signals have their usual effect; those that end or stop the program find the echo switched on again. Call it while
// the program has one thread: signals that came to another one would not be noticed here.
EPasswordAnswer AskForPassword(const std::string& sQuestion, std::string& rsPassword);
