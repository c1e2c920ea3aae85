#include "VexApplicationInfo.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>

TEST(CVexApplicationInfo, TextsFillTheirPlacesAndMissingOnesTakeDefaults)
{
	const CVexApplicationInfo oBare("Tool", 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
	EXPECT_EQ(oBare.GetVersionString() + "; " + oBare.GetCopyrightString(), "Tool, Version 0.0.0; Copyright (C) ");
	const CVexApplicationInfo oInfo("tool", "2.7.1", "Maker", "A tool", "mail@tool.example", "(c) 2009");
	EXPECT_EQ(oInfo.GetVersionString(), "A tool, Version 2.7.1");
	EXPECT_EQ(oInfo.GetCopyrightString(), "(c) 2009 Maker (mail@tool.example)");
}

TEST(CVexApplicationInfo, VersionTextIsReadUpToItsFirstFault)
{
	const char* const aaszCases[][2] = {
		{ "2 5 1", "2.5.1" },
		{ "4.x.6", "4.0.0" },
		{ "1234.5.99999999999", "1234.5.0" },
		{ nullptr, "1.0.0" },
	};
	for (const auto& rCase : aaszCases)
		EXPECT_EQ(CVexApplicationInfo("tool", rCase[0]).GetVersion(), rCase[1]);
}

TEST(CVexApplicationInfo, LibraryRecordOutlivesEveryExitHandler)
{
	const auto TellByStatus = []
	{
		const std::string sText = CVexApplicationInfo::GetLibraryInfo().GetCopyrightString();
		_exit(sText.find("https://vexcommon.example") != std::string::npos ? 7 : 1);
	};
	// The handler comes before the record's first use, so it runs after all destructors that this use registers.
	EXPECT_EXIT((std::atexit(TellByStatus), CVexApplicationInfo::GetLibraryInfo(), std::exit(1)),
		testing::ExitedWithCode(7),
		"");
	EXPECT_EQ(CVexApplicationInfo::GetLibraryInfo().GetApplName(), "Fundament");
	EXPECT_EQ(CVexApplicationInfo::GetLibraryInfo().GetVersion(), "1.0.12");
}
