#include "tools/keynote-capture/lecture/Leaves.h"

#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "tools/keynote-capture/lecture/Chapters.h"
#include "tools/keynote-capture/lecture/LectureFiles.h"
#include "tools/keynote-capture/lecture/Page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

bool holds(const fs::path& file, const std::string& content) {
    std::error_code failure;
    if (!fs::is_regular_file(fs::symlink_status(file, failure)) || fs::file_size(file, failure) != content.size()) {
        return false;
    }
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return bytes.view() == content;
}

/// Under a hidden name first, so that nobody ever reads a part of it. Not fsynced: it can be made again.
bool replace(const fs::path& file, const std::string& content) {
    const auto hidden = file.parent_path() / ("." + file.filename().native() + ".part");
    std::error_code failure;
    fs::remove(hidden, failure);
    std::ofstream out(hidden, std::ios::binary);
    const bool isWritten = out << content && out.flush();
    out.close();
    if (isWritten) fs::rename(hidden, file, failure);
    if (isWritten && !failure) return true;
    if (failure) errno = failure.value();
    fs::remove(hidden, failure);
    return false;
}

void make(const fs::path& file, const std::string& content, Leaves& leaves) {
    if (holds(file, content)) return;
    errno = 0;
    if (replace(file, content)) {
        leaves.written.push_back(file);
    } else {
        leaves.problem = translated("{} cannot be written ({}).", printable(file), std::strerror(errno));
    }
}

}  // namespace

Leaves makeLeaves(const fs::path& presentation) {
    Leaves leaves;
    const auto lecture = lectureAround(presentation);
    if (!lecture) return leaves;
    const auto hasVisits = [](const Part& part) { return !part.show.visits.empty(); };
    if (std::ranges::none_of(lecture->parts, hasVisits)) return leaves;
    const auto chapters = webVTTFrom(chaptersOf(*lecture, Date::duration(0)));
    for (const auto& part : lecture->parts) {
        make(part.directory / kChaptersFileName, chapters, leaves);
        make(part.directory / kPageFileName, pageFrom(*lecture, part.directory), leaves);
    }
    return leaves;
}

}  // namespace keynote_capture
