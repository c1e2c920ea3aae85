// Payloads for the trace client's dispatch. A frame is put around the input; what comes out of it must have been in it.

#include "Require.h"

#include "VexTraceClientConnection.h"

namespace
{
class CFuzzedClient : public CVexTraceClientConnection
{
public:
	~CFuzzedClient() override { EndReading(); }
	CFuzzedClient() = default;
	CFuzzedClient(const CFuzzedClient&) = delete;
	CFuzzedClient& operator=(const CFuzzedClient&) = delete;

	void TraceInd(const CVexTraceMsg& oMsg) override
	{
		const int nLevel = oMsg.GetTraceLevel();
		Require(nLevel >= 0 && nLevel <= 63);
		Require(oMsg.GetText().size() + 16 <= m_nPayloadSize);
		TraceResp(static_cast<int>(oMsg.GetID()));
	}

	void Interpret(const std::string& sPayload)
	{
		CVexMessageBase oFrame(0x65666665, 0x66656566);
		oFrame.AddData(sPayload);
		const std::string sFrame = oFrame.GetMessage();
		CVexTraceTCPIPMsg oMsg(sFrame.data(), static_cast<int>(sFrame.size()));
		m_nPayloadSize = sPayload.size();
		if (!oMsg.IsValid())
			return;
		m_aoReturnObjectArray.clear();
		m_sReturnString.clear();
		MsgInterpretation(oMsg);
		std::size_t nSize = 4 + m_sReturnString.size();
		for (const auto& rObject : m_aoReturnObjectArray)
			nSize += 8 + rObject.second.size();
		Require(nSize <= sPayload.size() || sPayload.size() < 4);
	}

private:
	std::size_t m_nPayloadSize = 0;
};
}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	static CFuzzedClient oClient;
	oClient.Interpret(std::string(reinterpret_cast<const char*>(pData), nSize));
	return 0;
}
