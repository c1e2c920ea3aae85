// A program that speaks two languages: its texts come from "Language.dat" beside it, which it writes if it is missing.
//
//	languages [-language <n>] [-name <name>]    1 English, 2 German, in place of the ini file's settings

#include "VexCmdLineExchange.h"
#include "VexConApplication.h"
#include "VexFile.h"
#include "VexFileStatus.h"
#include "VexIniFile.h"
#include "VexLString.h"
#include "VexOptionExchange.h"
#include "VexProcess.h"
#include "VexResourceFile.h"

#include <iostream>

const char szTable[] = "<strings>\n2\t1\n"
					   "Guten Tag, %1!\tHello, %1!\n"
					   "Start Nummer %1 von %2\t%2, start number %1\n"
					   "</strings>\n";

struct CSettings : CVexIniFile
{
	explicit CSettings(const std::string& sFile) : CVexIniFile(sFile.c_str(), eAbsolutePath) {}
	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		IOX_Std(pExchange, "Languages", "Language", m_nLanguage, static_cast<int>(CVexResourceFile::eGerman));
		IOX_Std(pExchange, "Languages", "Name", m_sName, std::string("Anna"));
		IOX_Std(pExchange, "Statistics", "Starts", m_nStarts, 0u);
	}
	int m_nLanguage = 0;
	std::string m_sName;
	unsigned int m_nStarts = 0;
};

struct CLanguages : CVexConApplication
{
	CLanguages() : CVexConApplication(nullptr, nullptr, nullptr) {}
	void DoCmdLineExchange(CVexCmdLineApplExchange* pExchange) override
	{
		pExchange->AddParamDescription("language", true);
		pExchange->AddParamDescription("name", true);
		m_bLanguageGiven = pExchange->GetParameter("language", true, m_sLanguage);
		m_bNameGiven = pExchange->GetParameter("name", true, m_sName);
	}
	void Run() override
	{
		const std::string sTable = CVexProcess::GetCurrentProgDir() + "Language.dat";
		if (!CVexFileStatus(sTable.c_str()).Exists() && CVexFile::WriteAll(sTable.c_str(), szTable))
			CVexResourceFile::GetStdResources()->ReadFile();    // there was none when the library was loaded

		CSettings oSettings(m_sStdConfigFile);
		oSettings.UpdateOptions(false);
		++oSettings.m_nStarts;
		if (m_bNameGiven)
			oSettings.m_sName = m_sName;
		if (m_bLanguageGiven && !VexFromString(oSettings.m_nLanguage, m_sLanguage))
			return;
		CVexResourceFile::SetStdLanguage(static_cast<CVexResourceFile::ELanguage>(oSettings.m_nLanguage));
		CVexLString oGreeting("Guten Tag, %1!"), oCount("Start Nummer %1 von %2");
		oGreeting.ResolveParameter(oSettings.m_sName);
		oCount.ResolveParameter(VexToString(oSettings.m_nStarts));
		oCount.ResolveParameter(GetApplName());
		std::cout << oGreeting << '\n' << oCount << std::endl;
		m_bSpoken = oSettings.UpdateOptions(true);
	}
	bool Finalize() override { return m_bSpoken; }
	std::string m_sLanguage, m_sName;
	bool m_bLanguageGiven = false, m_bNameGiven = false, m_bSpoken = false;
};

int main(int nArgc, char** ppszArgv)
{
	return CLanguages().Start(nArgc, ppszArgv) ? 0 : 1;
}
