#include "runtime/OutOfMemory.h"

#include <unistd.h>
#include <cstdlib>
#include <new>
#include <string_view>

namespace runtime {

void endProcessWhenMemoryRunsOut() {
    std::set_new_handler([] {
        constexpr std::string_view kSentence = "Memory has run out; the process ends.\n";
        [[maybe_unused]] const auto written = ::write(STDERR_FILENO, kSentence.data(), kSentence.size());
        ::_exit(EXIT_FAILURE);
    });
}

}  // namespace runtime
