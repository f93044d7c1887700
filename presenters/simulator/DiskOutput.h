#pragma once

#include "presenters/model/ProgramOutput.h"

namespace simulator {

/// Writes to the real file system. Errors are of `NSPOSIXErrorDomain` and name the path.
class DiskOutput : public presenters::ProgramOutput {
public:
    [[nodiscard]] ErrorPtr createDirectory(const std::filesystem::path& path) override;
    [[nodiscard]] std::unique_ptr<File> openFile(const std::filesystem::path& path, ErrorPtr& error) override;
    [[nodiscard]] ErrorPtr rename(const std::filesystem::path& from, const std::filesystem::path& to) override;
};

}  // namespace simulator
