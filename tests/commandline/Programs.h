#pragma once

#include "tests/support/ChildProcess.h"

#include <filesystem>
#include <string>
#include <vector>

using Words = std::vector<std::string>;

struct Outcome {
    int status;
    std::string output;
    std::string complaints;
};

/// The first word is one of our programs, or one of the system's by its path.
inline Outcome run(Words words) {
    if (!words.front().starts_with('/')) words.front() = (std::filesystem::path(PROGRAMS) / words.front()).native();
    ChildProcess process(words);
    const int status = process.exitStatus();
    return {status, process.restOfOutput(), process.complaints()};
}

inline Words programs() {
    Words names{"keynote-capture", "soap-call", "keynote-simulator", "KeynoteCaptureService"};
    if (HAS_IMPRESS) names.emplace_back("keynote-impress");
    return names;
}

/// Each program, and each command of one, in words.
inline std::vector<Words> commandLines() {
    std::vector<Words> all;
    for (const auto& program : programs()) all.push_back({program});
    for (const char* command : {"record", "export", "recover", "extract", "status", "setup", "keynotes", "windows",
                                "stop-presenting", "wait-for-saving"}) {
        all.push_back({"keynote-capture", command});
    }
    return all;
}

inline Words with(Words words, const std::string& word) {
    words.push_back(word);
    return words;
}
