#pragma once

// One TCP connection over IPv4, active or passive, with threads of its own that report connection and data.

#include "VexMutex.h"
#include "VexTrace.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class CVexDescriptor;

// A deriving class overrides ConInd() and DataInd(); a class that asks and waits for answers uses ConnectToServer(),
// DataReq(), the WaitForData() family and DisconnectReq() and overrides nothing.
//
// Threads:  the requests belong to the owner's thread, one at a time; DataReq() and the getters may be called from any
//           thread. ConInd() runs on the connect thread (connected, or the connect failed) or the read thread (the
//           connection has ended), DataInd() on the read thread. Both may call DataReq() and DisconnectReq(), which does not wait there; DataInd() must not
//           wait in WaitForData(), and none of them may run the destructor. ConInd(false) comes behind the return of
//           the ConInd(true) of the same connection, but the next request may begin, and its ConInd(true) may run, as soon
//           as the base version has told the end.
// Buffer:   in raw mode it keeps all that was received until WaitForData() takes it or the next connect request
//           empties it. A class that only overrides DataInd() calls WaitForData(nLen, ..., 0) there: the block is in the
//           buffer already, so that nothing is waited for.
// Trap:     a deriving class that overrides an indication calls EndThreads() in its destructor: by the time this one
//           runs, its versions are gone.
// Fork:     in a child that does not exec, the connections of the parent are of no use, and new ones cannot listen.
// Units:    milliseconds; -1 waits for ever, -2 makes a connect request return at once.
class CVexTCPIPBase
{
public:
	class CVexTraceEx : public CVexTrace
	{
	public:
		CVexTraceEx();
	};

	enum ERetCode
	{
		eOK = 1,
		eSocketError = 2,
		eNotConnected = 3,
		eTimeout = 4,
		eCallNotAllowed = 5,
		eNotInitialized = 6
	};

	enum EConState
	{
		eDisconnected = 1,
		eConnecting = 2,
		eConnected = 3,
		eDisconnecting = 4,
		eClassNotInitialized = 5
	};

	// What a pending WaitForData() waits for.
	enum EMatchMuster
	{
		eNoMatch = 1,
		eMatchLaenge = 2,
		eMatchString = 3,
		eMatchVector = 4
	};

	enum EByteOrder
	{
		eLittleEndian = 1,
		eBigEndian = 2
	};

	// The bytes of the length that a telegram begins with.
	enum ETelegramLengthFormat
	{
		eRawData = 0,
		eByteData = 1,
		eWordData = 2,
		eLongData = 4
	};

	// Starts both threads. If the system has none left, the state is eClassNotInitialized until a connect request can
	// start them.
	CVexTCPIPBase();
	CVexTCPIPBase(const CVexTCPIPBase&) = delete;
	CVexTCPIPBase& operator=(const CVexTCPIPBase&) = delete;

	// Before the first connect request.
	virtual void SetTraceName(const char* szName);

	// Disconnects and ends the threads: at once, but for a DataInd() or ConInd() that runs.
	virtual ~CVexTCPIPBase();

	// A received block of up to 1024 bytes, or in telegram mode one whole telegram with its length. pData is the
	// library's and valid during the call. The base version does nothing.
	virtual void DataInd(const unsigned char* pData, int nLen);

	// Connected, with the socket (which the base version takes over), or no longer connected. An override calls the
	// base version, and soon: until then the state is that of before. After an accepted connection it runs while all
	// listening connections of the process wait.
	virtual void ConInd(bool bConnected, int nSocket);

	// Connects (bActive) or waits for one client. A null address: this machine's own. eTimeout is also returned if the
	// connect failed earlier; ConInd(false) has reported it by then. An override of ConInd() that has not yet called the
	// base version does not prolong the time-out: what an active request has made is closed then, and the base version
	// ignores it. After a passive request has timed out the connection goes on listening; an active one is over.
	// eNotInitialized: the system had no threads left for the connection, nor has it now.
	ERetCode ConnectReq(const char* szAddress, unsigned short nPort, bool bActive, int nTimeout);
	ERetCode ConnectToServer(const char* szAddress, unsigned short nPort, int nTimeout);
	ERetCode AwaitConnectionFromClient(const char* szAddress, unsigned short nPort, int nTimeout);

	// eCallNotAllowed unless connected; else eOK, also when the end was not seen within the time-out. In an indication
	// it does not wait: ConInd(false) follows when that has returned.
	ERetCode DisconnectReq(int nTimeout);

	// One send of the whole block; blocks while the peer does not read. nFlags is not used.
	ERetCode DataReq(const char* pData, int nLen, int nFlags);

	// Wait for a text, for nLength bytes, or for one of several texts (the first one in the list that is anywhere in
	// the buffer counts). eOK: sData is all up to the end of it. eTimeout: sData is all that is there, and the buffer is
	// empty. A connection that ends does not end the wait.
	ERetCode WaitForData(const std::string& sMatch, std::string& sData, int nTimeout);
	ERetCode WaitForData(int nLength, std::string& sData, int nTimeout);
	ERetCode WaitForData(std::vector<std::string>& aMatch, std::string& sData, int nTimeout);

	// How the received bytes are cut into telegrams. Before the connection is made.
	//
	// A byte of the length is taken with its sign: the only one of eByteData, the last one of big-endian lengths. Such
	// a telegram comes out short, or never when its total is 0 or negative: nothing is delivered any more then, and no more
	// than 1 MiB is kept.
	void SetTelegramLength(ETelegramLengthFormat eFormat, EByteOrder eByteOrder);
	ETelegramLengthFormat GetTelegramLengthFormat() const;
	EByteOrder GetTelegramLengthByteOrder() const;

	EConState GetConnectState() const;
	const char* GetConnectStateString() const;

	// Of the last connect request.
	std::string GetIPAddress() const;
	unsigned short GetPort() const;

	// Dotted form, port in host order. eSocketError, and the arguments unchanged, without a connected socket.
	ERetCode GetRemoteAddr(std::string& sAddr, unsigned short& nPort) const;
	ERetCode GetLocalAddr(std::string& sAddr, unsigned short& nPort) const;

	// Ends all use of the socket at once; its number is given back when the last thread has left it.
	void CloseSocket();

protected:
	// Disconnects and ends both threads; no indication comes any more. Not from an indication.
	void EndThreads();

	// DataReq() that tells how much was sent: less than nLen, with eOK, if a time limit on the socket (SO_SNDTIMEO) has
	// cut it short.
	ERetCode SendBlock(const char* pData, std::size_t nLen, std::size_t& rnDone);

	class CConnectThread;
	class CReadThread;

	CVexTraceEx m_oTrace;
	std::unique_ptr<CReadThread> m_poReadThread;
	std::unique_ptr<CConnectThread> m_poConnectThread;
	std::atomic<EConState> m_eState{ eDisconnected };
	std::atomic<int> m_oSocket{ -1 };
	std::string m_aRecvBuffer;
	CVexMutex m_oRecvBufferMutex;    // guards m_aRecvBuffer and all that matches
	CVexEvent m_oDisconnected;
	CVexEvent m_oConnected;
	CVexEvent m_oMatching;
	std::int32_t m_nMatchLaenge = 0;
	std::string m_sMatchString;
	std::vector<std::string> m_vMatchString;
	std::atomic<EByteOrder> m_eTelegramByteOrder{ eLittleEndian };
	std::atomic<ETelegramLengthFormat> m_eTelegramLengthFormat{ eRawData };
	EMatchMuster m_eMatchMuster = eNoMatch;
	std::atomic<std::uint16_t> m_nPort{ 0 };
	std::string m_sIPAddress;    // guarded by m_oLock

	static std::atomic<int> m_nInstances;

private:
	typedef std::shared_ptr<CVexDescriptor> Descriptor;

	// Where the search for one text has come to: what lies before is known not to hold it. Positions count from the
	// begin of the connection, so they stay right when the buffer's front is taken.
	struct SSearch
	{
		std::uint64_t m_nDone = 0;
		bool m_bFound = false;    // it begins at m_nDone
	};

	Descriptor GetDescriptor() const;
	bool SetDescriptor(const Descriptor& poDescriptor);
	ERetCode RequestConnection(const char* szAddress, unsigned short nPort, bool bActive, unsigned& rnRequest);
	bool EndRequest(unsigned nRequest, bool bActive, bool bConnected);
	bool StartThreads();
	ERetCode GetAddr(bool bRemote, std::string& sAddr, unsigned short& nPort) const;
	std::string GetAddressText() const;

	template <class TAction>
	bool IsInMemory(TAction oAction);
	bool BaseDataInd(const char* pData, std::size_t nLen);
	bool DataIndTelegramMode(const char* pData, std::size_t nLen);
	bool TakeTelegram(std::string& rsTelegram);
	void EmptyRecvBuffer();
	std::size_t GetUnread() const { return m_aRecvBuffer.size() - m_nTaken; }
	void TakeUnread(std::size_t nLength, std::string& rsData);
	void CheckMatchingEvent();
	bool Find(const std::string& sMatch, SSearch& rSearch) const;
	ERetCode WaitForMatch(std::string& sData, int nTimeout);

	// Guards m_poDescriptor, m_poClaimed, m_nRequest, m_bEnding (when it is set), m_sIPAddress and the changes of m_eState, together with the
	// signals that tell of them: no signal is left over for a later request.
	mutable CVexMutex m_oLock;
	Descriptor m_poDescriptor;               // of m_oSocket
	Descriptor m_poClaimed;                  // the connection that the connect thread has made and is about to indicate
	std::atomic<bool> m_bEnding{ false };    // no request is taken any more
	unsigned m_nRequest = 0;    // the number of the last connect request; what an earlier one brings is dropped

	// Guarded by m_oRecvBufferMutex.
	std::size_t m_nTaken = 0;            // bytes of m_aRecvBuffer that are taken but not yet cut off
	std::uint64_t m_nBufferStart = 0;    // position of m_aRecvBuffer's first byte
	SSearch m_oSearch;
	std::vector<SSearch> m_aoSearches;    // of m_vMatchString
	std::uint64_t m_nMatchEnd = 0;
};
