#include "VexApplicationInfo.h"

#include <gtest/gtest.h>

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
	EXPECT_EQ(CVexApplicationInfo("tool", "2 5 1").GetVersion(), "2.5.1");
	EXPECT_EQ(CVexApplicationInfo("tool", "4.x.6").GetVersion(), "4.0.0");
	EXPECT_EQ(CVexApplicationInfo("tool", "1234.5.99999999999").GetVersion(), "1234.5.0");
	EXPECT_EQ(CVexApplicationInfo("tool", nullptr).GetVersion(), "1.0.0");
}
