#include "platform/linux/StandardErrorLog.h"

#include <fmt/format.h>
#include <unistd.h>
#include <cerrno>

void StandardErrorLog::write(std::string_view message) {
    const auto line = fmt::format("{}: {}\n", program_invocation_short_name, message);
    [[maybe_unused]] const auto dropped = ::write(STDERR_FILENO, line.data(), line.size());
}
