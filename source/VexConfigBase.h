#pragma once

// The two bases that ini files and the command line share: an object that holds options, and one exchange of them.

// One direction of exchange between options and members. Lives for one operation, on one thread.
class CVexConfigExchange
{
public:
	explicit CVexConfigExchange(bool bSaveOption);
	virtual ~CVexConfigExchange();

	bool m_bDirty = false;         // an option was changed since the last read or write
	bool m_bSaveOption = false;    // true: from the members into the options; false: from the options into the members

protected:
	// For classes that set the direction themselves.
	CVexConfigExchange();
	CVexConfigExchange(const CVexConfigExchange&) = default;
	CVexConfigExchange& operator=(const CVexConfigExchange&) = default;
};

// Something that holds options.
class CVexConfigBase
{
public:
	virtual ~CVexConfigBase();

	// Loads the options, or saves them with bSave.
	virtual bool UpdateOptions(bool bSave) = 0;

protected:
	CVexConfigBase() = default;
	CVexConfigBase(const CVexConfigBase&) = default;
	CVexConfigBase& operator=(const CVexConfigBase&) = default;

	// Names the options to the exchange; here there are none.
	virtual void DoOptionExchange(CVexConfigExchange* pExchange);
};
