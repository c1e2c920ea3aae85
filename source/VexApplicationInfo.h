#pragma once

#include <string>

// Describes a program or the library itself: name, description, vendor, copyright, contact and version.
//
// Threads: no lock inside; GetLibraryInfo() may be called from any thread and at any time.
class CVexApplicationInfo
{
public:
	// The texts follow the rules of their setters.
	CVexApplicationInfo(const char* pszApplName, int nVersionMajor, int nVersionMinor, int nVersionPatch,
		const char* pszVendorName = nullptr, const char* pszApplDesc = nullptr, const char* pszContact = nullptr,
		const char* pszCopyright = nullptr);
	CVexApplicationInfo(const char* pszApplName, const char* pszVersion, const char* pszVendorName = nullptr,
		const char* pszApplDesc = nullptr, const char* pszContact = nullptr, const char* pszCopyright = nullptr);
	virtual ~CVexApplicationInfo();

	// A null text counts as an empty one.
	void SetApplName(const char* pszApplName);
	void SetVendorName(const char* pszVendorName);
	void SetContact(const char* pszContact);

	// A null text takes the name of this moment.
	void SetApplDescription(const char* pszApplDesc);

	// A null text gives "Copyright (C)".
	void SetCopyright(const char* pszCopyright);

	void SetVersion(int nMajor, int nMinor, int nPatch);

	// Three numbers with one character of any kind between them. Reading stops at the first thing that is none; what
	// is missing is taken from 1.0.0.
	void SetVersion(const char* pszVersion);

	const std::string& GetApplName() const;
	const std::string& GetApplDescription() const;
	const std::string& GetVendorName() const;
	const std::string& GetContact() const;
	int GetVersionMajor() const;
	int GetVersionMinor() const;
	int GetVersionPatch() const;

	// As in "1.0.12".
	std::string GetVersion() const;

	// As in "Tool, Version 1.0.12", with the description in front.
	std::string GetVersionString() const;

	// Copyright text, a blank, the vendor, and the contact in brackets if there is one.
	std::string GetCopyrightString() const;

	// The library's own record. Usable from the constructors and destructors of static objects, too.
	static const CVexApplicationInfo& GetLibraryInfo();

private:
	std::string m_sApplName;
	std::string m_sApplDesc;
	std::string m_sVendorName;
	std::string m_sCopyright;
	std::string m_sContact;
	int m_nVersionMajor;
	int m_nVersionMinor;
	int m_nVersionPatch;

	// Memory that GetLibraryInfo() fills when it is first called and nothing destroys.
	static const CVexApplicationInfo& m_oFundamentInfo;
};
