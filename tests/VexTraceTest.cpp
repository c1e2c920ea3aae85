#include "VexTrace.h"

#include "support/RecordingServer.h"

#include "VexTraceTextInternal.h"

#include <gtest/gtest.h>

#include <locale>
#include <memory>
#include <thread>

namespace
{
typedef std::vector<std::string> Lines;

struct CTestTrace : CVexTrace
{
	using CVexTrace::AddMsgSpecial;
	using CVexTrace::CVexTrace;
};

TEST(CVexTrace, NamesAreBuiltFromTheParents)
{
	CVexTrace oParent(nullptr, "a", nullptr);
	EXPECT_EQ(oParent.CreateObjectName("b", &oParent), "a:b");
	EXPECT_EQ(oParent.CreateObjectName(nullptr, nullptr), "");
	CVexTrace oNameless("C", nullptr, nullptr);
	EXPECT_EQ(CVexTrace("D", "d", &oNameless).GetName(), ":d");
	EXPECT_EQ(CVexTrace::m_oGlobalTrace.GetName() + CVexTrace::m_oGlobalTrace.GetClassName(), "Global-");
}

TEST(CVexTrace, RegistersWithTheFirstMessageAndWithEveryNewServer)
{
	CTestTrace oTrace("C", "o", nullptr);
	oTrace.AddMsg(CVexTraceMsg::eError, "nobody hears it");
	auto poServer = std::make_unique<CRecordingServer>(CVexTraceMsg::eInfo);
	EXPECT_EQ(oTrace.GetID(), -1);
	oTrace.AddMsg(CVexTraceMsg::eInfo, "first");
	EXPECT_EQ(oTrace.GetID(), 1);
	EXPECT_EQ(poServer->Lines(), (Lines{ "o/C first" }));

	oTrace.SetName("p", nullptr);    // told with the next message, under the same identifier
	EXPECT_EQ(poServer->GetObjectName(1), "o/C");
	oTrace.AddMsg(CVexTraceMsg::eInfo, "second");
	EXPECT_EQ(poServer->GetObjectName(1), "p/C");

	CVexTraceServer* const pUse = oTrace.GetServerObject(CVexTraceMsg::eInfo);
	CRecordingServer oOther(CVexTraceMsg::eError);    // active now, and no call in between
	CVexTrace oFirst("F", "f", nullptr);
	oFirst.AddMsg(CVexTraceMsg::eError, "takes identifier 1 there");
	oTrace.AddMsg(
		CVexTraceMsg::eError, "for a server that does not know the object", CVexTraceServer::GetActiveServer());
	oTrace.AddMsg(CVexTraceMsg::eInfo, "off there");
	oTrace.AddMsg(CVexTraceMsg::eError, "third");
	EXPECT_EQ(oTrace.GetID(), 2);
	EXPECT_EQ(oOther.Lines(),
		(Lines{ "f/F takes identifier 1 there", "p/C for a server that does not know the object", "p/C third" }));
	oTrace.AddMsg(CVexTraceMsg::eError, "late", pUse);
	EXPECT_EQ(poServer->Lines(), (Lines{ "o/C first", "p/C second", "p/C late" }));
}

TEST(CVexTrace, NoLineIsLostOrNamedWrongWhileServersAlternate)
{
	CRecordingServer oServer(CVexTraceMsg::eInfo), oOther(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr), oOnlyThere("X", "x", nullptr);
	oOther.RegisterObject(&oOnlyThere);
	std::atomic<int> nRunning{ 3 };
	const auto Trace = [&]
	{
		for (int i = 0; i < 20000; ++i)
			oTrace.AddMsg(CVexTraceMsg::eInfo, "line");
		--nRunning;
	};
	std::thread oFirst(Trace), oSecond(Trace), oThird(Trace);
	for (bool bOther = false; nRunning != 0; bOther = !bOther)
		CVexTraceServer::SetActiveServer(bOther ? &oOther : &oServer);
	for (std::thread* pThread : { &oFirst, &oSecond, &oThird })
		pThread->join();
	Lines asLines = oServer.Lines();
	for (const std::string& rsLine : oOther.Lines())
		asLines.push_back(rsLine);
	EXPECT_EQ(asLines, Lines(60000, "o/C line"));
}

TEST(CVexTrace, TextsOfTheLibraryDoNotFollowTheGlobalLocale)
{
	struct CGrouping : std::numpunct<char>
	{
		std::string do_grouping() const override { return "\3"; }
	};
	CRecordingServer oServer(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr);
	const std::locale oBefore = std::locale::global(std::locale(std::locale(), new CGrouping));
	VexTraceText(oTrace, CVexTraceMsg::eInfo, [](std::ostream& rStream) { rStream << "Port=" << 15999; });
	std::locale::global(oBefore);
	EXPECT_EQ(oServer.Lines(), (Lines{ "o/C Port=15999" }));
}

TEST(CVexTrace, CopiesAreNewObjectsWithoutNamesAndWhatGoesIsForgottenBehindItsMessages)
{
	CRecordingServer oServer(CVexTraceMsg::eInfo);
	{
		CVexTrace oTrace("C", "o", nullptr);
		oTrace.AddMsg(CVexTraceMsg::eInfo, "x");
		CVexTrace oCopy(oTrace);
		EXPECT_EQ(oCopy.GetID(), -1);
		EXPECT_EQ(oCopy.GetName() + oCopy.GetClassName(), "");
		oTrace = oCopy;
		EXPECT_EQ(oTrace.GetID(), -1);
		oServer.WaitUntilWritten();
		EXPECT_EQ(oServer.GetObjectName(1), "");    // its identifier was given back
		oTrace.AddMsg(CVexTraceMsg::eInfo, "y");
	}
	EXPECT_EQ(oServer.Lines(), (Lines{ "o/C x", "/ y" }));
	std::vector<std::pair<long, std::string>> aoList;
	oServer.GetObjectList(aoList);
	EXPECT_TRUE(aoList.empty());
}

TEST(CVexTrace, LevelsThatAreOffGiveTheServerBack)
{
	CTestTrace oTrace("C", "o", nullptr);
	EXPECT_EQ(oTrace.GetServerObject(CVexTraceMsg::eError), nullptr);
	CRecordingServer oServer(CVexTraceMsg::eWarning);
	EXPECT_EQ(oTrace.GetServerObject(CVexTraceMsg::eInfo), nullptr);
	CVexTraceServer* pServer = oTrace.GetServerObject(CVexTraceMsg::eError);
	EXPECT_EQ(pServer, &oServer);
	EXPECT_EQ(oServer.Users(), 1);
	oTrace.AddMsg(CVexTraceMsg::eDebug, "not written, but the use is given back", pServer);
	oServer.SetTraceLevels(oTrace.GetID(), CVexTraceMsg::eDebug);
	const char* const pszNone = nullptr;
	oTrace.AddMsg(CVexTraceMsg::eError, pszNone, oTrace.GetServerObject(CVexTraceMsg::eError));
	std::ostringstream oStream;
	oStream << "stream";
	oTrace.AddMsg(CVexTraceMsg::eDebug, oStream);
	oTrace.AddMsg(CVexTraceMsg::eDebugL2, "off");
	oTrace.AddMsgSpecial("special", nullptr);
	oServer.SetTraceLevels(oTrace.GetID(), CVexTraceMsg::eNone);
	oTrace.AddMsg(CVexTraceMsg::eError, "off, too");
	EXPECT_EQ(oServer.Users(), 0);
	EXPECT_EQ(oServer.Lines(), (Lines{ "o/C stream", "o/C special" }));
}

TEST(CVexTrace, OneObjectServesManyThreads)
{
	CRecordingServer oServer(CVexTraceMsg::eInfo);
	CVexTrace oTrace("C", "o", nullptr);
	const auto Trace = [&]
	{
		for (int j = 0; j < 1000; ++j)
		{
			oTrace.AddMsg(CVexTraceMsg::eInfo, "line");
			oServer.SetTraceLevels(oTrace.GetID(), j % 200 ? CVexTraceMsg::eInfo : CVexTraceMsg::eDebug);
		}
	};
	std::thread oFirst(Trace), oSecond(Trace), oThird(Trace);
	for (std::thread* pThread : { &oFirst, &oSecond, &oThird })
		pThread->join();
	EXPECT_EQ(oServer.Lines(), std::vector<std::string>(3000, "o/C line"));
	EXPECT_EQ(oTrace.GetID(), 1);    // registered once
}

TEST(CVexTrace, GetTraceFlagLeavesAUseKept)
{
	CTestTrace oTrace("CFlagged", nullptr, nullptr);
	EXPECT_FALSE(oTrace.GetTraceFlag("Flag"));
	CRecordingServer oServer(CVexTraceMsg::eError);
	EXPECT_FALSE(oTrace.GetTraceFlag("NoSuchFlag"));
	EXPECT_EQ(oServer.Users(), 1);
	oServer.DecActiveUser();
}
}    // namespace
