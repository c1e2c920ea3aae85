#include "VexTraceServerStd.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
// A message with a time of its own choice: the class sets the current one only.
class CDatedMsg : public CVexTraceMsg
{
public:
	CDatedMsg(const CVexLocalTime& oTime, const char* pszText) : CVexTraceMsg(eInfo, 1, pszText)
	{
		const_cast<CVexLocalTime&>(GetTime()) = oTime;
	}
};

CVexLocalTime At(unsigned int nDay, unsigned int nHour, int nZone = 0)
{
	return CVexLocalTime(nDay, 12, 2009, nHour, 5, 3, 42, nZone);
}

TEST(CVexTraceServerStd, EveryDayHasItsFileAndNothingIsTruncated)
{
	CTempFolder oFolder;
	oFolder.WriteFile("Trace20091231.log", "an earlier run, torn");
	{
		CVexTraceServerStd oServer(oFolder.Path("").c_str(), nullptr);
		for (const char* szText : { "a", "c" })
		{
			EXPECT_TRUE(oServer.SaveMsg(CDatedMsg(At(30, 18), szText), "o/C"));
			EXPECT_TRUE(oServer.SaveMsg(CDatedMsg(At(31, 18), szText), nullptr));
		}
		// Written at once, not at the end.
		EXPECT_EQ(oFolder.ReadFile("Trace20091230.log"),
			"30.12.2009 18:05:03.042\tINFO\to/C\ta\n30.12.2009 18:05:03.042\tINFO\to/C\tc\n");
	}
	EXPECT_EQ(oFolder.ReadFile("Trace20091231.log"),
		"an earlier run, torn\n31.12.2009 18:05:03.042\tINFO\tUnknown \ta\n31.12.2009 18:05:03.042\tINFO\tUnknown \tc\n");
}

TEST(CVexTraceServerStd, FileOfTheUtcDayKept)
{
	CTempFolder oFolder;
	CVexTraceServerStd oServer(oFolder.Path("prefix-").c_str(), "txt");    // used as they stand
	oServer.SaveMsg(CDatedMsg(At(31, 1, 3), "still the 30th in UTC"), "o");
	EXPECT_TRUE(oFolder.HasFile("prefix-Trace20091230txt"));
}

TEST(CVexTraceServerStd, FileIsInheritedByNoProgramAndIsNeverStandardError)
{
	CTempFolder oFolder;
	CVexTraceServerStd oServer(oFolder.Path("").c_str(), nullptr);
	const int nBefore = dup(STDERR_FILENO);
	close(STDERR_FILENO);
	oServer.SaveMsg(CDatedMsg(At(30, 1), "x"), "o");
	EXPECT_EQ(fcntl(STDERR_FILENO, F_GETFD), -1);
	dup2(nBefore, STDERR_FILENO);
	close(nBefore);
	int nFound = 0;
	for (const auto& rEntry : std::filesystem::directory_iterator("/proc/self/fd"))
	{
		std::error_code oClosed;
		if (std::filesystem::read_symlink(rEntry, oClosed) != oFolder.Path("Trace20091230.log"))
			continue;
		++nFound;
		EXPECT_EQ(fcntl(std::stoi(rEntry.path().filename()), F_GETFD), FD_CLOEXEC);
	}
	EXPECT_EQ(nFound, 1);
}

// A limit on the size of files stands for the full disk: the line that does not fit is lost, the next one is whole.
TEST(CVexTraceServerStd, FullDiskTearsNoLaterLine)
{
	CTempFolder oFolder;
	CVexTraceServerStd oServer(oFolder.Path("").c_str(), nullptr);
	signal(SIGXFSZ, SIG_IGN);
	rlimit oBefore = {};
	getrlimit(RLIMIT_FSIZE, &oBefore);
	const std::string sFirst = "30.12.2009 01:05:03.042\tINFO\to\tfirst\n";
	oServer.SaveMsg(CDatedMsg(At(30, 1), "first"), "o");
	rlimit oSmall = oBefore;
	oSmall.rlim_cur = sFirst.size() + 10;
	setrlimit(RLIMIT_FSIZE, &oSmall);
	for (int i = 0; i < 3; ++i)
		EXPECT_TRUE(oServer.SaveMsg(CDatedMsg(At(30, 1), "too much"), "o"));
	setrlimit(RLIMIT_FSIZE, &oBefore);
	oServer.SaveMsg(CDatedMsg(At(30, 1), "second"), "o");
	oServer.SaveMsg(CDatedMsg(At(30, 1), "third"), "o");
	EXPECT_EQ(oFolder.ReadFile("Trace20091230.log"),
		sFirst + "30.12.2009\n30.12.2009 01:05:03.042\tINFO\to\tsecond\n30.12.2009 01:05:03.042\tINFO\to\tthird\n");
}
}    // namespace
