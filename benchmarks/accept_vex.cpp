// Accepting: from the client's connect to the first byte that the server sends, one client after the other, with 1 and
// 10 listening ports in the process.
#include "VexTCPIPServerBase.h"
#include "VexTCPIPServerContainer.h"
#include "accept.h"

#include <memory>

namespace
{
class CGreeter : public CVexTCPIPServerBase
{
public:
	using CVexTCPIPServerBase::CVexTCPIPServerBase;
	~CGreeter() override { EndThreads(); }

	void ConInd(bool connected, int fd) override
	{
		CVexTCPIPServerBase::ConInd(connected, fd);
		if (connected)
			DataReq("x", 1, 0);
	}
};

class CPort : public CVexTCPIPServerContainer
{
public:
	explicit CPort(unsigned short port) : CVexTCPIPServerContainer(10, 3, "127.0.0.1", port) { FillUpReserve(); }
	~CPort() override { DeleteServers(); }

	CVexTCPIPServerBase* CreateNewClass(int id) override
	{
		auto greeter = std::make_unique<CGreeter>(this, id);
		greeter->AwaitConnectionFromClient(m_sIPAddress.c_str(), m_nPort, -2);
		return greeter.release();
	}
};
}    // namespace

int main()
{
	for (int count : { 1, 10 })
		for (bool oneCore : { true, false })
		{
			bench::Place(oneCore);
			std::vector<unsigned short> numbers;
			std::vector<std::unique_ptr<CPort>> ports;
			for (int i = 0; i < count; ++i)
			{
				unsigned short port;
				close(net::Listen(port));
				numbers.push_back(port);
				ports.push_back(std::make_unique<CPort>(port));
			}
			MeasureAccepting("VexCommon", numbers, oneCore);
		}
}
