// The password file and the ways through a login.

#include "VexLogin.h"

#include "VexIniFile.h"
#include "VexOptionExchange.h"

#include <fcntl.h>
#include <iostream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// Does nothing if there is such a file: it keeps its mode and its users.
void CreatePasswordFile(const std::string& sName)
{
	const int nFile = open(sName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
	if (nFile < 0)
		return;
	const std::string_view sText = "[Username]";
	// If it cannot be written now, the first registration writes it.
	[[maybe_unused]] const ssize_t nWritten = write(nFile, sText.data(), sText.size());
	close(nFile);
}
}    // namespace

// The one option of the user whose name was entered.
class CVexLogin::CLoginIniFile : public CVexIniFile
{
public:
	CLoginIniFile(CVexLogin* pLogin, const char* pszIniFilename) : CVexIniFile(pszIniFilename), m_pLogin(pLogin) {}

protected:
	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		const char* const pszUser = m_pLogin->m_sUserName.c_str();
		IOX_Std<CVexPassword>(pExchange, "Username", pszUser, m_pLogin->m_oRetPassword, CVexPassword(true));
		// A password that the line cannot hold whole must not be written: a part of it would take the user's name.
		std::string sStored;
		pExchange->GetOptionString("Username", pszUser, sStored);
		if (sStored != VexToString(m_pLogin->m_oRetPassword))
			pExchange->m_bDirty = false;
	}

private:
	CVexLogin* m_pLogin;
};

CVexLogin::CVexLogin()
	: m_oVexPassword(true),
	  m_oRetPassword(true),
	  m_poVexIniFile(new CVexIniFile("Password.ini", CVexIniFile::eRelativeToPWD))
{
	m_poVexIniFile->UpdateOptions(false);
	const std::string sName = m_poVexIniFile->GetIniFileName();
	m_poIniFile = std::make_unique<CLoginIniFile>(this, sName.c_str());
	CreatePasswordFile(sName);
}

CVexLogin::~CVexLogin() = default;

CVexLogin::EReturnState CVexLogin::Login()
{
	const EReturnState eState = Logging();
	return eState == eOK ? CheckLogin() : eState;
}

CVexLogin::EReturnState CVexLogin::Login(const std::string& rsUserName, const CVexPassword& rPassword)
{
	m_sUserName = rsUserName;
	m_oVexPassword = rPassword;
	const EReturnState eState = CheckEntered();
	return eState == eOK ? CheckLogin() : eState;
}

CVexLogin::EReturnState CVexLogin::Registration()
{
	const EReturnState eState = Logging();
	if (eState != eOK)
		return eState;
	m_poIniFile->UpdateOptions(false);
	if (!m_oRetPassword.GetPassword().empty())
		return eIllegalUsername;
	m_oRetPassword = m_oVexPassword;
	m_poIniFile->UpdateOptions(true);
	m_poIniFile->UpdateOptions(false);
	return m_oRetPassword == m_oVexPassword ? eOK : eRegistrationFailed;
}

CVexLogin::EReturnState CVexLogin::Logging()
{
	m_oVexPassword = CVexPassword(true);
	m_sUserName.clear();
	std::cin >> m_sUserName;
	m_oVexPassword.ReadPassword();
	return CheckEntered();
}

CVexLogin::EReturnState CVexLogin::CheckEntered() const
{
	if (m_oVexPassword.GetPassword().empty())
		return ePasswordInvalid;
	return m_sUserName.empty() ? eUsernameInvalid : eOK;
}

CVexLogin::EReturnState CVexLogin::CheckLogin()
{
	m_poIniFile->UpdateOptions(false);
	if (m_oRetPassword.GetPassword().empty())
		return eIllegalUsername;
	return m_oRetPassword == m_oVexPassword ? eOK : eIllegalPassword;
}
