#pragma once

#include <unistd.h>
#include <cerrno>
#include <string_view>
#include <utility>

namespace runtime {

/// Owns an open file descriptor; -1 stands for none.
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (descriptor_ >= 0) ::close(descriptor_);
    }

    explicit operator bool() const { return descriptor_ >= 0; }
    [[nodiscard]] int get() const { return descriptor_; }

    /// Writes all bytes; false with `errno` set when that fails.
    [[nodiscard]] bool writeAll(std::string_view bytes) const {
        while (!bytes.empty()) {
            const auto written = ::write(descriptor_, bytes.data(), bytes.size());
            if (written < 0 && errno != EINTR) return false;
            if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
        }
        return true;
    }

private:
    int descriptor_;
};

}  // namespace runtime
