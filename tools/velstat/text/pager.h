// Long output on a terminal goes through the user's pager, which is started by the first output.
#pragma once

namespace vel::stat {

// Makes output go straight to the terminal: for --no-pager, and for output that is redrawn or must be exact.
void avoidPager() noexcept;

// Starts the pager if standard output is a terminal and the user has one; at most once. From then on standard output,
// and standard error if it is a terminal, go to the pager. Throws Error if the pager cannot be started.
void startPager();

// Lets the pager finish and waits until the user leaves it; both streams then go to the terminal again. Does nothing
// if none was started. Calls only functions that are safe in a signal handler.
void endPager() noexcept;

// Whether the pager could not be run at all, so that the output is lost.
bool pagerWasMissing() noexcept;

} // namespace vel::stat
