#pragma once

// Trace levels, their names, and one line of trace output.

#include "VexLocalTime.h"

#include <map>
#include <string>

// Maps the values of an enumeration to their description texts.
template <class T>
class CEnumDescription
{
public:
	struct SEnumDescription
	{
		T eEnumeration;
		const char* sDescription;
	};

	// Copies the nEntries rows of the table; of a value that is listed twice the first text counts.
	CEnumDescription(const SEnumDescription* aoEnumAndDescription, int nEntries, T nFailIndex)
		: m_nFailIndex(nFailIndex)
	{
		for (int i = 0; i < nEntries; ++i)
			m_oDescriptions.emplace(aoEnumAndDescription[i].eEnumeration, aoEnumAndDescription[i].sDescription);
	}

	virtual ~CEnumDescription() = default;

	// The value's text. For a value that is not in the table: "Eintrag nicht gefunden, Code = ", the decimal value
	// and one NUL character, which is part of the text.
	std::string GetDescriptionString(T eEnumeration) const
	{
		const auto oFound = m_oDescriptions.find(eEnumeration);
		if (oFound != m_oDescriptions.end())
			return oFound->second;
		// KEPT: the NUL behind the number belongs to the text. Test: CEnumDescription.UnknownValueEndsInNulKept
		return "Eintrag nicht gefunden, Code = " + std::to_string(static_cast<int>(eEnumeration)) + '\0';
	}

private:
	std::map<T, std::string> m_oDescriptions;
	T m_nFailIndex;
};

// One line of trace output: time stamp, level, identifier of the trace object that wrote it, text.
//
// Threads:   written by one thread, and after the hand-over to the trace server read by the server's thread only.
// Ownership: made on the heap by a trace object; the trace server deletes it.
class CVexTraceMsg
{
public:
	// Single bits: sets of levels are kept as int masks. With a fixed type, as unknown values arrive from outside.
	enum ETraceLevel : int
	{
		eNone = 0,
		eError = 1,
		eWarning = 2,
		eInfo = 4,
		eDebug = 8,
		eDebugL2 = 16,
		eDebugL3 = 32
	};

	// A message with this text is no trace line: it asks the trace server to forget the object of its identifier.
	static const std::string& m_szMsgObjectDeleteReq;

	// Time 0 and an empty text; level and identifier are not set.
	CVexTraceMsg();
	CVexTraceMsg(ETraceLevel eLevel, long nID, const char* pszText);
	virtual ~CVexTraceMsg() = default;

	// Takes the current local time. A null text leaves the text as it was.
	void SetMsg(ETraceLevel eLevel, long nID, const char* pszText);

	const std::string& GetText() const;
	const CVexLocalTime& GetTime() const;
	long GetID() const;
	ETraceLevel GetTraceLevel() const;

	// Time stamp (the UTC instant, format TTMMJJJJ_HHMMSSmmm), level name, sObName and text, with nSeparator between
	// them and no line end.
	std::string GetMsgText(const std::string& sObName, char nSeparator) const;

private:
	CVexLocalTime m_oTime;
	std::string m_sText;
	long m_nID;
	ETraceLevel m_eTraceLevel;
};

// The table of the level names and the instance that looks them up.
extern const CEnumDescription<CVexTraceMsg::ETraceLevel>::SEnumDescription aoMeineTexte[7];
extern const CEnumDescription<CVexTraceMsg::ETraceLevel>& oMeineBeschreibung;

// Builds the statics of tracing (level names, default settings, global trace object) when the first object of this
// class is made. Every source file that includes this header makes one before its own static objects, so these may
// trace in their constructors and destructors in whatever order the loader runs them. The statics are never destroyed.
class CVexTraceStatics
{
public:
	CVexTraceStatics();
};

static const CVexTraceStatics oVexTraceStatics;
