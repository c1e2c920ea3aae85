#pragma once

#include <istream>
#include <ostream>
#include <string>

// One mail address as it stands in a header: a@b, <a@b>, "Name" <a@b>, Name <a@b> or a@b (Name). The text is kept as it
// is; nothing is checked, quoted or decoded. The parts are looked up anew by every call.
//
// Threads: a plain value.
// Errors:  a part that is missing is empty. Texts of 4 GiB and more have no parts.
class CVexMailAddress
{
public:
	CVexMailAddress();
	CVexMailAddress(const std::string& sRawAddress);

	// Null counts as an empty text.
	CVexMailAddress(const char* pBuffer, unsigned int nLength);

	// "sDisplayname" <sSmtpAddress>; quotes within the name are not escaped.
	CVexMailAddress(const std::string& sDisplayname, const std::string& sSmtpAddress);

	CVexMailAddress(const CVexMailAddress& rOther);
	CVexMailAddress(CVexMailAddress&& rOther) noexcept;
	virtual ~CVexMailAddress();

	// The whole text.
	virtual std::ostream& PutStream(std::ostream& rStream) const;

	// The rest of the line, without its "\n" and not more than 255 characters: the stream fails if there are more, or if
	// there is no line, and the text is then the 255 characters or empty. A NUL that ends the stream is left out.
	virtual std::istream& GetStream(std::istream& rStream);

	CVexMailAddress& operator=(const CVexMailAddress& rOther);
	CVexMailAddress& operator=(CVexMailAddress&& rOther) noexcept;

	// Where the bare address is; length 0 if there is no "@" but within the quoted name. It is what stands around the "@"
	// between "<" and ">", else between blanks, and may hold line breaks and anything else that the text holds.
	void GetSmtpAddressPos(unsigned int& nPos, unsigned int& nLength) const;
	std::string GetSmtpAddress() const;

	// Replaces the bare address; a text without one gets it behind its end.
	void SetSmtpAddress(const std::string& sSmtpAddress);

	// Where the name is, without quotes or parentheses; length 0 if there is none. A name without quotes is taken to be
	// divided from the "<" by one character.
	void GetDisplaynamePos(unsigned int& nPos, unsigned int& nLength) const;
	std::string GetDisplayname() const;

	// Replaces the name; a text without one gets it, in quotes and with a blank, in front. Quotes within it are not escaped.
	void SetDisplayname(const std::string& sDisplayname);

	// What is behind the first "@" of the bare address.
	std::string GetDomain() const;

	// The bare addresses alone are compared, upper and lower case being the same.
	bool operator==(const CVexMailAddress& rOther) const;

private:
	std::string m_sRawAddress;
};

std::ostream& operator<<(std::ostream& rStream, const CVexMailAddress& rAddress);
std::istream& operator>>(std::istream& rStream, CVexMailAddress& rAddress);
