// Reading, changing and rewriting ini files, and the exchange of options with members.

#include "VexOptionExchange.h"

#include "VexIniFile.h"
#include "VexPassword.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tuple>

namespace
{
// An ini file of its own for each object.
struct STestFile
{
	explicit STestFile(const std::string& sText) : m_oIniFile(m_oFolder.Path("test.ini").c_str())
	{
		m_oFolder.WriteFile("test.ini", sText);
	}

	std::string Text() const { return m_oFolder.ReadFile("test.ini"); }

	std::string Rewritten()
	{
		CVexIniOptionExchange(&m_oIniFile, true).SetOptionString("", "", "");    // is not taken, but written
		return Text();
	}

	CTempFolder m_oFolder;
	CVexIniFile m_oIniFile;
};

// What a file becomes by a rewrite, which a second one leaves as it is.
void ExpectRewritten(const std::vector<std::pair<std::string, std::string>>& aCases)
{
	for (const auto& [sFile, sWritten] : aCases)
	{
		SCOPED_TRACE(sFile.size() < 1000 ? sFile : sFile.substr(0, 2) + " " + sFile.substr(1000));
		STestFile oFile(sFile);
		EXPECT_EQ(oFile.Rewritten(), sWritten);
		EXPECT_EQ(oFile.Rewritten(), sWritten);
	}
}

std::string Joined(const std::vector<std::string>& asNames)
{
	std::string sJoined;
	for (const std::string& rsName : asNames)
		sJoined += rsName + ",";
	return sJoined;
}
}    // namespace

TEST(CVexIniOptionExchange, EachKindOfLineIsWrittenInItsOwnForm)
{
	using namespace std::string_literals;
	ExpectRewritten({
		{ "Key = some value  # note", "Key=some value # note\n" },
		{ "\t Key=a=b\r\n", "Key=a=b \n" },
		{ "Key=\"a b\"", "Key=\"a b\" \n" },
		{ " [ Main ] dropped\r\n", "\n[ Main ]  \n" },
		{ "[Main=1", "\n[Main=1]  \n" },
		{ "  no option # note\r\n", "no option # note\r\n" },
		{ "=value", "=value\n" },
		{ "#[Main]", "#[Main]\n" },
		{ "\n \t\v\f\r\n\n", "" },
		{ "a\0b = c\0\n\0\n"s, "a\0b=c\0 \n\0\n"s },
		{ std::string(1018, 'k') + "=\xFC", std::string(1018, 'k') + "=\xFC \n" },
	});
}

TEST(CVexIniOptionExchange, CommentOfAHeaderGrowsByABlankAtEachRewriteKept)
{
	STestFile oFile("[Main]#note\n");
	EXPECT_EQ(oFile.Rewritten(), "\n[Main] #note \n");
	EXPECT_EQ(oFile.Rewritten(), "\n[Main] #note  \n");
}

TEST(CVexIniOptionExchange, RepeatedNamesAreGatheredAndCommentedOut)
{
	ExpectRewritten({
		{ "[A]\nk=1\nK=2\n", "\n[A]  \nk=1 \n## COMMENTED ## K=2 \n" },
		{ "[A]\nk=1\n[B]\n[a] # x\nl=2\n",
			"\n[A]  \nl=2 \nk=1 \n\n[B]  \n## COMMENTED ## [a] # x \n## COMMENTED ## l=2 \n" },
		{ "[A]\nk=1\n[A]\nl=2\n", "\n[A]  \nk=1 \n## COMMENTED ## [A]  \nl=2 \n" },
		// The comment stays, and what stands behind it goes to its own section all the same.
		{ "[A]\n[B]\n[A]\n# x\nk=1\n", "\n[A]  \nk=1 \n\n[B]  \n## COMMENTED ## [A]  \n# x\n## COMMENTED ## k=1 \n" },
		{ "[A]\nk=1\n[B]\n[A]\nk=2\n[B]\nk=3\n",
			"\n[A]  \nk=1 \n\n[B]  \n## COMMENTED ## [A]  \n## COMMENTED ## k=2 \n## COMMENTED ## [B]  \nk=3 \n" },
		// The section without name: options before the first header, or behind a header without name.
		{ "k=1\n[A]\n[]\nl=2\n", "k=1 \nl=2 \n\n[A]  \n## COMMENTED ## []  \n## COMMENTED ## l=2 \n" },
		{ "[A]\n[]\nk=1\nk=2\n[A]\nl=3\n",
			"\n[A]  \nl=3 \n\n[]  \nk=1 \n## COMMENTED ## k=2 \n## COMMENTED ## [A]  \n## COMMENTED ## l=3 \n" },
	});
}

TEST(CVexIniOptionExchange, OptionsOfARepeatedSectionAreGatheredInReverseOrderKept)
{
	STestFile oFile("[A]\na=1\n[B]\n[A]\nb=2\nc=3\n");
	EXPECT_EQ(oFile.Rewritten().substr(0, 26), "\n[A]  \nc=3 \nb=2 \na=1 \n\n[B]");
}

TEST(CVexIniOptionExchange, NewOptionsStandInReverseOrderAtTheTopOfTheirSectionKept)
{
	STestFile oFile("[A]\nold=0\n[B]\n");
	{
		CVexIniOptionExchange oExchange(&oFile.m_oIniFile, true);
		for (const char* pszSection : { "A", "C", "" })
		{
			oExchange.SetOptionString(pszSection, "x", "1");
			oExchange.SetOptionString(pszSection, "y", "2");
		}
		oExchange.SetOptionString("a", "OLD", "3");
	}
	EXPECT_EQ(oFile.Text(), "\n[A]  \ny=2 \nx=1 \nold=3 \n\n[B]  \n\n[C]  \ny=2 \nx=1 \n\n[]  \ny=2 \nx=1 \n");
}

TEST(CVexIniOptionExchange, RemovingAloneDoesNotWriteTheFileKept)
{
	STestFile oFile("[A]\nk=1\nl=2\n");
	{
		CVexIniOptionExchange oExchange(&oFile.m_oIniFile, true);
		oExchange.RemoveOption("A", "k");
	}
	EXPECT_EQ(oFile.Text(), "[A]\nk=1\nl=2\n");
	{
		CVexIniOptionExchange oExchange(&oFile.m_oIniFile, true);
		oExchange.RemoveOption("A", "k");
		oExchange.RemoveOption("A", nullptr);    // the header
		oExchange.SetOptionString("a", "l", "2");
	}
	EXPECT_EQ(oFile.Text(), "l=2 \n");
}

TEST(CVexIniOptionExchange, OnlyASavingExchangeThatSetSomethingWrites)
{
	STestFile oFile("[A]\nk=1");
	CVexIniOptionExchange(&oFile.m_oIniFile, false).SetOptionString("A", "k", "1");
	delete new CVexIniOptionExchange(&oFile.m_oIniFile, true);
	EXPECT_EQ(oFile.Text(), "[A]\nk=1");
	CVexIniOptionExchange(&oFile.m_oIniFile, true).SetOptionString("A", "k", "1");    // the value need not change
	EXPECT_EQ(oFile.Text(), "\n[A]  \nk=1 \n");
}

TEST(CVexIniOptionExchange, LongLinesAreTakenInPiecesAndNothingIsLost)
{
	const std::string sValue(1021, 'v');    // fills a line of 1023 characters with "k="
	ExpectRewritten({
		{ "k=" + sValue + "l=1\n", "k=" + sValue + " \nl=1 \n" },
		{ "k=" + sValue + sValue + "vv", "k=" + sValue + " \n" + sValue + "vv\n" },
		{ "k=" + sValue + "[A]\nm=1", "k=" + sValue + " \n\n[A]  \nm=1 \n" },
		// What is cut off a comment is comment, too.
		{ "#=" + sValue + "[A]\nm=1", "#=" + sValue + "\n#[A]\nm=1 \n" },
		{ "#=" + sValue + "   \nm=1", "#=" + sValue + "\nm=1 \n" },
		{ "[A" + sValue + "]\nm=1", "\n[A" + sValue + "  \n]\nm=1 \n" },
	});
}

// Any step that is not linear takes minutes here.
TEST(CVexIniOptionExchange, HugeFilesAreReadAndWritten)
{
	const int nOptions = 100000;
	std::string sFile = "[First]\n[Other]\n";
	sFile.append(10000000, 'x') += "\n[First]\n";
	for (int n = 0; n < nOptions; ++n)
		sFile += "k" + std::to_string(n) + "=" + std::to_string(n) + "\nK0=0\n[first]\n";
	STestFile oFile(sFile);
	{
		CVexIniOptionExchange oExchange(&oFile.m_oIniFile, true);
		for (int n = 0; n < nOptions; ++n)
			oExchange.SetOptionString("First", ("new" + std::to_string(n)).c_str(), "1");
		for (int n = 0; n < nOptions; ++n)
			oExchange.RemoveOption("Other", nullptr);
	}
	CVexIniOptionExchange oExchange(&oFile.m_oIniFile, false);
	std::vector<std::string> asEntries;
	oExchange.GetOptions("First", asEntries);
	EXPECT_EQ(asEntries.size(), 2u * nOptions);
}

TEST(CVexIniOptionExchange, NamesAreListedOnceSortedAndSpelledAsMetFirst)
{
	STestFile oFile("k=1\n[b]\nZ=1\nk=2\nz=3\n# x\n[B]\na=4\n[C]\n[A]\n");
	CVexIniOptionExchange oExchange(&oFile.m_oIniFile, false);
	const auto Entries = [&](const char* pszSection)
	{
		std::vector<std::string> asEntries = { "cleared" };
		oExchange.GetOptions(pszSection, asEntries);
		return Joined(asEntries);
	};
	std::vector<std::string> asSections = { "cleared" };
	oExchange.GetSections(asSections);
	EXPECT_EQ(Joined(asSections), "A,C,b,");
	EXPECT_EQ(Entries("B") + Entries(nullptr) + Entries("C") + Entries("unknown"), "Z,a,k,k,");
}

TEST(CVexIniOptionExchange, TheCaseRuleCountsAtEachUse)
{
	STestFile oFile("[A]\nk=1\nK=2\n[a]\nk=3\n");
	oFile.m_oIniFile.SetCasesensitiv(true);
	CVexIniOptionExchange oExchange(&oFile.m_oIniFile, false);
	std::string sValue;
	EXPECT_TRUE(oExchange.GetOptionString("a", "k", sValue) && sValue == "3");
	EXPECT_FALSE(oExchange.GetOptionString("a", "K", sValue));
	oFile.m_oIniFile.SetCasesensitiv(false);
	EXPECT_TRUE(oExchange.GetOptionString("a", "K", sValue) && sValue == "1");
	oExchange.RemoveOption("A", "k");
	EXPECT_TRUE(oExchange.GetOptionString("a", "k", sValue) && sValue == "2");
}

TEST(CVexIniOptionExchange, NothingThatIsSetHarmsOtherOptions)
{
	const std::string sLong(1023, 'n'), sLongValue = sLong + "[B]";
	const char* const pszNull = nullptr;
	STestFile oFile("[A]\na=1\n");
	for (const char* pszEntry : { "[k", "a=b", "#k", " k", "k\n", sLong.c_str(), pszNull })
		CVexIniOptionExchange(&oFile.m_oIniFile, true).SetOptionString("A", pszEntry, "1");
	for (const char* pszSection : { "x]", "x\n", "x#", sLong.c_str() })
		CVexIniOptionExchange(&oFile.m_oIniFile, true).SetOptionString(pszSection, "k", "1");
	CVexIniOptionExchange(&oFile.m_oIniFile, true).SetOptionString(nullptr, nullptr, nullptr);
	EXPECT_EQ(oFile.Text(), "\n[A]  \na=1 \n");
	const std::pair<const char*, std::string> aValues[] = {
		{ nullptr, "k= \n" },
		{ "1\n[B]\na=2", "k=1 [B] a=2 \n" },
		{ sLongValue.c_str(), "k=" + sLong.substr(2) + " \n" },
		{ "1#2", "k=1#2 \n" },
		{ "1#2", "k=1#2 \n" },    // the comment is not doubled
	};
	for (const auto& [pszValue, sAdded] : aValues)
	{
		CVexIniOptionExchange(&oFile.m_oIniFile, true).SetOptionString("A", "k", pszValue);
		EXPECT_EQ(oFile.Text(), "\n[A]  \n" + sAdded + "a=1 \n");
	}
}

TEST(CVexIniOptionExchange, WhatIsNoRegularFileReadsAsEmpty)
{
	STestFile oFile("x=1\n");
	ASSERT_EQ(mkfifo(oFile.m_oFolder.Path("pipe").c_str(), 0600), 0);
	const std::string sLongName(4096, 'x');
	for (const std::string& sName : { std::string("pipe"), std::string("."), std::string("none/x"), sLongName })
	{
		CVexIniFile oIniFile(oFile.m_oFolder.Path(sName).c_str());
		CVexIniOptionExchange oExchange(&oIniFile, true);
		std::vector<std::string> asEntries;
		oExchange.GetOptions("", asEntries);
		EXPECT_EQ(Joined(asEntries), "");
		oExchange.SetOptionString("A", "k", "1");    // is not written, and harms nothing
	}
	EXPECT_EQ(oFile.Text(), "x=1\n");
}

TEST(CVexIniOptionExchange, DerivingClassesFindLinesAndTheirEnd)
{
	struct CProbe : CVexIniOptionExchange
	{
		using CVexIniOptionExchange::CVexIniOptionExchange;
		using CVexIniOptionExchange::FindOption;
		using CVexIniOptionExchange::m_asLines;
	};
	STestFile oFile("x=0\n[A]\nk=1 # c\n");
	CProbe oProbe(&oFile.m_oIniFile, false);
	oProbe.SetOptionString("a", "new", "2");
	EXPECT_TRUE((*oProbe.FindOption("A", nullptr))->m_bIsSection);
	EXPECT_EQ((*oProbe.FindOption("A", "NEW"))->m_sValue, "2");
	EXPECT_EQ((*oProbe.FindOption(nullptr, nullptr))->m_sEntry, "x");
	EXPECT_EQ(oProbe.FindOption("B", "k"), oProbe.m_asLines.end());
}

namespace
{
template <class T>
T Read(const std::string& sLine, const T& roDefault)
{
	STestFile oFile("[S]\n" + sLine);
	CVexIniOptionExchange oLoad(&oFile.m_oIniFile, false);
	T oValue = T();
	IOX_Std<T>(&oLoad, "S", "k", oValue, roDefault);
	return oValue;
}

// Saves the value, expects the line in the file, and reads the value back.
template <class T>
void ExpectSaved(const T& roValue, const std::string& sText, const T& roDefault)
{
	STestFile oFile("");
	T oValue = roValue;
	{
		CVexIniOptionExchange oSave(&oFile.m_oIniFile, true);
		IOX_Std<T>(&oSave, "S", "k", oValue, roDefault);
	}
	EXPECT_EQ(oFile.Text(), "\n[S]  \nk=" + sText + " \n");
	CVexIniOptionExchange oLoad(&oFile.m_oIniFile, false);
	IOX_Std<T>(&oLoad, "S", "k", oValue, roDefault);
	EXPECT_TRUE(oValue == roValue);
}
}    // namespace

TEST(IOX_Std, EachTypeHasItsTextInTheFile)
{
	ExpectSaved<int>(-12, "-12", 7);
	ExpectSaved<unsigned int>(4294967295u, "4294967295", 7u);
	ExpectSaved<bool>(true, "1", false);
	ExpectSaved<double>(0.5, "0.5", 7);
	ExpectSaved<std::string>("a b", "\"a b\"", "x");
	std::string sPassword = "ab";
	CVexPassword oPassword(true);
	oPassword.SetPassword(sPassword);
	ExpectSaved<CVexPassword>(oPassword, "0161", CVexPassword(true));
	char szText[10] = "a b", szDefault[] = "x";
	ExpectSaved<char*>(szText, "\"a b\"", szDefault);
	EXPECT_STREQ(szText, "a b");
}

TEST(IOX_Std, WhatIsMissingOrDoesNotParseReadsAsTheDefault)
{
	for (const char* pszLine : { "", "l=1", "k=", "k=x1", "k=99999999999", "#k=1" })
	{
		EXPECT_EQ(Read<int>(pszLine, 7), 7) << pszLine;
		EXPECT_EQ(Read<unsigned int>(pszLine, 8), 8u) << pszLine;
		EXPECT_TRUE(Read<bool>(pszLine, true)) << pszLine;
	}
	EXPECT_FALSE(Read<bool>("k=2", false));
	EXPECT_EQ(Read<int>("k=12abc", 7), 12);
	EXPECT_EQ(Read<std::string>("l=1", "\"a b\""), "a b");    // the default loses its quotes as well
	EXPECT_EQ(Read<std::string>("k=", "default"), "");
}

TEST(IOX_Std, SavingATextLeavesTheMemberQuotedKept)
{
	STestFile oFile("");
	CVexIniOptionExchange oSave(&oFile.m_oIniFile, true);
	std::string sText = "a b";
	IOX_Std<std::string>(&oSave, "S", "k", sText, "");
	EXPECT_EQ(sText, "\"a b\"");
}
