/// The commands about files: decks, and what recordings have left.

#include "tools/keynote-capture/definition/Definitions.h"
#include "tools/keynote-capture/definition/SlideList.h"
#include "tools/keynote-capture/definition/Values.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace keynote_capture {
namespace {

constexpr std::pair<const char*, ExportFormat> kFormats[] = {
    {"vtt", ExportFormat::vtt},           {"ffmetadata", ExportFormat::ffmetadata},
    {"matroska", ExportFormat::matroska}, {"ogm", ExportFormat::ogm},
    {"json", ExportFormat::json},         {"csv", ExportFormat::csv}};

const std::pair<const char*, ExportFormat>* formatNamed(const std::string& name) {
    return std::ranges::find(kFormats, name, [](const auto& format) { return std::string(format.first); });
}

std::string formatNames(const char* between) {
    std::string names;
    for (const auto& format : kFormats) names += (names.empty() ? "" : between) + std::string(format.first);
    return names;
}

std::string checkFormat(const std::string& name) {
    return formatNamed(name) != std::end(kFormats) ? std::string() : translated("must be one of {}", formatNames(", "));
}

void addCapture(CLI::App& command, std::filesystem::path& directory) {
    addDirectory(command, "CAPTURE", directory, translated("What record has written: all of it, or one presentation's"))
        ->check(valueCheck(checkDirectory))
        ->required();
}

}  // namespace

void defineExport(CLI::App& program, Request& request) {
    auto [command, options] = define<ExportOptions>(
        program, request, "export", translated("Write a lecture's chapters, or all that is known of its slides"));
    addCapture(command, options.directory);
    command
        .add_option_function<std::string>(
            "--format", [&format = options.format](const std::string& name) { format = formatNamed(name)->second; },
            translated("Chapters, or with json and csv all visits of slides"))
        ->check(valueCheck(checkFormat))
        ->type_name(formatNames("|"))
        ->default_str("vtt");
    auto* const offset =
        command.add_option("--offset", options.offset, translated("Seconds from the video's beginning to the show's"))
            ->check(valueCheck(checkOffset))
            ->type_name(translatable("S"))
            ->default_str("0");
    command
        .add_option_function<std::string>(
            "--video", [&video = options.video](const std::string& file) { video = file; },
            translated("A video that tells when its recording began, instead of --offset"))
        ->check(valueCheck(checkFile))
        ->excludes(offset)
        ->type_name(translatable("FILE"));
    command.footer(examples({{"keynote-capture export ~/lectures/12 --video lecture.mkv > chapters.vtt", {}},
                             {"keynote-capture export ~/lectures/12 --format ffmetadata --offset 3.5", {}}}));
}

void defineRecover(CLI::App& program, Request& request) {
    auto [command, options] = define<RecoverOptions>(
        program, request, "recover", translated("Make what a recording lacks: images, text, chapters and page"));
    addCapture(command, options.directory);
    command.footer(examples({{"keynote-capture recover ~/lectures/12", {}}}));
}

void defineExtract(CLI::App& program, Request& request) {
    auto [command, options] = define<ExtractOptions>(program, request, "extract",
                                                     translated("Write a deck's slide images and text beside it"));
    addPath(command, "DECK", options.deck, translated("The presentation"))->required();
    command
        .add_option_function<std::string>(
            "--slides", [&slides = options.slides](const std::string& list) { slides = slidesFrom(list); },
            translated("These slides only, like 1-9,12"))
        ->check(valueCheck(checkSlides))
        ->type_name(translatable("LIST"));
    command.add_flag("--replace", options.replace, translated("Remove images of the same names first"));
    addJSON(command, options.json);
    command.footer(examples({{"keynote-capture extract optics.odp", {}},
                             {"keynote-capture extract optics.odp --slides 1-9,12 --replace", {}}}));
}

}  // namespace keynote_capture
