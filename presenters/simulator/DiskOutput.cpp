#include "presenters/simulator/DiskOutput.h"

#include "runtime/FileDescriptor.h"

#include <fcntl.h>
#include <cerrno>
#include <system_error>

namespace simulator {
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

class DiskFile : public presenters::ProgramOutput::File {
public:
    DiskFile(std::filesystem::path path, runtime::FileDescriptor descriptor)
        : path_(std::move(path)), descriptor_(std::move(descriptor)) {}

    [[nodiscard]] ErrorPtr append(std::string_view bytes) override {
        return descriptor_.writeAll(bytes) ? nullptr : errorAt(path_, lastCode());
    }

private:
    const std::filesystem::path path_;
    const runtime::FileDescriptor descriptor_;
};

}  // namespace

ErrorPtr DiskOutput::createDirectory(const std::filesystem::path& path) {
    std::error_code code;
    std::filesystem::create_directories(path, code);
    return errorAt(path, code);
}

std::unique_ptr<presenters::ProgramOutput::File> DiskOutput::openFile(const std::filesystem::path& path,
                                                                      ErrorPtr& error) {
    // What the umask leaves of it, as for any program's files.
    static constexpr mode_t kUsualMode = 0666;
    runtime::FileDescriptor descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kUsualMode));
    if (descriptor) return std::make_unique<DiskFile>(path, std::move(descriptor));
    error = errorAt(path, lastCode());
    return nullptr;
}

ErrorPtr DiskOutput::rename(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::error_code code;
    std::filesystem::rename(from, to, code);
    return errorAt(to, code);
}

}  // namespace simulator
