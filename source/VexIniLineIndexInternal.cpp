// Search, insertion and removal of an ini file's lines.

#include "VexIniLineIndexInternal.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <sys/random.h>
#include <utility>

namespace
{
// A different start of all hashes in each process: nobody can write a file whose names all collide.
std::uint32_t HashSeed()
{
	static const std::uint32_t nSeed = []
	{
		std::uint32_t nRandom = 0;
		if (getrandom(&nRandom, sizeof(nRandom), GRND_NONBLOCK) != static_cast<ssize_t>(sizeof(nRandom)))
			nRandom = static_cast<std::uint32_t>(std::time(nullptr));
		return nRandom;
	}();
	return nSeed;
}
}    // namespace

CVexNameRule::CVexNameRule(bool bCaseSensitive) : m_bCaseSensitive(bCaseSensitive)
{
	for (int c = 0; c < 256; ++c)
		m_anFolded[c] = static_cast<unsigned char>(bCaseSensitive ? c : std::tolower(c));
}

bool CVexNameRule::Equal(std::string_view sLeft, std::string_view sRight) const
{
	const auto AreSame = [this](char cLeft, char cRight) { return Fold(cLeft) == Fold(cRight); };
	return sLeft == sRight ||
		(sLeft.size() == sRight.size() && std::equal(sLeft.begin(), sLeft.end(), sRight.begin(), AreSame));
}

std::uint32_t CVexNameRule::Hash(std::string_view sName) const
{
	std::uint32_t nHash = HashSeed();
	for (const char c : sName)
	{
		nHash = (nHash ^ Fold(c)) * 0x9E3779B1u;
		nHash ^= nHash >> 15;
	}
	return nHash;
}

CVexIniOptionExchange::CLineIndex::CLineIndex(bool bCaseSensitive, COptionLines& rapLines)
	: m_oRule(bCaseSensitive), m_rapLines(rapLines), m_pWrittenSection(&TakeSection(""))
{
	m_aLines.reserve(rapLines.size());
	for (SOptionLine* pLine : rapLines)
		InsertAfter(nVexNoLine, pLine, TakeSection(pLine->m_sSection), Hash(pLine->m_sEntry));
	m_bListIsCurrent = true;
}

void CVexIniOptionExchange::CLineIndex::UpdateList()
{
	if (m_bListIsCurrent)
		return;
	m_rapLines.clear();
	m_rapLines.reserve(m_aLines.size());
	for (std::uint32_t nLine = m_nFirst; nLine != nVexNoLine; nLine = m_aLines[nLine].m_nNext)
	{
		if (m_aLines[nLine].m_pLine)
			m_rapLines.push_back(m_aLines[nLine].m_pLine);
	}
	m_bListIsCurrent = true;
}

CVexIniOptionExchange::CLineIndex::SSection* CVexIniOptionExchange::CLineIndex::FindSection(std::string_view sName)
{
	if (m_pLastSection && m_oRule.Equal(m_pLastSection->m_sName, sName))
		return m_pLastSection;
	auto [oFound, oEnd] = m_oSections.equal_range(m_oRule.Hash(sName));
	while (oFound != oEnd && !m_oRule.Equal(oFound->second.m_sName, sName))
		++oFound;
	return oFound == oEnd ? nullptr : m_pLastSection = &oFound->second;
}

CVexIniOptionExchange::CLineIndex::SSection& CVexIniOptionExchange::CLineIndex::TakeSection(std::string_view sName)
{
	if (SSection* const pSection = FindSection(sName))
		return *pSection;
	SSection oSection;
	oSection.m_sName = sName;
	return m_oSections.emplace(m_oRule.Hash(sName), std::move(oSection))->second;
}

CVexIniOptionExchange::SOptionLine* CVexIniOptionExchange::CLineIndex::Find(
	std::string_view sSection, std::string_view sEntry)
{
	SSection* const pSection = FindSection(sSection);
	const std::uint32_t nLine = pSection ? FindLine(*pSection, sEntry) : nVexNoLine;
	return nLine == nVexNoLine ? nullptr : m_aLines[nLine].m_pLine;
}

std::uint32_t CVexIniOptionExchange::CLineIndex::FindLine(SSection& rSection, std::string_view sEntry)
{
	return sEntry.empty() ? rSection.m_nFirst : Link(rSection, sEntry, Hash(sEntry));
}

bool CVexIniOptionExchange::CLineIndex::HasOption(SSection& rSection, std::string_view sEntry, std::uint32_t nHash)
{
	return Link(rSection, sEntry, nHash) != nVexNoLine;
}

std::uint32_t& CVexIniOptionExchange::CLineIndex::Bucket(SSection& rSection, std::uint32_t nHash) const
{
	return rSection.m_anBuckets[nHash & (rSection.m_anBuckets.size() - 1)];
}

// Where the option's number stands, or the end of the bucket where it belongs. The names are compared in the records,
// which a deriving class may have changed.
std::uint32_t& CVexIniOptionExchange::CLineIndex::Link(SSection& rSection, std::string_view sEntry, std::uint32_t nHash)
{
	std::uint32_t* pnLink = &Bucket(rSection, nHash);
	while (*pnLink != nVexNoLine)
	{
		SLine& rLine = m_aLines[*pnLink];
		if (rLine.m_nHash == nHash && m_oRule.Equal(rLine.m_pLine->m_sEntry, sEntry))
			break;
		pnLink = &rLine.m_nNextInBucket;
	}
	return *pnLink;
}

void CVexIniOptionExchange::CLineIndex::AddBuckets(SSection& rSection)
{
	std::vector<std::uint32_t> anOld(4 * rSection.m_anBuckets.size(), nVexNoLine);
	anOld.swap(rSection.m_anBuckets);
	for (std::uint32_t nLine : anOld)
	{
		while (nLine != nVexNoLine)
		{
			std::uint32_t& rnBucket = Bucket(rSection, m_aLines[nLine].m_nHash);
			const std::uint32_t nNext = std::exchange(m_aLines[nLine].m_nNextInBucket, rnBucket);
			rnBucket = std::exchange(nLine, nNext);
		}
	}
}

void CVexIniOptionExchange::CLineIndex::InsertAfter(
	std::uint32_t nPrevious, SOptionLine* pLine, SSection& rSection, std::uint32_t nHash)
{
	nPrevious = nPrevious == nVexNoLine ? m_nLast : nPrevious;
	const std::uint32_t nLine = static_cast<std::uint32_t>(m_aLines.size());
	m_aLines.push_back({ pLine, nHash, nVexNoLine, nVexNoLine });
	std::uint32_t& rnLink = nPrevious == nVexNoLine ? m_nFirst : m_aLines[nPrevious].m_nNext;
	m_aLines[nLine].m_nNext = std::exchange(rnLink, nLine);
	m_bListIsCurrent = m_bListIsCurrent && nPrevious == m_nLast;
	if (m_bListIsCurrent)
		m_rapLines.push_back(pLine);
	if (nPrevious == m_nLast)
		m_nLast = nLine;
	Register(nLine, rSection);
}

void CVexIniOptionExchange::CLineIndex::Register(std::uint32_t nLine, SSection& rSection)
{
	const SLine& rLine = m_aLines[nLine];
	++rSection.m_nLines;
	if (rSection.m_nFirst == nVexNoLine)
		rSection.m_nFirst = nLine;
	if (rLine.m_pLine->m_bIsSection)
	{
		m_pWrittenSection = &rSection;
		RegisterAt(rSection.m_nHeader, nLine);
	}
	else if (!rLine.m_pLine->m_sEntry.empty())
	{
		if (rSection.m_nOptions++ == rSection.m_anBuckets.size())
			AddBuckets(rSection);
		RegisterAt(Link(rSection, rLine.m_pLine->m_sEntry, rLine.m_nHash), nLine);
	}
}

void CVexIniOptionExchange::CLineIndex::RegisterAt(std::uint32_t& rnPlace, std::uint32_t nLine)
{
	if (rnPlace == nVexNoLine)
		rnPlace = nLine;
	else
		m_bHidesLines = true;
}

CVexIniOptionExchange::SOptionLine* CVexIniOptionExchange::CLineIndex::Remove(
	std::string_view sSection, std::string_view sEntry)
{
	SSection* const pSection = FindSection(sSection);
	const std::uint32_t nLine = pSection ? FindLine(*pSection, sEntry) : nVexNoLine;
	if (nLine == nVexNoLine)
		return nullptr;
	SLine& rLine = m_aLines[nLine];
	std::uint32_t& rnLink = Link(*pSection, rLine.m_pLine->m_sEntry, rLine.m_nHash);
	if (rnLink == nLine)
	{
		rnLink = rLine.m_nNextInBucket;
		--pSection->m_nOptions;
	}
	if (pSection->m_nHeader == nLine)
		pSection->m_nHeader = nVexNoLine;
	--pSection->m_nLines;
	if (pSection->m_nFirst == nLine)
		pSection->m_nFirst = NextLine(nLine, *pSection);
	m_bListIsCurrent = false;
	return std::exchange(rLine.m_pLine, nullptr);
}

// The section's next line.
std::uint32_t CVexIniOptionExchange::CLineIndex::NextLine(std::uint32_t nLine, const SSection& rSection) const
{
	if (rSection.m_nLines == 0)
		return nVexNoLine;
	const auto BelongsToSection = [&](const SOptionLine* pLine)
	{ return pLine && m_oRule.Equal(pLine->m_sSection, rSection.m_sName); };
	do
		nLine = m_aLines[nLine].m_nNext;
	while (nLine != nVexNoLine && !BelongsToSection(m_aLines[nLine].m_pLine));
	return nLine;
}

void CVexIniOptionExchange::CLineIndex::GetSections(std::vector<std::string>& rasSections) const
{
	for (const auto& [nHash, rSection] : m_oSections)
	{
		const std::uint32_t nFirst = rSection.m_nFirst;
		if (nFirst != nVexNoLine && !m_aLines[nFirst].m_pLine->m_sSection.empty())
			rasSections.push_back(m_aLines[nFirst].m_pLine->m_sSection);
	}
}

void CVexIniOptionExchange::CLineIndex::GetEntries(std::string_view sSection, std::vector<std::string>& rasEntries)
{
	const SSection* const pSection = FindSection(sSection);
	if (!pSection)
		return;
	for (std::uint32_t nLine : pSection->m_anBuckets)
	{
		for (; nLine != nVexNoLine; nLine = m_aLines[nLine].m_nNextInBucket)
		{
			const std::string& rsEntry = m_aLines[nLine].m_pLine->m_sEntry;
			if (!rsEntry.empty())
				rasEntries.push_back(rsEntry);
		}
	}
}
