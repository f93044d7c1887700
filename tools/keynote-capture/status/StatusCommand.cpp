#include "commandline/Translation.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/EventJSON.h"
#include "tools/keynote-capture/status/RecordingChecks.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <thread>

namespace keynote_capture {
namespace {

Checks checksOf(const StatusOptions& options) {
    return checksOf(askBus(options.pipe), lookAtMachine(options.directory, options.pipe),
                    {options.directory, options.pipe});
}

bool hasFailed(const Checks& checks, std::string_view name) {
    return std::ranges::any_of(checks, [name](const Check& check) {
        return check.state == Check::State::failed && (name.empty() || name == check.name);
    });
}

std::string textOf(const Checks& checks) {
    std::string text;
    for (const auto& check : checks) {
        text +=
            fmt::format("{:<8} {:<10} {}\n", translation(nameOf(check.state)), translation(check.name), check.sentence);
        if (!check.cure.empty()) text += fmt::format("{:<19} → {}\n", "", check.cure);
    }
    return text;
}

std::string jsonOf(const Checks& checks) {
    auto all = Json::array();
    for (const auto& check : checks) {
        all.push_back({{"name", check.name},
                       {"state", nameOf(check.state)},
                       {"description", check.sentence},
                       {"cure", check.cure.empty() ? Json() : Json(check.cure)}});
    }
    return lineOf({{"version", 1}, {"ready", !hasFailed(checks, {})}, {"checks", std::move(all)}}) + '\n';
}

}  // namespace

ExitStatus status(const StatusOptions& options) {
    const auto checks = checksOf(options);
    const auto text = options.json ? jsonOf(checks) : textOf(checks);
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    if (hasFailed(checks, "bus") || hasFailed(checks, "service")) return kNoService;
    return isWritten && !hasFailed(checks, {}) ? kDone : kOperationFailed;
}

void complainOfWhatIsMissing(const std::filesystem::path& directory) {
    std::thread([directory] {
        StatusOptions options;
        options.directory = directory;
        const auto checks = checksOf(options);
        const auto* const missing = firstMissing(checks);
        if (missing == nullptr) return;
        complain(missing->cure.empty() ? missing->sentence : missing->sentence + " → " + missing->cure);
    }).detach();
}

}  // namespace keynote_capture
