#include "VexApplication.h"

#include "support/RecordingServer.h"

#include "VexConApplication.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{
// Traces into the test's own server: it starts none of its own then.
class CTestApplication : public CVexBaseApplication
{
public:
	using CVexBaseApplication::CVexBaseApplication;
	const std::string& GetStdConfigFile() const { return m_sStdConfigFile; }
	bool Initialize() override { return m_bInitialize; }
	bool Finalize() override
	{
		++m_nFinalized;
		return m_bFinalize;
	}
	bool StartWith(std::vector<const char*> apszArgs)
	{
		apszArgs.push_back(nullptr);
		return Start(static_cast<int>(apszArgs.size()) - 1, const_cast<char**>(apszArgs.data()));
	}

	bool m_bInitialize = true;
	bool m_bFinalize = true;
	int m_nRuns = 0;
	int m_nFinalized = 0;

protected:
	void Run() override { ++m_nRuns; }
};

TEST(CVexBaseApplication, NamesComeFromTheCommandLineUnlessGiven)
{
	CRecordingServer oServer(CVexTraceMsg::eError);
	const struct
	{
		const char* szIni;
		const char* szName;
		std::vector<const char*> aszArgs;
		const char* szIniExpected;
		const char* szNameExpected;
		const char* szCommandLine;
	} aCases[] = {
		{ nullptr, nullptr, { "./bin/tool", "-x", "a" }, "./bin/tool.ini", "tool", "-x a " },
		{ nullptr, "given", { "/opt/tool.exe" }, "/opt/given.ini", "given", "" },
		{ "own.ini", nullptr, { "tool", "" }, "own.ini", "tool", " " },
		{ nullptr, nullptr, {}, "", "", "" },
	};
	for (const auto& rCase : aCases)
	{
		CTestApplication oApplication(rCase.szIni, rCase.szName, nullptr);
		EXPECT_TRUE(oApplication.StartWith(rCase.aszArgs));
		EXPECT_EQ(oApplication.GetStdConfigFile(), rCase.szIniExpected);
		EXPECT_EQ(oApplication.GetApplName(), rCase.szNameExpected);
		EXPECT_EQ(oApplication.GetCommandLine(), rCase.szCommandLine);
	}
	CTestApplication oNull(nullptr, nullptr, nullptr);
	EXPECT_TRUE(oNull.Start(0, nullptr));
	EXPECT_TRUE(CTestApplication(nullptr, nullptr, nullptr).Start(5, nullptr));
}

TEST(CVexBaseApplication, FinalizeDecidesTheResult)
{
	CRecordingServer oServer(CVexTraceMsg::eInfo);
	for (const bool bInitialize : { true, false })
		for (const bool bFinalize : { true, false })
		{
			CTestApplication oApplication("x.ini", "App", nullptr);
			oApplication.m_bInitialize = bInitialize;
			oApplication.m_bFinalize = bFinalize;
			EXPECT_EQ(oApplication.StartWith({ "App" }), bFinalize);
			EXPECT_EQ(oApplication.m_nRuns, bInitialize ? 1 : 0);
			EXPECT_EQ(oApplication.m_nFinalized, 1);
		}
	const std::vector<std::string> asLines = oServer.Lines();
	ASSERT_EQ(asLines.size(), 8u);
	EXPECT_EQ(
		asLines[6].find("/CVexBaseApplication Anwendung App wird gestartet.\tFile source/VexApplication Line "), 0u);
	EXPECT_EQ(
		asLines[7].find("/CVexBaseApplication Anwendung App wird beendet.\tFile source/VexApplication Line "), 0u);
}

TEST(CVexBaseApplication, FirstObjectIsRegisteredAndAnyEndsThatKept)
{
	CRecordingServer oServer(CVexTraceMsg::eError);
	EXPECT_EQ(CVexBaseApplication::GetApplication(), nullptr);
	CTestApplication oFirst(nullptr, nullptr, nullptr);
	{
		CTestApplication oSecond(nullptr, nullptr, nullptr);
		EXPECT_EQ(CVexBaseApplication::GetApplication(), &oFirst);
	}
	EXPECT_EQ(CVexBaseApplication::GetApplication(), nullptr);
	EXPECT_TRUE(oFirst.GetStartZeit().IsTimeValid());
	EXPECT_EQ(oFirst.GetInfo().GetVersion(), "0.0.0");
}

TEST(CVexBaseApplication, LeavesAnActiveServerAlone)
{
	CRecordingServer oServer(CVexTraceMsg::eError);
	std::make_unique<CTestApplication>(nullptr, nullptr, nullptr).reset();
	EXPECT_EQ(oServer.Users(), 0);
	CVexTraceServer* pActive = CVexTraceServer::GetActiveServer();
	EXPECT_EQ(pActive, &oServer);
	pActive->DecActiveUser();
}
}    // namespace
