#pragma once

#include "platform/simulated/SimulatedFileManager.h"

#include <limits>

namespace simulated {

/// The process that used the files has ended; nothing that it was about to do happens any more.
struct ProcessEnded {};

/// The files as the service's process sees them. It may end at any operation that changes something, before or after
/// the change: the operation throws `ProcessEnded`, and so does every one after it until a new process begins.
class ServiceFileManager final : public FileManager {
public:
    using Path = std::filesystem::path;

    explicit ServiceFileManager(SimulatedFileManager& files) : files_(files) {}

    [[nodiscard]] FileKind kindOf(const Path& path) const override { return alive().kindOf(path); }
    [[nodiscard]] std::optional<std::uint64_t> sizeOf(const Path& path) const override { return alive().sizeOf(path); }
    [[nodiscard]] ErrorPtr createDirectory(const Path& path) override {
        return change([&] { return files_.createDirectory(path); });
    }
    [[nodiscard]] ErrorPtr createFile(const Path& path, std::string_view contents) override {
        return change([&] { return files_.createFile(path, contents); });
    }
    [[nodiscard]] ErrorPtr moveItem(const Path& from, const Path& to) override {
        return change([&] { return files_.moveItem(from, to); });
    }
    [[nodiscard]] std::unique_ptr<FileHandle> openForWriting(const Path& path, ErrorPtr& error) override {
        return alive().openForWriting(path, error);
    }
    [[nodiscard]] std::optional<Path> resolvingSymbolicLinks(const Path& path) const override {
        return alive().resolvingSymbolicLinks(path);
    }

    /// The process ends after so many half changes from now: before one when the number is even, else after it.
    void endAfter(std::size_t halves) { left_ = halves; }
    /// A new process begins.
    void begin() {
        left_ = kNever;
        hasEnded_ = false;
    }
    [[nodiscard]] bool hasEnded() const { return hasEnded_; }

private:
    SimulatedFileManager& alive() const {
        if (hasEnded_) throw ProcessEnded();
        return files_;
    }
    void pass() {
        hasEnded_ = hasEnded_ || left_ == 0;
        --left_;
        static_cast<void>(alive());
    }
    template <typename Operation>
    ErrorPtr change(const Operation& operation) {
        pass();
        auto error = operation();
        pass();
        return error;
    }

    static constexpr std::size_t kNever = std::numeric_limits<std::size_t>::max();

    SimulatedFileManager& files_;
    std::size_t left_ = kNever;
    bool hasEnded_ = false;
};

}  // namespace simulated
