#pragma once

// The end of the process, as the trace server sees it.

#pragma GCC visibility push(hidden)

// For a signal handler of a thread that has called abort(): the active server's thread writes all that is queued, and
// VexIsDrained() answers true then, or if there is no server.
void VexRequestDrain();
bool VexIsDrained();

#pragma GCC visibility pop
