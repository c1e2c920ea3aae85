#include "VexSerial.h"

#include "VexXonXoff.h"
#include "support/ProgramRunner.h"
#include "support/PseudoTerminal.h"
#include "support/RawPeer.h"

#include <gtest/gtest.h>

#include <ctime>
#include <fcntl.h>
#include <sys/resource.h>

namespace
{
typedef CVexSerial C;

struct CPort : CVexSerial
{
	using CVexSerial::m_hPort;
	using CVexSerial::m_oInputBuffer;
	using CVexSerial::m_oPortDCB;
	using CVexSerial::m_oRcvThread;
	E_ERROR Open(const CDeviceLink& rLink, CVexXonXoff* pXonXoff = nullptr)
	{
		return open(rLink.m_nPort, BAUDRATE_300, EVEN, TWO, BITS_8, pXonXoff);
	}
};

class CVexSerialLine : public testing::Test
{
protected:
	void SetUp() override
	{
		const rlimit oLimit = { 2048, 2048 };
		setrlimit(RLIMIT_NOFILE, &oLimit);
		for (int nLast = 0; nLast >= 0 && nLast < 1023;)    // the port gets a descriptor that select() does not know
			nLast = dup(m_oLine.m_nLine);
		if (access("/dev", W_OK) != 0 || m_oLine.m_nLine < 0)
			GTEST_SKIP() << "no link /dev/ttyS<n> to a pseudo-terminal can be made here: that takes root";
		ASSERT_EQ(m_oPort.Open(m_oLink), C::E_OK);
		tcgetattr(m_oLine.m_nLine, &m_oSet);
	}
	CPseudoTerminal m_oLine;
	const CDeviceLink m_oLink{ m_oLine.m_nLine < 0 ? "" : ttyname(m_oLine.m_nLine) };
	CPort m_oPort;
	termios m_oSet = {};    // what the device was set to
};

TEST_F(CVexSerialLine, SettingsReachTheDeviceButParityAndFlowControlOffKept)
{
	const tcflag_t anParities[] = { PARENB, PARENB | PARODD, 0 };
	const int anSpeeds[] = { B110, B300, B600, B1200, B2400, B4800, B9600, B19200, B38400, B57600, B115200 };
	CVexXonXoff oXonXoff(100, 900, 'q', 's');
	oXonXoff.UseXonXoff(false);
	EXPECT_EQ(m_oSet.c_cflag, tcflag_t(B300 | CSTOPB | CS8 | CREAD));
	m_oPort.m_oPortDCB.c_cflag |= PARODD | CIBAUD;
	m_oPort.m_oPortDCB.c_cc[VMIN] = m_oPort.m_oPortDCB.c_cc[VTIME] = 9;
	for (unsigned int i = 0; i < 11 * 3 * 8; ++i)    // no common factor: all combinations
	{
		const auto eSize = C::E_BYTESIZE(i / 2 % 4 * CS6);
		const tcflag_t nSet = tcflag_t(anSpeeds[i % 11]) | i % 2 * CSTOPB | PARODD | CREAD;
		m_oSet.c_oflag = m_oSet.c_lflag = ~0u;
		tcsetattr(m_oLine.m_nLine, TCSANOW, &m_oSet);
		m_oPort.UseParity(C::E_PARITY(i % 3));
		EXPECT_EQ(m_oPort.m_oPortDCB.c_oflag, anParities[i % 3]);
		const auto eSpeed = C::E_BAUDRATE(anSpeeds[i % 11]);
		CVexXonXoff* const pXonXoff = i == 50 ? &oXonXoff : nullptr;
		EXPECT_EQ(m_oPort.InitPort(eSpeed, C::E_PARITY(i % 3), C::E_NUM_STOPBITS(i % 2), eSize, pXonXoff), C::E_OK);
		tcgetattr(m_oLine.m_nLine, &m_oSet);
		EXPECT_EQ(m_oSet.c_cflag, nSet | CS8);    // a pseudo-terminal keeps its 8 bits, whatever it is asked for
		EXPECT_EQ(m_oPort.m_oPortDCB.c_cflag, nSet | tcflag_t(eSize));
		EXPECT_EQ(m_oSet.c_iflag, tcflag_t(ICRNL | IXON | (i % 3 == C::NO ? 0 : INPCK) | (i < 50 ? 0 : IXOFF)));
		EXPECT_EQ(m_oSet.c_oflag | m_oSet.c_lflag, 0u);
	}
	EXPECT_TRUE(m_oSet.c_cc[VSTART] == 'q' && m_oSet.c_cc[VSTOP] == 's');
	EXPECT_TRUE(m_oSet.c_cc[VMIN] == 1 && m_oSet.c_cc[VTIME] == 0);
}

TEST_F(CVexSerialLine, AFailedOpenKeepsTheDeviceUntilTheNextOneKept)
{
	const CDeviceLink oNoTerminal("/dev/null");
	const long nOpenFiles = CountOwn("fd");
	CPort().Open(oNoTerminal);    // leaves nothing behind
	EXPECT_EQ(m_oPort.Open(oNoTerminal), C::E_INIT_FAILED);
	EXPECT_EQ(m_oPort.DataReq("x", 1, 0), C::E_OK);
	m_oSet.c_cc[VMIN] = 200;    // of an earlier program
	tcsetattr(m_oLine.m_nLine, TCSANOW, &m_oSet);
	EXPECT_EQ(m_oPort.Open(m_oLink), C::E_OK);    // on the file that was kept
	EXPECT_EQ(m_oPort.Open(m_oLink), C::E_OK);    // on the open line
	EXPECT_EQ(CountOwn("fd"), nOpenFiles);
	std::string sData;
	EXPECT_EQ(write(m_oLine.m_nDevice, "abc", 3), 3);
	EXPECT_EQ(m_oPort.WaitForData(3, sData, 60000), C::E_OK);
	EXPECT_EQ(sData, "abc");
}

TEST_F(CVexSerialLine, AnEarlierErrorNumberDecidesAndAPartCountsAsWrittenKept)
{
	char c = 0;
	errno = EAGAIN;
	EXPECT_EQ(m_oPort.ReadOneByte(c, 1), C::E_TIMEOUT);
	errno = 0;
	EXPECT_EQ(m_oPort.ReadOneByte(c, 1), C::E_NOT_CONNECTED);
	fcntl(m_oPort.m_hPort, F_SETFL, O_RDWR | O_NONBLOCK);
	const std::string sTooMuch(1 << 20, 'x');
	EXPECT_EQ(m_oPort.DataReq(sTooMuch.data(), 1 << 20, 60000), C::E_OK);
	EXPECT_TRUE(ComesTrue([&] { return m_oPort.DataReq(&sTooMuch[0], 1, 0) == C::E_TIMEOUT; }));
}

TEST_F(CVexSerialLine, ABlockIsWrittenWholeHoweverManySignalsCome)
{
	struct sigaction oAction = {};    // does not restart the write
	oAction.sa_handler = [](int) {};
	sigaction(SIGUSR1, &oAction, nullptr);
	const std::string sBlock(1 << 20, 'x');
	C::E_ERROR eResult = C::E_UNKNOWN;
	std::thread oWriter([&] { eResult = m_oPort.DataReq(sBlock.data(), 1 << 20, 0); });
	for (int i = 0; i < 20; ++i)
		CVexThread::Sleep(0, 5), pthread_kill(oWriter.native_handle(), SIGUSR1);
	std::string sRead;
	for (char acRead[4096]; sRead.size() < sBlock.size() && HasInput(m_oLine.m_nDevice, 10000);)
		sRead.append(acRead, std::size_t(read(m_oLine.m_nDevice, acRead, sizeof acRead)));
	oWriter.join();
	EXPECT_EQ(eResult, C::E_OK);
	EXPECT_TRUE(sRead == sBlock && !HasInput(m_oLine.m_nDevice, 0)) << sRead.size();
}

TEST_F(CVexSerialLine, AByteIsIndicatedOnceAndTheThreadEndsThoughIndicationsThrow)
{
	struct CThrowingPort : CPort
	{
		~CThrowingPort() override { close(); }
		void DataInd(char c) override
		{
			CPort::DataInd(c);
			CVexThread::Sleep(0, 100);    // close() is called meanwhile
			throw std::bad_alloc();
		}
	} oPort;
	m_oPort.close();
	ASSERT_EQ(oPort.Open(m_oLink), C::E_OK);
	std::string sData;
	EXPECT_EQ(write(m_oLine.m_nDevice, "ab", 2), 2);
	EXPECT_EQ(oPort.WaitForData("b", sData, 10000), C::E_OK);
	EXPECT_EQ(oPort.close(), C::E_OK);
	EXPECT_EQ(oPort.m_hPort, -1);
	EXPECT_EQ(sData, "ab");
}

TEST_F(CVexSerialLine, ALostDeviceBurnsNoProcessor)
{
	close(std::exchange(m_oLine.m_nDevice, -1));
	const std::clock_t nBefore = std::clock();
	CVexThread::Sleep(1, 0);
	EXPECT_LT(std::clock() - nBefore, CLOCKS_PER_SEC / 10);
}

// A megabyte each way, through the example.
TEST_F(CVexSerialLine, EveryByteGoesToSocatAndBack)
{
	const CTempFolder oFolder;
	const CDeviceLink oLink(oFolder.Path("line"));
	CProgramRunner oSocat("/usr/bin/socat"), oTerminal(LinkProgram(VEX_EXAMPLE_DIR "/terminal", oFolder));
	if (access("/usr/bin/socat", X_OK) != 0)
		GTEST_SKIP() << "socat is not installed";
	oSocat.Start({ "PTY,link=" + oFolder.Path("line"), "EXEC:cat" });
	ASSERT_TRUE(ComesTrue([&] { return oFolder.HasFile("line"); })) << oSocat.ErrorOutput();
	std::string sBytes(1 << 20, '\0');
	std::generate(sBytes.begin(), sBytes.end(), [n = 0u]() mutable { return char(n++ * 2654435761u >> 13); });
	oTerminal.Start({ "-port", std::to_string(oLink.m_nPort) }, sBytes);
	EXPECT_TRUE(oTerminal.WaitForEnd(60000) && oTerminal.ExitStatus() == 0) << oTerminal.ErrorOutput();
	EXPECT_TRUE(oTerminal.Output() == sBytes);
}

TEST(CVexSerial, AClosedPortCountsItsSleepsKept)
{
	CPort oPort;
	std::string sData = "before";
	oPort.m_oInputBuffer.AddString("OK\r");
	const auto oBegin = std::chrono::steady_clock::now();
	EXPECT_EQ(oPort.WaitForData("OK\r\n", sData, 60), C::E_TIMEOUT);    // 3 sleeps
	EXPECT_EQ(oPort.WaitForData(3, sData, 0), C::E_TIMEOUT);            // there, but no time to look
	EXPECT_EQ(oPort.close(), C::E_RCVTHREAD_NOT_TERMINATING);           // 40 sleeps
	EXPECT_GE(std::chrono::steady_clock::now() - oBegin, std::chrono::milliseconds(43 * 25));
	EXPECT_EQ(sData, "before");
	std::thread oDevice([&oPort] { CVexThread::Sleep(0, 100), oPort.m_oInputBuffer.AddString("\nrest"); });
	EXPECT_EQ(oPort.WaitForData("OK\r\n", sData, 60000), C::E_OK);    // cut, after the search has begun
	oDevice.join();
	EXPECT_EQ(sData + oPort.GetReceivedData(), "OK\r\nrest");
	oPort.ClearBuffer();
	EXPECT_EQ(oPort.GetReceivedData(), "");
	oPort.m_oRcvThread.SetTimeout(7);
	EXPECT_EQ(oPort.m_oRcvThread.GetTimeout(), 7u);
}

}    // namespace
