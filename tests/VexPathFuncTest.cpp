#include "VexPathFunc.h"

#include <gtest/gtest.h>

namespace
{
// Drive, directory, name and extension with bars between them, "-" in front if SplitPath answers false.
std::string Split(const char* pszPath)
{
	std::string asParts[4] = { "old", "old", "old", "old" };
	const bool bName = SplitPath(pszPath, &asParts[0], &asParts[1], &asParts[2], &asParts[3]);
	EXPECT_EQ(SplitPath(pszPath, nullptr, nullptr, nullptr, nullptr), bName);
	EXPECT_EQ(GetPathName(pszPath), asParts[0] + asParts[1]);
	EXPECT_EQ(GetFileName(pszPath), asParts[2] + asParts[3]);
	return (bName ? "" : "-") + asParts[0] + "|" + asParts[1] + "|" + asParts[2] + "|" + asParts[3];
}
}    // namespace

TEST(SplitPath, FindsDriveDirectoryNameAndExtension)
{
	const char* const aaszCases[][2] = {
		{ "dir/sub/file.tar.gz", "|dir/sub/|file.tar|.gz" },
		{ "a\\b.c/d\\x", "|a\\b.c/d\\|x|" },
		{ "/", "-|/||" },
		{ nullptr, "-|||" },
		{ "\\\\srv.d/share\\x.log", "\\\\srv.d/|share\\|x|.log" },
		{ "\\\\srv", "\\\\srv|||" },
	};
	for (const auto& rCase : aaszCases)
		EXPECT_EQ(Split(rCase[0]), rCase[1]);
	EXPECT_EQ(RemoveLastDirSeparator("/a\\/") + RemoveLastDirSeparator(""), "/a\\");
}

TEST(SplitPath, LeadingSlashBelongsToTheNameKept)
{
	EXPECT_EQ(Split("/x.log"), "||/x|.log");
	EXPECT_EQ(Split("\\\\srv/\\x"), "\\\\srv/||\\x|");
}

TEST(MakePathAbsolute, JoinsNameAndBase)
{
	const char* const aaszCases[][3] = {
		{ "../a\\b.ini", "/opt/app/bin", "/opt/app/a/b.ini" },
		{ ".\\.//..\\x", "C:\\opt\\app\\", "C:/opt/x" },
		{ "../../../x", "/opt/app", "/x" },
		{ "../x", "app", "app/x" },    // a base without a separator stays
		{ "x", "/", "/x" },
		{ nullptr, nullptr, "/" },
	};
	for (const auto& rCase : aaszCases)
		EXPECT_EQ(MakePathAbsolute(rCase[0], rCase[1]), rCase[2]);
}

TEST(MakePathAbsolute, JoinsAbsoluteNamesTooKept)
{
	EXPECT_EQ(MakePathAbsolute("/../x", "/opt/app"), "/opt/x");
}
