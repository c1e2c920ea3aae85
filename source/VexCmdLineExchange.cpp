// Search of options and positional parameters in a working copy of the arguments.

#include "VexCmdLineExchange.h"

#include "VexApplication.h"
#include "VexCmdLine.h"

#include <algorithm>

namespace
{
// What the descriptions say of one argument.
struct SArgKind
{
	bool bKnown = false;
	bool bHasValue = false;
};

SArgKind KindOf(const std::string& rArg, const std::vector<CVexCmdLineExchange::SOptionDesc>& rOptions)
{
	SArgKind oKind;
	if (rArg.empty() || rArg[0] != '-')
		return oKind;
	for (const auto& rOption : rOptions)
	{
		if (rArg.compare(1, std::string::npos, rOption.sOption) != 0)
			continue;
		oKind.bKnown = true;
		oKind.bHasValue = oKind.bHasValue || rOption.bHasValue;
	}
	return oKind;
}
}    // namespace

CVexCmdLineExchange::CVexCmdLineExchange(CVexCmdLine* pCmdLine)
	: CVexConfigExchange(false), m_pCmdLine(pCmdLine), m_bInitialized(false)
{
	CVexCmdLineExchange::Initialize();
}

CVexCmdLineExchange::~CVexCmdLineExchange() = default;

void CVexCmdLineExchange::AddParamDescription(const char* pszOption, bool bHasValue)
{
	if (pszOption && *pszOption)
		m_aOptions.push_back({ bHasValue, pszOption });
}

bool CVexCmdLineExchange::GetParameter(const char* pszOption, bool bHasValue, std::string& rValue)
{
	if (pszOption && *pszOption)
		return GetOption(std::string("-") + pszOption, bHasValue, rValue);
	return GetPositional(rValue);
}

void CVexCmdLineExchange::Initialize()
{
	m_bInitialized = false;
	if (m_pCmdLine)
		m_pCmdLine->DoOptionExchange(this);
	CopyCmdLineArgs();
	m_bInitialized = true;
}

void CVexCmdLineExchange::CopyCmdLineArgs()
{
	m_asArgs.clear();
	if (m_pCmdLine)
		m_asArgs.assign(m_pCmdLine->m_asArgs.rbegin(), m_pCmdLine->m_asArgs.rend());
}

bool CVexCmdLineExchange::GetOption(const std::string& rArg, bool bHasValue, std::string& rValue)
{
	rValue = "0";
	const auto oFound = std::find(m_asArgs.rbegin(), m_asArgs.rend(), rArg);
	if (oFound == m_asArgs.rend())
		return false;
	if (!bHasValue)
	{
		rValue = "1";
		return true;
	}
	rValue.clear();
	const auto oOption = std::prev(oFound.base());
	auto oFirst = oOption;
	if (oFirst != m_asArgs.begin())
		rValue = std::move(*--oFirst);
	m_asArgs.erase(oFirst, std::next(oOption));
	return true;
}

bool CVexCmdLineExchange::GetPositional(std::string& rValue)
{
	for (std::size_t nLeft = m_asArgs.size(); nLeft > 0; --nLeft)
	{
		const SArgKind oKind = KindOf(m_asArgs[nLeft - 1], m_aOptions);
		if (!oKind.bKnown)
		{
			rValue = std::move(m_asArgs[nLeft - 1]);
			m_asArgs.erase(m_asArgs.begin() + static_cast<std::ptrdiff_t>(nLeft) - 1);
			return true;
		}
		if (oKind.bHasValue && nLeft > 1)
			--nLeft;
	}
	return false;
}

CVexCmdLineApplExchange::CVexCmdLineApplExchange(CVexBaseApplication* pApplication, CVexCmdLine* pCmdLine)
	: CVexCmdLineExchange(pCmdLine), m_pApplication(pApplication)
{
	CVexCmdLineApplExchange::Initialize();
}

CVexCmdLineApplExchange::~CVexCmdLineApplExchange() = default;

void CVexCmdLineApplExchange::Initialize()
{
	m_bInitialized = false;
	if (m_pApplication)
		m_pApplication->DoCmdLineExchange(this);
	CopyCmdLineArgs();
	m_bInitialized = true;
}

bool CVexCmdLineExchange::IsInitialized() const
{
	return m_bInitialized;
}
