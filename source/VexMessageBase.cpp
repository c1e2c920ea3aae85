#include "VexMessageBase.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace
{
const int nWordSize = 4;
const int nHeaderSize = 2 * nWordSize;
const int nFrameSize = 3 * nWordSize;    // without payload

// Written in the order of the machine, which is that of the wire wherever the library runs.
void AppendWord(std::string& rsData, std::int32_t n)
{
	char szBytes[nWordSize];
	std::memcpy(szBytes, &n, sizeof szBytes);
	rsData.append(szBytes, sizeof szBytes);
}

std::int32_t ReadWord(const char* pData)
{
	std::int32_t n = 0;
	std::memcpy(&n, pData, sizeof n);
	return n;
}

// Written so that nothing can overflow.
bool Holds(const std::string& sData, int nOffset, int nLen)
{
	return nOffset >= 0 && nLen >= 0 && static_cast<std::size_t>(nOffset) <= sData.size() &&
		static_cast<std::size_t>(nLen) <= sData.size() - static_cast<std::size_t>(nOffset);
}
}    // namespace

CVexMessageBase::CVexMessageBase(long nSOM, long nEOM)
	: m_nSOM(static_cast<std::int32_t>(nSOM)), m_nEOM(static_cast<std::int32_t>(nEOM))
{
}

CVexMessageBase::CVexMessageBase(long nSOM, long nEOM, const char* pData, int nLen)
	: m_nSOM(0), m_nEOM(0), m_bIsValid(false)
{
	if (!pData || nLen < nWordSize)
		return;
	m_nSOM = ReadWord(pData);
	m_bIsValid = m_nSOM == static_cast<std::int32_t>(nSOM);
	if (nLen >= nHeaderSize)
		m_nDataLen = ReadWord(pData + nWordSize);
	if (nLen < nFrameSize || m_nDataLen < 0 || m_nDataLen > nLen - nFrameSize)
		return;
	m_nEOM = ReadWord(pData + nHeaderSize + m_nDataLen);
	m_sData.assign(pData + nHeaderSize, static_cast<std::size_t>(m_nDataLen));
	m_bIsValid = m_bIsValid && m_nEOM == static_cast<std::int32_t>(nEOM);
}

void CVexMessageBase::AddData(long n)
{
	AppendWord(m_sData, static_cast<std::int32_t>(n));
	m_nDataLen = static_cast<std::int32_t>(m_sData.size());
}

void CVexMessageBase::AddData(const std::string& s)
{
	m_sData += s;
	m_nDataLen = static_cast<std::int32_t>(m_sData.size());
}

bool CVexMessageBase::GetData(std::string& s, int nOffset, int nLen) const
{
	if (!Holds(m_sData, nOffset, nLen))
		return false;
	s.assign(m_sData, static_cast<std::size_t>(nOffset), static_cast<std::size_t>(nLen));
	return true;
}

bool CVexMessageBase::GetData(long& n, int nOffset) const
{
	if (!Holds(m_sData, nOffset, nWordSize))
		return false;
	n = ReadWord(m_sData.data() + nOffset);
	return true;
}

bool CVexMessageBase::GetData(long& n)
{
	if (!GetData(n, m_nOffset))
		return false;
	m_nOffset += nWordSize;
	return true;
}

bool CVexMessageBase::GetData(std::string& s)
{
	long nLen = 0;
	if (!GetData(nLen) || !GetData(s, m_nOffset, static_cast<int>(nLen)))
		return false;
	m_nOffset += static_cast<std::int32_t>(nLen);
	return true;
}

std::string CVexMessageBase::GetMessage() const
{
	std::string sMessage;
	if (m_nSOM == 0 || m_nEOM == 0)
		return sMessage;
	sMessage.reserve(m_sData.size() + nFrameSize);
	AppendWord(sMessage, m_nSOM);
	AppendWord(sMessage, m_nDataLen);
	sMessage += m_sData;
	AppendWord(sMessage, m_nEOM);
	return sMessage;
}

int CVexMessageBase::GetSize() const
{
	return std::min(m_nDataLen, std::numeric_limits<int>::max() - nFrameSize) + nFrameSize;
}

bool CVexMessageBase::IsValid() const
{
	return m_bIsValid;
}

void CVexMessageBase::ResetDataOffset()
{
	m_nOffset = 0;
}

int CVexMessageBase::GetDataSize() const
{
	return m_nDataLen;
}

const std::string& CVexMessageBase::GetDataTotal() const
{
	return m_sData;
}
