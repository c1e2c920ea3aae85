#pragma once

#include "VexPassword.h"

#include <memory>
#include <string>

class CVexIniFile;

// Login of users against "Password.ini" in the program's directory, one line for each in its section [Username]. Names
// that differ in case alone are one. Name and password come from standard input, a word each; no prompt is written.
//
// Threads: an object belongs to one thread, and so does standard input meanwhile. Of two registrations at once, in
//          this or another process, one may be lost.
// Errors:  the results alone. An unreadable file knows no users.
class CVexLogin
{
public:
	enum EReturnState
	{
		eOK = 0,
		eIllegalPassword = 1,       // not the stored one
		eIllegalUsername = 2,       // unknown; at the registration: known already
		ePasswordInvalid = 3,       // empty; whatever the name is
		eUsernameInvalid = 4,       // empty
		eRegistrationFailed = 5,    // not stored: the file cannot be written, or cannot hold such a name or password
		eReadError = 6              // never returned
	};

	// Creates the file, readable for its owner alone, if there is none.
	CVexLogin();
	virtual ~CVexLogin();
	CVexLogin(const CVexLogin&) = delete;
	CVexLogin& operator=(const CVexLogin&) = delete;

	// Reads name and password, the latter without echo. Blocks until both are there or the input has ended.
	EReturnState Login();

	// The password must have been scrambled.
	EReturnState Login(const std::string& rsUserName, const CVexPassword& rPassword);

	// Reads name and password as Login() and stores them for a new user. Names that begin with '[' or hold '=' or '#'
	// cannot be stored, nor passwords that with the name make a line of more than 1023 characters (two for each of
	// theirs).
	EReturnState Registration();

private:
	class CLoginIniFile;

	EReturnState Logging();
	EReturnState CheckEntered() const;
	EReturnState CheckLogin();

	CVexPassword m_oVexPassword;    // entered
	std::string m_sUserName;
	CVexPassword m_oRetPassword;    // stored for that user; empty if there is none
	std::unique_ptr<CLoginIniFile> m_poIniFile;
	std::unique_ptr<CVexIniFile> m_poVexIniFile;    // gives the file's full name
};
