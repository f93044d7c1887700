#include "tools/keynote-capture/DeckFiles.h"

#include "base/UTF8.h"
#include "commandline/PrintableText.h"
#include "commandline/Translation.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

bool isThere(const fs::path& path) {
    std::error_code failure;
    // A link that leads nowhere is in the way, too.
    return fs::exists(fs::symlink_status(path, failure));
}

}  // namespace

DeckFiles::DeckFiles(fs::path deck) : deck_(std::move(deck)), folder_(deck_.parent_path()) {}

DeckFiles::Problem DeckFiles::problem() const {
    std::error_code failure;
    const auto type = fs::status(deck_, failure).type();
    const std::string name = printable(deck_);
    if (type == fs::file_type::not_found) return translated("There is no deck {}; check its path.", name);
    if (type == fs::file_type::directory) return translated("{} is a directory; name the deck itself.", name);
    if (access(deck_.c_str(), R_OK) != 0) {
        return translated("{} cannot be read ({}); make it readable first.", name, std::strerror(errno));
    }
    if (type != fs::file_type::regular) return translated("{} is no file; name the deck itself.", name);
    // The service is asked over the bus, whose texts are UTF-8.
    if (!utf8::isValid(deck_.native())) return translated("The path {} is not in UTF-8; rename it first.", name);
    if (access(folder_.c_str(), W_OK | X_OK) != 0) {
        return translated(
            "Images and text go beside the deck, and {} cannot be written ({}); copy the deck to a folder of yours.",
            printable(folder_), std::strerror(errno));
    }
    return std::nullopt;
}

void DeckFiles::expect(const std::vector<std::int64_t>& slides) {
    names_.clear();
    std::transform(slides.begin(), slides.end(), std::back_inserter(names_), capture::imageFileName);
    missing_ = names_;
    // The text of an earlier extraction may stand there; only a newer one is this one's.
    oldText_ = textTime();
}

DeckFiles::Problem DeckFiles::makeRoom(bool replace) const {
    std::vector<std::string> inTheWay;
    std::copy_if(names_.begin(), names_.end(), std::back_inserter(inTheWay),
                 [this](const std::string& name) { return isThere(folder_ / name); });
    // Before anything is asked of the program: the service moves an image over nothing, and would not say so.
    if (!replace && !inTheWay.empty()) {
        return translated(
            "{} stand in {} already, and images are never overwritten; move them away, or pass --replace to remove "
            "exactly those first.",
            listOf(inTheWay), printable(folder_));
    }
    for (const std::string& name : inTheWay) {
        if (unlink((folder_ / name).c_str()) == 0) continue;
        return translated("{} cannot be removed ({}); move it away first.", printable(folder_ / name),
                          std::strerror(errno));
    }
    return std::nullopt;
}

const std::vector<std::string>& DeckFiles::missing() {
    std::erase_if(missing_, [this](const std::string& name) { return isThere(folder_ / name); });
    return missing_;
}

bool DeckFiles::hasNewText() const {
    const auto now = textTime();
    return now && now != oldText_;
}

std::optional<fs::file_time_type> DeckFiles::textTime() const {
    std::error_code failure;
    const auto time = fs::last_write_time(folder_ / textName(), failure);
    return failure ? std::nullopt : std::optional(time);
}

std::string listOf(const std::vector<std::string>& names) {
    // A sentence stays one that can be read.
    constexpr std::size_t kMostShown = 5;
    const std::size_t shown = std::min(names.size(), kMostShown);
    const auto end = names.begin() + static_cast<std::ptrdiff_t>(shown);
    const std::string list = fmt::format("{}", fmt::join(names.begin(), end, ", "));
    return shown == names.size() ? list : translated("{} and {} more", list, names.size() - shown);
}

}  // namespace keynote_capture
