// Files, their status, and directories.

#include "VexFile.h"
#include "VexDir.h"
#include "VexFileStatus.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <tuple>
#include <unistd.h>

TEST(CVexFile, ModesCreateEmptyKeepAndAppend)
{
	const CTempFolder oFolder;
	const std::tuple<CVexFile::EOpenMode, const char*, const char*, int> aCases[] = {
		{ CVexFile::eRead, "", "", ENOENT },
		{ CVexFile::eAppend, "ab", "ab", 0 },
		{ CVexFile::eAppend, "cd", "abcd", 0 },
		{ CVexFile::eReadWrite, "X", "Xbcd", 0 },
		{ CVexFile::eRead, "y", "Xbcd", EBADF },
		{ CVexFile::eWrite, "z", "z", 0 },
	};
	for (const auto& [eMode, szWrite, szContent, nError] : aCases)
	{
		CVexFile oFile(oFolder.Path("f").c_str(), eMode);
		EXPECT_EQ(oFile.IsOpen() && oFile.Write(szWrite), nError == 0);
		EXPECT_EQ(oFile.GetLastError(), nError);
		EXPECT_EQ(oFolder.ReadFile("f"), szContent);
	}
}

TEST(CVexFile, PositionsLieAbove4GiB)
{
	const CTempFolder oFolder;
	CVexFile oFile(oFolder.Path("f").c_str(), CVexFile::eReadWrite);
	long long nPosition = 0;
	char szText[8] = {};
	std::size_t nRead = 0;
	EXPECT_TRUE(oFile.Seek(5LL << 30) && oFile.Write("end") && oFile.Truncate((5LL << 30) + 2) && oFile.Flush());
	EXPECT_TRUE(!oFile.Seek(-1) && oFile.Tell(nPosition) && nPosition == (5LL << 30) + 3);
	EXPECT_TRUE(oFile.Seek(-2, CVexFile::eEnd) && oFile.Read(szText, sizeof(szText), nRead));
	EXPECT_EQ(std::string(szText, nRead), "en");    // fewer than asked for
}

TEST(CVexFile, OpeningNeverWaitsAndShortReadsAreCompleted)
{
	const CTempFolder oFolder;
	const std::string sPipe = oFolder.Path("p"), sText(1000000, 'x');    // more than a pipe holds
	ASSERT_EQ(mkfifo(sPipe.c_str(), 0600), 0);
	EXPECT_EQ(CVexFile(sPipe.c_str(), CVexFile::eWrite).GetLastError(), ENXIO);
	CVexFile oRead(sPipe.c_str(), CVexFile::eRead), oWrite(sPipe.c_str(), CVexFile::eWrite);
	std::thread oWriter([&] { EXPECT_TRUE(oWrite.Write(sText) && oWrite.Close()); });
	std::string sRead(sText.size() + 1, ' ');
	std::size_t nRead = 0;
	EXPECT_TRUE(oRead.Read(sRead.data(), sRead.size(), nRead));
	oWriter.join();
	EXPECT_EQ(sRead.substr(0, nRead), sText);
}

TEST(CVexFile, WholeFilesAreReadAndReplacedSafely)
{
	const CTempFolder oFolder;
	const std::string sName = oFolder.Path("f"), sLink = oFolder.Path("l"), sBig = std::string(3000000, '\xFC') + '\0';
	std::string sRead;
	int nError = 0;
	ASSERT_TRUE(CVexFile::WriteAll(sName.c_str(), "old"));
	ASSERT_TRUE(symlink("f", sLink.c_str()) == 0 && chmod(sName.c_str(), 0751) == 0);
	CVexFile oOld(sName.c_str(), CVexFile::eRead);
	EXPECT_TRUE(CVexFile::WriteAll(sLink.c_str(), sBig) && CVexFile::ReadAll(sName.c_str(), sRead) && sRead == sBig);
	EXPECT_EQ(CVexFileStatus(sLink.c_str()).GetMode(), 0751u);
	std::size_t nRead = 0;
	EXPECT_TRUE(oOld.Read(sRead.data(), 4, nRead) && sRead.compare(0, nRead, "old") == 0);       // its readers keep it
	EXPECT_TRUE(CVexFile::ReadAll("/proc/self/stat", sRead) && std::stoi(sRead) == getpid());    // its size is 0
	ASSERT_EQ(truncate(sName.c_str(), 1LL << 43), 0);
	EXPECT_FALSE(CVexFile::ReadAll(sName.c_str(), sRead = "kept", &nError));
	EXPECT_TRUE(nError == ENOMEM && sRead == "kept");
	EXPECT_FALSE(CVexFile::WriteAll("/dev/null", "x") || CVexFile::ReadAll("/", sRead));
	std::vector<std::string> asNames;
	EXPECT_TRUE(CVexDir(oFolder.Path().c_str()).List(asNames) && asNames.size() == 2);    // nothing left beside them
}

TEST(CVexFileStatus, TimesAndIdentityAreTheSystems)
{
	const CTempFolder oFolder;
	oFolder.WriteFile("f", "");
	const std::string sFile = oFolder.Path("f"), sLink = oFolder.Path("l");
	const timespec aTimes[] = { { -1, 0 }, { 5000000000, 123456789 } };
	ASSERT_TRUE(symlink("f", sLink.c_str()) == 0 && utimensat(AT_FDCWD, sFile.c_str(), aTimes, 0) == 0);
	const CVexFileStatus oFile(sFile.c_str()), oLink(sLink.c_str(), false), oNone((sFile + "/x").c_str());
	EXPECT_EQ(oFile.GetAccessTime(), CVexUTCTime(31, 12, 1969, 23, 59, 59, 0, 0, 0));
	EXPECT_EQ(oFile.GetModificationTime(), CVexUTCTime(11, 6, 2128, 8, 53, 20, 123, 456, 789));
	EXPECT_TRUE(oFile.IsSameFile(CVexFileStatus(sLink.c_str())) && !oFile.IsSameFile(oLink));
	EXPECT_FALSE(oNone.Exists() || oNone.IsSameFile(oNone) || oNone.GetAccessTime().IsTimeValid());
}

TEST(CVexDir, IsMadeWithParentsListedByPatternAndRemovedWhenEmpty)
{
	const CTempFolder oFolder;
	CVexDir oDir(oFolder.Path("a//b/../b/c/").c_str()), oFile(oFolder.Path("a/b/c/c.dat").c_str());
	EXPECT_TRUE(!oDir.Exists() && oDir.Create() && oDir.Create() && oDir.Exists());
	for (const char* szName : { "b.txt", "B.txt", ".a.txt", "c.dat" })
		oFolder.WriteFile("a/b/c/" + std::string(szName), "");
	std::vector<std::string> asNames, asFitting;
	EXPECT_TRUE(oDir.List(asNames, nullptr) && oDir.List(asFitting, "[a-c].*"));
	EXPECT_EQ(asNames, (std::vector<std::string>{ ".a.txt", "B.txt", "b.txt", "c.dat" }));
	EXPECT_EQ(asFitting, (std::vector<std::string>{ "b.txt", "c.dat" }));
	EXPECT_FALSE(oFile.Exists() || oFile.Create() || oFile.List(asNames) || oFile.Remove() || oDir.Remove());
	EXPECT_TRUE(oFile.GetLastError() == ENOTDIR && oDir.GetLastError() == ENOTEMPTY);
}
