// Keeps and formats the description record of programs and of the library.

#include "VexApplicationInfo.h"

#include "VexImmortalInternal.h"

#include <locale>
#include <new>
#include <sstream>

namespace
{
CVexImmortalMemory<CVexApplicationInfo> uFundamentInfo;

std::string TextOf(const char* pszText)
{
	return pszText ? pszText : "";
}
}    // namespace

const CVexApplicationInfo& CVexApplicationInfo::m_oFundamentInfo = uFundamentInfo.m_oObject;

CVexApplicationInfo::CVexApplicationInfo(const char* pszApplName, int nVersionMajor, int nVersionMinor,
	int nVersionPatch, const char* pszVendorName, const char* pszApplDesc, const char* pszContact,
	const char* pszCopyright)
{
	SetVersion(nVersionMajor, nVersionMinor, nVersionPatch);
	SetApplName(pszApplName);
	SetApplDescription(pszApplDesc);
	SetVendorName(pszVendorName);
	SetCopyright(pszCopyright);
	SetContact(pszContact);
}

CVexApplicationInfo::CVexApplicationInfo(const char* pszApplName, const char* pszVersion, const char* pszVendorName,
	const char* pszApplDesc, const char* pszContact, const char* pszCopyright)
	: CVexApplicationInfo(pszApplName, 1, 0, 0, pszVendorName, pszApplDesc, pszContact, pszCopyright)
{
	SetVersion(pszVersion);
}

CVexApplicationInfo::~CVexApplicationInfo() = default;

void CVexApplicationInfo::SetApplName(const char* pszApplName)
{
	m_sApplName = TextOf(pszApplName);
}

void CVexApplicationInfo::SetVendorName(const char* pszVendorName)
{
	m_sVendorName = TextOf(pszVendorName);
}

void CVexApplicationInfo::SetContact(const char* pszContact)
{
	m_sContact = TextOf(pszContact);
}

void CVexApplicationInfo::SetApplDescription(const char* pszApplDesc)
{
	m_sApplDesc = pszApplDesc ? std::string(pszApplDesc) : m_sApplName;
}

void CVexApplicationInfo::SetCopyright(const char* pszCopyright)
{
	m_sCopyright = pszCopyright ? pszCopyright : "Copyright (C)";
}

void CVexApplicationInfo::SetVersion(int nMajor, int nMinor, int nPatch)
{
	m_nVersionMajor = nMajor;
	m_nVersionMinor = nMinor;
	m_nVersionPatch = nPatch;
}

void CVexApplicationInfo::SetVersion(const char* pszVersion)
{
	SetVersion(1, 0, 0);
	std::istringstream oStream(TextOf(pszVersion));
	// In a global locale with grouped digits "1.000" would be one number.
	oStream.imbue(std::locale::classic());
	for (int* const pNumber : { &m_nVersionMajor, &m_nVersionMinor, &m_nVersionPatch })
	{
		int nNumber = 0;
		if (!(oStream >> nNumber))
			return;
		*pNumber = nNumber;
		oStream.get();
	}
}

std::string CVexApplicationInfo::GetVersion() const
{
	return std::to_string(m_nVersionMajor) + "." + std::to_string(m_nVersionMinor) + "." +
		std::to_string(m_nVersionPatch);
}

std::string CVexApplicationInfo::GetVersionString() const
{
	return m_sApplDesc + ", Version " + GetVersion();
}

std::string CVexApplicationInfo::GetCopyrightString() const
{
	std::string sText = m_sCopyright + " " + m_sVendorName;
	if (!m_sContact.empty())
		sText += " (" + m_sContact + ")";
	return sText;
}

const CVexApplicationInfo& CVexApplicationInfo::GetLibraryInfo()
{
	static const CVexApplicationInfo* const pBuilt = new (&uFundamentInfo.m_oObject) CVexApplicationInfo("Fundament",
		"1.0.12",
		"VexCommon maintainers",
		"Common frame and toolbox for console programs",
		"https://vexcommon.example",
		"Copyright (C) 2003-2010");
	static_cast<void>(pBuilt);
	return m_oFundamentInfo;
}

const std::string& CVexApplicationInfo::GetApplName() const
{
	return m_sApplName;
}

const std::string& CVexApplicationInfo::GetApplDescription() const
{
	return m_sApplDesc;
}

const std::string& CVexApplicationInfo::GetVendorName() const
{
	return m_sVendorName;
}

const std::string& CVexApplicationInfo::GetContact() const
{
	return m_sContact;
}

int CVexApplicationInfo::GetVersionMajor() const
{
	return m_nVersionMajor;
}

int CVexApplicationInfo::GetVersionMinor() const
{
	return m_nVersionMinor;
}

int CVexApplicationInfo::GetVersionPatch() const
{
	return m_nVersionPatch;
}
