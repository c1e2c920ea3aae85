#pragma once

#include <iosfwd>
#include <string>

// A password as it is stored: scrambled if constructed with true (so that it is not read in passing; no protection
// against whoever wants to know it). The same password always gives the same stored form.
//
// Its text form, for ini files and messages, is the stored form in hexadecimal digits.
class CVexPassword
{
public:
	explicit CVexPassword(bool bEncrypt);

	// With scrambling, the scrambled text is APPENDED to what is stored (an object is meant to be set once), and as many
	// NULs as the caller's text has characters are put in front of it: the text itself stays readable behind them.
	// Without scrambling the text replaces what is stored.
	void SetPassword(std::string& rsPassword);

	// Reads one word from standard input, with the echo off if that is a terminal, and passes it to SetPassword().
	// Blocks until there is a word or the input has ended.
	void ReadPassword();

	// The stored form.
	const std::string& GetPassword() const;
	bool operator==(const CVexPassword& rOther) const;
	bool operator!=(const CVexPassword& rOther) const;

	// Two lower-case digits for each byte; the stream is set to decimal.
	friend std::ostream& operator<<(std::ostream& rStream, const CVexPassword& rPassword);

	// Replaces the stored form by what one word of digits (either case) names; nothing is scrambled. An odd last digit
	// is ignored. With no word, or one that holds anything else, the stream fails and the stored form is empty.
	friend std::istream& operator>>(std::istream& rStream, CVexPassword& rPassword);

private:
	void Encrypt(const std::string& rsPassword);

	std::string m_sPassword;
	bool m_bEncrypt;
};
