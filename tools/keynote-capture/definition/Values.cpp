#include "tools/keynote-capture/definition/Values.h"

#include "base/UTF8.h"
#include "commandline/Translation.h"
#include "tools/keynote-capture/definition/SlideList.h"
#include "tools/keynote-capture/hook/CommandWords.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace keynote_capture {

namespace fs = std::filesystem;

std::string checkRecordingID(const std::string& text) {
    const bool isFileName = !text.empty() && text != "." && text != ".." && text.find('/') == std::string::npos;
    return isFileName && utf8::isValid(text) ? std::string() : translated("must be usable as a directory's name");
}

std::string checkOffset(const std::string& text) {
    constexpr double kLongest = 1e9;
    const auto seconds = numberIn(text);
    return seconds && std::abs(*seconds) <= kLongest ? std::string() : translated("must be a number of seconds");
}

std::string checkSlides(const std::string& text) {
    return slidesFrom(text) ? std::string() : translated("must be slide numbers like 1-9,12, at most 10000");
}

std::string checkCommand(const std::string& text) {
    return wordsOf(text) ? std::string() : translated("must be a program and its arguments, quotes closed");
}

std::string checkPipe(const std::string& text) {
    const auto isUsable = [](unsigned char byte) { return std::isalnum(byte) != 0 || byte == '-' || byte == '_'; };
    const bool isName = !text.empty() && std::ranges::all_of(text, isUsable);
    return isName ? std::string() : translated("must be letters, digits, - and _");
}

fs::path absolutePath(const fs::path& path) {
    return fs::absolute(path).lexically_normal();
}

fs::path absoluteDirectory(const fs::path& path) {
    const auto absolute = absolutePath(path);
    return absolute.has_filename() ? absolute : absolute.parent_path();
}

CLI::Option* addPath(CLI::App& command, const char* name, fs::path& path, const std::string& description) {
    const auto take = [&path](const std::string& text) { path = absolutePath(text); };
    return command.add_option_function<std::string>(name, take, description)->check(valueCheck(checkNotEmpty));
}

CLI::Option* addDirectory(CLI::App& command, const char* name, fs::path& path, const std::string& description) {
    const auto take = [&path](const std::string& text) { path = absoluteDirectory(text); };
    return command.add_option_function<std::string>(name, take, description)
        ->check(valueCheck(checkNotEmpty))
        ->type_name(translatable("DIR"));
}

void addPipe(CLI::App& command, std::string& pipe) {
    command.add_option("--pipe", pipe, translated("Where LibreOffice listens, for a bridge with the same option"))
        ->check(valueCheck(checkPipe))
        ->type_name(translatable("NAME"))
        ->default_str(pipe);
}

}  // namespace keynote_capture
