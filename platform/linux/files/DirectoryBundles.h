#pragma once

#include "ports/Bundle.h"

#include <memory>

namespace files {

/// Bundles in directories. The information dictionary is `Contents/Info.plist`, XML or binary; resources lie in
/// `Contents/Resources`.
///
/// The main bundle has its resources and `Info.plist` in `share/keynote-capture`, either beside the executable's folder
/// (`bin/X`, the build tree) or one folder further up (`libexec/keynote-capture/X`, installed). An `Info.plist` that
/// names another executable belongs to the package, not to this program: its versions count, its identifier does not.
/// `CFBundleExecutable` is always the executable's own name. Its translations are gettext's, domain `keynote-capture`,
/// from `share/locale`; the wiring must have called `setlocale` for them.
class DirectoryBundles final : public Bundles {
public:
    /// For the executable that is running.
    DirectoryBundles();
    explicit DirectoryBundles(const std::filesystem::path& executable);

    [[nodiscard]] std::shared_ptr<const Bundle> mainBundle() override { return mainBundle_; }
    /// Reads the information dictionary at once. The bundle's path has no slash at its end.
    [[nodiscard]] std::shared_ptr<const Bundle> bundleAtPath(const std::filesystem::path& path) override;
    [[nodiscard]] std::optional<std::string> propertyListString(const std::filesystem::path& file,
                                                                const std::string& key) override;

private:
    const std::shared_ptr<const Bundle> mainBundle_;
};

}  // namespace files
