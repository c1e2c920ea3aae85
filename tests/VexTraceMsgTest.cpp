#include "VexTraceMsg.h"

#include <gtest/gtest.h>

namespace
{
TEST(CEnumDescription, UnknownValueEndsInNulKept)
{
	for (const int nLevel : { 64, 3, -1 })
		EXPECT_EQ(oMeineBeschreibung.GetDescriptionString(static_cast<CVexTraceMsg::ETraceLevel>(nLevel)),
			"Eintrag nicht gefunden, Code = " + std::to_string(nLevel) + std::string(1, '\0'));
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
