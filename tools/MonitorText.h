#pragma once

// Texts on their way between the followed program (ISO-8859-1), the terminal and JSON.

#include "VexTraceMsg.h"

#include <string>

// Whether the environment asks for UTF-8.
bool IsTerminalUtf8();

// A text of the command line as it goes to the program; one that cannot be said in ISO-8859-1 goes as it is.
std::string TextToProgram(const std::string& sText, bool bTerminalUtf8);

// A text of the program for people: control characters, which could steer a terminal, show as \x1b; only tabs stay.
std::string TextToTerminal(const std::string& sText, bool bTerminalUtf8);

// A JSON string of a text of the program, with its quotes, in UTF-8.
std::string TextToJson(const std::string& sText);

// The same of a text that the user has typed.
std::string TypedTextToJson(const std::string& sText, bool bTerminalUtf8);

// "INFO"; the number if it is not exactly one level.
std::string LevelName(CVexTraceMsg::ETraceLevel eLevel);

// The mask of all levels up to the one with this name, in either case. False if there is none.
bool LevelsUpTo(const std::string& sName, CVexTraceMsg::ETraceLevel& reLevels);

// What stands behind the last "/" of an object's full name.
std::string ClassOfObject(const std::string& sFullName);

// What stands in front of it.
std::string NameOfObject(const std::string& sFullName);
