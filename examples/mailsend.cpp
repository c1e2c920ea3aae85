// Sends the text on standard input as a mail. What the command line leaves out stands in mailsend.ini, section [Mail].

#include "VexCmdLineExchange.h"
#include "VexConApplication.h"
#include "VexIniFile.h"
#include "VexMail.h"
#include "VexOptionExchange.h"
#include "VexSMTPClient.h"
#include "VexUTCTime.h"

#include <iostream>
#include <map>

struct CSettings : CVexIniFile
{
	explicit CSettings(const std::string& sFile) : CVexIniFile(sFile.c_str()) {}
	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		for (auto& [sName, sValue] : m_asValues)
			IOX_Std(pExchange, "Mail", sName.c_str(), sValue, std::string(sValue));
	}
	std::map<std::string, std::string> m_asValues{
		{ "server", "127.0.0.1" }, { "port", "25" }, { "from", "" }, { "to", "" }, { "subject", "" }
	};
};

struct CMailSend : CVexConApplication
{
	CMailSend() : CVexConApplication(nullptr, nullptr, nullptr) {}
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

	void Run() override
	{
		int nPort = 0;
		if (m_nStatus != 0 || !VexFromString(nPort, m_asValues["port"]) || nPort < 1 || nPort > 65535 ||
			m_asValues["from"].empty() || CVexMail("To: " + m_asValues["to"]).GetTo().empty())
			return Fail(2, "usage: mailsend [-server <name>] [-port <n>] -from <address> -to <list> [-subject <text>]");

		CVexMail oMail("MIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n" + ReadText());
		oMail.SetSubject(m_asValues["subject"]);
		oMail.SetFieldValue("To", m_asValues["to"], ',');
		oMail.SetFrom(m_asValues["from"]);
		oMail.SetDate(CVexUTCTime::CurrentTime() + CVexTimeDiff(0, 1, 0, 0, 0, 0, 0));    // it is told in zone +0100

		CVexSMTPClient oClient;
		auto eResult = oClient.ConnectToServer(m_asValues["server"].c_str(), static_cast<unsigned short>(nPort));
		if (eResult == CVexSMTPClient::eSmtpOK)
			eResult = oClient.SendMessage(oMail, oMail.GetRecipients());
		if (eResult != CVexSMTPClient::eSmtpOK)
			return Fail(1, "mailsend: " + m_asValues["server"] + ": " + oClient.GetTextOfResponse(eResult));
		oClient.LogOut();
	}

	void Fail(int nStatus, const std::string& sMessage)
	{
		m_nStatus = nStatus;
		std::cerr << sMessage << '\n';
	}

	// The client sends lines as they stand: a single dot would end the mail. It ends the last line itself.
	static std::string ReadText()
	{
		std::string sText;
		for (std::string sLine; std::getline(std::cin, sLine);)
		{
			sLine.erase(sLine.find_last_not_of('\r') + 1);
			sText += (sLine[0] == '.' ? "." : "") + sLine + "\r\n";
		}
		return sText.substr(0, sText.empty() ? 0 : sText.size() - 2);
	}

	std::map<std::string, std::string> m_asValues;
};

int main(int nArgc, char** ppszArgv)
{
	CMailSend oProgram;
	return oProgram.Start(nArgc, ppszArgv) ? oProgram.m_nStatus : 1;
}
