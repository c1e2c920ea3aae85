#pragma once

#include "VexMutex.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Bytes on their way from a thread that appends them to threads that look for a length or a text and take them from the
// front. They may hold NULs.
//
// Threads: any; each operation is atomic.
// Size:    without limit. Whoever lets bytes be appended takes them out or clears the buffer.
class CVexMutexBuffer
{
public:
	CVexMutexBuffer();
	virtual ~CVexMutexBuffer();
	CVexMutexBuffer(const CVexMutexBuffer&) = delete;
	CVexMutexBuffer& operator=(const CVexMutexBuffer&) = delete;

	void AddChar(char c);
	void AddString(const std::string& s);

	unsigned int GetLength();

	// The empty text is always there.
	bool ContainsString(const std::string& s);

	// A copy: the buffer keeps its bytes.
	std::string GetBuffer();

	// Removes and returns the first n bytes: fewer if fewer are held, none if n is negative.
	std::string RemoveString(int n);

	// Removes and returns all up to the end of the first occurrence of the text. Without one nothing is removed, and the
	// result is empty.
	std::string RemoveString(const std::string& s);

	void ClearBuffer();

private:
	friend class CVexSerial;

	// For one who asks again and again: rnSearched, initially 0, tells the next call with the same text where to go on.
	bool ContainsString(const std::string& s, std::uint64_t& rnSearched);

	// These two with the mutex.
	std::string_view GetHeld() const;
	std::string Take(std::size_t nLength);

	std::string m_sBuffer;
	CVexMutex m_oMutex;               // guards all members
	std::size_t m_nTaken = 0;         // bytes of m_sBuffer that are removed but not yet cut off
	std::uint64_t m_nPosition = 0;    // of the first byte held, counted from the first one that ever came
};
