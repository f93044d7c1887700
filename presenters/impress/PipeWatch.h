#pragma once

#include "runtime/FileDescriptor.h"

#include <chrono>
#include <string>

namespace impress {

/// Tells when an office begins to listen, without looking for it in between: the system says what appears in the
/// folders into which offices put their pipes. One thread.
class PipeWatch {
public:
    /// Of pipes with this name, from now on.
    explicit PipeWatch(const std::string& pipe);

    /// Waits until such a pipe appears; not longer than `patience`. Whether one has appeared: its office may need a
    /// moment more until it answers.
    [[nodiscard]] bool wait(std::chrono::milliseconds patience);

private:
    [[nodiscard]] bool readNames() const;

    const std::string ending_;  ///< of the file's name
    const runtime::FileDescriptor events_;
};

}  // namespace impress
