// Sends mails to a mailbox of real servers, fetches them, compares them byte for byte and deletes them. Run by
// scripts/test-mail, which starts the servers.
//
//	MailRoundTripProgram <host> <SMTP port> <POP3 port> <user> <password> <address>
//
// The mailbox is empty before and after. A line on standard output for each step; exit status 1 and the reason on
// standard error at the first fault.

#include "Waiting.h"

#include "VexMail.h"
#include "VexPOP3Client.h"
#include "VexSMTPClient.h"
#include "VexUTCTime.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>

namespace
{
// Of each answer: servers store 10 MB before they answer.
const unsigned int nTimeoutMs = 60000;

struct SServers
{
	const char* m_pszHost;
	unsigned short m_nSmtpPort;
	unsigned short m_nPop3Port;
	const char* m_pszUser;
	const char* m_pszPassword;
	std::string m_sAddress;
};

// Whole mails, by their subjects.
typedef std::map<std::string, std::string> Mails;

[[noreturn]] void Fail(const std::string& sReason)
{
	std::fflush(stdout);
	std::fprintf(stderr, "round trip: %s\n", sReason.c_str());
	std::_Exit(1);
}

// Lines of up to 998 of any bytes, as servers take them. No line begins with a dot: the clients neither double it nor
// take the second one off.
std::string MakeBody(std::size_t nSize, std::mt19937& rRandom)
{
	const std::size_t anLengths[] = { 0, 1, 77, 78, 79, 500, 997, 998 };
	std::string sBody;
	while (sBody.size() < nSize)
	{
		const std::size_t nLength = anLengths[rRandom() % 8];
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

CVexMail MakeMail(const SServers& rServers, std::size_t nSize, std::mt19937& rRandom)
{
	CVexMail oMail;
	oMail.SetSubject("round trip of " + std::to_string(nSize) + " bytes");
	oMail.SetFieldValue(
		"X-Folded", std::string(60, 'a') + ", " + std::string(60, 'b') + ", " + std::string(60, 'c'), ',');
	oMail.SetTo({ CVexMailAddress("The box, at home", rServers.m_sAddress) });
	oMail.SetFrom("\"Sender, with a comma\" <" + rServers.m_sAddress + ">");
	oMail.SetDate(CVexUTCTime::CurrentTime());
	oMail.SetBodyText(MakeBody(nSize - oMail.GetTotalMail().size(), rRandom));
	if (oMail.GetTotalMail().size() != nSize)
		Fail("a mail of " + std::to_string(nSize) + " bytes has " + std::to_string(oMail.GetTotalMail().size()));
	return oMail;
}

template <class TClient>
void Check(const TClient& rClient, typename TClient::ERetCode eIs, typename TClient::ERetCode eExpected,
	const std::string& sStep)
{
	if (eIs != eExpected)
		Fail(sStep + " gave " + std::to_string(eIs) + ", " + rClient.GetTextOfResponse(eIs));
}

// A client that has logged in, and out when it goes.
struct SMailbox : CVexPOP3Client
{
	explicit SMailbox(const SServers& rServers)
	{
		SetTimeout(nTimeoutMs);
		Check(LogIn(rServers.m_pszHost, rServers.m_nPop3Port, rServers.m_pszUser, rServers.m_pszPassword), "the login");
	}
	~SMailbox() override { Check(LogOut(), "the logout"); }

	void Check(ERetCode eIs, const std::string& sStep) const { ::Check<CVexPOP3Client>(*this, eIs, eOK, sStep); }
};

Mails SendAll(const SServers& rServers)
{
	typedef CVexSMTPClient Client;
	Client oClient;
	oClient.SetTimeout(nTimeoutMs);
	Check(oClient, oClient.ConnectToServer(rServers.m_pszHost, rServers.m_nSmtpPort), Client::eSmtpOK, "connecting");
	Mails asSent;
	std::mt19937 oRandom(4711);
	for (const std::size_t nSize : { 1024u, 200u * 1024, 10u * 1024 * 1024 })
	{
		const CVexMail oMail = MakeMail(rServers, nSize, oRandom);
		Check(oClient, oClient.SendMessage(oMail, oMail.GetRecipients()), Client::eSmtpOK, "sending");
		asSent[oMail.GetSubject()] = oMail.GetTotalMail();
		std::printf("ok  sent %zu bytes\n", nSize);
	}
	Check(oClient, oClient.LogOut(), Client::eServiceNotAvailable, "the goodbye");    // 221
	return asSent;
}

// The servers put header lines on top, and nothing else.
void Compare(const std::string& sSent, const std::string& sFetched)
{
	const std::size_t nAdded = sFetched.size() - sSent.size();
	if (sFetched.size() < sSent.size() || sFetched.compare(nAdded, std::string::npos, sSent) != 0)
		Fail("a mail of " + std::to_string(sSent.size()) + " bytes came back different");
	const std::string sTop = sFetched.substr(0, nAdded);
	if (nAdded > 0 && (sTop.find("\r\n\r\n") != std::string::npos || sTop.substr(nAdded - 2) != "\r\n"))
		Fail("the servers have put more than header lines on top: " + sTop);
}

void FetchAll(const SServers& rServers, Mails asSent)
{
	SMailbox oMailbox(rServers);
	for (unsigned int n = 1; !asSent.empty(); ++n)
	{
		const std::string sNumber = std::to_string(n);
		CVexMail oTop, oMail;
		oMailbox.Check(oMailbox.GetTopOfMessage(oTop, n), "the header of message " + sNumber);
		oMailbox.Check(oMailbox.GetMessage(oMail, n), "message " + sNumber);
		const auto oSent = asSent.find(oMail.GetSubject());
		if (oSent == asSent.end())
			Fail("\"" + oMail.GetSubject() + "\" was not sent, or has come twice");
		const std::string sFetched = oMail.GetTotalMail();
		Compare(oSent->second, sFetched);
		// The server counts the line end that the client takes for the begin of the end mark.
		if (oMailbox.GetSizeOfMessage(n) != sFetched.size() + 2)
			Fail("the server tells another size of message " + sNumber);
		const std::size_t nHeader = sFetched.find("\r\n\r\n") + 2;
		if (sFetched.compare(0, nHeader, oTop.GetTotalMail(), 0, nHeader) != 0)
			Fail("the header alone differs from that of the whole message " + sNumber);
		oMailbox.Check(oMailbox.DeleteMessage(n), "deleting message " + sNumber);
		asSent.erase(oSent);
		std::printf("ok  fetched \"%s\"\n", oMail.GetSubject().c_str());
	}
}
}    // namespace

int main(int nArgc, char** ppszArgv)
{
	if (nArgc != 7)
		Fail("usage: MailRoundTripProgram <host> <SMTP port> <POP3 port> <user> <password> <address>");
	const auto nSmtpPort = static_cast<unsigned short>(std::atoi(ppszArgv[2]));
	const auto nPop3Port = static_cast<unsigned short>(std::atoi(ppszArgv[3]));
	const SServers oServers = { ppszArgv[1], nSmtpPort, nPop3Port, ppszArgv[4], ppszArgv[5], ppszArgv[6] };
	if (SMailbox(oServers).GetNumberOfMessage() != 0)
		Fail("the mailbox is not empty");
	const Mails asSent = SendAll(oServers);
	if (!ComesTrue([&] { return SMailbox(oServers).GetNumberOfMessage() == asSent.size(); }))
		Fail("not all mails were delivered");
	std::printf("ok  delivered\n");
	FetchAll(oServers, asSent);
	if (SMailbox(oServers).GetNumberOfMessage() != 0)
		Fail("the mailbox is not empty after all was deleted");
	std::printf("ok  the mailbox is empty\n");
	return 0;
}
