#pragma once

namespace velotte {

// Call once the program's objects are gone, before returning from main:
// ends requests still in flight and lets the tasks they and the objects'
// destructors cancelled finish on the loop, so nothing stays suspended.
void settleBeforeExit();

} // namespace velotte
