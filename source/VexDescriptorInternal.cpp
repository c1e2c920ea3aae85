#include "VexDescriptorInternal.h"

#include <sys/socket.h>
#include <unistd.h>

CVexDescriptor::~CVexDescriptor()
{
	close(m_nDescriptor);
}

void CVexDescriptor::ShutDown()
{
	// In this order: who finds the mark missing behind its own call is ended by the shutdown.
	m_bShutDown = true;
	shutdown(m_nDescriptor, SHUT_RDWR);
}
