// Scrambling of passwords, their text form, and reading one without echo.

#include "VexPassword.h"

#include "VexEchoInternal.h"

#include <atomic>
#include <iostream>
#include <termios.h>
#include <unistd.h>

namespace
{
// The terminal's attributes before the echo was switched off. There is one standard input: passwords are read one at a
// time.
termios oWithEcho;
std::atomic<bool> bEchoOff{ false };

// The echo of standard input is off while this object lives; nothing happens if that is no terminal.
class CEchoOff
{
public:
	CEchoOff()
	{
		termios oAttributes = {};
		if (bEchoOff || tcgetattr(STDIN_FILENO, &oAttributes) != 0)
			return;
		oWithEcho = oAttributes;
		bEchoOff = true;
		oAttributes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
		tcsetattr(STDIN_FILENO, TCSAFLUSH, &oAttributes);
	}
	~CEchoOff() { VexRestoreEcho(); }
	CEchoOff(const CEchoOff&) = delete;
	CEchoOff& operator=(const CEchoOff&) = delete;
};

int HexDigit(char c)
{
	if (c >= '0' && c <= '9')
		return c - '0';
	if (c >= 'a' && c <= 'f')
		return c - 'a' + 10;
	if (c >= 'A' && c <= 'F')
		return c - 'A' + 10;
	return -1;
}

// False if a character is no hexadecimal digit.
bool BytesFromHex(const std::string& sDigits, std::string& rsBytes)
{
	rsBytes.reserve(sDigits.size() / 2);
	int nHigh = -1;
	for (const char c : sDigits)
	{
		const int nDigit = HexDigit(c);
		if (nDigit < 0)
			return false;
		if (nHigh >= 0)
			rsBytes += static_cast<char>(nHigh * 16 + nDigit);
		nHigh = nHigh >= 0 ? -1 : nDigit;
	}
	return true;
}
}    // namespace

void VexRestoreEcho()
{
	// At once: output that a stopped terminal does not take would hold the end up. What was typed after the word stays
	// for the next reader.
	if (bEchoOff.exchange(false))
		tcsetattr(STDIN_FILENO, TCSANOW, &oWithEcho);
}

CVexPassword::CVexPassword(bool bEncrypt) : m_bEncrypt(bEncrypt) {}

// KEPT: a second call appends to the scrambled form instead of replacing it. Programs set a password once.
// Test: CVexPassword.SettingTwiceAppendsTheScrambledFormKept
// KEPT: the caller's text is not wiped but gets as many NULs in front as it has characters. Kept on purpose: programs
// rely on it. Test: CVexPassword.SettingPutsNulsInFrontOfTheCallersTextKept
void CVexPassword::SetPassword(std::string& rsPassword)
{
	if (!m_bEncrypt)
	{
		m_sPassword = rsPassword;
		return;
	}
	Encrypt(rsPassword);
	rsPassword.insert(0, rsPassword.size(), '\0');
}

void CVexPassword::ReadPassword()
{
	std::string sWord;
	{
		const CEchoOff oEchoOff;
		std::cin >> sWord;
	}
	SetPassword(sWord);
}

void CVexPassword::Encrypt(const std::string& rsPassword)
{
	if (rsPassword.empty())
		return;
	const unsigned char nLength = static_cast<unsigned char>(rsPassword.size());
	unsigned char nPrevious = static_cast<unsigned char>(rsPassword.back());
	for (const char c : rsPassword)
	{
		nPrevious = static_cast<unsigned char>(nLength ^ static_cast<unsigned char>(c) ^ nPrevious);
		m_sPassword += static_cast<char>(nPrevious);
	}
}

// KEPT: the stream ends up decimal, whatever it was. Kept on purpose: programs rely on it.
// Test: CVexPassword.WritingSetsTheStreamToDecimalKept
std::ostream& operator<<(std::ostream& rStream, const CVexPassword& rPassword)
{
	static const char szDigits[] = "0123456789abcdef";
	std::string sText;
	sText.reserve(2 * rPassword.m_sPassword.size());
	for (const char c : rPassword.m_sPassword)
	{
		const unsigned int nByte = static_cast<unsigned char>(c);
		sText += szDigits[nByte >> 4];
		sText += szDigits[nByte & 0xF];
	}
	return rStream << sText << std::dec;
}

std::istream& operator>>(std::istream& rStream, CVexPassword& rPassword)
{
	std::string sWord;
	rStream >> sWord;
	// A text that VexFromString has put into the stream ends in a NUL.
	if (!sWord.empty() && sWord.back() == '\0')
		sWord.pop_back();
	rPassword.m_sPassword.clear();
	std::string sBytes;
	if (!BytesFromHex(sWord, sBytes))
		rStream.setstate(std::ios::failbit);
	else
		rPassword.m_sPassword.swap(sBytes);
	return rStream;
}

const std::string& CVexPassword::GetPassword() const
{
	return m_sPassword;
}

bool CVexPassword::operator==(const CVexPassword& rOther) const
{
	return m_sPassword == rOther.m_sPassword;
}

bool CVexPassword::operator!=(const CVexPassword& rOther) const
{
	return !(*this == rOther);
}
