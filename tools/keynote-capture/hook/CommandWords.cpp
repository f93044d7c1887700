#include "tools/keynote-capture/hook/CommandWords.h"

#include <utility>

namespace keynote_capture {
namespace {

/// Reads a command character by character.
class Splitter {
public:
    void take(char character) {
        if (isEscaped_) {
            isEscaped_ = false;
            return add(character);
        }
        if (character == '\\' && quote_ != '\'') {
            isEscaped_ = true;
        } else if (quote_ != '\0') {
            character == quote_ ? void(quote_ = '\0') : add(character);
        } else if (character == '"' || character == '\'') {
            quote_ = character;
            isInWord_ = true;
        } else if (character == ' ' || character == '\t' || character == '\n') {
            end();
        } else {
            add(character);
        }
    }
    std::optional<std::vector<std::string>> words() {
        end();
        return quote_ == '\0' && !isEscaped_ && !words_.empty() ? std::optional(words_) : std::nullopt;
    }

private:
    void add(char character) {
        word_ += character;
        isInWord_ = true;
    }
    void end() {
        if (std::exchange(isInWord_, false)) words_.push_back(std::exchange(word_, {}));
    }

    std::vector<std::string> words_;
    std::string word_;
    char quote_ = '\0';
    bool isInWord_ = false;
    bool isEscaped_ = false;
};

}  // namespace

std::optional<std::vector<std::string>> wordsOf(std::string_view command) {
    Splitter splitter;
    for (const char character : command) splitter.take(character);
    return splitter.words();
}

}  // namespace keynote_capture
