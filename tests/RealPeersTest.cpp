// Connections to programs that were written by others: nc and socat.

#include "VexTCPIPServerBase.h"
#include "VexTCPIPServerContainer.h"

#include "support/ProgramRunner.h"
#include "support/RawPeer.h"

#include <gtest/gtest.h>

namespace
{
const char* const szLocal = "127.0.0.1";

// nc of Debian's package netcat-openbsd (other programs of that name have other options), or socat.
class RealPeers : public testing::TestWithParam<const char*>
{
protected:
	RealPeers()
	{
		for (int i = 0; i < 300 * 1000 + 7; ++i)
			m_sFile += static_cast<char>(i * 31 + i / 256);
	}
	void SetUp() override
	{
		if (access(m_sProgram.c_str(), X_OK) != 0)
			GTEST_SKIP() << m_sProgram << " is not installed";
	}

	// The program sends m_sFile.
	void Start(const std::string& sOptionOfNc, const std::string& sAddressOfSocat)
	{
		const bool bSocat = GetParam() == std::string("socat");
		m_oRunner.Start(bSocat ? std::vector<std::string>{ "-dd", "-t60", "STDIO", sAddressOfSocat }
							   : std::vector<std::string>{ sOptionOfNc, szLocal, m_sPort },
			m_sFile);
	}
	void StartServer(bool bHalfClose)
	{
		const std::string sSocat = "TCP4-LISTEN:" + m_sPort + ",bind=127.0.0.1";
		Start(bHalfClose ? "-lvN" : "-lv", sSocat + (bHalfClose ? "" : ",shut-none"));
		ASSERT_TRUE(ComesTrue([&] { return m_oRunner.ErrorOutput().find("istening on") != std::string::npos; }));
		ASSERT_EQ(m_oConnection.ConnectToServer(szLocal, m_nPort, 60000), CVexTCPIPBase::eOK);
	}
	void ExpectFile()
	{
		std::string sReceived;
		EXPECT_EQ(m_oConnection.WaitForData(static_cast<int>(m_sFile.size()), sReceived, 60000), CVexTCPIPBase::eOK);
		EXPECT_TRUE(sReceived == m_sFile);
	}
	void ExpectEnd(const std::string& sReceived)
	{
		ASSERT_TRUE(m_oRunner.WaitForEnd(60000));
		EXPECT_EQ(m_oRunner.ExitStatus(), 0) << m_oRunner.ErrorOutput();
		EXPECT_TRUE(m_oRunner.Output() == sReceived);
	}

	const std::string m_sProgram = std::string("/usr/bin/") + GetParam();
	const unsigned short m_nPort = FindFreePort();
	const std::string m_sPort = std::to_string(m_nPort);
	CProgramRunner m_oRunner{ m_sProgram };
	CVexTCPIPBase m_oConnection;
	std::string m_sFile;
};

INSTANTIATE_TEST_SUITE_P(Programs, RealPeers, testing::Values("nc.openbsd", "socat"));

class CEcho : public CVexTCPIPServerBase
{
public:
	using CVexTCPIPServerBase::CVexTCPIPServerBase;
	~CEcho() override { EndThreads(); }

	void DataInd(const unsigned char* pData, int nLen) override
	{
		DataReq(reinterpret_cast<const char*>(pData), nLen, 0);
	}
};

class CEchoServer : public CVexTCPIPServerContainer
{
public:
	explicit CEchoServer(unsigned short nPort) : CVexTCPIPServerContainer(2, 1, szLocal, nPort) { FillUpReserve(); }
	~CEchoServer() override { DeleteServers(); }

	CVexTCPIPServerBase* CreateNewClass(int nID) override
	{
		auto poEcho = std::make_unique<CEcho>(this, nID);
		poEcho->AwaitConnectionFromClient(szLocal, m_nPort, -2);
		return poEcho.release();
	}
};

TEST_P(RealPeers, AClientThatHalfClosesGetsAllOfItsFileBack)
{
	CEchoServer oServer(m_nPort);
	Start("-N", "TCP4:127.0.0.1:" + m_sPort);
	ExpectEnd(m_sFile);
}

TEST_P(RealPeers, AServerExchangesFilesWithAConnection)
{
	StartServer(false);
	const std::string sOurs(m_sFile.rbegin(), m_sFile.rend());
	EXPECT_EQ(m_oConnection.DataReq(sOurs.data(), static_cast<int>(sOurs.size()), 0), CVexTCPIPBase::eOK);
	ExpectFile();
	EXPECT_EQ(m_oConnection.DisconnectReq(60000), CVexTCPIPBase::eOK);
	ExpectEnd(sOurs);
}

TEST_P(RealPeers, AServerThatHalfClosesEndsTheConnectionBehindItsFile)
{
	StartServer(true);
	ExpectFile();
	EXPECT_TRUE(ComesTrue([&] { return m_oConnection.GetConnectState() == CVexTCPIPBase::eDisconnected; }));
	ExpectEnd("");
}
}    // namespace
