// File names of ini files, and the operations of classes that keep their settings in one.

#include "VexIniFile.h"

#include "VexOptionExchange.h"
#include "VexProcess.h"
#include "support/TempFolder.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace
{
struct CSettings : CVexIniFile
{
	using CVexIniFile::CVexIniFile;

	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		IOX_Std<std::string>(pExchange, "Main", "Name", m_sName, "nobody");
		IOX_Std<int>(pExchange, "Net", "Port", m_nPort, 15000);
		m_sIniFilename = m_sNextName.empty() ? m_sIniFilename : m_sNextName;
	}

	std::string m_sName = "unset";
	int m_nPort = -1;
	std::string m_sNextName;
};
}    // namespace

TEST(CVexIniFile, NamesAreCompletedAsTheModeSays)
{
	const auto Name = [](const char* pszName, CVexIniFile::EPathMode eMode)
	{ return CVexIniFile(pszName, eMode).GetIniFileName(); };
	const std::string sProgram = CVexProcess::GetCurrentProgDir();
	EXPECT_EQ(Name("a/../b.ini", CVexIniFile::eAbsolutePath), "a/../b.ini");
	EXPECT_EQ(Name(nullptr, CVexIniFile::eAbsolutePath), "Konfig.ini");
	EXPECT_EQ(Name("", CVexIniFile::eRelativeToPWD), sProgram + "Konfig.ini");
	EXPECT_EQ(Name("sub\\a.ini", CVexIniFile::eRelativeToPWD), sProgram + "sub/a.ini");
	EXPECT_EQ(Name("./a.ini", CVexIniFile::eRelativeToCWD), CVexProcess::GetCurrentWorkDir() + "a.ini");
}

TEST(CVexIniFile, SavingCreatesTheFileAndKeepsForeignLinesInTheirPlaces)
{
	const CTempFolder oFolder;
	CSettings oSettings(oFolder.Path("x.ini").c_str());
	EXPECT_TRUE(oSettings.UpdateOptions(false));
	EXPECT_EQ(oSettings.m_sName, "nobody");
	EXPECT_FALSE(oFolder.HasFile("x.ini"));
	EXPECT_TRUE(oSettings.UpdateOptions(true));
	EXPECT_EQ(oFolder.ReadFile("x.ini"), "\n[Main]  \nName=nobody \n\n[Net]  \nPort=15000 \n");
	oFolder.WriteFile("x.ini", "# top\n[Foreign]\nPort=1\n[Net]\nOther = 2 # two\nPort=3\n");
	oSettings.m_sName = "a b";
	EXPECT_TRUE(oSettings.UpdateOptions(true));
	EXPECT_EQ(oFolder.ReadFile("x.ini"),
		"# top\n\n[Foreign]  \nPort=1 \n\n[Net]  \nOther=2 # two\nPort=15000 \n\n[Main]  \nName=\"a b\" \n");
}

TEST(CVexIniFile, SingleOptionsAreReadAndWrittenBesideTheMembers)
{
	const CTempFolder oFolder;
	CSettings oSettings(oFolder.Path("x.ini").c_str());
	oSettings.m_nPort = 5;
	oSettings.WriteOption("Net", "Port", "6");    // the member, written behind it, wins
	oSettings.WriteOption("Net", "Text", "\"c d\"");
	oSettings.WriteOption(nullptr, nullptr, nullptr);
	oSettings.m_nPort = 0;
	EXPECT_EQ(oSettings.ReadOption("net", "TEXT", "none"), "\"c d\"");
	EXPECT_EQ(oSettings.m_nPort, 5);
	oSettings.SetCasesensitiv(true);
	EXPECT_EQ(oSettings.ReadOption("net", "Text", "none"), "none");
	EXPECT_EQ(oSettings.ReadOption(nullptr, "none", nullptr), "");
	std::vector<std::string> asSections, asEntries;
	oSettings.m_nPort = 0;
	oSettings.ReadAllSections(asSections);
	oSettings.ReadAllSectionEntries("Net", asEntries);
	EXPECT_EQ(asSections, (std::vector<std::string>{ "Main", "Net" }));
	EXPECT_EQ(asEntries, (std::vector<std::string>{ "Port", "Text" }));
	EXPECT_EQ(oSettings.m_nPort, 5);
}

TEST(CVexIniFile, AFileThatCouldNotBeReadIsNotOverwritten)
{
	const CTempFolder oFolder;
	oFolder.WriteFile("x.ini", "[Foreign]\nk=1\n");
	CSettings oSettings("/proc/self/mem");    // reading fails: nothing is mapped where it begins
	EXPECT_TRUE(oSettings.UpdateOptions(false));
	oSettings.m_sNextName = oFolder.Path("x.ini");
	EXPECT_FALSE(oSettings.UpdateOptions(true));
	EXPECT_EQ(oFolder.ReadFile("x.ini"), "[Foreign]\nk=1\n");
	EXPECT_TRUE(oSettings.UpdateOptions(true));
}

TEST(CVexIniFile, AFileWithoutRoomToGrowStaysAsItWas)
{
	const CTempFolder oFolder;
	const std::string sText = "\n[Main]  \nk=1 \n\n[Foreign]  \nl=2 \n";
	oFolder.WriteFile("x.ini", sText);
	const auto pOldHandler = std::signal(SIGXFSZ, SIG_IGN);
	rlimit oUsual = {};
	getrlimit(RLIMIT_FSIZE, &oUsual);
	const rlimit oLimit = { sText.size() + 10, oUsual.rlim_max };
	setrlimit(RLIMIT_FSIZE, &oLimit);
	CSettings(oFolder.Path("x.ini").c_str()).UpdateOptions(true);
	setrlimit(RLIMIT_FSIZE, &oUsual);
	std::signal(SIGXFSZ, pOldHandler);
	EXPECT_EQ(oFolder.ReadFile("x.ini"), sText);
}
