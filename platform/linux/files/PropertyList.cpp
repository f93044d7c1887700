#include "platform/linux/files/PropertyList.h"

#include "platform/linux/files/OpenEntry.h"
#include "runtime/FileDescriptor.h"

#include <fcntl.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace {

constexpr std::size_t kLargestFile = 1 << 20;
/// The library's parser calls itself for every level, and 60,000 levels in 1 MiB overflow a thread's stack.
constexpr std::size_t kMostContainers = 4096;
/// For every entity it moves the rest of its text, and 200,000 of them in 1 MiB take seconds.
constexpr std::ptrdiff_t kMostEntities = 4096;

using Node = std::unique_ptr<void, decltype(&plist_free)>;
using Text = std::unique_ptr<char, decltype(&std::free)>;

/// Whether an O_PATH descriptor stands for a regular file. Until this is known nothing is opened in earnest: a device
/// may act on being opened.
bool isRegular(const FileDescriptor& path) {
    struct stat status {};
    return path && ::fstat(path.get(), &status) == 0 && S_ISREG(status.st_mode);
}

/// The file behind an O_PATH descriptor; empty for anything but a regular file of bearable size.
std::string readSmallFile(const FileDescriptor& path) {
    if (!isRegular(path)) return {};
    const auto name = "/proc/self/fd/" + std::to_string(path.get());
    const FileDescriptor file(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) return {};
    if (status.st_size <= 0 || status.st_size > static_cast<off_t>(kLargestFile)) return {};
    std::string contents(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t length = 0;
    while (length < contents.size()) {
        const auto count = ::read(file.get(), contents.data() + length, contents.size() - length);
        if (count == 0) break;
        if (count < 0 && errno != EINTR) return {};
        if (count > 0) length += static_cast<std::size_t>(count);
    }
    contents.resize(length);
    return contents;
}

bool exhaustsParser(std::string_view xml) {
    if (std::count(xml.begin(), xml.end(), '&') > kMostEntities) return true;
    std::size_t containers = 0;
    for (auto tag = xml.find('<'); tag != std::string_view::npos; tag = xml.find('<', tag + 1)) {
        const auto name = xml.substr(tag + 1);
        if (name.starts_with("dict") || name.starts_with("array")) ++containers;
    }
    return containers > kMostContainers;
}

/// Nothing for a value that is no scalar.
std::optional<PropertyScalars::mapped_type> scalarOf(plist_t value) {
    switch (plist_get_node_type(value)) {
        case PLIST_STRING: {
            char* newText = nullptr;
            plist_get_string_val(value, &newText);
            const Text text(newText, std::free);
            return text ? std::optional(PropertyScalars::mapped_type(text.get())) : std::nullopt;
        }
        case PLIST_BOOLEAN: {
            std::uint8_t flag = 0;
            plist_get_bool_val(value, &flag);
            return flag != 0;
        }
        case PLIST_UINT: {
            std::uint64_t number = 0;
            plist_get_uint_val(value, &number);
            return number != 0;
        }
        default:
            return std::nullopt;
    }
}

PropertyScalars xmlPropertyScalars(std::string_view contents) {
    if (exhaustsParser(contents)) return {};
    plist_t parsed = nullptr;
    plist_from_xml(contents.data(), static_cast<std::uint32_t>(contents.size()), &parsed);
    const Node root(parsed, plist_free);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT) return {};

    plist_dict_iter newIterator = nullptr;
    plist_dict_new_iter(root.get(), &newIterator);
    const std::unique_ptr<void, decltype(&std::free)> iterator(newIterator, std::free);
    PropertyScalars scalars;
    for (;;) {
        char* newKey = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(root.get(), iterator.get(), &newKey, &value);
        const Text key(newKey, std::free);
        if (value == nullptr) return scalars;
        auto scalar = scalarOf(value);
        if (key && scalar) scalars.emplace(key.get(), std::move(*scalar));
    }
}

PropertyScalars scalarsIn(std::string_view contents) {
    return contents.starts_with("bplist00") ? binaryPropertyScalars(contents) : xmlPropertyScalars(contents);
}

PropertyStrings stringsOf(PropertyScalars&& scalars) {
    PropertyStrings strings;
    for (auto& [key, value] : scalars) {
        if (auto* const text = std::get_if<std::string>(&value)) strings.emplace(key, std::move(*text));
    }
    return strings;
}

}  // namespace

PropertyStrings readPropertyStrings(const std::filesystem::path& path) {
    return stringsOf(readPropertyScalars(path));
}

PropertyScalars readPropertyScalars(const std::filesystem::path& path) {
    return scalarsIn(readSmallFile(FileDescriptor(::open(path.c_str(), O_PATH | O_CLOEXEC))));
}

std::optional<PropertyStrings> readPropertyStringsIn(int directory, const char* name) {
    const auto file = openEntry(directory, name, O_PATH);
    if (!isRegular(file)) return std::nullopt;
    return stringsOf(scalarsIn(readSmallFile(file)));
}
