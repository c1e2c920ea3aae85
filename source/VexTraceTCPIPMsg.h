#pragma once

// A message between a trace server and its monitors.

#include "VexMessageBase.h"
#include "VexTraceMsg.h"

#include <string>
#include <utility>
#include <vector>

// A frame with the start marker "effe", the end marker "feef" and an identifier as its first payload word. To send: an
// empty message, one CreateMsg(), GetMessage(). To receive: the parsing constructor, GetCommand(), then the items with
// GetData().
class CVexTraceTCPIPMsg : public CVexMessageBase
{
public:
	// A request of the client is an indication to the server; the server's confirmation is the client's response. With
	// TRACE it is the server that requests.
	enum EMsgID : std::int32_t
	{
		LOGIN_REQ = 0x01000100,
		LOGIN_IND = LOGIN_REQ,
		LOGIN_CNF = 0x02000100,
		LOGIN_RESP = LOGIN_CNF,
		START_REQ = 0x01000200,
		START_IND = START_REQ,
		START_CNF = 0x02000200,
		START_RESP = START_CNF,
		STOP_REQ = 0x01000300,
		STOP_IND = STOP_REQ,
		STOP_CNF = 0x02000300,
		STOP_RESP = STOP_CNF,
		INFO_REQ = 0x01000400,
		INFO_IND = INFO_REQ,
		INFO_CNF = 0x02000400,
		INFO_RESP = INFO_CNF,
		TRACE_REQ = 0x01000500,
		TRACE_IND = TRACE_REQ,
		TRACE_CNF = 0x02000500,
		TRACE_RESP = TRACE_CNF,
		CHANGE_TRACE_LEVEL_REQ = 0x01000600,
		CHANGE_TRACE_LEVEL_IND = CHANGE_TRACE_LEVEL_REQ,
		CHANGE_TRACE_LEVEL_CNF = 0x02000600,
		CHANGE_TRACE_LEVEL_RESP = CHANGE_TRACE_LEVEL_CNF,
		GET_OBJECT_LIST_REQ = 0x01000700,
		GET_OBJECT_LIST_IND = GET_OBJECT_LIST_REQ,
		GET_OBJECT_LIST_CNF = 0x02000700,
		GET_OBJECT_LIST_RESP = GET_OBJECT_LIST_CNF,
		WATCH_CLASS_REQ = 0x01000800,
		WATCH_CLASS_IND = WATCH_CLASS_REQ,
		WATCH_CLASS_CNF = 0x02000800,
		WATCH_CLASS_RESP = WATCH_CLASS_CNF,
		NAME_ID_REQ = 0x01000900,
		NAME_ID_IND = NAME_ID_REQ,
		NAME_ID_CNF = 0x02000900,
		NAME_ID_RESP = NAME_ID_CNF
	};

	CVexTraceTCPIPMsg();
	CVexTraceTCPIPMsg(const char* pData, int nLen);

	// True too for a header alone (see CVexMessageBase). A message with a command is valid only if the command is one
	// of the above.
	bool IsValid() const override;

	// Behind the identifier.
	void ResetDataOffset() override;

	// 0 if the payload is too short for one; any other number is possible in a message that is not valid.
	EMsgID GetCommand() const;

	// Each appends the identifier and then the arguments in their order, a vector as its count and its pairs. The first
	// one is LOGIN_REQ; the password as CVexPassword writes it to a stream.
	void CreateMsg(const std::string& sUser, const std::string& sPassword);
	void CreateMsg(EMsgID eID);
	void CreateMsg(EMsgID eID, long n);
	void CreateMsg(EMsgID eID, const std::string& sText);
	void CreateMsg(EMsgID eID, long n, CVexTraceMsg::ETraceLevel eLevel, const std::string& sText);
	void CreateMsg(EMsgID eID, const std::string& sText, CVexTraceMsg::ETraceLevel eLevel);
	void CreateMsg(EMsgID eID, long n, const std::string& sText);
	void CreateMsg(EMsgID eID, const std::vector<std::pair<long, CVexTraceMsg::ETraceLevel>>& aoLevels);
	void CreateMsg(EMsgID eID, const std::vector<std::pair<long, std::string>>& aoNames);

private:
	void AddString(const std::string& s);
};
