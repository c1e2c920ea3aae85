// Language tables and strings, and the example that speaks two languages.

#include "VexResourceFile.h"
#include "VexLString.h"
#include "VexProcess.h"
#include "support/ProgramRunner.h"
#include "support/RecordingServer.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tuple>

namespace
{
struct CResources : CVexResourceFile
{
	using CVexResourceFile::CVexResourceFile;
	const std::string& Filename() const { return m_sFilename; }

	// "2 1 ;key=German|English|;..."
	std::string Dump() const
	{
		std::string sDump;
		for (const int nLanguage : m_oLanguageRelation)
			sDump += std::to_string(nLanguage) + " ";
		for (const auto& [rsKey, rasTexts] : m_oResourceMap)
		{
			sDump += ";" + rsKey + "=";
			for (const std::string& rsText : rasTexts)
				sDump += rsText + "|";
		}
		return sDump;
	}
};

// A new folder that is the working directory, and what is traced meanwhile.
struct CWork : CTempFolder
{
	CWork() { EXPECT_EQ(chdir(Path().c_str()), 0); }
	~CWork() { EXPECT_EQ(chdir("/"), 0); }

	CResources Read(const std::string& sText) const
	{
		WriteFile("main", sText);
		return CResources("main", CVexResourceFile::eAbsolutePath);
	}

	CRecordingServer m_oServer{ 3 };
};

// A table of German and English.
std::string Table(const std::string& sLines)
{
	return "<strings>\n2\t1\n" + sLines + "</strings>\n";
}
const std::string sInclude = "<include>\n", sEndInclude = "</include>\n";
}    // namespace

TEST(CVexResourceFile, RelativeToPWDIsTheProgramsDirectoryKept)
{
	CWork oWork;
	EXPECT_EQ(CResources().Filename(), CVexProcess::GetCurrentProgDir() + "Language.dat");
	EXPECT_EQ(CResources("a\\b", CResources::eRelativeToPWD).Filename(), CVexProcess::GetCurrentProgDir() + "a/b");
	EXPECT_EQ(CResources("./b", CResources::eRelativeToCWD).Filename(), oWork.Path("b"));
	EXPECT_EQ(CResources("", CResources::eAbsolutePath).Filename(), "Language.dat");
}

TEST(CVexResourceFile, FilesAreReadAsTheirLinesSay)
{
	CWork oWork;
	const std::string sFull(1023, 'k'), sFullEntry = "2 1 ;" + sFull + "=" + sFull + "||";
	const std::pair<std::string, std::string> aCases[] = {
		{ "A\n</strings>\n  <STRINGS>x\n1\nA\n\t</Strings>x\nB\n", "1 ;A=A|" },
		{ Table(" A \t B \tC\nD\n"), "2 1 ; A = A | B |;D=D||" },    // not trimmed, too many fields, too few
		{ Table("\n\tB\nA\tB\nA\n"), "2 1 ;=|B|;A=A|B|" },           // no field, empty key, update by column
		{ "<strings>\r\n2\t1\r\n\r\nA\tB\r\n</strings>\r\nC", "2 1 ;A=A|B|" },
		{ "<strings>\nx\t2\t\t99999999999\nA\tB\tC\tD", "-1 2 ;A=D|B|" },
		{ Table(std::string("A\0\tB\0C\n", 7)), std::string("2 1 ;A\0=A\0|B\0C|", 15) },
		{ Table(sFull + "\r\n"), sFullEntry },
		{ Table(sFull + "</strings>\nA\tB\n"), "2 1 ;</strings>=</strings>||;A=A|B|" + sFullEntry.substr(4) },
		{ sFull + "<strings>" + sFull + "\n<strings>" + sFull + sFull + "\n2\nA\n", "2 ;A=A|" },
		{ "<include>\nnone" + std::string(3000, ' ') + "\n", "" },    // one name; none at the end
		{ "<include>\n\n", "2 1 ;default=default||" },
	};
	oWork.WriteFile("Language.dat", Table("default\n"));
	for (const auto& [sText, sDump] : aCases)
		EXPECT_EQ(oWork.Read(sText).Dump(), sDump) << sText;
}

TEST(CVexResourceFile, TextsAreLookedUpInTheCurrentLanguageAndThenInColumn0)
{
	CWork oWork;
	CResources oResources = oWork.Read(Table("Abbrechen\tCancel\nEnde\n"));
	oResources.SetLanguage(CResources::eEnglish);
	EXPECT_EQ(oResources.GetLString("Abbrechen"), "Cancel");
	EXPECT_EQ(oResources.GetLString("Ende"), "Ende");
	EXPECT_EQ(oResources.GetLString("ende"), "ende");
	EXPECT_EQ(oWork.m_oServer.Lines(),
		(std::vector<std::string>{ "Global/- String-Resource fehlt f\xFCr Sprache 1: Ende",
			"Global/- String-Resource nicht vorhanden: ende" }));
}

TEST(CVexResourceFile, IncludesAreMergedAndWhatIsNoFileIsTracedAndSkipped)
{
	CWork oWork;
	ASSERT_EQ(mkfifo("pipe", 0600), 0);
	oWork.WriteFile("other", "<strings>\n1\t3\nB\nA\n</strings>\n" + sInclude + "nested");
	oWork.WriteFile("nested", Table("A\tnested\n"));
	const CResources oResources = oWork.Read(
		Table("A\tx\nB\ty\nC\tz\n") + sInclude + "none\n/dev/zero\n.\npipe\n\t" + oWork.Path("other") + " \r\n");
	EXPECT_EQ(oResources.Dump(), "2 1 3 ;A=A|nested||;B=|B||;C=C|z||");
	const std::string sText = "Global/- Resource-Datei nicht gefunden: ";
	EXPECT_EQ(oWork.m_oServer.Lines(),
		(std::vector<std::string>{ sText + "none", sText + "/dev/zero", sText + ".", sText + "pipe" }));
}

TEST(CVexResourceFile, AFileIsNotReadInsideItselfUnderAnyName)
{
	CWork oWork;
	oWork.WriteFile("main", "");
	ASSERT_TRUE(link("main", "hard") == 0 && symlink("main", "soft") == 0);
	oWork.WriteFile("b", sInclude + "c\nsoft\n" + sEndInclude + Table("B\tb\n"));
	oWork.WriteFile("c", sInclude + "b\nhard\nc\n" + sEndInclude + Table("C\tc\n"));
	EXPECT_EQ(oWork.Read(Table("A\ta\n") + sInclude + "./main\nb\nb\n").Dump(), "2 1 ;A=A|a|;B=B|b|;C=C|c|");
	EXPECT_EQ(oWork.m_oServer.Lines(), std::vector<std::string>());
}

TEST(CVexResourceFile, OneReadingTakes1000IncludesAnd32Languages)
{
	CWork oWork;
	std::string sTables;
	for (int n = 0; n <= 1000; ++n)
	{
		const std::string sNumber = std::to_string(n), sNext = "n" + std::to_string(n + 1) + "\n";
		// Each twice in the one before: 2 to the power of 1000 readings.
		oWork.WriteFile("n" + sNumber, n < 1000 ? sInclude + sNext + sNext : Table("deepest\n"));
		sTables += "<strings>\n" + sNumber + "\t2\nk" + sNumber + "\tg\n</strings>\n";
	}
	CResources("n0", CResources::eAbsolutePath);
	EXPECT_EQ(oWork.m_oServer.Lines().at(0), "Global/- Zu viele Resource-Dateien, nicht gelesen: n1000");
	const CResources oResources = oWork.Read(sTables);
	EXPECT_EQ(oResources.GetLanguageIndex(static_cast<CResources::ELanguage>(31)), 31);
	EXPECT_EQ(oResources.GetLanguageIndex(static_cast<CResources::ELanguage>(32)), -1);
}

TEST(CVexResourceFile, ProgramsAddTextsLanguagesAndWholeFiles)
{
	CWork oWork;
	CResources oResources("none", CResources::eAbsolutePath), oOther = oResources;
	oResources.AddStringResource("K", "neutral", CResources::eNeutral);
	oResources.AddStringResource("K", "english", CResources::eEnglish);
	oResources.AddStringResource(nullptr, nullptr, CResources::eEnglish);
	EXPECT_EQ(oOther.AddLanguage(CResources::eGerman), 0);
	oOther.AddResourceFile(oResources);
	oOther.AddResourceFile(oOther);
	EXPECT_EQ(oOther.Dump(), "2 0 1 ;=|||;K=|neutral|english|");
}

TEST(CVexLString, EachCallFillsTheNextPlaceholderOnce)
{
	const std::tuple<const char*, std::vector<std::string>, const char*> aCases[] = {
		{ "%1 of %2", { "a", "b" }, "a of b" },
		{ "%10%1%2", { "a", "b" }, "a0%1b" },
		{ "%1", { "%2", "b" }, "b" },
	};
	for (const auto& [szText, asValues, szResult] : aCases)
	{
		CVexLString oText(szText);
		for (const std::string& rsValue : asValues)
			oText.ResolveParameter(rsValue);
		EXPECT_EQ((std::ostringstream() << oText).str(), szResult);
	}
}

TEST(ExampleLanguages, SpeaksTheLanguageOfItsSettings)
{
	const CTempFolder oFolder;
	const std::string sProgram = LinkProgram(VEX_EXAMPLE_DIR "/languages", oFolder);
	for (const char* szOutput :
		{ "Guten Tag, Bob!\nStart Nummer 1 von languages\n", "Hello, Bob!\nlanguages, start number 2\n" })
	{
		CProgramRunner oProgram(sProgram);
		oProgram.Start({ "-name", "Bob", "-language", *szOutput == 'G' ? "2" : "1" });
		ASSERT_TRUE(oProgram.WaitForEnd(60000) && oProgram.ExitStatus() == 0);
		EXPECT_EQ(oProgram.Output(), szOutput);
	}
}
