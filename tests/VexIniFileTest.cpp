// File names of ini files, and the operations of classes that keep their settings in one.

#include "VexIniFile.h"

#include "VexOptionExchange.h"
#include "VexProcess.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <tuple>

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
	const std::string sProgram = CVexProcess::GetCurrentProgDir();
	const std::string sWork = CVexProcess::GetCurrentWorkDir();
	const std::tuple<const char*, CVexIniFile::EPathMode, std::string> aCases[] = {
		{ "a/../b.ini", CVexIniFile::eAbsolutePath, "a/../b.ini" },
		{ nullptr, CVexIniFile::eAbsolutePath, "Konfig.ini" },
		{ "", CVexIniFile::eRelativeToPWD, sProgram + "Konfig.ini" },
		{ "sub\\a.ini", CVexIniFile::eRelativeToPWD, sProgram + "sub/a.ini" },
		{ "./a.ini", CVexIniFile::eRelativeToCWD, sWork + "a.ini" },
	};
	for (const auto& [pszName, eMode, sFullName] : aCases)
		EXPECT_EQ(CVexIniFile(pszName, eMode).GetIniFileName(), sFullName);
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
	EXPECT_EQ(oSettings.ReadOption(nullptr, "none", nullptr), "");
	oSettings.SetCasesensitiv(true);
	EXPECT_EQ(oSettings.ReadOption("net", "Text", "none"), "none");

	std::vector<std::string> asNames;
	oSettings.ReadAllSections(asNames);
	EXPECT_EQ(asNames, (std::vector<std::string>{ "Main", "Net" }));
	oSettings.ReadAllSectionEntries("Net", asNames);
	EXPECT_EQ(asNames, (std::vector<std::string>{ "Port", "Text" }));
}
