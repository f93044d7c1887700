#pragma once

namespace shared {

/// Forgets the log's formatter, file and places, so that the next message begins a new run. For programs that set up
/// several platforms one after the other; no other thread may log meanwhile.
void beginNewLogRun();

}  // namespace shared
