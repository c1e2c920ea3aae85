// Ini files: the file's name and case rule, and the operations that take one exchange each.

#include "VexIniFile.h"

#include "VexOptionExchange.h"
#include "VexPathFunc.h"
#include "VexProcess.h"

namespace
{
const char szDefaultIniFile[] = "Konfig.ini";

std::string FullName(const char* pszIniFilename, CVexIniFile::EPathMode ePathMode)
{
	const char* const pszName = pszIniFilename && *pszIniFilename ? pszIniFilename : szDefaultIniFile;
	switch (ePathMode)
	{
	case CVexIniFile::eRelativeToPWD:
		return MakePathAbsolute(pszName, CVexProcess::GetCurrentProgDir().c_str());
	case CVexIniFile::eRelativeToCWD:
		return MakePathAbsolute(pszName, CVexProcess::GetCurrentWorkDir().c_str());
	case CVexIniFile::eAbsolutePath:
		break;
	}
	return pszName;
}
}    // namespace

CVexIniFile::CVexIniFile(const char* pszIniFilename, EPathMode ePathMode)
	: m_sIniFilename(FullName(pszIniFilename, ePathMode))
{
}

CVexIniFile::CVexIniFile() = default;

CVexIniFile::~CVexIniFile() = default;

bool CVexIniFile::UpdateOptions(bool bSave)
{
	CVexIniOptionExchange oExchange(this, bSave);
	DoOptionExchange(&oExchange);
	return !bSave || oExchange.IsFileRead();
}

std::string CVexIniFile::GetIniFileName() const
{
	return m_sIniFilename;
}

void CVexIniFile::SetCasesensitiv(bool bCaseSensitive)
{
	m_bCaseSensitive = bCaseSensitive;
}

bool CVexIniFile::IsCaseSensitiv() const
{
	return m_bCaseSensitive;
}

std::string CVexIniFile::ReadOption(const char* pszSection, const char* pszEntry, const char* pszDefault)
{
	CVexIniOptionExchange oExchange(this, false);
	DoOptionExchange(&oExchange);
	std::string sValue = pszDefault ? pszDefault : "";
	oExchange.GetOptionString(pszSection, pszEntry, sValue);
	return sValue;
}

void CVexIniFile::WriteOption(const char* pszSection, const char* pszEntry, const char* pszValue)
{
	CVexIniOptionExchange oExchange(this, true);
	oExchange.SetOptionString(pszSection, pszEntry, pszValue);
	DoOptionExchange(&oExchange);
}

void CVexIniFile::ReadAllSections(std::vector<std::string>& rasSections)
{
	CVexIniOptionExchange oExchange(this, false);
	DoOptionExchange(&oExchange);
	oExchange.GetSections(rasSections);
}

void CVexIniFile::ReadAllSectionEntries(const char* pszSection, std::vector<std::string>& rasEntries)
{
	CVexIniOptionExchange oExchange(this, false);
	DoOptionExchange(&oExchange);
	oExchange.GetOptions(pszSection, rasEntries);
}

void CVexIniFile::DoOptionExchange(CVexConfigExchange* pExchange)
{
	DoOptionExchange(static_cast<CVexIniOptionExchange*>(pExchange));
}

void CVexIniFile::DoOptionExchange(CVexIniOptionExchange*) {}
