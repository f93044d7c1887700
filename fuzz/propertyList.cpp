/// A property list of any content: what is read stands in proportion to what it holds, and reads the same once written.

#include "platform/linux/files/PropertyList.h"
#include "fuzz/Require.h"

#include <cstdint>

namespace {

std::size_t sizeOf(const files::PropertyScalars& scalars) {
    std::size_t size = 0;
    for (const auto& [key, value] : scalars) {
        const auto* const text = std::get_if<std::string>(&value);
        size += key.size() + (text == nullptr ? 0 : text->size());
    }
    return size;
}

/// A text as an element, with references for what XML reads in another way.
std::string element(const char* name, const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        const bool isPlain = c > ' ' && c != '&' && c != '<' && c != '>';
        escaped += isPlain || c < 0 ? std::string(1, c) : "&#" + std::to_string(c) + ";";
    }
    return std::string("<") + name + ">" + escaped + "</" + name + ">";
}

std::string written(const files::PropertyScalars& scalars) {
    std::string list = "<plist><dict>";
    for (const auto& [key, value] : scalars) {
        const auto* const text = std::get_if<std::string>(&value);
        list += element("key", key);
        list += text != nullptr ? element("string", *text) : element("integer", std::get<bool>(value) ? "1" : "0");
    }
    return list + "</dict></plist>";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view contents(reinterpret_cast<const char*>(data), size);
    require(sizeOf(files::binaryPropertyScalars(contents)) <= 2 * size);
    const auto scalars = files::xmlPropertyScalars(contents);
    // A byte of other encodings may take three in UTF-8.
    require(sizeOf(scalars) <= 3 * size);
    require(files::xmlPropertyScalars(written(scalars)) == scalars);
    return 0;
}
