#pragma once

// Software flow control of a serial line, as CVexSerial is told it by pointer. That reads the two characters alone and
// switches flow control on in both directions, whatever the flag says; the limits are not applied to the device.
class CVexXonXoff
{
public:
	// Not in use, limits 0, the usual characters 0x11 and 0x13.
	CVexXonXoff();

	// In use.
	CVexXonXoff(unsigned short nXOnLim, unsigned short nXOffLim, char cXOn, char cXOff);

	void UseXonXoff(bool bUse);
	bool GetUseFlag() const;

	// Fill limits: transmission resumes below the one and stops above the other.
	void SetXonLimit(unsigned short nLimit);
	unsigned short GetXonLimit() const;
	void SetXoffLimit(unsigned short nLimit);
	unsigned short GetXOffLimit() const;    // KEPT: spelling

	void SetXonChar(char c);
	char GetXonChar() const;
	void SetXoffChar(char c);
	char GetXoffChar() const;

private:
	bool m_bUseXOnXOff = false;
	unsigned short m_wXOnLim = 0;
	unsigned short m_wXOffLim = 0;
	char m_cXOnChar = 0x11;
	char m_cXOffChar = 0x13;
};
