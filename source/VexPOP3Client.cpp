#include "VexPOP3Client.h"

#include "VexMail.h"
#include "VexMailClientInternal.h"
#include "VexStringFunc.h"
#include "VexTraceTextInternal.h"

#include <exception>
#include <locale>
#include <sstream>
#include <string_view>

namespace
{
const int nPollBytes = 1024;
const int nPollMs = 300;
const std::size_t nReserve = 5242880;
const std::string_view sEndMark = "\r\n.\r\n";
const std::string_view sEndMarkAlone = ".\r\n";
const char* const pszLocation = "\tFile source/VexPOP3Client Line 565";

// Of replies longer than 64 KB the middle is left out: what a server sends must not fill the memory five times over.
const int nDumpLines = 2048;

// 0, and nothing more is read, if there is no number.
unsigned long ReadNumber(std::istream& rStream)
{
	unsigned long nNumber = 0;
	// A stream takes "-1" for the largest number.
	if ((rStream >> std::ws).peek() == '-')
		rStream.setstate(std::ios_base::failbit);
	return rStream >> nNumber ? nNumber : 0;
}

// Cuts the text at its last end mark; false if it has none.
bool CutAtEndMark(std::string& rsText)
{
	// Of an empty message: the line break before the mark is that of the status line.
	if (rsText == sEndMarkAlone)
	{
		rsText.clear();
		return true;
	}
	const std::size_t nFound = rsText.rfind(sEndMark);
	if (nFound == std::string::npos)
		return false;
	rsText.resize(nFound);
	return true;
}
}    // namespace

const std::pair<CVexPOP3Client::ERetCode, const char*> CVexPOP3Client::m_aoReturnPair[7] = {
	{ eOK, "+OK" },
	{ eMessageNotFound, "-ERR no such msg" },
	{ eMessageNotFound,
		"-ERR Die angegebene Nachricht liegt au\xDF"
		"erhalb des g\xFCltigen Bereichs." },
	{ eLoginFailed, "-ERR Invalid userid/passwort" },
	{ eLoginFailed, "-ERR Anmeldefehler: unbekannter Benutzername oder falsches Kennwort." },
	{ eIllegalCommand, "-ERR illegal command" },
	{ eIllegalCommand, "-ERR Ein Protokollfehler ist aufgetreten." },
};

const std::pair<CVexPOP3Client::ERetCode, const char*> CVexPOP3Client::m_aoReturnPairOfString[9] = {
	{ eOK, "OK" },
	{ eTimeout, "Funktion wurde vorzeitig wg. Timeout abgebrochen." },
	{ eTCPIPError, "Es gab einen Fehler in der TCP/IP-Kommunikation." },
	{ eIPAddressInvalid, "IPAdresse ist nicht angegeben." },
	{ ePortInvalid, "Anschluss ist nicht angegeben." },
	{ eMessageNotFound,
		"Die angegebene Nachricht liegt au\xDF"
		"erhalb des g\xFCltigen Bereichs." },
	{ eLoginFailed, "Anmeldefehler: unbekannter Benutzername oder falsches Kennwort." },
	{ eIllegalCommand, "Kommando ist nicht korrekt." },
	{ eError, "Fehler ist undefiniert" },
};

CVexPOP3Client::CVexPOP3Client()
{
	CVexPOP3Client::SetTraceName("CVexPOP3Client");
}

CVexPOP3Client::~CVexPOP3Client() = default;

void CVexPOP3Client::SetTraceName(const char* pszName)
{
	m_oTrace.SetName(pszName, nullptr);
	m_oVexTCPIPBase.SetTraceName(m_oTrace.CreateObjectName("m_oVexTCPIPBase", &m_oTrace).c_str());
}

CVexPOP3Client::ERetCode CVexPOP3Client::LogIn(
	const char* pszAddress, unsigned short nPort, const char* pszUser, const char* pszPassword)
{
	if (nPort == 0)
		return ePortInvalid;
	if (!pszAddress || !*pszAddress)
		return eIPAddressInvalid;
	m_oVexTCPIPBase.ConnectToServer(pszAddress, nPort, static_cast<int>(m_nTimeout));
	// KEPT: whether the connect failed is not asked. Test: CVexPOP3Client.AFailureAtAnyPointAndAFailedConnectAreWhatTheStatusLineTellsKept
	std::string sGreeting;
	const ERetCode eResult = GetResponse(sGreeting);
	return eResult == eOK ? MakeLogIn(pszUser, pszPassword) : eResult;
}

CVexPOP3Client::ERetCode CVexPOP3Client::MakeLogIn(const char* pszUser, const char* pszPassword)
{
	const auto MakeLine = [](const char* pszCommand, const char* pszArgument)
	{ return pszCommand + std::string(pszArgument ? pszArgument : "") + "\r\n"; };
	std::string sResponse;
	const ERetCode eResult = ExecuteCommand(MakeLine("USER ", pszUser).c_str(), sResponse);
	return eResult == eOK ? ExecuteCommand(MakeLine("PASS ", pszPassword).c_str(), sResponse) : eResult;
}

CVexPOP3Client::ERetCode CVexPOP3Client::LogOut()
{
	std::string sResponse;
	return ExecuteCommand("QUIT\r\n", sResponse);
}

unsigned long CVexPOP3Client::GetNumberOfMessage()
{
	std::string sResponse;
	unsigned long nNumber = 0;
	unsigned long nSize = 0;
	if (ExecuteCommand("STAT\r\n", sResponse) == eOK)
		ReadNumberAndSizeOfMessage(nNumber, nSize, sResponse);
	return nNumber;
}

unsigned long CVexPOP3Client::GetSizeOfMessage(unsigned int n)
{
	std::string sResponse;
	unsigned long nNumber = 0;
	unsigned long nSize = 0;
	if (ExecuteCommand(("LIST " + std::to_string(n) + "\r\n").c_str(), sResponse) == eOK)
		ReadNumberAndSizeOfMessage(nNumber, nSize, sResponse);
	return nSize;
}

CVexPOP3Client::ERetCode CVexPOP3Client::GetMessage(CVexMail& oMail, unsigned int n)
{
	return Fetch(oMail, "RETR " + std::to_string(n) + "\r\n");
}

CVexPOP3Client::ERetCode CVexPOP3Client::GetTopOfMessage(CVexMail& oMail, unsigned int n)
{
	return Fetch(oMail, "TOP " + std::to_string(n) + " 0\r\n");
}

CVexPOP3Client::ERetCode CVexPOP3Client::Fetch(CVexMail& oMail, const std::string& sCommandLine)
{
	std::string sText;
	ERetCode eResult = ExecuteCommand(sCommandLine.c_str(), sText);
	if (eResult != eOK)
		return eResult;
	try
	{
		eResult = GetData(sText);
		oMail = CVexMail(std::move(sText));
	}
	catch (const std::exception&)
	{
		return eError;    // no memory for the message
	}
	return eResult;
}

CVexPOP3Client::ERetCode CVexPOP3Client::DeleteMessage(unsigned int n)
{
	std::string sResponse;
	return ExecuteCommand(("DELE " + std::to_string(n) + "\r\n").c_str(), sResponse);
}

std::string CVexPOP3Client::GetTextOfResponse(ERetCode eRetCode) const
{
	return VexFindText(m_aoReturnPairOfString, eRetCode);
}

CVexPOP3Client::ERetCode CVexPOP3Client::ConvertRetCode(CVexTCPIPBase::ERetCode eRetCode) const
{
	switch (eRetCode)
	{
	case CVexTCPIPBase::eOK:
		return eOK;
	case CVexTCPIPBase::eTimeout:
		return eTimeout;
	default:
		return eTCPIPError;
	}
}

CVexPOP3Client::ERetCode CVexPOP3Client::GetResponse(std::string& sResponse)
{
	const ERetCode eResult =
		ConvertRetCode(m_oVexTCPIPBase.WaitForData("\r\n", sResponse, static_cast<int>(m_nTimeout)));
	return eResult == eOK ? VexFindReply(m_aoReturnPair, sResponse, eError) : eResult;
}

CVexPOP3Client::ERetCode CVexPOP3Client::GetData(std::string& sData)
{
	sData.clear();
	sData.reserve(nReserve);
	std::string sPiece;
	// KEPT: no end mark, no end: silence and a broken connection are polled on. The wait itself is the pause between.
	// Test: CVexPOP3Client.AMessageWithoutItsEndIsWaitedForUntilTheProcessEndsKept
	for (;;)
	{
		const ERetCode eResult = ConvertRetCode(m_oVexTCPIPBase.WaitForData(nPollBytes, sPiece, nPollMs));
		if (sData.capacity() - sData.size() < sData.size() / 16)
			sData.reserve(sData.size() + sData.size() / 2);
		sData += sPiece;
		if (eResult == eTimeout && CutAtEndMark(sData))
			return eOK;
	}
}

CVexPOP3Client::ERetCode CVexPOP3Client::ExecuteCommand(const char* pszCommandLine, std::string& sResponse)
{
	const std::string sLine = pszCommandLine;
	const std::string sCommand = sLine.substr(0, sLine.size() - std::min<std::size_t>(sLine.size(), 2));
	sResponse.clear();
	ERetCode eResult = eIllegalCommand;
	if (!VexHasLineBreak(sCommand))
	{
		eResult = ConvertRetCode(VexSend(m_oVexTCPIPBase, sLine, m_nTimeout));
		if (eResult == eOK)
			eResult = GetResponse(sResponse);
	}
	const bool bGood = eResult == eOK;
	VexTraceText(m_oTrace,
		bGood ? CVexTraceMsg::eDebug : CVexTraceMsg::eError,
		[&](std::ostream& rStream)
		{
			rStream << "POP3-Command " << sCommand << " (Retcode=";
			// KEPT: 0 is what a good command is traced with, though eOK is 1; passwords are traced.
			// Test: CVexPOP3Client.TracesGoodCommandsAsZeroAndThePasswordAndSendsNoLineBreaksKept
			if (bGood)
				rStream << "0,OK)" << pszLocation;
			else
				rStream << eResult << "," << GetTextOfResponse(eResult) << ",Data="
						<< VexMemDump(sResponse.data(),
							   static_cast<int>(std::min<std::size_t>(sResponse.size(), INT_MAX)),
							   nDumpLines,
							   nDumpLines)
						<< ")";
		});
	return eResult;
}

void CVexPOP3Client::ReadNumberAndSizeOfMessage(
	unsigned long& nNumber, unsigned long& nSize, const std::string& sResponse)
{
	std::istringstream oStream(sResponse);
	// Digits that a program's own locale groups are not what a server writes.
	oStream.imbue(std::locale::classic());
	oStream.seekg(4);
	nNumber = ReadNumber(oStream);
	nSize = ReadNumber(oStream);
}

CVexPOP3Client::CVexTraceEx::CVexTraceEx() : CVexTrace("CVexPOP3Client", nullptr, nullptr) {}

void CVexPOP3Client::SetTimeout(unsigned int nTimeout)
{
	m_nTimeout = nTimeout;
}

unsigned int CVexPOP3Client::GetTimeout() const
{
	return m_nTimeout;
}
