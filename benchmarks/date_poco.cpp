// packages: libpoco-dev
// libs: -lPocoFoundation
#include "date.h"
#include <Poco/DateTime.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/DateTimeParser.h>
#include <Poco/Timestamp.h>

static const std::string form = "%d.%m.%Y %H:%M:%S.%i";

static std::string Format(uint64_t us)
{
	return Poco::DateTimeFormatter::format(Poco::Timestamp(Poco::Timestamp::TimeVal(us)), form);
}

static uint64_t Parse(const std::string& text)
{
	int zone = 0;
	return uint64_t(Poco::DateTimeParser::parse(form, text, zone).timestamp().epochMicroseconds());
}

int main()
{
	return date::Main("Poco DateTimeFormatter/Parser", Format, Parse);
}
