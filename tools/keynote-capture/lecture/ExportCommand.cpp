#include "commandline/PrintableText.h"
#include "commandline/Translation.h"
#include "tools/keynote-capture/Commands.h"
#include "tools/keynote-capture/lecture/Chapters.h"
#include "tools/keynote-capture/lecture/LectureFiles.h"
#include "tools/keynote-capture/lecture/VideoStart.h"
#include "tools/keynote-capture/lecture/VisitTables.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

ExitStatus failed(const std::string& sentence) {
    complain(sentence);
    return kOperationFailed;
}

std::string inSeconds(Date::duration time) {
    return fmt::format("{:.3f} s", std::chrono::duration<double>(time).count());
}

/// How long before the lecture the video began; nothing, with a complaint, when it does not tell.
std::optional<Date::duration> offsetIn(const fs::path& video, const Lecture& lecture) {
    const auto start = videoStartOf(video);
    if (!start) {
        complain(
            translated("{} does not tell when it was recorded; pass --offset with the seconds from its beginning "
                       "to that of the show.",
                       printable(video)));
        return std::nullopt;
    }
    const auto offset = lecture.start() - start->at;
    const auto from = jsonOf(start->at).get<std::string>() + (start->wholeSeconds ? translated(", to the second") : "");
    const auto apart = inSeconds(std::chrono::abs(offset));
    complain(offset < Date::duration(0)
                 ? translated("{} says that its recording began at {}; the show begins {} before that.",
                              printable(video), from, apart)
                 : translated("{} says that its recording began at {}; the show begins {} after that.",
                              printable(video), from, apart));
    return offset;
}

/// The lecture to be exported; nothing, with a complaint, when it is not clear which.
std::optional<Lecture> lectureIn(const fs::path& directory) {
    const auto presentations = presentationsIn(directory);
    if (presentations == std::vector{directory}) {
        if (auto lecture = lectureAround(directory)) return lecture;
    }
    auto recordings = recordingsIn(directory);
    if (recordings.size() == 1) return recordings.front();
    if (recordings.empty()) {
        complain(translated("There is no timeline in {}; name a directory that `record` has written to.",
                            printable(directory)));
        return std::nullopt;
    }
    std::vector<std::string> names;
    names.reserve(recordings.size());
    for (const auto& recording : recordings) names.push_back(printable(recording.parts.front().directory));
    complain(translated("{} holds {} recordings; name a presentation of one of them: {}.", printable(directory),
                        names.size(), fmt::format("{}", fmt::join(names, ", "))));
    return std::nullopt;
}

std::string textFor(ExportFormat format, const Lecture& lecture, Date::duration offset, const fs::path& base) {
    switch (format) {
        case ExportFormat::vtt:
            return webVTTFrom(chaptersOf(lecture, offset));
        case ExportFormat::ffmetadata:
            return ffmetadataFrom(chaptersOf(lecture, offset));
        case ExportFormat::matroska:
            return matroskaFrom(chaptersOf(lecture, offset));
        case ExportFormat::ogm:
            return ogmFrom(chaptersOf(lecture, offset));
        case ExportFormat::csv:
            return csvFrom(jsonOf(lecture, offset, base));
        case ExportFormat::json:
            break;
    }
    return jsonOf(lecture, offset, base).dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace

ExitStatus exportLecture(const ExportOptions& options) {
    const auto lecture = lectureIn(options.directory);
    if (!lecture) return kOperationFailed;
    auto offset = std::optional(std::chrono::round<Date::duration>(std::chrono::duration<double>(options.offset)));
    if (options.video) offset = offsetIn(*options.video, *lecture);
    if (!offset) return kOperationFailed;
    const auto text = textFor(options.format, *lecture, *offset, options.directory);
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    return isWritten ? kDone : failed(translated("Cannot write the export: {}", std::strerror(errno)));
}

}  // namespace keynote_capture
