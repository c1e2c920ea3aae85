#pragma once

// The index that an exchange with an ini file keeps beside its list of lines: where everything is, and where new lines
// belong.

#include "VexOptionExchange.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#pragma GCC visibility push(hidden)

// In place of a line's number: no line.
const std::uint32_t nVexNoLine = UINT32_MAX;

// The case rule for names: equality and hash.
class CVexNameRule
{
public:
	explicit CVexNameRule(bool bCaseSensitive);

	bool IsCaseSensitive() const { return m_bCaseSensitive; }
	bool Equal(std::string_view sLeft, std::string_view sRight) const;
	std::uint32_t Hash(std::string_view sName) const;

private:
	unsigned char Fold(char c) const { return m_anFolded[static_cast<unsigned char>(c)]; }

	const bool m_bCaseSensitive;
	unsigned char m_anFolded[256];
};

// Finds sections and options without a walk through the lines. It holds the lines as a chain, where inserting costs the
// same at any place; inserting into the list at once would move all lines that follow.
//
// Lines have numbers here. Each section has a hash table of its own, and its links are part of an array of lines:
// exchanges mostly go section by section, so what they need next is in the cache. With std::unordered_multimap in place
// of these tables an exchange with 10,000 options took 1.4 times as long, with 100,000 options 2.5 times: its nodes are
// scattered over the heap.
class __attribute__((visibility("hidden"))) CVexIniOptionExchange::CLineIndex
{
public:
	struct SSection
	{
		std::string m_sName;
		std::uint32_t m_nFirst = nVexNoLine;     // its first line
		std::uint32_t m_nHeader = nVexNoLine;    // its first header
		std::uint32_t m_nLines = 0;
		std::uint32_t m_nOptions = 0;
		// The first option of each bucket. Their number is a power of two.
		std::vector<std::uint32_t> m_anBuckets{ nVexNoLine };
	};

	// The list stays the exchange's and must outlive this object.
	CLineIndex(bool bCaseSensitive, COptionLines& rapLines);

	bool IsCaseSensitive() const { return m_oRule.IsCaseSensitive(); }

	// True if the case rule has changed since the file was read, and names that were two are one now.
	bool HidesLines() const { return m_bHidesLines; }

	// Brings the list up to date.
	void UpdateList();

	// Returns the section, a new one if there is none yet. The reference stays valid.
	SSection& TakeSection(std::string_view sName);

	// The section under whose header a line at the end of the list stands in the file.
	SSection& WrittenSection() const { return *m_pWrittenSection; }

	// An option, without entry the section's first line; null if there is none.
	SOptionLine* Find(std::string_view sSection, std::string_view sEntry);

	std::uint32_t Hash(std::string_view sEntry) const { return m_oRule.Hash(sEntry); }
	bool HasOption(SSection& rSection, std::string_view sEntry, std::uint32_t nHash);

	// Inserts a line of the section after another one, or at the end if nPrevious is nVexNoLine. The record belongs to
	// the list from now on. nHash: of its entry.
	void InsertAfter(std::uint32_t nPrevious, SOptionLine* pLine, SSection& rSection, std::uint32_t nHash);

	// Takes a line out. The record is the caller's from now on; null if there is no such line.
	SOptionLine* Remove(std::string_view sSection, std::string_view sEntry);

	void GetSections(std::vector<std::string>& rasSections) const;
	void GetEntries(std::string_view sSection, std::vector<std::string>& rasEntries);

private:
	struct SLine
	{
		SOptionLine* m_pLine;    // null once removed
		std::uint32_t m_nHash;
		std::uint32_t m_nNextInBucket;
		std::uint32_t m_nNext;
	};

	SSection* FindSection(std::string_view sName);
	std::uint32_t FindLine(SSection& rSection, std::string_view sEntry);
	std::uint32_t NextLine(std::uint32_t nLine, const SSection& rSection) const;
	std::uint32_t& Bucket(SSection& rSection, std::uint32_t nHash) const;
	std::uint32_t& Link(SSection& rSection, std::string_view sEntry, std::uint32_t nHash);
	void AddBuckets(SSection& rSection);
	void Register(std::uint32_t nLine, SSection& rSection);
	void RegisterAt(std::uint32_t& rnPlace, std::uint32_t nLine);

	const CVexNameRule m_oRule;
	COptionLines& m_rapLines;
	bool m_bListIsCurrent = false;
	bool m_bHidesLines = false;
	std::vector<SLine> m_aLines;
	std::uint32_t m_nFirst = nVexNoLine;
	std::uint32_t m_nLast = nVexNoLine;
	std::unordered_multimap<std::uint32_t, SSection> m_oSections;    // by the hash of their names
	SSection* m_pLastSection = nullptr;                              // the one that was found last
	SSection* m_pWrittenSection;
};

#pragma GCC visibility pop
