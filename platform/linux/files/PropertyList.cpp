#include "platform/linux/files/PropertyList.h"

#include "platform/linux/files/OpenEntry.h"
#include "runtime/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <cstddef>

namespace files {

namespace {

constexpr std::size_t kLargestFile = 1 << 20;

/// Whether an O_PATH descriptor stands for a regular file. Until this is known nothing is opened in earnest: a device
/// may act on being opened.
bool isRegular(const runtime::FileDescriptor& path) {
    struct stat status {};
    return path && ::fstat(path.get(), &status) == 0 && S_ISREG(status.st_mode);
}

/// The file behind an O_PATH descriptor; empty for anything but a regular file of bearable size.
std::string readSmallFile(const runtime::FileDescriptor& path) {
    if (!isRegular(path)) return {};
    // Opened through the descriptor that was looked at, so that nothing else can have taken its place.
    const auto name = "/proc/self/fd/" + std::to_string(path.get());
    const runtime::FileDescriptor file(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0) return {};
    // Files of /proc and the like say 0 and are no lists.
    if (status.st_size <= 0 || status.st_size > static_cast<off_t>(kLargestFile)) return {};
    std::string contents(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t length = 0;
    while (length < contents.size()) {
        const auto count = ::read(file.get(), contents.data() + length, contents.size() - length);
        // The file has become shorter since it was looked at.
        if (count == 0) break;
        if (count < 0 && errno != EINTR) return {};
        if (count > 0) length += static_cast<std::size_t>(count);
    }
    contents.resize(length);
    return contents;
}

PropertyScalars scalarsIn(std::string_view contents) {
    return contents.starts_with("bplist00") ? binaryPropertyScalars(contents) : xmlPropertyScalars(contents);
}

}  // namespace

std::optional<std::string> stringIn(const PropertyScalars& scalars, std::string_view key) {
    const auto found = scalars.find(key);
    const auto* const text = found == scalars.end() ? nullptr : std::get_if<std::string>(&found->second);
    return text == nullptr ? std::nullopt : std::optional(*text);
}

PropertyScalars readPropertyScalars(const std::filesystem::path& path) {
    return scalarsIn(readSmallFile(runtime::FileDescriptor(::open(path.c_str(), O_PATH | O_CLOEXEC))));
}

std::optional<PropertyScalars> readPropertyScalarsIn(int directory, const char* name) {
    const auto file = openEntry(directory, name, O_PATH);
    if (!isRegular(file)) return std::nullopt;
    return scalarsIn(readSmallFile(file));
}

}  // namespace files
