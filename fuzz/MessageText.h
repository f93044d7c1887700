#pragma once

#include <cstddef>
#include <string>
#include <string_view>

struct sd_bus_message;

namespace fuzz {

/// The words of a line, one after the other; once there are no more, empty ones and zeros.
class Words {
public:
    explicit Words(std::string_view line) : rest_(line) {}

    [[nodiscard]] std::string_view next();
    /// The word as a text: `-` stands for an empty one, `x*9` for nine times x.
    [[nodiscard]] std::string text();
    /// What a number begins the word with.
    [[nodiscard]] long long integer();
    [[nodiscard]] double real();
    [[nodiscard]] std::string_view rest() const { return rest_; }

private:
    std::string_view rest_;
};

/// Puts values of these types into the message, read from the words as `busctl call` reads them: a text or number
/// each; of an array how many elements it has, and these; of a variant its type and its value. False when the bus could
/// carry no such message.
[[nodiscard]] bool appendValues(sd_bus_message* message, std::string_view types, Words& words);

}  // namespace fuzz
