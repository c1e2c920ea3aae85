// Texts for the readers of times and spans, in every text form. Bytes 0 and 1 choose form and zone, the rest is the
// text. A stream over the text and the text itself must read alike, and what was read must survive being written.

#include "Require.h"

#include "VexLocalTime.h"

#include <sstream>

namespace
{
void CheckTime(const std::string& rText, CVexUTCTime::ETimeFormat eFormat)
{
	CVexUTCTime oFromStream, oFromDate, oFromText;
	std::istringstream oStream(rText);
	oStream >> CManipUTCTime(eFormat) >> oFromStream;
	oFromDate.SetDate(rText, eFormat);
	Require(oFromStream == oFromDate && oFromStream.IsTimeValid() == oFromDate.IsTimeValid());
	Require(!oStream.fail() || !oFromStream.IsTimeValid());

	// What was read is written, and reads back the same; but mail dates have the month's name.
	VexFromString(oFromText, eFormat, rText);
	const std::string sWritten = oFromText.Time2Str(eFormat);
	const CVexUTCTime oAgain(sWritten, eFormat);
	Require(eFormat >= CVexUTCTime::RFC0822 || oAgain.Time2Str(eFormat) == sWritten);
}

void CheckSpan(const std::string& rText, CVexTimeDiff::EDiffFormat eFormat)
{
	const CVexTimeDiff oBefore(4711);
	CVexTimeDiff oFromStream, oFromText(oBefore);
	std::istringstream oStream(rText + '\0');
	oStream >> DiffTimeFormat(eFormat) >> oFromStream;
	const bool bRead = VexFromString(oFromText, eFormat, rText);
	Require(bRead == !oStream.fail());
	Require(oFromText == (bRead ? oFromStream : oBefore));
}
}    // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize)
{
	if (nSize < 2)
		return 0;
	const std::string sText(reinterpret_cast<const char*>(pData) + 2, nSize - 2);
	const auto eFormat = static_cast<CVexUTCTime::ETimeFormat>(pData[0] % (CVexUTCTime::LAST_FORMAT_ENTRY + 1));
	CheckTime(sText, eFormat);
	const CVexLocalTime oLocal(sText, eFormat, pData[1] - 128);
	Require(oLocal.GetLocaltime() == CVexUTCTime(sText, eFormat).GetHighResolutionLocaltime());
	CheckSpan(sText, static_cast<CVexTimeDiff::EDiffFormat>(pData[0] % (CVexTimeDiff::DDHHMMSS + 2)));
	return 0;
}
