#pragma once

#include "VexMailAddress.h"

#include <istream>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

class CVexUTCTime;

// An Internet mail message as text: a header of fields ("Name: value", lines end in "\r\n") and, behind an empty line, a
// body. No character set, transfer encoding or attachment is looked at.
//
// A field is found only where a line begins with its name in upper or lower case, a colon and one blank. Its value may
// continue on lines that begin with white space. Case and white space are those of the C library's locale; names of other
// than ASCII letters are found only while it stays. A name that is empty, begins with white space or holds a line break or
// ": " is no name: setting it does nothing.
//
// Threads: a plain value.
// Errors:  any text is a mail; what is missing is empty.
// Cost:    each operation on fields is linear in the size of the header, whatever the body.
class CVexMail
{
public:
	CVexMail();

	// What stands in front of the first "\r\n\r\n" is the header, the rest the body. Without it all is header.
	CVexMail(const std::string& sMail);

	// The same; the body takes over the text's memory.
	CVexMail(std::string&& sMail);

	// The same. Null counts as an empty text.
	CVexMail(const char* pBuffer, unsigned int nLength);

	CVexMail(const CVexMail& rOther);
	CVexMail(CVexMail&& rOther) noexcept;
	virtual ~CVexMail();

	// Writes GetTotalMail(); the stream's width does not matter.
	virtual std::ostream& PutStream(std::ostream& rStream) const;

	// Reads up to the stream's end and takes the text as the constructor does; eofbit alone is set then. From a stream
	// that has failed or is at its end already, nothing is read: it fails and the mail stays as it was. The mail stays,
	// too, if the stream breaks while it is read (badbit).
	virtual std::istream& GetStream(std::istream& rStream);

	CVexMail& operator=(const CVexMail& rOther);
	CVexMail& operator=(CVexMail&& rOther) noexcept;

	// Header, "\r\n\r\n", body. A header that was empty ends in "\r\n" once a field is set: others then see an empty line
	// in front of the body.
	std::string GetTotalMail() const;

	// The reference is good until the mail changes.
	const std::string& GetBodyText() const;
	void SetBodyText(const std::string& sText);

	// The value, continuation lines joined without the one character that each begins with. Values of a field that comes
	// several times are joined by the separator, with nothing if that is 0.
	std::string GetFieldValue(const std::string& sName, char cSeparator) const;

	// Replaces the first field of that name and removes all others of it. A new field comes first, also in front of an
	// empty line, which others take for the end of the header; a first line that begins with white space continues it.
	//
	// Lines of more than 78 characters are continued behind a separator, or in column 998 where there is none in time.
	// With separator 0 there is none. The value reads back unchanged, without its line breaks: behind each of them the
	// value continues on a new line, never as a field of its own. A value may thus be folded already ("\r\n" and a blank
	// or tab); empty lines in it, and breaks at its ends, are left out.
	void SetFieldValue(const std::string& sName, std::string sValue, char cSeparator);

	std::string GetDate() const;
	std::string GetSubject() const;
	CVexMailAddress GetFrom() const;

	// One for each address of the field that is not empty. Commas in quotes, parentheses and angle brackets do not divide,
	// if these are closed anywhere behind.
	std::vector<CVexMailAddress> GetTo() const;
	std::vector<CVexMailAddress> GetCc() const;

	// GetTo(), then GetCc().
	std::vector<CVexMailAddress> GetRecipients() const;

	void SetDate(const std::string& sDate);

	// In the form 5 Mar 09 14:07 +0100: see CVexUTCTime::MailFormat.
	void SetDate(const CVexUTCTime& rDate);
	void SetSubject(const std::string& sSubject);
	void SetFrom(const std::string& sFrom);

	// Addresses without any text are left out.
	void SetTo(const std::vector<CVexMailAddress>& aoAddresses);
	void SetCc(const std::vector<CVexMailAddress>& aoAddresses);

protected:
	// Where the first line of the field begins that is not in front of nStart (0, or the end of a line); npos if there is
	// none.
	std::string::size_type GetFieldIndex(const std::string& sName, unsigned int nStart) const;

	// From nIndex, a field's first character, to its end: continuation lines included, the last "\r\n" not. The name does
	// not matter, and nIndex stays; 0 if it is behind the header.
	std::string::size_type GetFieldLength(const std::string& sName, unsigned int& nIndex) const;

	// The line with "\r\n" behind it, and "\r\n\t" wherever it has to be folded. A line that is folded already is folded
	// further where that is needed. The name up to the first ": " stays whole.
	std::string SubDivLargeFields(const std::string& sLine, char cSeparator) const;

	std::vector<CVexMailAddress> GetSepMailaddresses(const std::string& sAddresses) const;

private:
	void Split(std::string_view sMail);
	void Split(std::string&& sMail);
	void CopyHeaderToUppercase();

	std::string m_sHeader;
	std::string m_sHeaderUpper;    // m_sHeader through toupper, character by character
	std::string m_sBodytext;
};

// The text is the mail: always true.
bool VexFromString(CVexMail& rMail, const std::string& sText);

std::ostream& operator<<(std::ostream& rStream, const CVexMail& rMail);
std::istream& operator>>(std::istream& rStream, CVexMail& rMail);
