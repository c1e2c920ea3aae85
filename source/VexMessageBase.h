#pragma once

// A framed binary message: built by appending items, or parsed from received bytes and read item by item.

#include <cstdint>
#include <string>

// Start marker, payload length, payload, end marker; all words have 32 bits in little-endian order. Payload items are
// words, and strings: a word with the length in bytes, then the bytes.
//
// Threads: an object belongs to one thread.
// Errors:  by the results; what the bytes say of lengths and counts is never trusted. Words above 32 bits are cut.
class CVexMessageBase
{
public:
	// An empty message to be built. A marker of 0 leaves it without a frame: GetMessage() is empty then.
	CVexMessageBase(long nSOM, long nEOM);

	// Takes a frame from the nLen bytes; more bytes behind its end are ignored. Without a whole frame the payload is
	// empty, and the start marker alone decides whether the message is valid: so a receiver can check a header of 8
	// bytes before it has the rest. Null counts as no bytes.
	CVexMessageBase(long nSOM, long nEOM, const char* pData, int nLen);

	virtual ~CVexMessageBase() = default;

	virtual bool IsValid() const;

	// Puts the cursor where the items to read begin.
	virtual void ResetDataOffset();

	void AddData(long n);

	// The bytes alone: a string item is AddData(length), AddData(s).
	void AddData(const std::string& s);

	// False, and nothing has changed, if the payload does not hold what is asked for.
	bool GetData(std::string& s, int nOffset, int nLen) const;
	bool GetData(long& n, int nOffset) const;

	// The item at the cursor, which moves behind it. False if the payload does not hold it; the cursor has passed the
	// length word of a string then if that was there.
	bool GetData(long& n);
	bool GetData(std::string& s);

	// The whole frame; empty if either marker is 0, as in a message parsed from less than a frame.
	std::string GetMessage() const;

	// Trap: of a message parsed from less than a frame, what the header announces, be it negative or huge (0 without
	// a header). GetDataTotal().size() is always what is there.
	int GetDataSize() const;

	// The size of the frame that has GetDataSize() bytes of payload; the largest int if that is too large for one.
	int GetSize() const;

	// The payload.
	const std::string& GetDataTotal() const;

protected:
	std::int32_t m_nOffset = 0;    // the cursor

private:
	std::int32_t m_nSOM;
	std::int32_t m_nEOM;
	std::string m_sData;
	std::int32_t m_nDataLen = 0;
	bool m_bIsValid = true;
};
