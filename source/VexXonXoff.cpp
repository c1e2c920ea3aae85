#include "VexXonXoff.h"

CVexXonXoff::CVexXonXoff() = default;

CVexXonXoff::CVexXonXoff(unsigned short nXOnLim, unsigned short nXOffLim, char cXOn, char cXOff)
	: m_bUseXOnXOff(true), m_wXOnLim(nXOnLim), m_wXOffLim(nXOffLim), m_cXOnChar(cXOn), m_cXOffChar(cXOff)
{
}

void CVexXonXoff::UseXonXoff(bool bUse)
{
	m_bUseXOnXOff = bUse;
}

bool CVexXonXoff::GetUseFlag() const
{
	return m_bUseXOnXOff;
}

void CVexXonXoff::SetXonLimit(unsigned short nLimit)
{
	m_wXOnLim = nLimit;
}

unsigned short CVexXonXoff::GetXonLimit() const
{
	return m_wXOnLim;
}

void CVexXonXoff::SetXoffLimit(unsigned short nLimit)
{
	m_wXOffLim = nLimit;
}

void CVexXonXoff::SetXonChar(char c)
{
	m_cXOnChar = c;
}

char CVexXonXoff::GetXonChar() const
{
	return m_cXOnChar;
}

void CVexXonXoff::SetXoffChar(char c)
{
	m_cXOffChar = c;
}

char CVexXonXoff::GetXoffChar() const
{
	return m_cXOffChar;
}

unsigned short CVexXonXoff::GetXOffLimit() const
{
	return m_wXOffLim;
}
