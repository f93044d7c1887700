#include "KeynoteCaptureService/KeynoteCaptureService.h"
#include "MacShared/MessageFormat.h"
#include "ports/Platform.h"

namespace {

std::string recordDescription(const WindowRecord& record) {
    shared::InfoDictionary entries{
        {"kCGWindowOwnerPID", std::int64_t{record.ownerPID}},
        {"kCGWindowNumber", record.number},
        {"kCGWindowBounds", shared::InfoDictionary{{"X", record.bounds.x},
                                                   {"Y", record.bounds.y},
                                                   {"Width", record.bounds.width},
                                                   {"Height", record.bounds.height}}},
    };
    // As the window server does it: a window without a name has no such key.
    if (record.name) entries.emplace("kCGWindowName", *record.name);
    return shared::description(entries);
}

}  // namespace

void KeynoteCaptureService::descriptionOfScriptableWindowsWithReply(TextReply reply) {
    std::optional<std::string> text;
    if (isKeynoteRunning()) text = descriptionOfCurrentScriptableWindows();
    if (reply) reply(text);
}

void KeynoteCaptureService::descriptionOfKeynoteWindowsWithReply(TextReply reply) {
    std::optional<std::string> text;
    if (isKeynoteRunning()) text = descriptionOfCurrentKeynoteWindows();
    if (reply) reply(text);
}

std::string KeynoteCaptureService::descriptionOfCurrentScriptableWindows() const {
    std::string text;
    const auto application = keynoteApplication_.get();
    if (!application) return text;
    for (const ScriptingWindow& window : application->windows()) {
        text += shared::formatMessage("Window Name: %@\nBounds:%@\nIndex:%ld\nID:%ld\n\n", window.name,
                                      shared::stringFromRect(window.bounds), window.index, window.id);
    }
    return text;
}

std::string KeynoteCaptureService::descriptionOfCurrentKeynoteWindows() const {
    std::string text;
    for (const WindowRecord& record : currentKeynoteWindowDescriptions()) text += recordDescription(record);
    return text;
}

std::vector<WindowRecord> KeynoteCaptureService::currentKeynoteWindowDescriptions() const {
    const auto keynote = currentKeynoteRunningApplication_.get();
    if (!keynote) return {};
    auto windows = platform().windowServer.windows();
    // By process, because titles can be anything and any program may use the same.
    std::erase_if(windows, [pid = keynote->processIdentifier()](const auto& window) { return window.ownerPID != pid; });
    return windows;
}

void KeynoteCaptureService::updateKeynotePresentingWindows() {
    if (!isKeynoteRunning()) {
        presentingWindowDescriptions_ = std::nullopt;
        return;
    }
    std::vector<WindowRecord> presenting;
    const auto screens = platform().windowServer.screens();
    for (const WindowRecord& window : currentKeynoteWindowDescriptions()) {
        for (const Rect& screen : screens) {
            // A window as large as two screens counts twice.
            if (screen.width == window.bounds.width && screen.height == window.bounds.height) {
                presenting.push_back(window);
            }
        }
    }
    presentingWindowDescriptions_ = std::move(presenting);
}

std::optional<WindowRecord> KeynoteCaptureService::currentSlidePresentationWindowDescription() {
    if (!presentingWindowDescriptions_ || presentingWindowDescriptions_->empty()) return std::nullopt;
    if (presentingWindowDescriptions_->size() == 1) return presentingWindowDescriptions_->front();

    const auto application = keynoteApplication_.get();
    const auto windows = application ? application->windows() : std::vector<ScriptingWindow>();
    const Rect bounds = windows.empty() ? Rect() : windows.front().bounds;
    const auto name = windows.empty() ? std::nullopt : std::optional(windows.front().name);
    // The front scriptable window is the show's while it plays. Its name and frame find the same window again among
    // those that the window server lists.
    for (const WindowRecord& record : *presentingWindowDescriptions_) {
        if (record.name == name && record.bounds == bounds) return record;
    }
    return std::nullopt;
}
