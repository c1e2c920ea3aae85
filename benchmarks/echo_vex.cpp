// TCP echo over loopback with the library on both ends: the server sends each block back from DataInd(), the client
// waits with WaitForData().
#include "VexTCPIPBase.h"
#include "net.h"

namespace
{
class CEcho : public CVexTCPIPBase
{
public:
	~CEcho() override { EndThreads(); }

	void DataInd(const unsigned char* pData, int nLen) override
	{
		std::string taken;
		WaitForData(nLen, taken, 0);    // it is in the buffer already, and would pile up there
		bench::Check(DataReq(reinterpret_cast<const char*>(pData), nLen, 0) == eOK, "echo sent");
	}
};

unsigned short FreePort()
{
	unsigned short port;
	close(net::Listen(port));
	return port;
}
}    // namespace

int main()
{
	for (size_t size : { size_t(64), size_t(65536) })
		for (bool oneCore : { true, false })
		{
			bench::Place(oneCore);
			const unsigned short port = FreePort();
			CEcho server;
			CVexTCPIPBase client;
			bench::Check(server.AwaitConnectionFromClient("127.0.0.1", port, -2) == CVexTCPIPBase::eOK &&
					client.ConnectToServer("127.0.0.1", port, 10000) == CVexTCPIPBase::eOK,
				"connect");
			const std::string out(size, 'x');
			std::string in;
			std::vector<uint32_t> each;
			auto step = [&]
			{
				bench::Check(client.DataReq(out.data(), int(size), 0) == CVexTCPIPBase::eOK &&
						client.WaitForData(int(size), in, 10000) == CVexTCPIPBase::eOK,
					"echo");
			};
			bench::Rate(0.05, step);
			double rate = bench::Rate(0.3, step, &each);
			bench::Check(in == out, "echo the same");
			std::string what = std::string(size == 64 ? "64 bytes" : "64 KB") + bench::PlaceName(oneCore);
			bench::Out("3 TCP echo", "VexCommon", what, "round trips/s", rate);
			bench::Out("3 TCP echo", "VexCommon", what, "MB/s each way", rate * double(size) * 1e-6);
			bench::Out("3 TCP echo", "VexCommon", what, "p50 us", bench::Quantile(each, 0.5) * 1e-3);
			bench::Out("3 TCP echo", "VexCommon", what, "p99 us", bench::Quantile(each, 0.99) * 1e-3);
		}
}
