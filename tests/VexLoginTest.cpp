// Users of a password file: registration and login, each in a program with a folder of its own.

#include "VexLogin.h"

#include "support/ProgramRunner.h"
#include "support/PseudoTerminal.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace
{
struct CLoginTest
{
	// The numbers of the results.
	std::string Run(const std::string& sCommands) const
	{
		CProgramRunner oProgram(m_sProgram);
		oProgram.Start({}, sCommands);
		EXPECT_EQ(oProgram.EndStatus(), 0) << oProgram.ErrorOutput();
		return oProgram.Output();
	}

	CTempFolder m_oFolder;
	const std::string m_sProgram = LinkProgram(VEX_TEST_PROGRAM_DIR "/LoginProgram", m_oFolder);
};
}    // namespace

TEST(CVexLogin, ThePasswordFileIsCreatedForItsOwnerAloneAndKeepsItsMode)
{
	const CLoginTest oTest;
	const std::string sFile = oTest.m_oFolder.Path("Password.ini");
	struct stat oStatus = {};
	EXPECT_EQ(oTest.Run(""), "");
	EXPECT_EQ(oTest.m_oFolder.ReadFile("Password.ini"), "[Username]");
	EXPECT_TRUE(stat(sFile.c_str(), &oStatus) == 0 && (oStatus.st_mode & 07777) == 0600);
	chmod(sFile.c_str(), 0640);
	EXPECT_EQ(oTest.Run("register anna ab register berta cd"), "0 0 ");
	EXPECT_EQ(oTest.m_oFolder.ReadFile("Password.ini"), "\n[Username]  \nberta=0563 \nanna=0161 \n");
	EXPECT_TRUE(stat(sFile.c_str(), &oStatus) == 0 && (oStatus.st_mode & 07777) == 0640);
}

TEST(CVexLogin, EachOutcomeHasItsResult)
{
	const std::string sHuge(10000000, 'x');
	const std::pair<std::string, std::string> aCases[] = {
		{ "login anna ab login Anna ab check anna ab", "0 0 0 " },
		{ "login anna ac check otto ab login otto ab check anna ac", "1 2 2 1 " },
		{ "register anna cd register ANNA cd", "2 2 " },
		{ "check anna - check - - check - ab", "3 3 4 " },
		{ "login broken ab check broken - register broken ab login broken ab", "2 3 0 0 " },
		// Names and passwords that the file cannot hold.
		{ "register [x ab register a=b ab register #x ab register x#y ab register =x ab", "5 5 5 5 5 " },
		{ "register " + sHuge.substr(0, 1023) + " ab", "5 " },
		{ "register otto " + sHuge.substr(0, 600) + " login otto ab register otto ab", "5 2 0 " },    // nothing is left
		{ "login " + sHuge + " " + sHuge, "2 " },
		{ "login anna", "3 " },    // the input ends
	};
	const CLoginTest oTest, oUnwritable;
	for (const auto& [sCommands, sResults] : aCases)
	{
		oTest.m_oFolder.WriteFile("Password.ini", "[Username]\nanna=0161\na=0161\nbroken=xy\n");
		EXPECT_EQ(oTest.Run(sCommands), sResults) << sCommands.substr(0, 80);
		EXPECT_EQ(oTest.Run("login anna ab login a ab"), "0 0 ") << sCommands.substr(0, 80);
	}
	std::filesystem::create_directory(oUnwritable.m_oFolder.Path("Password.ini"));
	EXPECT_EQ(oUnwritable.Run("register anna ab login anna ab"), "5 2 ");
}

TEST(CVexLogin, ThePasswordIsTypedWithoutEcho)
{
	const CLoginTest oTest;
	oTest.m_oFolder.WriteFile("Password.ini", "[Username]\nanna=0161\n");
	const CPseudoTerminal oTerminal;
	const auto Type = [&](const std::string& sText)
	{ EXPECT_EQ(write(oTerminal.m_nDevice, sText.data(), sText.size()), static_cast<ssize_t>(sText.size())); };

	CProgramRunner oProgram(oTest.m_sProgram);
	oProgram.Start({}, "", oTerminal.m_nLine);
	Type("login\nanna\n");
	EXPECT_TRUE(ComesTrue([&] { return !oTerminal.Echo(); }));
	Type("ab\n");
	EXPECT_TRUE(oProgram.WaitForOutput("0 ", 60000));
	EXPECT_TRUE(oTerminal.Echo());
	Type("\x04");    // end of input
	EXPECT_EQ(oProgram.EndStatus(), 0);

	char szEchoed[100] = "";
	EXPECT_GT(read(oTerminal.m_nDevice, szEchoed, sizeof(szEchoed) - 1), 0);
	EXPECT_EQ(std::string(szEchoed).find("ab"), std::string::npos) << szEchoed;
}
