// Search of options and positional parameters in a working copy of the arguments.

#include "VexCmdLineExchange.h"

#include "VexApplication.h"
#include "VexCmdLine.h"

#include <algorithm>
#include <utility>

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
	if (rArg[0] != '-')
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
	m_asArgs = m_pCmdLine ? m_pCmdLine->m_asArgs : std::vector<std::string>();
	m_nConsumed = 0;
}

bool CVexCmdLineExchange::GetOption(const std::string& rArg, bool bHasValue, std::string& rValue)
{
	rValue = "0";
	const auto oOption = std::find(FirstArg(), m_asArgs.end(), rArg);
	if (oOption == m_asArgs.end())
		return false;
	if (!bHasValue)
	{
		rValue = "1";
		return true;
	}
	rValue.clear();
	auto oNext = std::next(oOption);
	if (oNext != m_asArgs.end())
		rValue = std::move(*oNext++);
	Consume(oOption, oNext);
	return true;
}

bool CVexCmdLineExchange::GetPositional(std::string& rValue)
{
	for (auto oArg = FirstArg(); oArg != m_asArgs.end(); ++oArg)
	{
		const SArgKind oKind = KindOf(*oArg, m_aOptions);
		if (!oKind.bKnown)
		{
			rValue = std::move(*oArg);
			Consume(oArg, std::next(oArg));
			return true;
		}
		if (oKind.bHasValue && std::next(oArg) != m_asArgs.end())
			++oArg;
	}
	return false;
}

CVexCmdLineExchange::CArg CVexCmdLineExchange::FirstArg()
{
	return m_asArgs.begin() + static_cast<std::ptrdiff_t>(m_nConsumed);
}

// Closes the gap from the front: few arguments were passed over, but many may follow.
void CVexCmdLineExchange::Consume(CArg oFirst, CArg oLast)
{
	std::move_backward(FirstArg(), oFirst, oLast);
	m_nConsumed += static_cast<std::size_t>(oLast - oFirst);
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
