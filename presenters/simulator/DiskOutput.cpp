#include "presenters/simulator/DiskOutput.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <system_error>

namespace {

ErrorPtr errorAt(const std::filesystem::path& path, const std::error_code& code) {
    if (!code) return nullptr;
    return std::make_shared<const Error>(
        NSPOSIXErrorDomain, code.value(),
        Error::UserInfo{{NSFilePathErrorKey, path.string()},
                        {NSLocalizedDescriptionKey, path.string() + ": " + code.message()}});
}

std::error_code lastCode() {
    return {errno, std::generic_category()};
}

class DiskFile : public ProgramOutput::File {
public:
    DiskFile(std::filesystem::path path, int descriptor) : path_(std::move(path)), descriptor_(descriptor) {}
    ~DiskFile() override { ::close(descriptor_); }
    DiskFile(const DiskFile&) = delete;
    DiskFile& operator=(const DiskFile&) = delete;

    [[nodiscard]] ErrorPtr append(std::string_view bytes) override {
        while (!bytes.empty()) {
            const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) return errorAt(path_, lastCode());
            bytes.remove_prefix(static_cast<std::size_t>(written));
        }
        return nullptr;
    }

private:
    const std::filesystem::path path_;
    const int descriptor_;
};

}  // namespace

ErrorPtr DiskOutput::createDirectory(const std::filesystem::path& path) {
    std::error_code code;
    std::filesystem::create_directories(path, code);
    return errorAt(path, code);
}

std::unique_ptr<ProgramOutput::File> DiskOutput::openFile(const std::filesystem::path& path, ErrorPtr& error) {
    static constexpr mode_t kUsualMode = 0666;
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kUsualMode);
    if (descriptor >= 0) return std::make_unique<DiskFile>(path, descriptor);
    error = errorAt(path, lastCode());
    return nullptr;
}

ErrorPtr DiskOutput::rename(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::error_code code;
    std::filesystem::rename(from, to, code);
    return errorAt(to, code);
}
