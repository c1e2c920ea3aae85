// What a monitor may send to the trace server's end of a connection. The first byte of the input chooses:
//   bit 0     the rest is payloads, each behind its length in a byte, and becomes frames; else it is sent as it stands
//   bits 1-7  the size of the pieces
// Two connections get the same bytes, one of them in pieces. Both must answer the same, in whole frames.

#include "VexTCPIPServerContainer.h"
#include "VexTrace.h"
#include "VexTraceServer.h"
#include "VexTraceServerConnection.h"
#include "VexTraceTCPIPMsg.h"

#include "Require.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace
{
typedef CVexTraceTCPIPMsg M;
typedef std::vector<M> Messages;

const std::size_t nLargestBlock = 1024;                // of a connection's read thread
const std::size_t nLargestInput = 1024 * 1024 + 12;    // a whole frame

// An explicit instantiation may name a private member that no public function tells of.
template <auto pMember>
struct SInputAccess
{
	friend const std::string& InputOf(const CVexTraceServerConnection& rConnection) { return rConnection.*pMember; }
};
const std::string& InputOf(const CVexTraceServerConnection& rConnection);
template struct SInputAccess<&CVexTraceServerConnection::m_sInputMessage>;

// Not the active one: the library itself traces nothing, so that the list of objects stays as it is.
class CFuzzedServer : public CVexTraceServer
{
public:
	CFuzzedServer()
	{
		SetUser("anna", "secret");
		for (CVexTrace& rTrace : m_aoTraces)
			RegisterObject(&rTrace);
	}
	~CFuzzedServer() override { StopServer(); }
	CFuzzedServer(const CFuzzedServer&) = delete;
	CFuzzedServer& operator=(const CFuzzedServer&) = delete;

protected:
	bool SaveMsg(const CVexTraceMsg&, const char*) override { return true; }

private:
	CVexTrace m_aoTraces[3] = {
		{ "CWorker", "first", nullptr }, { "CWorker", "second", nullptr }, { "", "", nullptr }
	};
};

// A connection whose other end is a socket at hand; what it is sent is told to DataInd() by the fuzzer's thread.
class CFuzzedConnection : public CVexTraceServerConnection
{
public:
	CFuzzedConnection(CVexTCPIPServerContainer& rContainer, CFuzzedServer& rServer)
		: CVexTraceServerConnection(&rContainer, 0, rServer)
	{
	}
	~CFuzzedConnection() override
	{
		EndThreads();
		close(m_nPeer);
	}
	CFuzzedConnection(const CFuzzedConnection&) = delete;
	CFuzzedConnection& operator=(const CFuzzedConnection&) = delete;

	// As the container does it for the next client, who gets a new socket if the last one lost it.
	void Begin()
	{
		ForgetClient();
		if (m_oSocket != -1)
			return;
		while (GetConnectState() != eDisconnected)
			std::this_thread::yield();
		close(m_nPeer);
		int anEnds[2];
		Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, anEnds) == 0);
		m_nPeer = anEnds[1];
		ConInd(true, anEnds[0]);
	}

	// Gives back the answers.
	std::string Feed(const std::string& sBytes, std::size_t nPiece)
	{
		std::string sAnswers;
		for (std::size_t nDone = 0; nDone < sBytes.size() && m_oSocket != -1; nDone += nPiece)
		{
			// A block of its own, so that reading beyond it shows.
			const std::string sPiece = sBytes.substr(nDone, nPiece);
			const std::vector<unsigned char> anBlock(sPiece.begin(), sPiece.end());
			m_nFed = nDone + sPiece.size();
			DataInd(anBlock.data(), static_cast<int>(anBlock.size()));
			char acAnswer[65536];
			ssize_t nRead = 0;
			while ((nRead = recv(m_nPeer, acAnswer, sizeof acAnswer, MSG_DONTWAIT)) > 0)
				sAnswers.append(acAnswer, static_cast<std::size_t>(nRead));
			CheckState();
		}
		return sAnswers;
	}

	bool IsOpen() const { return m_oSocket != -1; }

	void ChangeTraceLevelInd(const std::vector<std::pair<long, ETraceLevel>>& aoLevels) override
	{
		Require(aoLevels.size() * 8 <= m_nFed);
		CVexTraceServerConnection::ChangeTraceLevelInd(aoLevels);
	}

private:
	void CheckState()
	{
		const std::string& rsInput = InputOf(*this);
		Require(rsInput.size() < std::min(m_nFed + 1, nLargestInput));
		if (rsInput.size() >= 8)
		{
			const int nPayload = M(rsInput.data(), 8).GetDataSize();
			Require(nPayload >= 0 && nPayload <= 1024 * 1024);
		}
		Require(rsInput.compare(0, 4, "effe", std::min<std::size_t>(4, rsInput.size())) == 0);
		Require(m_aRecvBuffer.empty());
		const std::vector<long> anRequested = GetRequestedObjects();
		Require(anRequested.size() * 8 <= m_nFed);
		for (const long nID : anRequested)
		{
			const int nLevels = GetRequestedTraceLevels(nID);
			Require(nLevels >= 0 && nLevels <= 63 && (nLevels & (nLevels + 1)) == 0);    // all up to a highest one
		}
		for (const char* pszClass : { "*", "CWorker", "" })
			Require((GetWatchLevels(pszClass) & ~63) == 0);
	}

	int m_nPeer = -1;
	std::size_t m_nFed = 0;    // bytes of this client
};

struct SFuzzed
{
	CFuzzedServer m_oServer;
	CVexTCPIPServerContainer m_oContainer{ 0, 0, "127.0.0.1", 0 };    // knows neither connection
	CFuzzedConnection m_oWhole{ m_oContainer, m_oServer };
	CFuzzedConnection m_oPieces{ m_oContainer, m_oServer };
};

std::string Frame(const std::string& sPayload)
{
	CVexMessageBase oFrame(0x65666665, 0x66656566);
	oFrame.AddData(sPayload);
	return oFrame.GetMessage();
}

// Whole frames, or the fuzzer has found one that is none.
Messages Parse(const std::string& sBytes)
{
	Messages aoMessages;
	for (std::size_t nBegin = 0; nBegin < sBytes.size();)
	{
		aoMessages.emplace_back(sBytes.data() + nBegin, static_cast<int>(sBytes.size() - nBegin));
		const std::size_t nSize = static_cast<std::size_t>(aoMessages.back().GetSize());
		Require(aoMessages.back().IsValid() && aoMessages.back().GetDataSize() >= 4);
		Require(sBytes.compare(nBegin + nSize - 4, 4, "feef") == 0);
		nBegin += nSize;
	}
	return aoMessages;
}

bool HaveSameState(CFuzzedConnection& rOne, CFuzzedConnection& rOther)
{
	for (const long nID : rOne.GetRequestedObjects())
		if (rOne.GetRequestedTraceLevels(nID) != rOther.GetRequestedTraceLevels(nID))
			return false;
	for (const char* pszClass : { "*", "CWorker", "" })
		if (rOne.GetWatchLevels(pszClass) != rOther.GetWatchLevels(pszClass))
			return false;
	return rOne.IsTraceWanted() == rOther.IsTraceWanted() && rOne.IsOpen() == rOther.IsOpen() &&
		rOne.GetRequestedObjects() == rOther.GetRequestedObjects() && InputOf(rOne) == InputOf(rOther);
}

// Puts frames around the payloads.
std::string MakeFrames(const std::string& sPayloads)
{
	std::string sFrames;
	for (std::size_t nBegin = 0; nBegin < sPayloads.size();)
	{
		const std::size_t nLength = static_cast<unsigned char>(sPayloads[nBegin]);
		sFrames += Frame(sPayloads.substr(nBegin + 1, nLength));
		nBegin += 1 + nLength;
	}
	return sFrames;
}
}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	static SFuzzed oFuzzed;
	if (nSize == 0)
		return 0;
	const bool bFrames = (pData[0] & 1) != 0;
	std::string sBytes(reinterpret_cast<const char*>(pData) + 1, nSize - 1);
	if (bFrames)
		sBytes = MakeFrames(sBytes);

	oFuzzed.m_oWhole.Begin();
	oFuzzed.m_oPieces.Begin();
	const std::string sAnswers = oFuzzed.m_oWhole.Feed(sBytes, nLargestBlock);
	// A long input is cut less often: byte by byte it would take its time.
	const std::size_t nPiece = std::max<std::size_t>(1u + (pData[0] >> 1), sBytes.size() / 32);
	Require(oFuzzed.m_oPieces.Feed(sBytes, std::min(nPiece, nLargestBlock)) == sAnswers);
	Require(HaveSameState(oFuzzed.m_oWhole, oFuzzed.m_oPieces) || !oFuzzed.m_oWhole.IsOpen());

	for (M& rAnswer : Parse(sAnswers))
	{
		long nNumber = 0;
		std::string sName;
		if (rAnswer.GetCommand() == M::NAME_ID_RESP)
			Require(rAnswer.GetData(nNumber) && rAnswer.GetData(sName) &&
				sName == oFuzzed.m_oServer.GetObjectName(nNumber));
	}
	Require(!bFrames || InputOf(oFuzzed.m_oWhole).empty());
	return 0;
}
