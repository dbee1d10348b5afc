// Makes sure the companion application runs before an exchange with it.
#ifndef QUELLBARK_BRIDGE_LAUNCHER_H
#define QUELLBARK_BRIDGE_LAUNCHER_H

// Launches the companion application in the background unless a process with its signature
// is running already. When it cannot be found or launched, the user gets a notice (at most one
// in the life of the process). Nothing is returned: the caller's exchange goes ahead anyway.
void launchQuellbarkIfNecessary();

#endif
