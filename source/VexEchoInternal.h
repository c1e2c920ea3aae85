#pragma once

#pragma GCC visibility push(hidden)

// Switches the terminal's echo on again if a password is being read. For the end of the process; async-signal-safe.
void VexRestoreEcho();

#pragma GCC visibility pop
