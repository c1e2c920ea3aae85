#pragma once

// What an exchange with an ini file keeps beside its list of lines: where everything is, and where new lines belong.

#include "VexOptionExchange.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <sys/random.h>
#include <utility>
#include <vector>

#pragma GCC visibility push(hidden)

// In place of a number: no line, no section.
const std::uint32_t nVexNoItem = UINT32_MAX;

// A different start of all hashes in each process: nobody can write a file whose names all collide.
inline std::uint32_t VexHashSeed()
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

// The case rule for names: equality and hash.
class CVexNameRule
{
public:
	explicit CVexNameRule(bool bCaseSensitive) : m_bCaseSensitive(bCaseSensitive)
	{
		for (int c = 0; c < 256; ++c)
			m_anFolded[c] = static_cast<unsigned char>(bCaseSensitive ? c : std::tolower(c));
	}

	bool IsCaseSensitive() const { return m_bCaseSensitive; }

	bool Equal(std::string_view sLeft, std::string_view sRight) const
	{
		const auto AreSame = [this](char cLeft, char cRight) { return Fold(cLeft) == Fold(cRight); };
		return sLeft == sRight ||
			(sLeft.size() == sRight.size() && std::equal(sLeft.begin(), sLeft.end(), sRight.begin(), AreSame));
	}

	std::uint32_t Hash(std::string_view sName, std::uint32_t nContext) const
	{
		std::uint32_t nHash = VexHashSeed() ^ (nContext * 0x85EBCA6Bu);
		for (const char c : sName)
		{
			nHash = (nHash ^ Fold(c)) * 0x9E3779B1u;
			nHash ^= nHash >> 15;
		}
		return nHash;
	}

private:
	unsigned char Fold(char c) const { return m_anFolded[static_cast<unsigned char>(c)]; }

	const bool m_bCaseSensitive;
	unsigned char m_anFolded[256];
};

// Items by number, some of them found by their hash. TItem has the members m_nHash and m_nNextInBucket.
template <class TItem>
class CVexHashedItems
{
public:
	TItem& operator[](std::uint32_t nItem) { return m_aItems[nItem]; }
	const TItem& operator[](std::uint32_t nItem) const { return m_aItems[nItem]; }
	std::uint32_t Size() const { return static_cast<std::uint32_t>(m_aItems.size()); }

	std::uint32_t Add(TItem oItem)
	{
		m_aItems.push_back(std::move(oItem));
		return Size() - 1;
	}

	void Link(std::uint32_t nItem)
	{
		if (m_nLinked++ >= m_anBuckets.size())
			Grow();
		std::uint32_t& rnBucket = Bucket(m_aItems[nItem].m_nHash);
		m_aItems[nItem].m_nNextInBucket = rnBucket;
		rnBucket = nItem;
	}

	void Unlink(std::uint32_t nItem)
	{
		std::uint32_t* pnLink = &Bucket(m_aItems[nItem].m_nHash);
		while (*pnLink != nItem)
			pnLink = &m_aItems[*pnLink].m_nNextInBucket;
		*pnLink = m_aItems[nItem].m_nNextInBucket;
		--m_nLinked;
	}

	template <class TIsWanted>
	std::uint32_t Find(std::uint32_t nHash, TIsWanted oIsWanted) const
	{
		if (m_anBuckets.empty())
			return nVexNoItem;
		std::uint32_t nItem = m_anBuckets[nHash & (m_anBuckets.size() - 1)];
		while (nItem != nVexNoItem && (m_aItems[nItem].m_nHash != nHash || !oIsWanted(m_aItems[nItem])))
			nItem = m_aItems[nItem].m_nNextInBucket;
		return nItem;
	}

private:
	std::uint32_t& Bucket(std::uint32_t nHash) { return m_anBuckets[nHash & (m_anBuckets.size() - 1)]; }

	void Grow()
	{
		std::vector<std::uint32_t> anOld(std::max<std::size_t>(32, 2 * m_anBuckets.size()), nVexNoItem);
		anOld.swap(m_anBuckets);
		for (std::uint32_t nItem : anOld)
		{
			while (nItem != nVexNoItem)
			{
				std::uint32_t& rnBucket = Bucket(m_aItems[nItem].m_nHash);
				const std::uint32_t nNext = std::exchange(m_aItems[nItem].m_nNextInBucket, rnBucket);
				rnBucket = std::exchange(nItem, nNext);
			}
		}
	}

	std::vector<TItem> m_aItems;
	std::vector<std::uint32_t> m_anBuckets;    // a power of two
	std::size_t m_nLinked = 0;
};

// Finds sections and options without a walk through the lines, and holds the lines as a chain, in which a new one is put
// behind any other without moving the rest: put into the list at once, each would move all that follow.
//
// Sections and lines go by their numbers here. A section's number tells it from all others under the case rule.
class __attribute__((visibility("hidden"))) CVexIniOptionExchange::CLineIndex
{
public:
	// The section of a line and, of an option, its entry.
	struct SKey
	{
		std::uint32_t m_nSection;
		std::string_view m_sEntry;
		std::uint32_t m_nHash;
	};

	CLineIndex(bool bCaseSensitive, const COptionLines& rapLines) : m_oRule(bCaseSensitive)
	{
		m_nWrittenSection = TakeSection("");
		for (SOptionLine* pLine : rapLines)
			InsertBehind(nVexNoItem, pLine, Key(TakeSection(pLine->m_sSection), pLine->m_sEntry));
		m_bListIsCurrent = true;
	}

	bool IsCaseSensitive() const { return m_oRule.IsCaseSensitive(); }

	// The lines in order, if they are not in rapLines already.
	void BringUpToDate(COptionLines& rapLines)
	{
		if (m_bListIsCurrent)
			return;
		rapLines.clear();
		rapLines.reserve(m_aLines.Size());
		for (std::uint32_t nLine = m_nFirst; nLine != nVexNoItem; nLine = m_aLines[nLine].m_nNext)
		{
			if (m_aLines[nLine].m_pLine)
				rapLines.push_back(m_aLines[nLine].m_pLine);
		}
		m_bListIsCurrent = true;
	}

	// The section's number, a new one if there is none yet.
	std::uint32_t TakeSection(std::string_view sName)
	{
		std::uint32_t nSection = SectionNumber(sName);
		if (nSection == nVexNoItem)
		{
			nSection = m_aSections.Add({ std::string(sName), m_oRule.Hash(sName, nVexNoItem) });
			m_aSections.Link(nSection);
		}
		return nSection;
	}

	// The first line of a section and its first header; nVexNoItem if there is none.
	std::uint32_t FirstLine(std::uint32_t nSection) const { return m_aSections[nSection].m_nFirst; }
	std::uint32_t Header(std::uint32_t nSection) const { return m_aSections[nSection].m_nHeader; }

	const std::string& SectionName(std::uint32_t nSection) const { return m_aSections[nSection].m_sName; }

	// The section under whose header a line at the end of the list stands in the file.
	std::uint32_t WrittenSection() const { return m_nWrittenSection; }

	// The entry's text is not copied.
	SKey Key(std::uint32_t nSection, std::string_view sEntry = {}) const
	{
		return { nSection, sEntry, m_oRule.Hash(sEntry, nSection) };
	}

	std::uint32_t FindOption(const SKey& rKey) const
	{
		const auto IsWanted = [&](const SLine& rLine)
		{ return rLine.m_nSection == rKey.m_nSection && m_oRule.Equal(rLine.m_pLine->m_sEntry, rKey.m_sEntry); };
		return m_aLines.Find(rKey.m_nHash, IsWanted);
	}

	// An option, without entry the section's first line; null if there is none.
	SOptionLine* Find(std::string_view sSection, std::string_view sEntry) const
	{
		const std::uint32_t nLine = FindLine(sSection, sEntry);
		return nLine == nVexNoItem ? nullptr : m_aLines[nLine].m_pLine;
	}

	// With nVexNoItem in place of a line: behind the last one. The record belongs to the list from now on; the key is its
	// own. The new line.
	std::uint32_t InsertBehind(std::uint32_t nBefore, SOptionLine* pLine, const SKey& rKey)
	{
		nBefore = nBefore == nVexNoItem ? m_nLast : nBefore;
		const std::uint32_t nLine = m_aLines.Add({ pLine, rKey.m_nSection, rKey.m_nHash });
		std::uint32_t& rnLink = nBefore == nVexNoItem ? m_nFirst : m_aLines[nBefore].m_nNext;
		m_aLines[nLine].m_nNext = std::exchange(rnLink, nLine);
		if (nBefore == m_nLast)
			m_nLast = nLine;
		Register(nLine, rKey);
		m_bListIsCurrent = false;
		return nLine;
	}

	// Takes a line out, which is the caller's then; null if there is none.
	SOptionLine* Remove(std::string_view sSection, std::string_view sEntry)
	{
		const std::uint32_t nLine = FindLine(sSection, sEntry);
		if (nLine == nVexNoItem)
			return nullptr;
		SLine& rLine = m_aLines[nLine];
		SSection& rSection = m_aSections[rLine.m_nSection];
		if (!rLine.m_pLine->m_sEntry.empty())
			m_aLines.Unlink(nLine);
		if (rSection.m_nHeader == nLine)
			rSection.m_nHeader = nVexNoItem;
		--rSection.m_nLines;
		SOptionLine* const pLine = std::exchange(rLine.m_pLine, nullptr);
		if (rSection.m_nFirst == nLine)
			rSection.m_nFirst = rSection.m_nLines == 0 ? nVexNoItem : NextLine(nLine);
		m_bListIsCurrent = false;
		return pLine;
	}

	// The case rule has changed since the file was read, and names that were two are one now.
	bool HidesLines() const { return m_bHidesLines; }

	void GetSections(std::vector<std::string>& rasSections) const
	{
		for (std::uint32_t nSection = 0; nSection < m_aSections.Size(); ++nSection)
		{
			const std::uint32_t nFirst = m_aSections[nSection].m_nFirst;
			if (nFirst != nVexNoItem && !m_aLines[nFirst].m_pLine->m_sSection.empty())
				rasSections.push_back(m_aLines[nFirst].m_pLine->m_sSection);
		}
	}

	void GetEntries(std::string_view sSection, std::vector<std::string>& rasEntries) const
	{
		const std::uint32_t nSection = SectionNumber(sSection);
		if (nSection == nVexNoItem)
			return;
		for (std::uint32_t nLine = FirstLine(nSection); nLine != nVexNoItem; nLine = m_aLines[nLine].m_nNext)
		{
			const SLine& rLine = m_aLines[nLine];
			if (rLine.m_nSection != nSection || !rLine.m_pLine)
				continue;
			const std::string& rsEntry = rLine.m_pLine->m_sEntry;
			if (!rsEntry.empty() && FindOption({ nSection, rsEntry, rLine.m_nHash }) == nLine)
				rasEntries.push_back(rsEntry);
		}
	}

private:
	struct SLine
	{
		SOptionLine* m_pLine;    // null once removed
		std::uint32_t m_nSection;
		std::uint32_t m_nHash;    // of an option
		std::uint32_t m_nNextInBucket = nVexNoItem;
		std::uint32_t m_nNext = nVexNoItem;
	};

	struct SSection
	{
		std::string m_sName;
		std::uint32_t m_nHash;
		std::uint32_t m_nNextInBucket = nVexNoItem;
		std::uint32_t m_nFirst = nVexNoItem;
		std::uint32_t m_nHeader = nVexNoItem;
		std::uint32_t m_nLines = 0;
	};

	std::uint32_t SectionNumber(std::string_view sName) const
	{
		// Most often it is the same section as the last time.
		if (m_nLastAsked < m_aSections.Size() && m_oRule.Equal(m_aSections[m_nLastAsked].m_sName, sName))
			return m_nLastAsked;
		m_nLastAsked = m_aSections.Find(m_oRule.Hash(sName, nVexNoItem),
			[&](const SSection& rSection) { return m_oRule.Equal(rSection.m_sName, sName); });
		return m_nLastAsked;
	}

	std::uint32_t FindLine(std::string_view sSection, std::string_view sEntry) const
	{
		const std::uint32_t nSection = SectionNumber(sSection);
		if (nSection == nVexNoItem)
			return nVexNoItem;
		return sEntry.empty() ? FirstLine(nSection) : FindOption(Key(nSection, sEntry));
	}

	void Register(std::uint32_t nLine, const SKey& rKey)
	{
		SSection& rSection = m_aSections[rKey.m_nSection];
		++rSection.m_nLines;
		if (rSection.m_nFirst == nVexNoItem)
			rSection.m_nFirst = nLine;
		if (m_aLines[nLine].m_pLine->m_bIsSection)
		{
			m_nWrittenSection = rKey.m_nSection;
			if (rSection.m_nHeader == nVexNoItem)
				rSection.m_nHeader = nLine;
			else
				m_bHidesLines = true;
		}
		else if (!rKey.m_sEntry.empty())
		{
			if (FindOption(rKey) == nVexNoItem)
				m_aLines.Link(nLine);
			else
				m_bHidesLines = true;
		}
	}

	std::uint32_t NextLine(std::uint32_t nLine) const
	{
		const std::uint32_t nSection = m_aLines[nLine].m_nSection;
		do
			nLine = m_aLines[nLine].m_nNext;
		while (m_aLines[nLine].m_nSection != nSection || !m_aLines[nLine].m_pLine);
		return nLine;
	}

	const CVexNameRule m_oRule;
	CVexHashedItems<SSection> m_aSections;
	CVexHashedItems<SLine> m_aLines;
	mutable std::uint32_t m_nLastAsked = nVexNoItem;
	std::uint32_t m_nFirst = nVexNoItem;
	std::uint32_t m_nLast = nVexNoItem;
	std::uint32_t m_nWrittenSection = 0;
	bool m_bListIsCurrent = false;
	bool m_bHidesLines = false;
};

#pragma GCC visibility pop
