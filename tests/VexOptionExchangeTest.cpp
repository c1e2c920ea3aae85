// Reading, changing and rewriting ini files, and the exchange of options with members.

#include "VexOptionExchange.h"

#include "VexIniFile.h"
#include "VexPassword.h"
#include "support/TempFolder.h"

#include <ctime>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace
{
typedef std::vector<std::string> Names;
typedef std::vector<std::pair<std::string, std::string>> Cases;

// An ini file of its own for each object.
struct STestFile
{
	explicit STestFile(const std::string& sText) : m_oIniFile(m_oFolder.Path("test.ini").c_str())
	{
		m_oFolder.WriteFile("test.ini", sText);
	}

	// Returns what the file has become.
	std::string Set(const char* pszSection, const char* pszEntry, const char* pszValue)
	{
		CVexIniOptionExchange(&m_oIniFile, true).SetOptionString(pszSection, pszEntry, pszValue);
		return m_oFolder.ReadFile("test.ini");
	}
	std::string Rewritten() { return Set("", "", ""); }    // which is not taken, but written

	CTempFolder m_oFolder;
	CVexIniFile m_oIniFile;
};

// What a file becomes by a rewrite, which a second one leaves as it is.
void ExpectRewritten(const Cases& aCases)
{
	for (const auto& [sFile, sWritten] : aCases)
	{
		STestFile oFile(sFile);
		EXPECT_EQ(oFile.Rewritten(), sWritten) << sFile;
		EXPECT_EQ(oFile.Rewritten(), sWritten) << sFile;
	}
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
		{ "  no option # note\r\n", "no option # note\r\n" },
		{ "#[Main]", "#[Main]\n" },
		{ "\n \t\v\f\r\n\n", "" },
		{ "a\0b = c\0\n\0\n"s, "a\0b=c\0 \n\0\n"s },
		{ std::string(1018, 'k') + "=\xFC", std::string(1018, 'k') + "=\xFC \n" },
	});
}

TEST(CVexIniOptionExchange, CommentOfAHeaderGrowsByABlankAtEachRewriteKept)
{
	STestFile oFile("[Main]#note\n");
	oFile.Rewritten();
	EXPECT_EQ(oFile.Rewritten(), "\n[Main] #note  \n");
}

TEST(CVexIniOptionExchange, RepeatedNamesAreGatheredAndCommentedOut)
{
	ExpectRewritten({
		{ "[A]\nk=1\nK=2\n", "\n[A]  \nk=1 \n## COMMENTED ## K=2 \n" },
		{ "[A]\nk=1\n[B]\n[a] # x\nl=2\n",
			"\n[A]  \nl=2 \nk=1 \n\n[B]  \n## COMMENTED ## [a] # x \n## COMMENTED ## l=2 \n" },
		// The comment stays, and what stands behind it goes to its own section all the same.
		{ "[A]\n[B]\n[A]\n# x\nk=1\n", "\n[A]  \nk=1 \n\n[B]  \n## COMMENTED ## [A]  \n# x\n## COMMENTED ## k=1 \n" },
		{ "[A]\nk=1\n[B]\n[A]\nk=2\n[B]\nk=3\n",
			"\n[A]  \nk=1 \n\n[B]  \n## COMMENTED ## [A]  \n## COMMENTED ## k=2 \n## COMMENTED ## [B]  \nk=3 \n" },
		// The section without name: options before the first header, or behind a header without name.
		{ "k=1\n[A]\n[]\nl=2\n", "k=1 \nl=2 \n\n[A]  \n## COMMENTED ## []  \n## COMMENTED ## l=2 \n" },
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
	for (const char* pszSection : { "A", "C", "" })
	{
		CVexIniOptionExchange oExchange(&oFile.m_oIniFile, true);
		oExchange.SetOptionString(pszSection, "x", "1");
		oExchange.SetOptionString(pszSection, "y", "2");
	}
	EXPECT_EQ(
		oFile.Set("a", "OLD", "3"), "\n[A]  \ny=2 \nx=1 \nold=3 \n\n[B]  \n\n[C]  \ny=2 \nx=1 \n\n[]  \ny=2 \nx=1 \n");
}

TEST(CVexIniOptionExchange, RemovingAloneDoesNotWriteTheFileKept)
{
	STestFile oFile("[A]\nk=1\nl=2\n");
	for (const bool bSets : { false, true })
	{
		CVexIniOptionExchange oExchange(&oFile.m_oIniFile, true);
		oExchange.RemoveOption("A", "k");
		oExchange.RemoveOption("A", nullptr);    // the header
		EXPECT_EQ(oFile.m_oFolder.ReadFile("test.ini"), "[A]\nk=1\nl=2\n");
		if (bSets)
			oExchange.SetOptionString("a", "l", "2");
	}
	EXPECT_EQ(oFile.m_oFolder.ReadFile("test.ini"), "l=2 \n");
}

TEST(CVexIniOptionExchange, OnlyASavingExchangeWrites)
{
	STestFile oFile("[A]\nk=1");
	CVexIniOptionExchange(&oFile.m_oIniFile, false).SetOptionString("A", "k", "1");
	EXPECT_EQ(oFile.m_oFolder.ReadFile("test.ini"), "[A]\nk=1");
	EXPECT_EQ(oFile.Set("A", "k", "1"), "\n[A]  \nk=1 \n");    // the value need not change
}

TEST(CVexIniOptionExchange, LongLinesAreTakenInPiecesAndNothingIsLost)
{
	const std::string sValue(1021, 'v');    // fills a line of 1023 characters with "k="
	ExpectRewritten({
		{ "k=" + sValue + "l=1\n", "k=" + sValue + " \nl=1 \n" },
		{ "k=" + sValue + "[A]\nm=1", "k=" + sValue + " \n\n[A]  \nm=1 \n" },
		// What is cut off a comment is comment, too.
		{ "#=" + sValue + "[A]\nm=1", "#=" + sValue + "\n#[A]\nm=1 \n" },
		{ "#=" + sValue + "   \nm=1", "#=" + sValue + "\nm=1 \n" },
		{ "#=" + sValue + sValue + "vvv", "#=" + sValue + "\n#" + sValue + "v\n#vv\n" },
		{ "[A" + sValue + "]\nm=1", "\n[A" + sValue + "  \n]\nm=1 \n" },
	});
}

TEST(CVexIniOptionExchange, NamesAreListedOnceSortedAndSpelledAsMetFirst)
{
	STestFile oFile("k=1\n[b]\nZ=1\nk=2\nz=3\n# x\n[B]\na=4\n[C]\n[A]\n");
	CVexIniOptionExchange oExchange(&oFile.m_oIniFile, false);
	Names asNames = { "cleared" };
	oExchange.GetSections(asNames);
	EXPECT_EQ(asNames, Names({ "A", "C", "b" }));
	oExchange.GetOptions("B", asNames);
	EXPECT_EQ(asNames, Names({ "Z", "a", "k" }));
	oExchange.GetOptions(nullptr, asNames);
	EXPECT_EQ(asNames, Names({ "k" }));
	oExchange.GetOptions("unknown", asNames);
	EXPECT_EQ(asNames, Names());
}

TEST(CVexIniOptionExchange, ListingTheOptionsOfAllSectionsTakesNoLongerThanReadingThem)
{
	std::string sText;
	for (int nSection = 0; nSection < 20000; ++nSection)
		sText += "[" + std::to_string(nSection) + "]\na=\nb=\nc=\nd=\ne=\nf=\ng=\nh=\n";
	STestFile oFile(sText);
	const std::clock_t nStart = std::clock();
	CVexIniOptionExchange oExchange(&oFile.m_oIniFile, false);
	const std::clock_t nRead = std::clock();
	Names asEntries;
	for (int nSection = 0; nSection < 20000; ++nSection)
		oExchange.GetOptions(std::to_string(nSection).c_str(), asEntries);
	EXPECT_EQ(asEntries.size(), 8u);
	EXPECT_LT(std::clock() - nRead, 10 * (nRead - nStart));
}

TEST(CVexIniOptionExchange, ADerivingClassFindsTheLinesAsEachCallHasLeftThem)
{
	struct CLines : CVexIniOptionExchange
	{
		using CVexIniOptionExchange::CVexIniOptionExchange;
		using CVexIniOptionExchange::ReadIniOptions;
		std::string Text() const
		{
			std::string sText;
			for (const SOptionLine* pLine : m_asLines)
				sText += pLine->m_sSection + ":" + CreateIniLine(*pLine) + "|";
			return sText;
		}
	};
	const std::string sRead = "A:[A]  |A:l=2 |A:k=1 |B:[B]  |B:## COMMENTED ## [A]  |B:# x|B:## COMMENTED ## l=2 |";
	STestFile oFile("[A]\nk=1\n[B]\n[A]\n# x\nl=2\n");
	CLines oExchange(&oFile.m_oIniFile, false);
	EXPECT_EQ(oExchange.Text(), sRead);
	oExchange.RemoveOption("A", "l");
	EXPECT_EQ(oExchange.Text(), "A:[A]  |A:k=1 |" + sRead.substr(22));
	for (const char* pszSection : { "A", "A", "B" })
		oExchange.RemoveOption(pszSection, nullptr);
	EXPECT_EQ(oExchange.Text(), sRead.substr(30));
	oExchange.SetOptionString("A", "m", "3");
	oExchange.SetOptionString("A", "n", "4");
	EXPECT_EQ(oExchange.Text(), sRead.substr(30) + "A:[A]  |A:n=4 |A:m=3 |");
	oExchange.ReadIniOptions();
	EXPECT_EQ(oExchange.Text(), sRead);
	EXPECT_FALSE(oExchange.m_bDirty);
}

TEST(CVexIniOptionExchange, NamesCompareUnderTheFilesRuleAtEachUse)
{
	STestFile oFile("[A]\nk=1\nK=2\n[a]\nk=3\n");
	oFile.m_oIniFile.SetCasesensitiv(true);
	CVexIniOptionExchange oExchange(&oFile.m_oIniFile, false);
	oExchange.SetOptionString("A", "l", "4");
	oFile.m_oIniFile.SetCasesensitiv(false);
	const auto Value = [&](const char* pszEntry)
	{
		std::string sValue;
		oExchange.GetOptionString("a", pszEntry, sValue);
		return sValue;
	};
	EXPECT_EQ(Value("K") + Value("l"), "14");
	oExchange.RemoveOption("a", "k");    // another one comes to light
	EXPECT_EQ(Value("k"), "2");
}

TEST(CVexIniOptionExchange, NothingThatIsSetHarmsOtherOptions)
{
	const std::string sLong(1023, 'n'), sLongValue = sLong + "[B]", sQuoted = "\"" + sLong + " n\"";
	const char* const pszNull = nullptr;
	STestFile oFile("[A]\na=1\n");
	for (const char* pszEntry : { "[k", "a=b", "#k", " k", "k\n", sLong.c_str(), pszNull })
		oFile.Set("A", pszEntry, "1");
	for (const char* pszSection : { "x]", "x\n", "x#", sLong.c_str() })
		oFile.Set(pszSection, "k", "1");
	EXPECT_EQ(oFile.Set(nullptr, nullptr, nullptr), "\n[A]  \na=1 \n");
	const std::pair<const char*, std::string> aValues[] = {
		{ nullptr, "k= \n" },
		{ "1\n[B]\na=2", "k=1 [B] a=2 \n" },
		{ sLongValue.c_str(), "k=" + sLong.substr(2) + " \n" },
		// With both its quotes, or each loading and saving would add one.
		{ sQuoted.c_str(), "k=" + sQuoted.substr(0, 1020) + "\" \n" },
		{ "1#2", "k=1#2 \n" },
		{ "1#2", "k=1#2 \n" },    // the comment is not doubled
	};
	for (const auto& [pszValue, sAdded] : aValues)
		EXPECT_EQ(oFile.Set("A", "k", pszValue), "\n[A]  \n" + sAdded + "a=1 \n");
}

TEST(CVexIniOptionExchange, WhatIsNoRegularFileReadsAsEmpty)
{
	const CTempFolder oFolder;
	ASSERT_EQ(mkfifo(oFolder.Path("pipe").c_str(), 0600), 0);
	for (const std::string& sName : { std::string("pipe"), std::string("."), std::string(4096, 'x') })
	{
		CVexIniFile oIniFile(oFolder.Path(sName).c_str());
		CVexIniOptionExchange oExchange(&oIniFile, true);
		Names asEntries = { "cleared" };
		oExchange.GetOptions("", asEntries);
		EXPECT_EQ(asEntries, Names());
		oExchange.SetOptionString("A", "k", "1");    // is not written, and harms nothing
	}
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

// Saves the value, expects it in the file, and reads it back.
template <class T>
void ExpectSaved(const T& roValue, const std::string& sText, const T& roDefault)
{
	STestFile oFile("");
	T oValue = roValue;
	{
		CVexIniOptionExchange oSave(&oFile.m_oIniFile, true);
		IOX_Std<T>(&oSave, "S", "k", oValue, roDefault);
	}
	EXPECT_EQ(oFile.m_oFolder.ReadFile("test.ini"), "\n[S]  \nk=" + sText + " \n");
	EXPECT_EQ(Read<T>("k=" + sText, roDefault), roValue);
}
}    // namespace

TEST(IOX_Std, EachTypeHasItsTextInTheFile)
{
	ExpectSaved<int>(-12, "-12", 7);
	ExpectSaved<unsigned int>(4294967295u, "4294967295", 7u);
	ExpectSaved<bool>(true, "1", false);
	ExpectSaved<double>(0.5, "0.5", 7);
	ExpectSaved<std::string>("a b", "\"a b\"", "x");
	STestFile oFile("[S]\nk=\"a b\"\nl=0161\n");
	CVexIniOptionExchange oLoad(&oFile.m_oIniFile, false);
	char szText[10] = "", szDefault[] = "x";
	char* pszText = szText;
	CVexPassword oRead(false);
	IOX_Std<char*>(&oLoad, "S", "k", pszText, szDefault);
	IOX_Std<CVexPassword>(&oLoad, "S", "l", oRead, CVexPassword(true));
	EXPECT_STREQ(szText, "a b");
	EXPECT_EQ(oRead.GetPassword(), "\x01\x61");
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
