#include "platform/simulated/SimulatedServices.h"

#include <fmt/chrono.h>
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <string_view>
#include <utility>

namespace simulated {
namespace {

/// Fields of a date pattern and what prints them: a date, and its milliseconds.
constexpr std::pair<std::string_view, std::string_view> kDateFields[] = {
    {"Y", "{0:%G}"},  {"y", "{0:%Y}"},  {"MM", "{0:%m}"},  {"dd", "{0:%d}"}, {"HH", "{0:%H}"},
    {"mm", "{0:%M}"}, {"ss", "{0:%S}"}, {"SSS", "{1:03}"}, {"Z", "{0:%z}"}};

class UTCFormatter final : public DateFormatter {
public:
    explicit UTCFormatter(std::string_view pattern) {
        while (!pattern.empty()) {
            const auto* const field =
                std::ranges::find_if(kDateFields, [&](const auto& each) { return pattern.starts_with(each.first); });
            const bool isField = field != std::end(kDateFields);
            format_ += isField ? field->second : pattern.substr(0, 1);
            pattern.remove_prefix(isField ? field->first.size() : 1);
        }
    }
    [[nodiscard]] std::string stringFromDate(Date date) const override {
        const auto second = std::chrono::floor<std::chrono::seconds>(date);
        const std::time_t time = second.time_since_epoch().count();
        std::tm utc{};
        gmtime_r(&time, &utc);
        return fmt::format(fmt::runtime(format_), utc, (date - second).count() / 1000);
    }

private:
    std::string format_;
};

class DigitsFormatter final : public NumberFormatter {
public:
    explicit DigitsFormatter(std::string locale) : locale_(std::move(locale)) {}
    [[nodiscard]] std::optional<DecimalNumber> numberFromString(std::string_view text) const override {
        // Versions are read in that locale whatever the user's; a caller that takes another one shall notice.
        if (locale_ != "en_US_POSIX") return std::nullopt;
        std::uint64_t value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
        return DecimalNumber{std::string(text), value};
    }

private:
    const std::string locale_;
};

std::optional<std::string> stringIn(const SimulatedBundle::Info& strings, const std::string& key) {
    const auto found = strings.find(key);
    return found == strings.end() ? std::nullopt : std::optional(found->second);
}

std::string escaped(const std::string& text) {
    std::string result;
    for (const char each : text) result += each == '<' ? "&lt;" : each == '&' ? "&amp;" : std::string(1, each);
    return result;
}

std::string textOf(const XMLElement& element) {
    std::string result = "<" + element.name;
    for (const auto& [name, value] : element.attributes) result += " " + name + "=\"" + escaped(value) + "\"";
    result += ">" + escaped(element.text);
    for (const XMLElement& child : element.children) result += textOf(child);
    return result + "</" + element.name + ">";
}

}  // namespace

std::optional<std::string> SimulatedBundle::infoString(const std::string& key) const {
    return stringIn(info_, key);
}

std::optional<std::filesystem::path> SimulatedBundle::pathForResource(const std::string& name,
                                                                      const std::string& ofType,
                                                                      const std::filesystem::path& inDirectory) const {
    const auto resource = inDirectory / (ofType.empty() ? name : name + "." + ofType);
    return resources_.contains(resource) ? std::optional(path_ / "Contents/Resources" / resource) : std::nullopt;
}

SimulatedBundles::SimulatedBundles() {
    setMainBundle(
        {{"CFBundleExecutable", "KeynoteCaptureService"}, {"CFBundleIdentifier", "com.veldrin.KeynoteCaptureService"}});
}

void SimulatedBundles::setMainBundle(SimulatedBundle::Info info, SimulatedBundle::Resources resources) {
    main_ = std::make_shared<const SimulatedBundle>("/KeynoteCaptureService", std::move(info), std::move(resources));
}

void SimulatedBundles::install(const std::filesystem::path& path, SimulatedBundle::Info info,
                               SimulatedBundle::Resources resources) {
    installed_[path] = std::make_shared<const SimulatedBundle>(path, std::move(info), std::move(resources));
}

std::optional<std::string> SimulatedBundles::propertyListString(const std::filesystem::path& file,
                                                                const std::string& key) {
    return stringIn(propertyLists[file], key);
}

std::shared_ptr<const Bundle> SimulatedBundles::bundleAtPath(const std::filesystem::path& path) {
    const auto found = installed_.find(path);
    return found == installed_.end() ? nullptr : found->second;
}

std::shared_ptr<const DateFormatter> SimulatedText::makeDateFormatter(const std::string& pattern) {
    return std::make_shared<const UTCFormatter>(pattern);
}

std::shared_ptr<const NumberFormatter> SimulatedText::makeNumberFormatter(const std::string& locale) {
    return std::make_shared<const DigitsFormatter>(locale);
}

std::string SimulatedText::makeUUID() {
    return uuid(++made_);
}

std::string SimulatedText::uuid(int n) {
    std::array<char, 37> text{};
    std::snprintf(text.data(), text.size(), "00000000-0000-4000-8000-%012X", static_cast<unsigned>(n));
    return text.data();
}

std::string SimulatedXML::document(const XMLElement& root, XMLEncoding encoding) const {
    return std::string("<?xml encoding=\"") + (encoding == XMLEncoding::utf16 ? "UTF-16" : "UTF-8") + "\"?>" +
           textOf(root);
}

}  // namespace simulated
