#pragma once

#include "VexConfigBase.h"

#include <string>
#include <vector>

class CVexCmdLineExchange;

// The arguments of a program. A deriving class describes and reads its options in DoOptionExchange.
//
// Threads: no lock inside.
class CVexCmdLine : public CVexConfigBase
{
public:
	CVexCmdLine();
	CVexCmdLine(int nArgc, const char* const* ppszArgv);
	~CVexCmdLine() override;

	// Replaces the list by all arguments, the program path in front included. A null pointer ends the arguments, also
	// before nArgc.
	void Initialize(int nArgc, const char* const* ppszArgv);

	// Runs DoOptionExchange twice, as CVexCmdLineExchange tells. There is nothing to save: bSave is ignored. Always
	// true.
	bool UpdateOptions(bool bSave) override;

// Deriving classes override the second of these and so hide the first, as is meant.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"
private:
	friend class CVexCmdLineExchange;

	void DoOptionExchange(CVexConfigExchange* pExchange) override;
#pragma GCC diagnostic pop

protected:
	// The exchange stays the caller's and ends with the call.
	virtual void DoOptionExchange(CVexCmdLineExchange* pExchange);

	std::vector<std::string> m_asArgs;
};
