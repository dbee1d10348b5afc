// Makes sure the companion application runs before an exchange with it.
#pragma once

// Launches the companion application in the background unless a process with its signature
// is running already. When it cannot be found or launched, the user gets a notice (at most one
// in the life of the process). Nothing is returned: the caller's exchange goes ahead anyway.
void launchQuellbarkIfNecessary();
