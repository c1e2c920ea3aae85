#pragma once

// Storage for static objects that no exit handler destroys: other static objects may still trace in their destructors,
// and other threads while the process exits.

#pragma GCC visibility push(hidden)

// Constant-initialised: usable before any constructor has run. T needs a constexpr default constructor.
template <class T>
union CVexImmortal
{
	constexpr CVexImmortal() : m_oObject() {}
	~CVexImmortal() {}
	T m_oObject;
};

// Memory only; whoever owns it builds the object with placement new.
template <class T>
union CVexImmortalMemory
{
	constexpr CVexImmortalMemory() : m_cUnused(0) {}
	~CVexImmortalMemory() {}
	char m_cUnused;
	T m_oObject;
};

#pragma GCC visibility pop
