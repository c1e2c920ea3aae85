// A serial terminal: standard input goes to the line, what the line sends to standard output. It ends on SIGINT and
// SIGTERM, and at the end of input once the device has been silent for AnswerMs.
//
//	terminal [-port <n>]    /dev/ttyS<n>, in place of the ini file's; the speed there is 9600, 19200 or 115200

#include "VexCmdLineExchange.h"
#include "VexConApplication.h"
#include "VexIniFile.h"
#include "VexOptionExchange.h"
#include "VexSerial.h"

#include <iostream>
#include <poll.h>
#include <unistd.h>

struct CSettings : CVexIniFile
{
	explicit CSettings(const std::string& sFile) : CVexIniFile(sFile.c_str(), eAbsolutePath) {}
	void DoOptionExchange(CVexIniOptionExchange* pExchange) override
	{
		IOX_Std(pExchange, "Line", "Port", m_nPort, 0u);
		IOX_Std(pExchange, "Line", "Speed", m_nSpeed, 9600u);
		IOX_Std(pExchange, "Line", "AnswerMs", m_nAnswerMs, 2000u);
	}
	unsigned int m_nPort = 0, m_nSpeed = 0, m_nAnswerMs = 0;
};

struct CLine : CVexSerial
{
	bool Open(unsigned int nPort, unsigned int nSpeed)
	{
		const E_BAUDRATE eSpeed = nSpeed == 115200 ? BAUDRATE_115200 : nSpeed == 19200 ? BAUDRATE_19200 : BAUDRATE_9600;
		if (open(nPort, eSpeed, NO, ONE, BITS_8, nullptr) != E_OK)
			return false;
		m_oPortDCB.c_iflag = 0;    // the bytes as they come, whatever the device was set to before
		return InitPort(eSpeed, NO, ONE, BITS_8, nullptr) == E_OK;
	}
};

class CTerminal : public CVexConApplication
{
public:
	CTerminal() : CVexConApplication(nullptr, nullptr, nullptr) {}
	void DoCmdLineExchange(CVexCmdLineApplExchange* pExchange) override
	{
		pExchange->AddParamDescription("port", true);
		m_bPortGiven = pExchange->GetParameter("port", true, m_sPort);
	}

protected:
	bool Initialize() override
	{
		CSettings oSettings(m_sStdConfigFile);
		oSettings.UpdateOptions(false);
		m_nAnswerMs = oSettings.m_nAnswerMs;
		if (!m_bPortGiven || VexFromString(oSettings.m_nPort, m_sPort))
			m_bOpen = m_oLine.Open(oSettings.m_nPort, oSettings.m_nSpeed);
		return m_bOpen;
	}
	void Run() override
	{
		pollfd oInput = { STDIN_FILENO, POLLIN, 0 };
		for (bool bInput = true; bInput || !m_oLine.WaitForResponse(1u, m_nAnswerMs);)
		{
			char acBlock[4096];
			if (bInput && poll(&oInput, 1, 25) > 0)
			{
				const ssize_t nRead = read(STDIN_FILENO, acBlock, sizeof acBlock);
				bInput = nRead > 0 &&
					(m_bOpen = m_oLine.DataReq(acBlock, static_cast<unsigned int>(nRead), 0) == CLine::E_OK);
			}
			std::cout << m_oLine.GetReceivedData(65536) << std::flush;
		}
		std::cout << m_oLine.GetReceivedData() << std::flush;    // what came in the wait's last moment
	}
	bool Finalize() override { return m_bOpen && m_oLine.close() == CLine::E_OK; }

private:
	CLine m_oLine;
	std::string m_sPort;
	bool m_bPortGiven = false;
	unsigned int m_nAnswerMs = 0;
	std::atomic<bool> m_bOpen{ false };
};

int main(int nArgc, char** ppszArgv)
{
	return CTerminal().Start(nArgc, ppszArgv) ? 0 : 1;
}
