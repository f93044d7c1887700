#include "tools/keynote-capture/lecture/PlainText.h"

#include "base/UTF8.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

namespace keynote_capture {
namespace {

constexpr std::size_t kMostCharacters = 200;
constexpr const char* kEllipsis = "\u2026";
constexpr std::string_view kReplacement = "\uFFFD";

bool isControl(std::string_view character) {
    const auto byte = static_cast<unsigned char>(character.front());
    return byte < 0x20 || byte == 0x7F || (character >= "\u0080" && character <= "\u009F");
}

/// Characters that neither XML nor HTML can hold.
bool isForbidden(std::string_view character) {
    return isControl(character) || character == "\uFFFE" || character == "\uFFFF";
}

bool isSpace(std::string_view character) {
    return isControl(character) || character == " " || character == "\u2028" || character == "\u2029";
}

/// Embeddings, overrides and isolates, whose effect lasts until they are closed.
bool turnsDirection(std::string_view character) {
    return (character >= "\u202A" && character <= "\u202E") || (character >= "\u2066" && character <= "\u2069");
}

/// Calls `take` with each character; what is no UTF-8 comes as U+FFFD.
template <typename Take>
void forEachCharacter(std::string_view text, const Take& take) {
    while (!text.empty()) {
        const auto length = utf8::characterLength(text);
        take(length == 0 ? kReplacement : text.substr(0, length));
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
}

struct Reference {
    char character;
    std::string_view text;
};
/// The first three are those of WebVTT, too.
constexpr std::array<Reference, 5> kReferences{
    {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}}};

std::string withReferences(std::string_view text, std::span<const Reference> references) {
    std::string escaped;
    escaped.reserve(text.size() + text.size() / 8);
    forEachCharacter(text, [&](std::string_view character) {
        const auto reference = std::ranges::find(references, character.front(), &Reference::character);
        if (reference != references.end()) {
            escaped += reference->text;
        } else {
            const bool isKept = !isForbidden(character) || character == "\n" || character == "\t";
            escaped += isKept ? character : kReplacement;
        }
    });
    return escaped;
}

}  // namespace

std::string oneLine(std::string_view text) {
    std::string line;
    std::size_t count = 0;
    bool isBlankDue = false;
    forEachCharacter(text, [&](std::string_view character) {
        if (turnsDirection(character) || count > kMostCharacters) return;
        if (isSpace(character)) {
            isBlankDue = !line.empty();
            return;
        }
        if (++count > kMostCharacters) {
            line += kEllipsis;
            return;
        }
        if (std::exchange(isBlankDue, false)) line += ' ';
        line += character;
    });
    return line;
}

std::string escapedForXML(std::string_view text) {
    return withReferences(text, kReferences);
}

std::string escapedForCue(std::string_view text) {
    return withReferences(text, std::span(kReferences).first(3));
}

}  // namespace keynote_capture
