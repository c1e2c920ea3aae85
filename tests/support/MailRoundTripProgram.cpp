// Sends mails to a mailbox of real servers, fetches them, compares them byte for byte and deletes them. Run by
// scripts/test-mail, which starts the servers.
//
//	MailRoundTripProgram <host> <SMTP port> <POP3 port> <user> <password> <address>
//
// The mailbox is empty before and after. A line on standard output for each step; exit status 1 and the reason on
// standard error at the first fault.

#include "VexMail.h"
#include "VexPOP3Client.h"
#include "VexSMTPClient.h"
#include "VexThread.h"
#include "VexUTCTime.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace
{
const int nDeliveryLimitMs = 60000;
const int nLookAgainMs = 100;

// Of each answer: servers store 10 MB before they answer.
const unsigned int nTimeoutMs = 60000;

struct SServers
{
	std::string m_sHost;
	unsigned short m_nSmtpPort;
	unsigned short m_nPop3Port;
	std::string m_sUser;
	std::string m_sPassword;
	std::string m_sAddress;
};

struct SSent
{
	std::string m_sSubject;
	std::string m_sText;    // the whole mail
};

[[noreturn]] void Fail(const std::string& sReason)
{
	std::fflush(stdout);
	std::fprintf(stderr, "round trip: %s\n", sReason.c_str());
	std::_Exit(1);
}

class CStopwatch
{
public:
	long long GetMs() const
	{
		return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - m_oBegin)
			.count();
	}

private:
	std::chrono::steady_clock::time_point m_oBegin = std::chrono::steady_clock::now();
};

// Lines of up to 998 of any bytes, as servers take them. No line begins with a dot: the clients neither double it nor
// take the second one off.
std::string MakeBody(std::size_t nSize, std::mt19937& rRandom)
{
	const std::size_t anLengths[] = { 0, 1, 77, 78, 79, 500, 997, 998 };
	std::string sBody;
	sBody.reserve(nSize + 1000);
	while (sBody.size() < nSize)
	{
		const std::size_t nLength = anLengths[rRandom() % (sizeof anLengths / sizeof *anLengths)];
		for (std::size_t i = 0; i < nLength; ++i)
		{
			const char c = static_cast<char>(rRandom());
			sBody += c == '\r' || c == '\n' || (c == '.' && i == 0) ? ' ' : c;
		}
		sBody += "\r\n";
	}
	sBody.resize(nSize);
	if (sBody.back() == '\r')
		sBody.back() = 'x';    // a carriage return stands in front of a line feed only
	return sBody;
}

SSent MakeMail(const SServers& rServers, std::size_t nSize, const char* pszName, std::mt19937& rRandom)
{
	CVexMail oMail;
	oMail.SetSubject(std::string("round trip of ") + pszName);
	oMail.SetFieldValue(
		"X-Folded", std::string(60, 'a') + ", " + std::string(60, 'b') + ", " + std::string(60, 'c'), ',');
	oMail.SetTo({ CVexMailAddress("The box, at home", rServers.m_sAddress) });
	oMail.SetFrom("\"Sender, with a comma\" <" + rServers.m_sAddress + ">");
	oMail.SetDate(CVexUTCTime::CurrentTime());
	oMail.SetBodyText(MakeBody(nSize - oMail.GetTotalMail().size(), rRandom));
	const SSent oSent = { oMail.GetSubject(), oMail.GetTotalMail() };
	if (oSent.m_sText.size() != nSize)
		Fail("a mail of " + std::to_string(nSize) + " bytes became " + std::to_string(oSent.m_sText.size()));
	return oSent;
}

void Check(const CVexSMTPClient& rClient, CVexSMTPClient::ERetCode eIs, CVexSMTPClient::ERetCode eExpected,
	const char* pszStep)
{
	if (eIs != eExpected)
		Fail(std::string(pszStep) + " gave " + std::to_string(eIs) + ", " + rClient.GetTextOfResponse(eIs));
}

void Check(const CVexPOP3Client& rClient, CVexPOP3Client::ERetCode eIs, const std::string& sStep)
{
	if (eIs != CVexPOP3Client::eOK)
		Fail(sStep + " gave " + std::to_string(eIs) + ", " + rClient.GetTextOfResponse(eIs));
}

void LogIn(CVexPOP3Client& rClient, const SServers& rServers)
{
	rClient.SetTimeout(nTimeoutMs);
	Check(rClient,
		rClient.LogIn(
			rServers.m_sHost.c_str(), rServers.m_nPop3Port, rServers.m_sUser.c_str(), rServers.m_sPassword.c_str()),
		"the login");
}

unsigned long CountMessages(const SServers& rServers)
{
	CVexPOP3Client oClient;
	LogIn(oClient, rServers);
	const unsigned long nMessages = oClient.GetNumberOfMessage();
	Check(oClient, oClient.LogOut(), "the logout");
	return nMessages;
}

std::vector<SSent> SendAll(const SServers& rServers)
{
	const struct
	{
		const char* m_pszName;
		std::size_t m_nSize;
	} aSizes[] = { { "1 KB", 1024 }, { "200 KB", 200 * 1024 }, { "10 MB", 10 * 1024 * 1024 } };

	CVexSMTPClient oClient;
	Check(oClient,
		oClient.ConnectToServer(rServers.m_sHost.c_str(), rServers.m_nSmtpPort),
		CVexSMTPClient::eSmtpOK,
		"connecting");
	std::vector<SSent> aoSent;
	std::mt19937 oRandom(4711);
	for (const auto& rSize : aSizes)
	{
		aoSent.push_back(MakeMail(rServers, rSize.m_nSize, rSize.m_pszName, oRandom));
		const CVexMail oMail(aoSent.back().m_sText);
		const CStopwatch oTime;
		Check(oClient, oClient.SendMessage(oMail, oMail.GetRecipients()), CVexSMTPClient::eSmtpOK, "sending");
		std::printf("ok  sent %s: %zu bytes in %lld ms\n", rSize.m_pszName, rSize.m_nSize, oTime.GetMs());
	}
	Check(oClient, oClient.LogOut(), CVexSMTPClient::eServiceNotAvailable, "the goodbye");    // 221
	return aoSent;
}

void AwaitDelivery(const SServers& rServers, unsigned long nMessages)
{
	const CStopwatch oTime;
	for (unsigned long nThere = 0; (nThere = CountMessages(rServers)) != nMessages; CVexThread::Sleep(0, nLookAgainMs))
		if (oTime.GetMs() > nDeliveryLimitMs)
			Fail("of " + std::to_string(nMessages) + " mails " + std::to_string(nThere) + " were delivered");
	std::printf("ok  delivered: %lu messages in the mailbox\n", nMessages);
}

const SSent& FindSent(const std::vector<SSent>& raoSent, const std::string& sSubject)
{
	for (const SSent& rSent : raoSent)
		if (rSent.m_sSubject == sSubject)
			return rSent;
	Fail("a message has the subject \"" + sSubject + "\", which was not sent");
}

// The servers put header lines on top, and nothing else. The number of their bytes.
std::size_t Compare(const std::string& sSent, const std::string& sFetched)
{
	if (sFetched.size() < sSent.size())
		Fail(std::to_string(sSent.size()) + " bytes were sent, " + std::to_string(sFetched.size()) + " fetched");
	const std::size_t nAdded = sFetched.size() - sSent.size();
	for (std::size_t i = 0; i < sSent.size(); ++i)
		if (sFetched[nAdded + i] != sSent[i])
			Fail("of " + std::to_string(sSent.size()) + " bytes number " + std::to_string(i) + " came back different");
	const std::string sTop = sFetched.substr(0, nAdded);
	if (nAdded > 0 && (sTop.find("\r\n\r\n") != std::string::npos || sTop.substr(nAdded - 2) != "\r\n"))
		Fail("the servers have put more than header lines on top: " + sTop);
	return nAdded;
}

void FetchAll(const SServers& rServers, const std::vector<SSent>& raoSent)
{
	CVexPOP3Client oClient;
	LogIn(oClient, rServers);
	std::vector<std::string> asSeen;
	for (unsigned int n = 1; n <= raoSent.size(); ++n)
	{
		const std::string sNumber = std::to_string(n);
		CVexMail oTop;
		CVexMail oMail;
		Check(oClient, oClient.GetTopOfMessage(oTop, n), "the header of message " + sNumber);
		const CStopwatch oTime;
		Check(oClient, oClient.GetMessage(oMail, n), "message " + sNumber);
		const long long nMs = oTime.GetMs();
		const SSent& rSent = FindSent(raoSent, oMail.GetSubject());
		for (const std::string& rSubject : asSeen)
			if (rSubject == rSent.m_sSubject)
				Fail("\"" + rSubject + "\" has come twice");
		asSeen.push_back(rSent.m_sSubject);

		const std::string sFetched = oMail.GetTotalMail();
		const std::size_t nAdded = Compare(rSent.m_sText, sFetched);
		// The server counts the line end that the client takes for the begin of the end mark.
		if (oClient.GetSizeOfMessage(n) != sFetched.size() + 2)
			Fail("the server tells another size of message " + sNumber);
		if (sFetched.compare(0, sFetched.find("\r\n\r\n") + 2, oTop.GetTotalMail(), 0, sFetched.find("\r\n\r\n") + 2) !=
			0)
			Fail("the header alone differs from that of the whole message " + sNumber);
		Check(oClient, oClient.DeleteMessage(n), "deleting message " + sNumber);
		std::printf("ok  fetched \"%s\": %zu bytes the same, behind %zu of the servers, in %lld ms\n",
			rSent.m_sSubject.c_str(),
			rSent.m_sText.size(),
			nAdded,
			nMs);
	}
	Check(oClient, oClient.LogOut(), "the logout");
}

unsigned short Port(const char* pszText)
{
	const unsigned long nPort = std::strtoul(pszText, nullptr, 10);
	if (nPort < 1 || nPort > 65535)
		Fail(std::string("no port: ") + pszText);
	return static_cast<unsigned short>(nPort);
}
}    // namespace

int main(int nArgc, char** ppszArgv)
{
	if (nArgc != 7)
		Fail("usage: MailRoundTripProgram <host> <SMTP port> <POP3 port> <user> <password> <address>");
	const SServers oServers = {
		ppszArgv[1], Port(ppszArgv[2]), Port(ppszArgv[3]), ppszArgv[4], ppszArgv[5], ppszArgv[6]
	};
	if (CountMessages(oServers) != 0)
		Fail("the mailbox is not empty");
	const std::vector<SSent> aoSent = SendAll(oServers);
	AwaitDelivery(oServers, aoSent.size());
	FetchAll(oServers, aoSent);
	if (CountMessages(oServers) != 0)
		Fail("the mailbox is not empty after all was deleted");
	std::printf("ok  the mailbox is empty\n");
	return 0;
}
