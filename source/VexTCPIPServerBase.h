#pragma once

// The passive connection that lives in a slot of a server container.

#include "VexTCPIPBase.h"

#include <cstdint>

class CVexTCPIPServerContainer;

// Reports to its container when a client has come and when it has gone. A deriving class that overrides DataInd() calls
// EndThreads() in its destructor, as CVexTCPIPBase tells.
class CVexTCPIPServerBase : public CVexTCPIPBase
{
public:
	// The container is not owned and outlives this object.
	CVexTCPIPServerBase(CVexTCPIPServerContainer* pServer, int nID);
	~CVexTCPIPServerBase() override;

	int GetID() const;

	void DataInd(const unsigned char* pData, int nLen) override;
	void ConInd(bool bConnected, int nSocket) override;

protected:
	CVexTCPIPServerContainer* m_pServer;
	std::int32_t m_nID;
};
