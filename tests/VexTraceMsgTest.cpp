#include "VexTraceMsg.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
TEST(CEnumDescription, LevelNames)
{
	const struct
	{
		int nLevel;
		const char* szName;
	} aCases[] = { { 0, "NONE" },
		{ 1, "ERROR" },
		{ 2, "WARNING" },
		{ 4, "INFO" },
		{ 8, "DEBUG" },
		{ 16, "DEBUG2" },
		{ 32, "DEBUG3" } };
	for (const auto& rCase : aCases)
		EXPECT_EQ(oMeineBeschreibung.GetDescriptionString(static_cast<CVexTraceMsg::ETraceLevel>(rCase.nLevel)),
			rCase.szName);
	EXPECT_EQ(aoMeineTexte[1].eEnumeration, CVexTraceMsg::eDebugL3);
}

TEST(CEnumDescription, UnknownValueEndsInNulKept)
{
	for (const int nLevel : { 64, 3, -1 })
		EXPECT_EQ(oMeineBeschreibung.GetDescriptionString(static_cast<CVexTraceMsg::ETraceLevel>(nLevel)),
			"Eintrag nicht gefunden, Code = " + std::to_string(nLevel) + std::string(1, '\0'));
}

TEST(CEnumDescription, FirstTextOfAValueCounts)
{
	const CEnumDescription<int>::SEnumDescription aoTable[] = { { 1, "one" }, { 1, "again" }, { 2, "two" } };
	EXPECT_EQ(CEnumDescription<int>(aoTable, 3, 0).GetDescriptionString(1), "one");
	EXPECT_EQ(CEnumDescription<int>(aoTable, 2, 0).GetDescriptionString(2).find("Eintrag"), 0u);
}

TEST(CVexTraceMsg, NullTextKeepsTheTextAndRenewsTheRest)
{
	CVexTraceMsg oMsg(CVexTraceMsg::eInfo, 7, "text");
	oMsg.SetMsg(CVexTraceMsg::eError, 8, nullptr);
	EXPECT_EQ(oMsg.GetText(), "text");
	EXPECT_EQ(oMsg.GetID(), 8);
	EXPECT_EQ(oMsg.GetTraceLevel(), CVexTraceMsg::eError);
	oMsg.SetMsg(CVexTraceMsg::eError, 8, oMsg.GetText().c_str() + 2);    // its own text
	EXPECT_EQ(oMsg.GetText(), "xt");
	EXPECT_EQ(CVexTraceMsg().GetText(), "");
}

TEST(CVexTraceMsg, TextFormShowsTheUtcInstantKept)
{
	CVexTraceMsg oMsg(CVexTraceMsg::eWarning, 1, "text\tof it");
	const std::string sTime = oMsg.GetTime().Time2Str(CVexUTCTime::TTMMJJJJ_HHMMSSmmm);
	EXPECT_EQ(sTime.size(), 23u);
	EXPECT_EQ(oMsg.GetMsgText("a/B", ' '), sTime + " WARNING a/B text\tof it");
	EXPECT_EQ(oMsg.GetMsgText("", '\t'), sTime + "\tWARNING\t\ttext\tof it");
}
}    // namespace
