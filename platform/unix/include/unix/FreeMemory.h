// Linux side of the platform: the only code that calls the system directly for the platform
// libraries. It holds generic Unix mechanics only and knows nothing of the APIs built on it.
//
// Memory the allocator holds free, given back to the system.
#pragma once

namespace os {

// Returns the free pages of every heap of this process to the system. Freed blocks stay where
// they are, so a long-running process keeps pages resident that it no longer uses; done before
// a large transient allocation, those pages are not counted again on top of it.
void returnFreeMemory();

} // namespace os
