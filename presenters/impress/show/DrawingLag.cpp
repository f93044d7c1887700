#include "presenters/impress/show/DrawingLag.h"

#include <charconv>
#include <fstream>
#include <iterator>
#include <string>

namespace impress {

using namespace std::chrono_literals;

std::chrono::milliseconds drawingLag(std::string_view maps) {
    constexpr std::string_view kWindows = "/libvclplug_";
    constexpr std::string_view kPlain = "/libvclplug_gen";
    bool isPlain = false;
    for (auto at = maps.find(kWindows); at != std::string_view::npos; at = maps.find(kWindows, at + 1)) {
        isPlain = maps.substr(at).starts_with(kPlain);
        if (!isPlain) break;
    }
    return isPlain ? 0ms : 500ms;
}

std::chrono::milliseconds drawingLagOf(pid_t office) {
    std::ifstream file("/proc/" + std::to_string(office) + "/maps");
    return drawingLag(std::string(std::istreambuf_iterator<char>(file), {}));
}

bool drawsBeforeFocus(std::string_view version) {
    double number = 0;
    std::from_chars(version.data(), version.data() + version.size(), number);
    return number > 0 && number < 7.45;
}

}  // namespace impress
