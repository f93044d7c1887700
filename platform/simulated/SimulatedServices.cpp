#include "platform/simulated/SimulatedServices.h"

#include "platform/simulated/SimulatedXMLParser.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <ctime>

namespace {

class UTCFormatter final : public DateFormatter {
public:
    [[nodiscard]] std::string stringFromDate(Date date) const override {
        const auto microseconds = date.time_since_epoch().count();
        const std::time_t seconds = microseconds / 1'000'000;
        std::tm utc{};
        gmtime_r(&seconds, &utc);
        std::array<char, 64> text{};
        const auto length = std::strftime(text.data(), text.size(), "%G-%m-%d %H:%M:%S", &utc);
        std::snprintf(text.data() + length, text.size() - length, ".%03d+0000",
                      static_cast<int>(microseconds / 1000 % 1000));
        return text.data();
    }
};

class DigitsFormatter final : public NumberFormatter {
public:
    [[nodiscard]] std::optional<DecimalNumber> numberFromString(std::string_view text) const override {
        std::uint64_t value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
        return DecimalNumber{std::string(text), value};
    }
};

std::optional<std::string> stringIn(const SimulatedBundle::Info& strings, const std::string& key) {
    const auto found = strings.find(key);
    return found == strings.end() ? std::nullopt : std::optional(found->second);
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

std::shared_ptr<const DateFormatter> SimulatedText::makeDateFormatter(const std::string& /*pattern*/) {
    return std::make_shared<const UTCFormatter>();
}

std::shared_ptr<const NumberFormatter> SimulatedText::makeNumberFormatter(const std::string& /*locale*/) {
    return std::make_shared<const DigitsFormatter>();
}

std::string SimulatedText::makeUUID() {
    return uuid(++made_);
}

std::string SimulatedText::uuid(int n) {
    std::array<char, 37> text{};
    std::snprintf(text.data(), text.size(), "00000000-0000-4000-8000-%012X", static_cast<unsigned>(n));
    return text.data();
}

namespace {

std::string escaped(const std::string& text) {
    std::string result;
    for (const char each : text) {
        if (each == '<') {
            result += "&lt;";
        } else if (each == '&') {
            result += "&amp;";
        } else {
            result += each;
        }
    }
    return result;
}

}  // namespace

std::string SimulatedXML::document(const XMLElement& root, XMLEncoding encoding) const {
    std::string result = "<" + root.name;
    for (const auto& [name, value] : root.attributes) result += " " + name + "=\"" + escaped(value) + "\"";
    result += ">" + escaped(root.text);
    for (const XMLElement& child : root.children) result += document(child, encoding);
    return result + "</" + root.name + ">";
}

std::unique_ptr<XMLParser> SimulatedXML::makeParser(XMLParserDelegate& delegate) const {
    return std::make_unique<SimulatedXMLParser>(delegate);
}
