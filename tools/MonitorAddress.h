#pragma once

// Where the followed program is.

#include <string>

// The first IPv4 address of a host, in dotted form. Asks the name server, which may take seconds. False if there is none.
bool ResolveHost(const std::string& sHost, std::string& rsAddress);

// Why a connection to this address fails: tries once more, for a second at most.
std::string ReasonOfFailure(const std::string& sAddress, unsigned short nPort);
