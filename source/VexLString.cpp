// Language strings.

#include "VexLString.h"

#include "VexResourceFile.h"

#include <ostream>

CVexLString::CVexLString(const char* pszKey) : CVexLString(std::string(pszKey ? pszKey : "")) {}

CVexLString::CVexLString(const std::string& rsKey)
	: m_sString(CVexResourceFile::GetStdResources()->GetLString(rsKey)), m_nParmResolved(0)
{
}

CVexLString::~CVexLString() = default;

void CVexLString::ResolveParameter(const std::string& rsValue)
{
	const std::string sPlaceholder = "%" + std::to_string(++m_nParmResolved);
	const std::size_t nPlace = m_sString.find(sPlaceholder);
	if (nPlace != std::string::npos)
		m_sString.replace(nPlace, sPlaceholder.size(), rsValue);
}

std::ostream& operator<<(std::ostream& rStream, const CVexLString& rString)
{
	return rStream << rString.GetString();
}

const std::string& CVexLString::GetString() const
{
	return m_sString;
}
