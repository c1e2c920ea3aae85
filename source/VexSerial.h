#pragma once

// One of the machine's serial lines, with a thread of its own that receives.

#include "VexMutex.h"
#include "VexMutexBuffer.h"
#include "VexThread.h"

#include <termios.h>

#include <atomic>
#include <cstdint>
#include <string>

class CVexXonXoff;

// From open() to close() every received byte goes through DataInd() into an input buffer, where callers wait for a
// length or a text and take the data out. Without limit: take or clear what arrives.
//
// Threads: open(), InitPort(), the setters and close() belong to the owner's thread, while no other thread is in
//          DataReq() or ReadOneByte(). These two, the waits and the buffer's functions may be called from any thread.
//          DataInd() runs on the receive thread; it may call DataReq(), but neither open() nor close() nor the
//          destructor, and it cannot wait for data.
// Trap:    a deriving class that overrides an indication calls close() in its destructor: by the time this one runs,
//          its version is gone.
// Trap:    the input flags stay as the device has them, but for those that the settings name. A fresh line turns a
//          received CR into LF (ICRNL) and takes 0x11 and 0x13 for flow control (IXON): for binary data set the device
//          raw before opening, or let a deriving class change m_oPortDCB.c_iflag after open() and call InitPort().
// Units:   milliseconds.
class CVexSerial
{
public:
	enum E_ERROR
	{
		E_OK = 0,
		E_TIMEOUT = 1,
		E_INIT_FAILED = 2,
		E_UNKNOWN = 3,
		E_NOT_CONNECTED = 4,
		E_NOT_IMPLEMENTED = 5,
		E_WRONG_PARITY = 6,
		E_PORT_DOES_NOT_EXIST = 7,
		E_RCVTHREAD_NOT_TERMINATING = 8
	};

	// The settings below are often numbers of a file: with the type named, any number is a value.

	enum E_BAUDRATE : int
	{
		BAUDRATE_110 = 3,
		BAUDRATE_300 = 7,
		BAUDRATE_600 = 8,
		BAUDRATE_1200 = 9,
		BAUDRATE_2400 = 11,
		BAUDRATE_4800 = 12,
		BAUDRATE_9600 = 13,
		BAUDRATE_19200 = 14,
		BAUDRATE_38400 = 15,
		BAUDRATE_57600 = 4097,
		BAUDRATE_115200 = 4098
	};

	enum E_PARITY : int
	{
		EVEN = 0,
		ODD = 1,
		NO = 2
	};

	enum E_NUM_STOPBITS : int
	{
		ONE = 0,
		TWO = 1
	};

	enum E_BYTESIZE : int
	{
		BITS_5 = 0,
		BITS_6 = 16,
		BITS_7 = 32,
		BITS_8 = 48
	};

	enum E_RTS_STATE
	{
		RTS_DISABLE = 0,
		RTS_ENABLE = 1,
		RTS_HANDSHAKE = 2,
		RTS_TOGGLE = 3
	};

	enum E_DTR_STATE
	{
		DTR_DISABLE = 0,
		DTR_ENABLE = 1,
		DTR_HANDSHAKE = 2
	};

	class CVexSerialRcvThread : public CVexThread
	{
	public:
		CVexSerialRcvThread();
		~CVexSerialRcvThread() override;

		// The port stays the caller's and outlives the thread.
		void Initialize(CVexSerial* poSerial);
		using CVexThread::Initialize;

		// The wait of one attempt to read, initially 100 ms. Ending the thread takes up to so long; with 0 it never rests.
		unsigned int GetTimeout() const;
		void SetTimeout(unsigned int nTimeout);

		void Run() override;

	private:
		friend class CVexSerial;

		CVexSerial* m_poSerial = nullptr;    // not owned
		std::atomic<std::uint32_t> m_nTimeout{ 100 };
	};

	CVexSerial();
	CVexSerial(const CVexSerial&) = delete;
	CVexSerial& operator=(const CVexSerial&) = delete;

	// Calls close(): on a port that never received this takes about a second.
	virtual ~CVexSerial();

	// One received byte, once, also if this throws a std::exception. The base version appends it to the input buffer;
	// without memory for it the byte is lost.
	virtual void DataInd(char c);

	// Called by nothing here; the base version does nothing.
	virtual void LineStateInd(E_RTS_STATE eRTS, E_DTR_STATE eDTR);

	// Opens "/dev/ttyS" + nPort, applies the settings as InitPort() does and starts to receive. An open port is closed
	// first, also what an open() that failed has left; the input buffer keeps its bytes. Blocks while the device waits
	// for its carrier or holds output back.
	//
	// E_INIT_FAILED: there is no such device, it takes no settings, or no thread could be created. The device is kept
	// open if it was a later step that failed. E_RCVTHREAD_NOT_TERMINATING from the receive thread: nothing has changed.
	E_ERROR open(unsigned int nPort, E_BAUDRATE eBaudrate, E_PARITY eParity, E_NUM_STOPBITS eNumStopbits,
		E_BYTESIZE eByteSize, CVexXonXoff* pXonXoff);

	// Waits for a DataInd() in progress and ends the receive thread, then closes the device.
	// E_RCVTHREAD_NOT_TERMINATING, and the device stays open, after about a second if the receive thread never ran (no
	// open() has succeeded yet) or is the caller.
	E_ERROR close();

	// Applies these settings and what the setters have left in m_oPortDCB, once pending output is sent; pending input is
	// lost. E_INIT_FAILED if the device refuses.
	E_ERROR InitPort(E_BAUDRATE eBaudrate, E_PARITY eParity, E_NUM_STOPBITS eNumStopbits, E_BYTESIZE eByteSize,
		CVexXonXoff* pXonXoff);

	// These change m_oPortDCB only, which the next InitPort() applies.

	// One of E_BAUDRATE, for both directions; codes that the system does not know change nothing.
	void SetBaudrate(int nBaudrate);

	// Changes nothing.
	void UseBinary(bool bBinary);

	// The check of received parity alone: whether and which parity the line itself has stays as the device was set.
	void UseParity(E_PARITY eParity);

	// Any value but ONE and TWO ends the program.
	void SetNumStopbits(E_NUM_STOPBITS eNumStopbits);

	void SetByteSize(E_BYTESIZE eByteSize);

	// Flow control in both directions with these characters, whatever GetUseFlag() says. Null leaves it as it is: it
	// does not switch it off.
	void SetXonXoff(CVexXonXoff* pXonXoff);

	// Blocks while the device takes nothing; signals do not end it, and nTimeout is not used. E_OK also if only a part of
	// the block was written. E_TIMEOUT if the device would block, else E_NOT_CONNECTED.
	E_ERROR DataReq(const char* pData, unsigned int nLen, unsigned int nTimeout);

	// The next byte from the device; the receive thread takes them too. c is unchanged unless E_OK comes back.
	//
	// Trap: without a byte, the calling thread's errno decides, also when just the time ran out, which does not set it:
	// E_TIMEOUT if it is EAGAIN, else E_NOT_CONNECTED.
	E_ERROR ReadOneByte(char& c, unsigned int nTimeout);

	// Wait until the buffer holds so many bytes, or the text. True when the time RAN OUT, false when they are there.
	// 0xFFFFFFFF waits for ever. The buffer is looked at every 25 ms, and not any more when the time is over: bytes that
	// come at the very end, or a time of 0, count as time-out.
	bool WaitForResponse(unsigned int nLength, unsigned int nTimeout);
	bool WaitForResponse(std::string s, unsigned int nTimeout);

	// The same waits; E_OK takes the data out of the buffer: all up to the end of the first occurrence, or nLength bytes
	// (a negative length counts as 0). After E_TIMEOUT sData and the buffer are unchanged.
	E_ERROR WaitForData(const std::string& sMatch, std::string& sData, int nTimeout);
	E_ERROR WaitForData(int nLength, std::string& sData, int nTimeout);

	// A copy of the whole buffer, which keeps its bytes.
	std::string GetReceivedData();

	// Take the first n bytes, fewer if fewer are there; and all up to the end of the text, nothing if it is not there.
	std::string GetReceivedData(int n);
	std::string GetReceivedData(const std::string& s);

	void ClearBuffer();

	// E_NOT_IMPLEMENTED; the arguments are unchanged.
	E_ERROR GetLineState(E_RTS_STATE& reRTS, E_DTR_STATE& reDTR);
	E_ERROR SetLineState(E_RTS_STATE eRTS, E_DTR_STATE eDTR);

protected:
	CVexMutexBuffer m_oInputBuffer;
	CVexSerialRcvThread m_oRcvThread;
	int m_hPort = -1;           // -1 when closed
	termios m_oPortDCB = {};    // as read by open() and changed by the setters

private:
	bool TryToRead(char& c);
	E_ERROR ReadOneByte(char& c, unsigned int nTimeout, bool& rbTimedOut);
	void CloseHandle();

	CVexMutex m_oReadLock;    // held from finding a byte to reading it: a read without a byte would block
};
