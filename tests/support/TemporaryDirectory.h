#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

/// A fresh directory, removed at the end with all it holds.
class TemporaryDirectory {
public:
    explicit TemporaryDirectory(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        auto name = (parent / "keynote-capture-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) throw std::filesystem::filesystem_error("mkdtemp", name, {});
        path = name;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    std::filesystem::path path;
};

inline std::string contentsOf(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

inline void writeFile(const std::filesystem::path& path, const std::string& contents) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << contents;
}
