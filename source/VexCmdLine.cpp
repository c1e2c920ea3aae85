// Keeps a program's arguments and runs their exchange.

#include "VexCmdLine.h"

#include "VexCmdLineExchange.h"

CVexCmdLine::CVexCmdLine() = default;

CVexCmdLine::CVexCmdLine(int nArgc, const char* const* ppszArgv)
{
	Initialize(nArgc, ppszArgv);
}

CVexCmdLine::~CVexCmdLine() = default;

void CVexCmdLine::Initialize(int nArgc, const char* const* ppszArgv)
{
	m_asArgs.clear();
	for (int i = 0; ppszArgv && i < nArgc && ppszArgv[i]; ++i)
		m_asArgs.emplace_back(ppszArgv[i]);
}

bool CVexCmdLine::UpdateOptions(bool /*bSave*/)
{
	CVexCmdLineExchange oExchange(this);
	DoOptionExchange(&oExchange);
	return true;
}

void CVexCmdLine::DoOptionExchange(CVexConfigExchange* pExchange)
{
	DoOptionExchange(static_cast<CVexCmdLineExchange*>(pExchange));
}

void CVexCmdLine::DoOptionExchange(CVexCmdLineExchange* /*pExchange*/) {}
