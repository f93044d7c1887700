#include "MacShared/LocalizedFormat.h"

#include "ports/Bundle.h"
#include "ports/Platform.h"

namespace shared {

namespace {

/// Which argument the conversion at the start of a text asks for, from 1; 0 when none begins there.
std::size_t positionAt(std::string_view text) {
    const bool isConversion = text.size() >= 4 && text[0] == '%' && text[2] == '$' && text[3] == '@';
    return isConversion && text[1] >= '1' && text[1] <= '9' ? static_cast<std::size_t>(text[1] - '0') : 0;
}

}  // namespace

std::string localizedString(const std::string& english) {
    return platform().bundles.mainBundle()->localizedString(english);
}

std::string localizedFormat(std::string_view format, std::initializer_list<std::string_view> arguments) {
    std::string result;
    while (!format.empty()) {
        const auto position = positionAt(format);
        // A catalogue is not checked by the compiler, so a position that nobody filled stays visible.
        if (position > 0 && position <= arguments.size()) {
            result += arguments.begin()[position - 1];
            format.remove_prefix(4);
        } else {
            result += format.front();
            format.remove_prefix(1);
        }
    }
    return result;
}

}  // namespace shared
