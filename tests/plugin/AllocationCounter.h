// Counts the program's live operator-new allocations, the bundle's included, so that a test can
// tell whether an object was left alive.
#pragma once

namespace testsupport {
long liveAllocations();
}
