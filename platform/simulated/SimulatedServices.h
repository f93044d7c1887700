#pragma once

#include "ports/AutomaticTermination.h"
#include "ports/Bundle.h"
#include "ports/Directories.h"
#include "ports/Log.h"
#include "ports/OperatingSystem.h"
#include "ports/Text.h"
#include "ports/UserDefaults.h"
#include "ports/WindowServer.h"
#include "ports/XML.h"
#include "ports/XMLParser.h"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace simulated {

/// A bundle of given strings and resources.
class SimulatedBundle final : public Bundle {
public:
    using Info = std::map<std::string, std::string>;
    /// What lies in `Contents/Resources`, by its path from there.
    using Resources = std::set<std::filesystem::path>;

    SimulatedBundle(std::filesystem::path path, Info info, Resources resources)
        : path_(std::move(path)), info_(std::move(info)), resources_(std::move(resources)) {}

    [[nodiscard]] const std::filesystem::path& path() const override { return path_; }
    [[nodiscard]] std::optional<std::string> infoString(const std::string& key) const override;
    [[nodiscard]] std::string localizedString(const std::string& english) const override { return english; }
    [[nodiscard]] std::optional<std::filesystem::path> pathForResource(
        const std::string& name, const std::string& ofType, const std::filesystem::path& inDirectory) const override;

private:
    const std::filesystem::path path_;
    const Info info_;
    const Resources resources_;
};

class SimulatedBundles final : public Bundles {
public:
    SimulatedBundles();
    [[nodiscard]] std::shared_ptr<const Bundle> mainBundle() override { return main_; }
    [[nodiscard]] std::shared_ptr<const Bundle> bundleAtPath(const std::filesystem::path& path) override;
    [[nodiscard]] std::optional<std::string> propertyListString(const std::filesystem::path& file,
                                                                const std::string& key) override;

    void setMainBundle(SimulatedBundle::Info info, SimulatedBundle::Resources resources = {});
    void install(const std::filesystem::path& path, SimulatedBundle::Info info,
                 SimulatedBundle::Resources resources = {});

    std::map<std::filesystem::path, SimulatedBundle::Info> propertyLists;  ///< by file

private:
    std::shared_ptr<const Bundle> main_;
    std::map<std::filesystem::path, std::shared_ptr<const Bundle>> installed_;
};

/// Windows and screens as a test sets them.
class SimulatedWindowServer final : public WindowServer {
public:
    [[nodiscard]] std::vector<WindowRecord> windows() override { return windowRecords; }
    [[nodiscard]] std::vector<Rect> screens() override { return screenFrames; }

    std::vector<WindowRecord> windowRecords;
    std::vector<Rect> screenFrames{{0, 0, 1440, 900}};
};

/// Dates in UTC by the few pattern letters that it knows, whole numbers of decimal digits in the locale "en_US_POSIX",
/// and UUIDs that count from 1.
class SimulatedText final : public TextServices {
public:
    [[nodiscard]] std::shared_ptr<const DateFormatter> makeDateFormatter(const std::string& pattern) override;
    [[nodiscard]] std::shared_ptr<const NumberFormatter> makeNumberFormatter(const std::string& locale) override;
    [[nodiscard]] std::string makeUUID() override;

    /// The n-th UUID of a run, from 1.
    [[nodiscard]] static std::string uuid(int n);

private:
    int made_ = 0;
};

/// A declaration that names the encoding asked for, then elements as plain text in UTF-8, whatever it is; only markup
/// is escaped. Nothing about parsing needs imitation, so a test whose subject parses brings a real parser.
class SimulatedXML final : public XMLServices {
public:
    [[nodiscard]] std::string document(const XMLElement& root, XMLEncoding encoding) const override;
    [[nodiscard]] std::unique_ptr<XMLParser> makeParser(XMLParserDelegate& delegate) const override {
        return parsers->makeParser(delegate);
    }

    const XMLServices* parsers = nullptr;  ///< makes the parsers
};

/// Booleans as a test sets them.
class SimulatedUserDefaults final : public UserDefaults {
public:
    [[nodiscard]] bool boolForKey(const std::string& defaultName) override { return booleans.contains(defaultName); }

    std::set<std::string> booleans;  ///< the keys that are true
};

/// A lecturer's directories; tests may move them.
class SimulatedDirectories final : public Directories {
public:
    using Path = std::filesystem::path;

    [[nodiscard]] Path homeDirectory() const override { return homes.at(""); }
    [[nodiscard]] std::optional<Path> homeDirectoryForUser(const std::string& user) const override {
        const auto home = homes.find(user);
        return home == homes.end() ? std::nullopt : std::optional(home->second);
    }
    [[nodiscard]] std::optional<Path> applicationSupportDirectory() override { return applicationSupport; }

    /// Home directories by user; the empty name is this user.
    std::map<std::string, Path> homes{{"", "/home/lecturer"}};
    /// Nothing imitates a platform without such a place.
    std::optional<Path> applicationSupport = "/home/lecturer/.local/share";
};

class SimulatedOperatingSystem final : public OperatingSystem {
public:
    [[nodiscard]] std::string versionString() const override { return "Version 13.4 (Build 22F66)"; }
};

/// Counts what keeps the process alive.
class SimulatedAutomaticTermination final : public AutomaticTermination {
public:
    void disable(const std::string& reason) override { ++disables[reason]; }
    void enable(const std::string& reason) override { --disables[reason]; }

    std::map<std::string, int> disables;  ///< disables less enables, by reason
};

/// Keeps what was written.
class SimulatedUnifiedLog final : public UnifiedLog {
public:
    struct Entry {
        std::string subsystem;
        std::string category;
        std::string message;
    };

    [[nodiscard]] bool isDefaultLevelEnabled() const override { return enabled; }
    void write(const std::string& subsystem, const std::string& category, std::string_view message) override {
        entries.push_back({subsystem, category, std::string(message)});
        if (observer) observer(entries.back().message);
    }

    bool enabled = true;
    std::vector<Entry> entries;
    std::function<void(const std::string& message)> observer;  ///< hears of every entry
};

class SimulatedConsoleLog final : public ConsoleLog {
public:
    void write(std::string_view message) override { messages.emplace_back(message); }

    std::vector<std::string> messages;
};

}  // namespace simulated
