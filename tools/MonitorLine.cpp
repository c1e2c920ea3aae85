#include "MonitorLine.h"

#include "MonitorText.h"

#include <cctype>

namespace
{
const char* const pszTimeForm = "00.00.0000 00:00:00.000 ";    // each 0 a digit
const std::size_t nTimeSize = 23;

bool BeginsWithTime(const std::string& sText)
{
	if (sText.size() <= nTimeSize)
		return false;
	for (std::size_t i = 0; i <= nTimeSize; ++i)
		if (pszTimeForm[i] == '0' ? !std::isdigit(static_cast<unsigned char>(sText[i])) : sText[i] != pszTimeForm[i])
			return false;
	return true;
}

// The end of the class that begins at nBegin. Only the name of the object tells where a class with blanks ends.
std::size_t FindClassEnd(const std::string& sText, std::size_t nBegin, const std::string& sClass)
{
	const bool bClass = sText.compare(nBegin, sClass.size() + 1, sClass + ' ') == 0;
	return bClass ? nBegin + sClass.size() : sText.find(' ', nBegin);
}
}    // namespace

SMonitorLineParts::SMonitorLineParts(const SMonitorLine& rLine)
	: m_sTime(rLine.m_oMsg.GetTime().Time2Str(CVexUTCTime::TTMMJJJJ_HHMMSSmmm)),
	  m_sName(NameOfObject(rLine.m_sFullName)),
	  m_sClass(ClassOfObject(rLine.m_sFullName)),
	  m_sText(rLine.m_oMsg.GetText())
{
	if (!BeginsWithTime(m_sText))
		return;
	const std::size_t nLevelEnd = m_sText.find(' ', nTimeSize + 1);
	if (nLevelEnd == std::string::npos)
		return;
	const std::size_t nClassEnd = FindClassEnd(m_sText, nLevelEnd + 1, m_sClass);
	if (nClassEnd == std::string::npos)
		return;
	m_sTime = m_sText.substr(0, nTimeSize);
	m_sLevel = m_sText.substr(nTimeSize + 1, nLevelEnd - nTimeSize - 1);
	// Without one, the object was gone when the program sent the line.
	if (nClassEnd > nLevelEnd + 1)
		m_sClass = m_sText.substr(nLevelEnd + 1, nClassEnd - nLevelEnd - 1);
	m_sText.erase(0, nClassEnd + 1);
}
