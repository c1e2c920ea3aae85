// Lists a mailbox: number, size, date, sender and subject of each message. What the command line leaves out stands in
// mailbox.ini, section [Mailbox]; there the password is safe from those who list processes.

#include "VexCmdLineExchange.h"
#include "VexConApplication.h"
#include "VexIniFile.h"
#include "VexMail.h"
#include "VexOptionExchange.h"
#include "VexPOP3Client.h"

#include <algorithm>
#include <cstdio>
#include <map>

struct CSettings : CVexIniFile
{
	explicit CSettings(const std::string& sFile) : CVexIniFile(sFile.c_str()) {}
	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		for (auto& [sName, sValue] : m_asValues)
			IOX_Std(pExchange, "Mailbox", sName.c_str(), sValue, std::string(sValue));
	}
	std::map<std::string, std::string> m_asValues{
		{ "server", "127.0.0.1" }, { "port", "110" }, { "user", "" }, { "password", "" }
	};
};

class CMailbox : public CVexConApplication
{
public:
	CMailbox() : CVexConApplication(nullptr, nullptr, nullptr) {}
	void DoCmdLineExchange(CVexCmdLineApplExchange* pExchange) override
	{
		CSettings oSettings(m_sStdConfigFile);
		oSettings.UpdateOptions(false);
		std::string sArg;
		for (const auto& [sName, sValue] : oSettings.m_asValues)
		{
			pExchange->AddParamDescription(sName.c_str(), true);
			m_asValues[sName] = pExchange->GetParameter(sName.c_str(), true, sArg) ? sArg : sValue;
		}
		pExchange->GetParameter(nullptr, false, sArg);    // the program's own path
		m_nStatus = pExchange->GetParameter(nullptr, false, sArg) ? 2 : 0;
	}
	int m_nStatus = 0;

protected:
	void Run() override
	{
		int nPort = 0;
		if (m_nStatus != 0 || !VexFromString(nPort, m_asValues["port"]) || nPort < 1 || nPort > 65535 ||
			m_asValues["user"].empty() || m_asValues["password"].empty())
			return Fail(2, "usage: mailbox [-server <name>] [-port <n>] -user <name> -password <text>");

		CVexPOP3Client oClient;
		auto eResult =
			oClient.LogIn(Value("server"), static_cast<unsigned short>(nPort), Value("user"), Value("password"));
		const unsigned long nMessages = eResult == CVexPOP3Client::eOK ? oClient.GetNumberOfMessage() : 0;
		CVexMail oMail;
		for (unsigned int n = 1; n <= nMessages && eResult == CVexPOP3Client::eOK; ++n)
			if ((eResult = oClient.GetTopOfMessage(oMail, n)) == CVexPOP3Client::eOK)
				std::printf("%4u %9lu  %s\n", n, oClient.GetSizeOfMessage(n), Printable(oMail).c_str());
		if (eResult == CVexPOP3Client::eOK)
			eResult = oClient.LogOut();    // tells also that the connection held: an empty mailbox is no lost one
		if (eResult != CVexPOP3Client::eOK)
			Fail(1, "mailbox: " + m_asValues["server"] + ": " + oClient.GetTextOfResponse(eResult));
	}

	const char* Value(const char* pszName) { return m_asValues[pszName].c_str(); }

	void Fail(int nStatus, const std::string& sMessage)
	{
		m_nStatus = nStatus;
		std::fprintf(stderr, "%s\n", sMessage.c_str());
	}

	// Whoever wrote the mail shall not command the terminal.
	static std::string Printable(const CVexMail& oMail)
	{
		const auto IsControl = [](unsigned char c) { return c < ' ' || (c >= 127 && c < 160); };
		std::string sLine = oMail.GetDate() + " | " + oMail.GetFieldValue("From", ',') + " | " + oMail.GetSubject();
		std::replace_if(sLine.begin(), sLine.end(), IsControl, '?');
		return sLine;
	}

	std::map<std::string, std::string> m_asValues;
};

int main(int nArgc, char** ppszArgv)
{
	CMailbox oProgram;
	return oProgram.Start(nArgc, ppszArgv) ? oProgram.m_nStatus : 1;
}
