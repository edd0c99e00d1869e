// Long output on a terminal goes through the user's pager, which is started by the first output.
#pragma once

namespace vel::stat {

// Output goes straight to the terminal: --no-pager, and output that is redrawn or must be exact.
void avoidPager() noexcept;

// Starts the pager if standard output is a terminal and the user has one; at most once. From then on standard output,
// and standard error if it is a terminal, lead into the pager. Throws Error if the pager cannot be started.
void startPager();

// Lets the pager finish and waits until the user leaves it; both streams then lead to the terminal again. Does nothing
// if none was started. Calls only what a signal handler may.
void endPager() noexcept;

// Whether the pager that ended could not be run at all, so that its output is lost.
bool pagerWasMissing() noexcept;

} // namespace vel::stat
