// Reports a mapped file that another program has truncated.
#pragma once

namespace vel::stat {

// From now on such a truncation ends the process with status 1 and a line that names the file, instead of a silent
// SIGBUS. SQLite maps a store's -shm, which all users of the store share, so the truncation can be neither prevented
// nor undone; everything stored before is kept. Other causes of SIGBUS end the process as before.
void reportFilesCutShort();

} // namespace vel::stat
