#include "VexSerial.h"

#include "VexXonXoff.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <utility>

namespace
{
const unsigned int nPauseMs = 25;
const int nCloseChecks = 40;
const unsigned int nForever = 0xFFFFFFFF;

static_assert(CVexSerial::BAUDRATE_110 == B110 && CVexSerial::BAUDRATE_300 == B300 &&
		CVexSerial::BAUDRATE_600 == B600 && CVexSerial::BAUDRATE_1200 == B1200 && CVexSerial::BAUDRATE_2400 == B2400 &&
		CVexSerial::BAUDRATE_4800 == B4800 && CVexSerial::BAUDRATE_9600 == B9600 &&
		CVexSerial::BAUDRATE_19200 == B19200 && CVexSerial::BAUDRATE_38400 == B38400 &&
		CVexSerial::BAUDRATE_57600 == B57600 && CVexSerial::BAUDRATE_115200 == B115200,
	"the system's speed codes");
static_assert(
	CVexSerial::BITS_5 == CS5 && CVexSerial::BITS_6 == CS6 && CVexSerial::BITS_7 == CS7 && CVexSerial::BITS_8 == CS8,
	"the system's size codes");

template <class TCall>
auto RepeatInterrupted(TCall oCall)
{
	auto nResult = oCall();
	while (nResult < 0 && errno == EINTR)
		nResult = oCall();
	return nResult;
}

// As ppoll() answers: above 0 also for a device that is gone or closed, of which the read tells. Not select(), which
// knows descriptors up to 1023 only.
int WaitReadable(int hPort, unsigned int nTimeout)
{
	if (hPort < 0)
		return 1;
	pollfd oPort = { hPort, POLLIN, 0 };
	timespec oTimeout = {};
	oTimeout.tv_sec = static_cast<time_t>(nTimeout / 1000);
	oTimeout.tv_nsec = static_cast<long>(nTimeout % 1000) * 1000000;
	return ppoll(&oPort, 1, &oTimeout, nullptr);
}

void SetFlags(tcflag_t& rnFlags, unsigned int nFlags, bool bOn)
{
	rnFlags = bOn ? rnFlags | nFlags : rnFlags & ~nFlags;
}

// True when the time ran out. The sleeps are counted, not the clock.
template <class TCondition>
bool SleepUntil(const TCondition& oIsThere, unsigned int nTimeout)
{
	std::uint64_t nElapsed = 0;
	while ((nTimeout == nForever || nElapsed < nTimeout) && !oIsThere())
	{
		CVexThread::Sleep(0, nPauseMs);
		nElapsed += nPauseMs;
	}
	return nTimeout != nForever && nElapsed >= nTimeout;
}

void Indicate(CVexSerial& rPort, char c)
{
	try
	{
		rPort.DataInd(c);
	}
	catch (const std::exception&)
	{
		// Not repeated: the byte may have been used before the exception.
	}
}
}    // namespace

CVexSerial::CVexSerialRcvThread::CVexSerialRcvThread() : CVexThread(0) {}

CVexSerial::CVexSerialRcvThread::~CVexSerialRcvThread()
{
	Terminate();
}

void CVexSerial::CVexSerialRcvThread::Initialize(CVexSerial* poSerial)
{
	m_poSerial = poSerial;
}

unsigned int CVexSerial::CVexSerialRcvThread::GetTimeout() const
{
	return m_nTimeout;
}

void CVexSerial::CVexSerialRcvThread::SetTimeout(unsigned int nTimeout)
{
	m_nTimeout = nTimeout;
}

void CVexSerial::CVexSerialRcvThread::Run()
{
	if (!m_poSerial)
		return;
	while (!IsTerminationRequested())
	{
		char c = 0;
		bool bTimedOut = false;
		if (m_poSerial->ReadOneByte(c, m_nTimeout, bTimedOut) == E_OK)
			Indicate(*m_poSerial, c);
		else if (!bTimedOut)
			Sleep(0, nPauseMs);    // a lost device answers at once, again and again
	}
}

CVexSerial::CVexSerial()
{
	m_oRcvThread.Initialize(this);
}

CVexSerial::~CVexSerial()
{
	close();
	// What close() has left open nobody can reach any more.
	CloseHandle();
}

void CVexSerial::DataInd(char c)
{
	m_oInputBuffer.AddChar(c);
}

void CVexSerial::LineStateInd(E_RTS_STATE, E_DTR_STATE) {}

// KEPT: the device stays open when a step after its opening fails; the next open() closes it.
// Test: CVexSerialLine.AFailedOpenKeepsTheDeviceUntilTheNextOneKept
CVexSerial::E_ERROR CVexSerial::open(unsigned int nPort, E_BAUDRATE eBaudrate, E_PARITY eParity,
	E_NUM_STOPBITS eNumStopbits, E_BYTESIZE eByteSize, CVexXonXoff* pXonXoff)
{
	if (m_oRcvThread.IsOwnThread())
		return E_RCVTHREAD_NOT_TERMINATING;
	// Before the descriptor goes: its number may be another file's at once.
	m_oRcvThread.Terminate();
	CloseHandle();
	const std::string sDevice = "/dev/ttyS" + std::to_string(static_cast<int>(nPort));
	m_hPort = RepeatInterrupted([&] { return ::open(sDevice.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC); });
	if (m_hPort < 0 || RepeatInterrupted([&] { return tcdrain(m_hPort); }) != 0 || tcgetattr(m_hPort, &m_oPortDCB) != 0)
		return E_INIT_FAILED;
	const E_ERROR eResult = InitPort(eBaudrate, eParity, eNumStopbits, eByteSize, pXonXoff);
	if (eResult != E_OK)
		return eResult;
	return m_oRcvThread.Start() ? E_OK : E_INIT_FAILED;
}

// KEPT: a port whose receive thread never ran is waited for and not closed.
// Test: CVexSerial.AClosedPortCountsItsSleepsKept
CVexSerial::E_ERROR CVexSerial::close()
{
	m_oRcvThread.Terminate();
	for (int i = 0; i < nCloseChecks && m_oRcvThread.GetState() != CVexThread::STATE_TERMINATED; ++i)
		CVexThread::Sleep(0, nPauseMs);
	if (m_oRcvThread.GetState() != CVexThread::STATE_TERMINATED)
		return E_RCVTHREAD_NOT_TERMINATING;
	CloseHandle();
	return E_OK;
}

void CVexSerial::CloseHandle()
{
	if (m_hPort >= 0)
		::close(m_hPort);
	m_hPort = -1;
}

CVexSerial::E_ERROR CVexSerial::InitPort(
	E_BAUDRATE eBaudrate, E_PARITY eParity, E_NUM_STOPBITS eNumStopbits, E_BYTESIZE eByteSize, CVexXonXoff* pXonXoff)
{
	SetBaudrate(eBaudrate);
	UseBinary(true);
	UseParity(eParity);
	SetNumStopbits(eNumStopbits);
	SetByteSize(eByteSize);
	SetXonXoff(pXonXoff);
	m_oPortDCB.c_oflag = 0;
	m_oPortDCB.c_lflag = 0;
	// Each byte is there at once, whatever an earlier program has set.
	m_oPortDCB.c_cc[VMIN] = 1;
	m_oPortDCB.c_cc[VTIME] = 0;
	// Without the lock, as it may take its time: the device may wait for us to read.
	RepeatInterrupted([&] { return tcdrain(m_hPort); });
	// The input that is flushed must not be what another thread has just found and is about to read: that would block.
	CVexMutexLock oLock(m_oReadLock);
	return RepeatInterrupted([&] { return tcsetattr(m_hPort, TCSAFLUSH, &m_oPortDCB); }) == 0 ? E_OK : E_INIT_FAILED;
}

void CVexSerial::SetBaudrate(int nBaudrate)
{
	cfsetospeed(&m_oPortDCB, static_cast<speed_t>(nBaudrate));
	// 0: as the output speed. The C library leaves alone where the system keeps another one.
	cfsetispeed(&m_oPortDCB, 0);
	SetFlags(m_oPortDCB.c_cflag, CIBAUD, false);
}

void CVexSerial::UseBinary(bool) {}

// KEPT: the bits that make the line generate parity go into the output flags, which InitPort() clears: the line keeps
// the parity it had. Programs rely on it.
// Test: CVexSerialLine.SettingsReachTheDeviceButParityAndFlowControlOffKept
void CVexSerial::UseParity(E_PARITY eParity)
{
	SetFlags(m_oPortDCB.c_iflag, INPCK, eParity == EVEN || eParity == ODD);
	if (eParity == EVEN || eParity == ODD)
		SetFlags(m_oPortDCB.c_oflag, PARENB, true);
	if (eParity == ODD)
		SetFlags(m_oPortDCB.c_oflag, PARODD, true);
}

void CVexSerial::SetNumStopbits(E_NUM_STOPBITS eNumStopbits)
{
	if (eNumStopbits != ONE && eNumStopbits != TWO)
	{
		// Not assert(), which release builds leave out.
		std::fprintf(stderr, "CVexSerial: %d is no number of stop bits\n", static_cast<int>(eNumStopbits));
		std::abort();
	}
	SetFlags(m_oPortDCB.c_cflag, CSTOPB, eNumStopbits == TWO);
}

void CVexSerial::SetByteSize(E_BYTESIZE eByteSize)
{
	SetFlags(m_oPortDCB.c_cflag, CSIZE, false);
	SetFlags(m_oPortDCB.c_cflag, static_cast<unsigned int>(eByteSize) & CSIZE, true);
}

// KEPT: a null pointer switches nothing off, and the flag of the object is not looked at.
// Test: CVexSerialLine.SettingsReachTheDeviceButParityAndFlowControlOffKept
void CVexSerial::SetXonXoff(CVexXonXoff* pXonXoff)
{
	if (!pXonXoff)
		return;
	SetFlags(m_oPortDCB.c_iflag, IXON | IXOFF, true);
	m_oPortDCB.c_cc[VSTART] = static_cast<cc_t>(pXonXoff->GetXonChar());
	m_oPortDCB.c_cc[VSTOP] = static_cast<cc_t>(pXonXoff->GetXoffChar());
}

// KEPT: a write of a part of the block counts as success, and the time-out is not used.
// Test: CVexSerialLine.AnEarlierErrorNumberDecidesAndAPartCountsAsWrittenKept
CVexSerial::E_ERROR CVexSerial::DataReq(const char* pData, unsigned int nLen, unsigned int)
{
	unsigned int nDone = 0;
	ssize_t nWritten = 0;
	do
	{
		// A signal ends a write early: with a part of the block, or with nothing.
		nWritten = RepeatInterrupted([&] { return write(m_hPort, pData + nDone, nLen - nDone); });
		if (nWritten > 0)
			nDone += static_cast<unsigned int>(nWritten);
	} while (nWritten > 0 && nDone < nLen);
	if (nWritten >= 0 || nDone > 0)
		return E_OK;
	return errno == EAGAIN ? E_TIMEOUT : E_NOT_CONNECTED;
}

CVexSerial::E_ERROR CVexSerial::ReadOneByte(char& c, unsigned int nTimeout)
{
	bool bTimedOut = false;
	return ReadOneByte(c, nTimeout, bTimedOut);
}

// KEPT: a wait that just times out sets no error number: an earlier one decides, so that the result is mostly
// E_NOT_CONNECTED.
// Test: CVexSerialLine.AnEarlierErrorNumberDecidesAndAPartCountsAsWrittenKept
CVexSerial::E_ERROR CVexSerial::ReadOneByte(char& c, unsigned int nTimeout, bool& rbTimedOut)
{
	if (TryToRead(c))
		return E_OK;
	const int nReady = WaitReadable(m_hPort, nTimeout);
	rbTimedOut = nReady == 0;
	if (nReady > 0 && TryToRead(c))
		return E_OK;
	return errno == EAGAIN ? E_TIMEOUT : E_NOT_CONNECTED;
}

// One byte, if there is one now.
bool CVexSerial::TryToRead(char& c)
{
	CVexMutexLock oLock(m_oReadLock);
	return WaitReadable(m_hPort, 0) > 0 && read(m_hPort, &c, 1) == 1;
}

// KEPT: true means that the time ran out, also when the data came during the last sleep.
// Test: CVexSerial.AClosedPortCountsItsSleepsKept
bool CVexSerial::WaitForResponse(unsigned int nLength, unsigned int nTimeout)
{
	return SleepUntil([&] { return m_oInputBuffer.GetLength() >= nLength; }, nTimeout);
}

bool CVexSerial::WaitForResponse(std::string s, unsigned int nTimeout)
{
	std::uint64_t nSearched = 0;
	const auto IsThere = [this, &nSearched, sText = std::move(s)]
	{ return m_oInputBuffer.ContainsString(sText, nSearched); };
	return SleepUntil(IsThere, nTimeout);
}

CVexSerial::E_ERROR CVexSerial::WaitForData(const std::string& sMatch, std::string& sData, int nTimeout)
{
	if (WaitForResponse(sMatch, static_cast<unsigned int>(nTimeout)))
		return E_TIMEOUT;
	sData = GetReceivedData(sMatch);
	return E_OK;
}

CVexSerial::E_ERROR CVexSerial::WaitForData(int nLength, std::string& sData, int nTimeout)
{
	if (WaitForResponse(static_cast<unsigned int>(std::max(nLength, 0)), static_cast<unsigned int>(nTimeout)))
		return E_TIMEOUT;
	sData = GetReceivedData(nLength);
	return E_OK;
}

std::string CVexSerial::GetReceivedData()
{
	return m_oInputBuffer.GetBuffer();
}

std::string CVexSerial::GetReceivedData(int n)
{
	return m_oInputBuffer.RemoveString(n);
}

std::string CVexSerial::GetReceivedData(const std::string& s)
{
	return m_oInputBuffer.RemoveString(s);
}

void CVexSerial::ClearBuffer()
{
	m_oInputBuffer.ClearBuffer();
}

CVexSerial::E_ERROR CVexSerial::GetLineState(E_RTS_STATE&, E_DTR_STATE&)
{
	return E_NOT_IMPLEMENTED;
}

CVexSerial::E_ERROR CVexSerial::SetLineState(E_RTS_STATE, E_DTR_STATE)
{
	return E_NOT_IMPLEMENTED;
}
