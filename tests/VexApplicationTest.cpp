#include "VexApplication.h"

#include "support/RecordingServer.h"

#include <gtest/gtest.h>

namespace
{
// Traces into the test's own server: it starts none of its own then.
class CTestApplication : public CVexBaseApplication
{
public:
	explicit CTestApplication(const char* szIni = nullptr, const char* szName = nullptr)
		: CVexBaseApplication(szIni, szName, nullptr)
	{
	}

	// Its ini file, name and command line.
	std::string TextsAfterStart(std::vector<const char*> apszArgs)
	{
		apszArgs.push_back(nullptr);
		EXPECT_TRUE(Start(static_cast<int>(apszArgs.size()) - 1, const_cast<char**>(apszArgs.data())));
		return m_sStdConfigFile + "|" + GetApplName() + "|" + GetCommandLine();
	}

protected:
	void Run() override {}
};

TEST(CVexBaseApplication, NamesComeFromTheCommandLineUnlessGiven)
{
	CRecordingServer oServer(CVexTraceMsg::eError);
	EXPECT_EQ(CTestApplication().TextsAfterStart({ "./bin/tool", "-x", "a" }), "./bin/tool.ini|tool|-x a ");
	EXPECT_EQ(CTestApplication(nullptr, "given").TextsAfterStart({ "/opt/tool.exe" }), "/opt/given.ini|given|");
	EXPECT_EQ(CTestApplication("own.ini").TextsAfterStart({ "tool", "" }), "own.ini|tool| ");
	EXPECT_EQ(CTestApplication().TextsAfterStart({}), "||");
	EXPECT_TRUE(CTestApplication().Start(5, nullptr));

	// The server that was active is left alone.
	EXPECT_EQ(oServer.Users(), 0);
	CVexTraceServer* pActive = CVexTraceServer::GetActiveServer();
	EXPECT_EQ(pActive, &oServer);
	pActive->DecActiveUser();
}

TEST(CVexBaseApplication, FirstObjectIsRegisteredAndAnyEndsThatKept)
{
	CRecordingServer oServer(CVexTraceMsg::eError);
	EXPECT_EQ(CVexBaseApplication::GetApplication(), nullptr);
	CTestApplication oFirst;
	{
		CTestApplication oSecond;
		EXPECT_EQ(CVexBaseApplication::GetApplication(), &oFirst);
	}
	EXPECT_EQ(CVexBaseApplication::GetApplication(), nullptr);
}
}    // namespace
