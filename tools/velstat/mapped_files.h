// What happens when another program cuts a file short that this process has mapped.
#pragma once

namespace vel::stat {

// Ends the process with status 1 and a line that names the file. Without this the process ends by SIGBUS, and nothing
// says why. SQLite maps a store's -shm, which is shared by all who use the store, so the loss can be neither prevented
// nor undone here; what was stored before is kept. Other causes of SIGBUS end the process as before.
void reportFilesCutShort();

} // namespace vel::stat
