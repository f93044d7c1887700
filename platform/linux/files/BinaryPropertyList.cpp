#include "platform/linux/files/PropertyList.h"

#include "platform/linux/text/IcuText.h"

#include <cstdint>
#include <optional>
#include <utility>

namespace files {

// Objects refer to each other, so 134 bytes of nested arrays can stand for gigabytes. We need the top dictionary's
// scalars only, and read just those.

namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

enum Kind : unsigned { kBoolean = 0x0, kInteger = 0x1, kAscii = 0x5, kUtf16 = 0x6, kDictionary = 0xD };

/// An object's head: what it is, how many elements it has, and where they begin.
struct Head {
    unsigned kind = 0;
    std::uint64_t count = 0;
    std::uint64_t start = 0;
};

/// Every read is checked against the end of the contents; nothing means damaged.
class Reader {
public:
    explicit Reader(std::string_view contents) : contents_(contents) {}

    PropertyScalars scalars() const {
        const auto trailer = contents_.size() - kTrailerSize;
        const auto top = object(integer(trailer + 16, 8).value_or(0));
        if (!top || top->kind != kDictionary || top->count > contents_.size()) return {};
        PropertyScalars result;
        // A text may stand under many keys: together they may not become much more than the file holds. (UTF-8 takes
        // up to one and a half times as much as UTF-16.)
        const auto most = 2 * contents_.size();
        std::size_t taken = 0;
        for (std::uint64_t i = 0; i < top->count && taken <= most; ++i) {
            auto key = text(referredObject(*top, i));
            const auto object = referredObject(*top, top->count + i);
            auto value = text(object);
            taken += key.value_or("").size() + value.value_or("").size();
            if (!key) continue;
            if (value)
                result.emplace(std::move(*key), std::move(*value));
            else if (const auto flag = boolean(object))
                result.emplace(std::move(*key), *flag);
        }
        if (taken > most) return {};
        return result;
    }

private:
    std::optional<std::uint64_t> integer(std::uint64_t position, std::uint64_t size) const {
        if (size < 1 || size > 8 || position > contents_.size() || size > contents_.size() - position)
            return std::nullopt;
        std::uint64_t value = 0;
        for (std::uint64_t i = 0; i < size; ++i)
            value = value << 8 | static_cast<unsigned char>(contents_[position + i]);
        return value;
    }

    std::optional<Head> object(std::uint64_t number) const {
        const auto trailer = contents_.size() - kTrailerSize;
        const auto offsetSize = integer(trailer + 6, 1).value_or(0);
        const auto table = integer(trailer + 24, 8).value_or(0);
        // Neither product nor sum below overflows then; what they point at is checked with every read.
        if (number > contents_.size() || table > contents_.size()) return std::nullopt;
        const auto position = integer(table + number * offsetSize, offsetSize);
        if (!position || *position < kHeaderSize || *position >= trailer) return std::nullopt;
        const auto marker = integer(*position, 1).value_or(0);
        Head head{static_cast<unsigned>(marker >> 4), marker & 0xF, *position + 1};
        // A long object: its number of elements follows as an integer of its own.
        if (head.count == 0xF) {
            const auto sizeMarker = integer(head.start, 1).value_or(0);
            const auto count = integer(head.start + 1, std::uint64_t{1} << (sizeMarker & 0xF));
            if (sizeMarker >> 4 != kInteger || !count) return std::nullopt;
            head.start += 1 + (std::uint64_t{1} << (sizeMarker & 0xF));
            head.count = *count;
        }
        return head;
    }

    std::optional<Head> referredObject(const Head& dictionary, std::uint64_t index) const {
        const auto referenceSize = integer(contents_.size() - kTrailerSize + 7, 1).value_or(0);
        const auto number = integer(dictionary.start + index * referenceSize, referenceSize);
        return number ? object(*number) : std::nullopt;
    }

    std::optional<std::string> text(const std::optional<Head>& head) const {
        if (!head || head->count > contents_.size()) return std::nullopt;
        if (head->kind == kAscii && head->count <= contents_.size() - head->start) {
            return std::string(contents_.substr(head->start, head->count));
        }
        if (head->kind != kUtf16 || head->count > (contents_.size() - head->start) / 2) return std::nullopt;
        std::u16string utf16;
        for (std::uint64_t i = 0; i < head->count; ++i)
            utf16 += static_cast<char16_t>(*integer(head->start + i * 2, 2));
        return text::utf8From(utf16);
    }

    /// Whether a boolean is true or an integer other than zero.
    std::optional<bool> boolean(const std::optional<Head>& head) const {
        if (!head) return std::nullopt;
        if (head->kind == kBoolean && (head->count | 1) == 9) return head->count == 9;
        // Longer integers stand for numbers beyond 64 bits, which nobody means by yes or no.
        if (head->kind != kInteger || head->count > 3) return std::nullopt;
        const auto number = integer(head->start, std::uint64_t{1} << head->count);
        return number ? std::optional(*number != 0) : std::nullopt;
    }

    const std::string_view contents_;
};

}  // namespace

PropertyScalars binaryPropertyScalars(std::string_view contents) {
    if (contents.size() < kHeaderSize + kTrailerSize) return {};
    return Reader(contents).scalars();
}

}  // namespace files
