// The shared bases of ini files and the command line.

#include "VexConfigBase.h"

CVexConfigExchange::CVexConfigExchange(bool bSaveOption) : m_bSaveOption(bSaveOption) {}

CVexConfigExchange::CVexConfigExchange() = default;

CVexConfigExchange::~CVexConfigExchange() = default;

CVexConfigBase::~CVexConfigBase() = default;

void CVexConfigBase::DoOptionExchange(CVexConfigExchange*) {}
