// File names of ini files, and the operations of classes that keep their settings in one.

#include "VexIniFile.h"

#include "VexOptionExchange.h"
#include "VexProcess.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace
{
struct CSettings : CVexIniFile
{
	using CVexIniFile::CVexIniFile;

	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		IOX_Std<std::string>(pExchange, "Main", "Name", m_sName, "nobody");
		IOX_Std<int>(pExchange, "Net", "Port", m_nPort, 15000);
	}

	std::string m_sName = "unset";
	int m_nPort = -1;
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
}
