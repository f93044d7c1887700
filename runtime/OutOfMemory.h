#pragma once

namespace runtime {

/// From now on the process ends at once, with status 1 and a sentence, when it asks in vain for memory: on any thread,
/// wherever it is, and as if it were killed. For a process that somebody starts again.
void endProcessWhenMemoryRunsOut();

}  // namespace runtime
