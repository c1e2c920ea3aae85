// packages: libpoco-dev
// libs: -lPocoNet -lPocoFoundation
// Poco MailMessage: build the text of a 1 MB message with 20 header fields; read it back and ask for each field.
#include "net.h"
#include <Poco/DateTime.h>
#include <Poco/Net/MailMessage.h>
#include <Poco/Net/MailRecipient.h>
#include <Poco/Timestamp.h>
#include <sstream>

using namespace Poco::Net;

int main()
{
	const std::string body = net::Body(1000000);
	std::string text;
	int fields = 0;
	bool compare = true;
	auto build = [&]
	{
		MailMessage m;
		m.setSender("Station 7 <station7@example.org>");
		m.addRecipient(MailRecipient(MailRecipient::PRIMARY_RECIPIENT, "control@example.org", "Control"));
		m.setSubject("Report of the day");
		m.setDate(Poco::Timestamp());
		m.setContentType("text/plain; charset=iso-8859-1");
		for (int i = 0; i < 14; ++i)
			m.set("X-Field-" + std::to_string(i), "value of the field " + std::to_string(i));
		m.setContent(body, MailMessage::ENCODING_7BIT);
		std::ostringstream o;
		m.write(o);
		text = o.str();
	};
	auto read = [&]
	{
		MailMessage m;
		std::istringstream i(text);
		m.read(i);
		fields = 0;
		for (int k = 0; k < 14; ++k)
			fields += m.get("X-Field-" + std::to_string(k)).size() > 18;
		fields += m.getSubject() == "Report of the day";
		fields += m.getSender().size() > 10;
		fields += m.get("To").size() > 10;
		fields += m.getDate() > Poco::Timestamp(0);
		fields += m.getContentType().size() > 10;
		bench::Check(
			m.getContent().size() == body.size() && (!compare || m.getContent() == body), "the body came back whole");
	};
	auto header = [&]
	{
		MessageHeader h;
		std::istringstream i(text);
		h.read(i);
		bench::Check(h.get("X-Field-13").size() > 18, "header read");
	};
	build();
	read();
	compare = false;
	bench::Check(text.size() > body.size() && fields == 19, "every field came back");
	double b = bench::Rate(0.25, build), r = bench::Rate(0.25, read), h = bench::Rate(0.1, header);
	bench::Out("5 mail of 1 MB", "Poco MailMessage", "build text", "ms", 1e3 / b);
	bench::Out("5 mail of 1 MB", "Poco MailMessage", "build text", "MB/s", b * double(text.size()) * 1e-6);
	bench::Out("5 mail of 1 MB", "Poco MailMessage", "read back, fields", "ms", 1e3 / r);
	bench::Out("5 mail of 1 MB", "Poco MailMessage", "read back, fields", "MB/s", r * double(text.size()) * 1e-6);
	bench::Out("5 mail of 1 MB", "Poco MailMessage", "header only", "ms", 1e3 / h);
}
