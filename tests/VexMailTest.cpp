// Mail texts: fields found, read, folded and set; addresses in lists.

#include "VexMail.h"

#include "VexStringFunc.h"
#include "VexUTCTime.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace std::string_literals;

namespace
{
// The header once its field X is set.
std::string Set(const std::string& sValue, char cSeparator, const std::string& sBefore)
{
	CVexMail oMail(sBefore);
	oMail.SetFieldValue("X", sValue, cSeparator);
	return oMail.GetTotalMail().erase(oMail.GetTotalMail().find("\r\n\r\n"));
}

std::string Join(const std::vector<CVexMailAddress>& roAddresses)
{
	std::string sAll;
	for (const CVexMailAddress& rAddress : roAddresses)
		sAll += "[" + VexToString(rAddress) + "]";
	return sAll;
}
}    // namespace

TEST(CVexMail, TheFirstEmptyLineEndsTheHeader)
{
	const std::string aasCases[][3] = {
		{ "A: 1\n\nA: 2", "1\n\nA: 2", "" },    // no empty line: all is header
		{ "A: 1\r\n\r\n\r\nb\0\r\n\r\nA: 2"s, "1", "\r\nb\0\r\n\r\nA: 2"s },
	};
	for (const auto& [sText, sValue, sBody] : aasCases)
	{
		std::istringstream oStream(sText);
		CVexMail oMail("A: 0\r\n\r\nbefore");
		oStream.exceptions(std::ios_base::failbit);
		oStream >> oMail;
		EXPECT_EQ(oMail.GetFieldValue("a", ','), sValue);
		EXPECT_EQ(oMail.GetBodyText(), sBody);
		EXPECT_EQ(oStream.rdstate(), std::ios_base::eofbit);
		EXPECT_EQ(oStream.exceptions(), std::ios_base::failbit);
		EXPECT_TRUE(VexFromString(oMail = CVexMail(), sText));
		EXPECT_EQ(VexToString(oMail), CVexMail(sText.data(), static_cast<unsigned int>(sText.size())).GetTotalMail());
	}
}

TEST(CVexMail, AFieldIsFoundAtTheBeginningOfALineOnlyAndReadWithoutItsFolds)
{
	const std::string aasCases[][3] = {
		{ "Y: X: a\r\nAX: b\r\nX:c\r\nX : d", "X", "" },
		{ "X: a\r\n b\r\n\t c\r\n \r\n\t", "X", "ab c" },
		{ "X: a\r\nY: b\r\nX: \r\n c\r\nX: ", "X", "a,c," },
		{ ": a", "", "" },
		{ "\xE4\0: a"s, "\xE4\0"s, "a" },
	};
	for (const auto& [sHeader, sName, sValue] : aasCases)
		EXPECT_EQ(CVexMail(sHeader + "\r\n\r\nX: b").GetFieldValue(sName, ','), sValue) << sHeader;
	EXPECT_EQ(CVexMail("X: a\r\nX: b").GetFieldValue("X", '\0'), "ab");
	struct CFields : CVexMail
	{
		using CVexMail::CVexMail, CVexMail::GetFieldIndex, CVexMail::GetFieldLength, CVexMail::SubDivLargeFields;
	} const oMail(std::string("Y: x: \r\nX: a\r\n b\r\nZ: c"));
	unsigned int nIndex = 8, nEnd = 25;
	EXPECT_EQ(oMail.GetFieldIndex("x", 0), nIndex);
	EXPECT_EQ(oMail.GetFieldLength("x", nIndex), 8u);
	EXPECT_EQ(oMail.GetFieldLength("x", nEnd), 0u);
	const std::string sLong = "X,Y: " + std::string(90, 'a');    // the name stays whole
	EXPECT_EQ(oMail.SubDivLargeFields(sLong, ','), sLong + "\r\n");
}

TEST(CVexMail, AFieldReplacesTheFirstOfItsNameAndElseComesFirst)
{
	const char* const aapszCases[][2] = {
		{ "V: w\r\nx: a\r\n b\r\nY: c\r\nX: d\r\n e\r\nZ: f\r\nX: g", "V: w\r\nX: n\r\nY: c\r\nZ: f" },
		{ " a\r\nY: c", "X: n\r\n a\r\nY: c" },
	};
	for (const auto& [pszBefore, pszBehind] : aapszCases)
		EXPECT_EQ(Set("n", ',', pszBefore), pszBehind);
}

TEST(CVexMail, AFieldSetInAnEmptyHeaderKeepsItsLineEndKept)
{
	CVexMail oMail;
	oMail.SetBodyText("b");
	oMail.SetSubject("s");
	EXPECT_EQ(oMail.GetTotalMail(), "Subject: s\r\n\r\n\r\nb");
	oMail = CVexMail("\r\nb");    // the line end of an empty header, and a body
	oMail.SetSubject("s");
	EXPECT_EQ(oMail.GetSubject() + "|" + oMail.GetTotalMail(), "s|Subject: s\r\n\r\nb\r\n\r\n");
}

TEST(CVexMail, FoldsLongLinesBehindASeparatorIfThereIsOneInTime)
{
	const auto Run = [](std::size_t nCount, char c = 'a') { return std::string(nCount, c); };
	// An asterisk is where the line is folded.
	const std::string asCases[] = {
		Run(40) + "," + Run(34),                                     // 78 characters
		Run(74) + ",*" + Run(70) + ",*" + Run(6) + "," + Run(70),    // 78 with the tab
		Run(74) + ",*" + Run(7) + ",*" + Run(70),                    // 79 with the tab
		Run(75) + ",*" + Run(90) + ",*b",
		Run(100, ' ') + "b,*c",
		Run(995) + "*" + Run(997) + "*a",
		Run(899) + "*b" + Run(200, ' '),    // no line of blanks alone
	};
	for (const std::string& rsCase : asCases)
	{
		std::string sValue(rsCase), sLines(rsCase);
		sValue.erase(std::remove(sValue.begin(), sValue.end(), '*'), sValue.end());
		for (std::size_t n = 0; (n = sLines.find('*', n)) != std::string::npos;)
			sLines.replace(n, 1, "\r\n\t");
		EXPECT_EQ(Set(sValue, ',', "Y: c"), "X: " + sLines + "\r\nY: c");
		EXPECT_EQ(CVexMail(Set(sValue, ',', "Y: c")).GetFieldValue("X", ','), sValue);
	}
}

TEST(CVexMail, ALineBreakNeverBeginsAHeaderLineOrTheBody)
{
	const std::string sLong(50, 'a');
	const std::pair<std::string, std::string> aCases[] = {
		{ "a\r\nBcc: b", "a\r\n\tBcc: b" },
		{ "a\r\n b\r\n\tc", "a\r\n b\r\n\tc" },    // folds already
		{ "\r\na\r\n \t\r\n  b\r\n", "a\t\r\n  b" },
		{ sLong + " b\r\n " + sLong + " " + sLong, sLong + " b\r\n " + sLong + " \r\n\t" + sLong },
		{ sLong + sLong, "\r\n\t" + sLong + sLong },    // behind the blank of the name
	};
	for (const auto& [sValue, sLines] : aCases)
		EXPECT_EQ(Set(sValue, ' ', "Y: c"), "X: " + sLines + "\r\nY: c");
	for (const char* const pszName : { "", "X\r\nY", "X\nY", " X", "X: Y" })
	{
		CVexMail oMail("Y: c");
		oMail.SetFieldValue(pszName, "a", ',');
		EXPECT_EQ(oMail.GetTotalMail(), "Y: c\r\n\r\n");
	}
}

TEST(CVexMail, DividesListsOfAddressesAtCommasThatAreNoPartOfAnAddress)
{
	const std::pair<std::string, std::string> aCases[] = {
		{ "\"N, (M\" <a@b>,c@d (x (y, z), w\\),),<e,f@g>,h", "[\"N, (M\" <a@b>][c@d (x (y, z), w\\),)][<e,f@g>][h]" },
		{ "\"N \\\"M, O\\\" P\" <a@b>,c@d", "[\"N \\\"M, O\\\" P\" <a@b>][c@d]" },
		{ "a), b>, c\\, \"d, e", "[a)][b>][c\\][\"d][e]" },
	};
	for (const auto& [sList, sAddresses] : aCases)
		EXPECT_EQ(Join(CVexMail("To: " + sList).GetTo()), sAddresses);
}

TEST(CVexMail, TypedFieldsReadBack)
{
	const std::vector<CVexMailAddress> oTo(8, CVexMailAddress("Last, First"s, "someone@example.org"s));
	CVexMail oMail("cC: y\r\nTo: z");
	EXPECT_EQ(Join(oMail.GetRecipients()), "[z][y]");
	oMail.SetTo(oTo);
	oMail.SetCc({ CVexMailAddress(), CVexMailAddress("a@b"), CVexMailAddress(), CVexMailAddress("c@d") });
	oMail.SetFrom("N <e@f>");
	oMail.SetDate(CVexUTCTime(5, 3, 2009, 14, 7, 0, 0, 0, 0));
	EXPECT_EQ(Join(oMail.GetTo()), Join(oTo));
	EXPECT_EQ(oMail.GetFieldValue("Cc", ','), "a@b, c@d");
	EXPECT_EQ(oMail.GetFrom().GetDisplayname() + oMail.GetDate(), "N5 Mar 09 14:07 +0100");
}
