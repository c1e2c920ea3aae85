#include "VexMutexBuffer.h"

#include <algorithm>
#include <limits>

namespace
{
const std::size_t nCutOff = 65536;    // so much removed data, at least, is cut off the buffer at once
}

CVexMutexBuffer::CVexMutexBuffer() = default;

CVexMutexBuffer::~CVexMutexBuffer() = default;

void CVexMutexBuffer::AddChar(char c)
{
	CVexMutexLock oLock(m_oMutex);
	m_sBuffer += c;
}

void CVexMutexBuffer::AddString(const std::string& s)
{
	CVexMutexLock oLock(m_oMutex);
	m_sBuffer += s;
}

unsigned int CVexMutexBuffer::GetLength()
{
	CVexMutexLock oLock(m_oMutex);
	return static_cast<unsigned int>(
		std::min<std::uint64_t>(GetHeld().size(), std::numeric_limits<unsigned int>::max()));
}

bool CVexMutexBuffer::ContainsString(const std::string& s)
{
	std::uint64_t nSearched = 0;
	return ContainsString(s, nSearched);
}

bool CVexMutexBuffer::ContainsString(const std::string& s, std::uint64_t& rnSearched)
{
	CVexMutexLock oLock(m_oMutex);
	const std::string_view sHeld = GetHeld();
	const std::uint64_t nBegin = std::max(rnSearched, m_nPosition) - m_nPosition;
	if (sHeld.find(s, static_cast<std::size_t>(std::min<std::uint64_t>(nBegin, sHeld.size()))) != sHeld.npos)
		return true;
	// The last bytes may be the begin of an occurrence that has not come whole yet.
	rnSearched = m_nPosition + sHeld.size() - std::min(s.size() - 1, sHeld.size());
	return false;
}

std::string CVexMutexBuffer::GetBuffer()
{
	CVexMutexLock oLock(m_oMutex);
	return std::string(GetHeld());
}

std::string CVexMutexBuffer::RemoveString(int n)
{
	CVexMutexLock oLock(m_oMutex);
	return Take(static_cast<std::size_t>(std::max(n, 0)));
}

std::string CVexMutexBuffer::RemoveString(const std::string& s)
{
	CVexMutexLock oLock(m_oMutex);
	const std::size_t nFound = GetHeld().find(s);
	return nFound == std::string_view::npos ? std::string() : Take(nFound + s.size());
}

void CVexMutexBuffer::ClearBuffer()
{
	CVexMutexLock oLock(m_oMutex);
	Take(GetHeld().size());
}

std::string_view CVexMutexBuffer::GetHeld() const
{
	return std::string_view(m_sBuffer).substr(m_nTaken);
}

// What is taken is cut off now and then only: otherwise every small piece would move all that lies behind it.
std::string CVexMutexBuffer::Take(std::size_t nLength)
{
	nLength = std::min(nLength, GetHeld().size());
	std::string sTaken;
	if (nLength == m_sBuffer.size())
		sTaken.swap(m_sBuffer);
	else
		sTaken.assign(m_sBuffer, m_nTaken, nLength);
	m_nPosition += nLength;
	m_nTaken += nLength;
	if (m_nTaken >= m_sBuffer.size() || (m_nTaken >= nCutOff && m_nTaken >= m_sBuffer.size() / 2))
	{
		m_sBuffer.erase(0, m_nTaken);
		m_nTaken = 0;
		// The memory of a burst is not kept for the buffer's life.
		if (m_sBuffer.capacity() > 4 * (m_sBuffer.size() + nCutOff))
			m_sBuffer.shrink_to_fit();
	}
	return sTaken;
}
