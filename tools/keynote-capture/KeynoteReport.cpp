#include "tools/keynote-capture/KeynoteReport.h"

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "tools/keynote-capture/EventJSON.h"

#include <fmt/format.h>

namespace keynote_capture {
namespace {

/// Part of what other programs read: these names stay.
const char* nameOf(PluginState state) {
    switch (state) {
        case PluginState::notNeeded:
            return "notNeeded";
        case PluginState::current:
            return "current";
        case PluginState::missing:
            return "missing";
        case PluginState::none:
            break;
    }
    return "none";
}

std::string jsonLine(const char* event, const KeynoteCopy& copy) {
    // "version" is the program's here, and so the format has another name.
    const Json line{{"event", event},
                    {"path", jsonOf(std::optional(copy.path))},
                    {"version", jsonOf(copy.version)},
                    {"supported", copy.supported},
                    {"reason", copy.supported ? Json() : Json(copy.reason)},
                    {"plugin", nameOf(copy.plugin)},
                    {"format", 1}};
    return lineOf(line) + '\n';
}

std::string jsonLines(const char* event, const std::vector<KeynoteCopy>& copies) {
    std::string lines;
    for (const auto& copy : copies) lines += jsonLine(event, copy);
    return lines;
}

class JSONKeynoteReport final : public KeynoteReport {
    std::string running(const RunningKeynotes& running) const override {
        Json checks{{"event", "runningChecks"},
                    {"isUnsupportedKeynoteRunning", nullptr},
                    {"isDisabledKeynoteRunning", nullptr},
                    {"conflictingKeynoteVersionsRunning", nullptr}};
        // Otherwise null: unknown is not the same as no.
        if (running.checks) {
            checks["isUnsupportedKeynoteRunning"] = running.checks->unsupported;
            checks["isDisabledKeynoteRunning"] = running.checks->disabled;
            const auto& conflicting = running.checks->conflicting;
            if (conflicting) checks["conflictingKeynoteVersionsRunning"] = *conflicting;
        }
        checks["format"] = 1;
        return jsonLines("running", running.copies) + lineOf(checks) + '\n';
    }
    std::string installed(const std::vector<KeynoteCopy>& copies) const override {
        return jsonLines("installed", copies);
    }
    std::string status(const KeynoteInstallHelper::Status& status) const override {
        const Json line{{"event", "status"},
                        {"found", status.found},
                        {"unsupported", status.unsupported},
                        {"pluginMissing", status.pluginMissing},
                        {"highestVersion", jsonOf(status.highestVersion)},
                        {"format", 1}};
        return lineOf(line) + '\n';
    }
};

const char* sentenceFor(PluginState state) {
    switch (state) {
        case PluginState::current:
            return translatable(", legacy plug-in is current");
        case PluginState::missing:
            return translatable(", legacy plug-in is missing or of another build");
        case PluginState::notNeeded:
        case PluginState::none:
            break;
    }
    return "";
}

std::string section(const std::string& heading, const std::vector<KeynoteCopy>& copies) {
    auto text = heading + '\n';
    if (copies.empty()) text += translated("  none\n");
    for (const auto& copy : copies) {
        const auto state =
            copy.supported ? translated("supported") : translated("not supported: {}", translation(copy.reason));
        // On two lines, because paths of bundles are long.
        text += fmt::format("  {:<8}  {}\n            {}{}\n", printableText(copy.version.value_or("?")),
                            printable(copy.path), state, translation(sentenceFor(copy.plugin)));
    }
    return text;
}

std::string listed(const std::vector<std::string>& versions) {
    std::string text;
    for (const auto& version : versions) text += (text.empty() ? "" : ", ") + printableText(version);
    return text;
}

std::string yesOrNo(bool value) {
    return value ? translated("yes") : translated("no");
}

class TextKeynoteReport final : public KeynoteReport {
    std::string running(const RunningKeynotes& running) const override {
        if (!running.checks) return translated("Running\n  They cannot be seen without a session bus.\n");
        auto text = section(translated("Running"), running.copies);
        if (running.checks->unsupported) text += translated("  A program of an unsupported version is running.\n");
        if (running.checks->disabled)
            text += translated("  A program without the current legacy plug-in is running.\n");
        if (const auto& versions = running.checks->conflicting) {
            text += translated("  Several usable programs are running: {}.\n", listed(*versions));
        }
        return text;
    }
    std::string installed(const std::vector<KeynoteCopy>& copies) const override {
        return section(translated("Installed"), copies);
    }
    std::string status(const KeynoteInstallHelper::Status& status) const override {
        return translated(
            "Status\n"
            "  usable program found                 {}\n"
            "  highest usable version               {}\n"
            "  unsupported program found            {}\n"
            "  legacy program without its plug-in   {}\n",
            yesOrNo(status.found), printableText(status.highestVersion.value_or(translated("none"))),
            yesOrNo(status.unsupported), yesOrNo(status.pluginMissing));
    }
};

}  // namespace

KeynoteCopy judgedCopy(const Bundle& bundle) {
    KeynoteCopy copy{bundle.path(), bundle.infoString("CFBundleShortVersionString"), false, {}, PluginState::none};
    if (!copy.version) {
        // The helper takes it for version 0 and so for a usable legacy program, which a damaged bundle is not.
        copy.reason = translatable("it tells no version");
        return copy;
    }
    copy.supported = KeynoteInstallHelper::isSupportedKeynoteVersion(copy.version);
    if (!copy.supported) {
        copy.reason = translatable("there is no plug-in for versions from 6.0 up to 6.5");
    } else if (KeynoteInstallHelper::isSupportedKeynoteVersionForNewPlugin(copy.version)) {
        copy.plugin = PluginState::notNeeded;
    } else {
        const bool isCurrent = KeynoteInstallHelper::isKeynotePluginInstalledToBundle(bundle);
        copy.plugin = isCurrent ? PluginState::current : PluginState::missing;
    }
    return copy;
}

std::unique_ptr<KeynoteReport> makeJSONKeynoteReport() {
    return std::make_unique<JSONKeynoteReport>();
}

std::unique_ptr<KeynoteReport> makeTextKeynoteReport() {
    return std::make_unique<TextKeynoteReport>();
}

}  // namespace keynote_capture
