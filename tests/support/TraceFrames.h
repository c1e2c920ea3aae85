#pragma once

// The pieces of a monitor's frames, written here once more: they must not come from the code under test.

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

inline std::string Word(long long n)
{
	std::string sBytes;
	for (int nShift = 0; nShift < 32; nShift += 8)
		sBytes += static_cast<char>(static_cast<unsigned long long>(n) >> nShift);
	return sBytes;
}

inline std::string Item(const std::string& sText)
{
	return Word(static_cast<long long>(sText.size())) + sText;
}

inline std::string Frame(const std::string& sPayload)
{
	return "effe" + Item(sPayload) + "feef";
}

inline std::string TraceFrame(long nObject, int nLevel, const std::string& sText)
{
	return Frame(Word(0x01000500) + Word(nObject) + Word(nLevel) + Item(sText));
}

inline std::string ConfirmationOfLine(long nObject)
{
	return Frame(Word(0x02000500) + Word(nObject));
}

// Takes the first frame off the input. False if it is not whole yet; what is no frame is an error.
inline bool TakeFrame(std::string& rsInput, std::string& rsPayload)
{
	std::uint32_t nSize = 0;
	if (rsInput.size() < 12)
		return false;
	std::memcpy(&nSize, rsInput.data() + 4, 4);
	if (rsInput.size() - 12 < nSize)
		return false;
	rsPayload = rsInput.substr(8, nSize);
	if (rsInput.compare(0, nSize + std::size_t(12), Frame(rsPayload)) != 0)
		throw std::runtime_error("no frame: " + rsInput);
	rsInput.erase(0, nSize + std::size_t(12));
	return true;
}
