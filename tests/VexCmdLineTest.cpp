#include "VexCmdLine.h"
#include "VexApplication.h"
#include "VexCmdLineExchange.h"
#include "VexStringFunc.h"

#include <gtest/gtest.h>

namespace
{
CVexCmdLine CmdLine(const std::string& sArgs)
{
	std::vector<const char*> apszArgs;
	const std::vector<std::string> asArgs = VexGetParameterList(sArgs.c_str(), ' ');
	for (const std::string& rArg : asArgs)
		apszArgs.push_back(rArg.c_str());
	return CVexCmdLine(static_cast<int>(apszArgs.size()), apszArgs.data());
}

// Asks for options ("o", "o=" with its value) and for positional parameters ("*"). What was found, "!" in front of
// what was not.
std::string Ask(CVexCmdLineExchange& rExchange, const char* pszQuestions)
{
	std::string sAnswers;
	for (const std::string& rQuestion : VexGetParameterList(pszQuestions, ' '))
	{
		std::string sValue = "same";
		const bool bHasValue = rQuestion.back() == '=';
		const std::string sName = rQuestion.substr(0, rQuestion == "*" ? 0 : rQuestion.find('='));
		sAnswers += rExchange.GetParameter(sName.c_str(), bHasValue, sValue) ? "" : "!";
		sAnswers += sValue + " ";
	}
	return sAnswers;
}

// The working copy is private; naming it is allowed where a template is instantiated.
std::vector<std::string>& Args(CVexCmdLineExchange& rExchange);

template <std::vector<std::string> CVexCmdLineExchange::*pMember>
struct SAccess
{
	friend std::vector<std::string>& Args(CVexCmdLineExchange& rExchange) { return rExchange.*pMember; }
};
template struct SAccess<&CVexCmdLineExchange::m_asArgs>;

std::string sFirst, sSecond;

void Exchange(CVexCmdLineExchange* pExchange)
{
	(pExchange->IsInitialized() ? sSecond : sFirst) = Ask(*pExchange, "o= * *");
	pExchange->AddParamDescription("v", false);
}

struct CTestCmdLine : CVexCmdLine
{
	using CVexCmdLine::CVexCmdLine;
	void DoOptionExchange(CVexCmdLineExchange* pExchange) override { Exchange(pExchange); }
};

struct CTestApplication : CVexBaseApplication
{
	CTestApplication() : CVexBaseApplication(nullptr, nullptr, nullptr) {}
	void DoCmdLineExchange(CVexCmdLineApplExchange* pExchange) override { Exchange(pExchange); }
	void Run() override {}
};
}    // namespace

TEST(CVexCmdLineExchange, FindsOptionsAndPositionalParameters)
{
	const char* const aaszCases[][3] = {
		{ "prog -v xv", "v v * * *", "1 1 prog xv !same " },    // a flag stays
		{ "-o out in", "* *", "in !same " },                    // described options are passed over
		{ "-V -x - v", "v v= * * * * *", "!0 !0 -V -x - v !same " },
		{ "prog -o", "* * o= o=", "prog !same  !0 " },    // no value follows
	};
	for (const auto& rCase : aaszCases)
	{
		CVexCmdLine oCmdLine = CmdLine(rCase[0]);
		CVexCmdLineExchange oExchange(&oCmdLine);
		for (const char* pszOption : { "v", "", static_cast<const char*>(nullptr) })
			oExchange.AddParamDescription(pszOption, false);
		oExchange.AddParamDescription("o", true);
		EXPECT_EQ(Args(oExchange), VexGetParameterList(rCase[0], ' '));
		EXPECT_EQ(Ask(oExchange, rCase[1]), rCase[2]) << rCase[0];
	}
}

TEST(CVexCmdLine, IsExchangedOnceBeforeAndOnceWithItsArguments)
{
	const char* apszArgs[] = { "-v", "-o", "out", "in" };
	EXPECT_TRUE(CTestCmdLine(4, apszArgs).UpdateOptions(false));
	EXPECT_EQ(sFirst, "!0 !same !same ");
	EXPECT_EQ(sSecond, "out in !same ");    // -v is known by now
}

TEST(CVexCmdLineApplExchange, RestoresWhatTheFirstCallConsumed)
{
	CTestApplication oApplication;
	CVexCmdLine oCmdLine = CmdLine("-v -o out in");
	CVexCmdLineApplExchange oExchange(&oApplication, &oCmdLine);
	oApplication.DoCmdLineExchange(&oExchange);
	EXPECT_EQ(sFirst, "out -v in ");
	EXPECT_EQ(sSecond, "out in !same ");
	CVexCmdLineApplExchange oNobody(nullptr, nullptr);
	EXPECT_EQ(Ask(oNobody, "* v"), "!same !0 ");
}
