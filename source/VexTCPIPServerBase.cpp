#include "VexTCPIPServerBase.h"

#include "VexTCPIPServerContainer.h"

CVexTCPIPServerBase::CVexTCPIPServerBase(CVexTCPIPServerContainer* pServer, int nID) : m_pServer(pServer), m_nID(nID) {}

CVexTCPIPServerBase::~CVexTCPIPServerBase()
{
	EndThreads();
}

void CVexTCPIPServerBase::DataInd(const unsigned char*, int) {}

void CVexTCPIPServerBase::ConInd(bool bConnected, int nSocket)
{
	CVexTCPIPBase::ConInd(bConnected, nSocket);
	m_pServer->Connected(m_nID, bConnected);
}

int CVexTCPIPServerBase::GetID() const
{
	return m_nID;
}
