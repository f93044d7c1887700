#include "platform/linux/files/DirectoryBundles.h"

#include "platform/linux/files/PropertyList.h"

#include <libintl.h>
#include <system_error>
#include <utility>

namespace files {

namespace {

namespace fs = std::filesystem;

constexpr const char* kDomain = "keynote-capture";
constexpr const char* kExecutableKey = "CFBundleExecutable";
constexpr const char* kIdentifierKey = "CFBundleIdentifier";

bool isDirectory(const fs::path& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

class DirectoryBundle : public Bundle {
public:
    DirectoryBundle(fs::path path, fs::path resources, PropertyScalars info)
        : path_(std::move(path)), resources_(std::move(resources)), info_(std::move(info)) {}

    [[nodiscard]] const fs::path& path() const override { return path_; }
    [[nodiscard]] std::optional<std::string> infoString(const std::string& key) const override {
        return stringIn(info_, key);
    }
    [[nodiscard]] std::string localizedString(const std::string& english) const override { return english; }
    [[nodiscard]] std::optional<fs::path> pathForResource(const std::string& name, const std::string& ofType,
                                                          const fs::path& inDirectory) const override {
        auto path = resources_ / inDirectory / (ofType.empty() ? name : name + "." + ofType);
        std::error_code ignored;
        return fs::exists(path, ignored) ? std::optional(std::move(path)) : std::nullopt;
    }

private:
    const fs::path path_;
    const fs::path resources_;
    const PropertyScalars info_;
};

/// Of the bundles of this system only this program's own has a catalogue that gettext finds.
class MainBundle final : public DirectoryBundle {
public:
    MainBundle(const fs::path& resources, PropertyScalars info)
        : DirectoryBundle(resources, resources, std::move(info)) {
        ::bindtextdomain(kDomain, (resources.parent_path() / "locale").c_str());
        // Texts are UTF-8 throughout, whatever the locale says.
        ::bind_textdomain_codeset(kDomain, "UTF-8");
    }
    [[nodiscard]] std::string localizedString(const std::string& english) const override {
        if (english.empty()) return {};  // gettext would answer with the catalogue's header
        return ::dgettext(kDomain, english.c_str());
    }
};

fs::path resourcesOf(const fs::path& executable) {
    const auto folder = executable.parent_path();
    auto beside = folder.parent_path() / "share" / kDomain;
    auto installed = folder.parent_path().parent_path() / "share" / kDomain;
    // When neither is there, the build tree's place is as good as any: nothing will be found.
    return !isDirectory(beside) && isDirectory(installed) ? installed : beside;
}

std::shared_ptr<const Bundle> makeMainBundle(const fs::path& executable) {
    const auto resources = resourcesOf(executable);
    auto info = readPropertyScalars(resources / "Info.plist");
    const auto name = executable.filename().string();
    // Another program of the package: of its version, but not the service.
    if (stringIn(info, kExecutableKey) != name) info.erase(kIdentifierKey);
    info[kExecutableKey] = name;
    return std::make_shared<const MainBundle>(resources, std::move(info));
}

/// The link names the file itself, also when the program was started through another link.
fs::path runningExecutable() {
    std::error_code ignored;
    return fs::read_symlink("/proc/self/exe", ignored);
}

}  // namespace

DirectoryBundles::DirectoryBundles() : DirectoryBundles(runningExecutable()) {}

DirectoryBundles::DirectoryBundles(const fs::path& executable) : mainBundle_(makeMainBundle(executable)) {}

std::shared_ptr<const Bundle> DirectoryBundles::bundleAtPath(const fs::path& path) {
    if (!isDirectory(path)) return nullptr;
    const auto contents = path / "Contents";
    // A path may end in a slash, as URLs of directories do.
    return std::make_shared<const DirectoryBundle>(path.has_filename() ? path : path.parent_path(),
                                                   contents / "Resources",
                                                   readPropertyScalars(contents / "Info.plist"));
}

std::optional<std::string> DirectoryBundles::propertyListString(const fs::path& file, const std::string& key) {
    return stringIn(readPropertyScalars(file), key);
}

}  // namespace files
