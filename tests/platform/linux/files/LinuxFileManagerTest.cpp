#include "platform/linux/files/LinuxDirectories.h"
#include "platform/linux/files/LinuxFileManager.h"
#include "tests/platform/linux/files/FileSystemFaults.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/TemporaryDirectory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <chrono>
#include <future>
#include <iostream>
#include <thread>

using namespace std::chrono_literals;
namespace fs = std::filesystem;

namespace {

bool isEmptyDirectory(const fs::path& path) {
    return fs::directory_iterator(path) == fs::directory_iterator();
}

/// A source and a destination on two file systems.
class MoveAcrossFileSystemsTest : public testing::Test {
protected:
    ~MoveAcrossFileSystemsTest() override { fileSystemFaults = {}; }
    void SetUp() override {
        struct stat a {};
        struct stat b {};
        ASSERT_EQ(::stat(source.path.c_str(), &a), 0);
        ASSERT_EQ(::stat(target.path.c_str(), &b), 0);
        ASSERT_NE(a.st_dev, b.st_dev) << "Set TMPDIR to a directory on another file system than /dev/shm.";
    }

    /// What the move failed with, or 0; it must not take long then.
    std::int64_t move(const fs::path& file, const fs::path& destination) {
        auto result = std::async(std::launch::async, [&] { return files.moveItem(file, destination); });
        EXPECT_EQ(result.wait_for(10s), std::future_status::ready) << "it waits for somebody";
        const auto error = result.get();
        return error ? error->code() : 0;
    }

    files::LinuxFileManager files;
    TemporaryDirectory source;
    TemporaryDirectory target{"/dev/shm"};
    const fs::path from = source.path / "slide.001.jpg";
    const fs::path to = target.path / "slide.001.jpg";
};

TEST_F(MoveAcrossFileSystemsTest, MovesContentsPermissionsAndTime) {
    const std::string image(1'000'003, 'x');
    writeFile(from, image);
    fs::permissions(from, fs::perms(0640));
    const auto written = fs::last_write_time(from) - 2h;
    fs::last_write_time(from, written);
    const auto error = files.moveItem(from, to);
    EXPECT_FALSE(error) << error->localizedDescription();
    EXPECT_TRUE(contentsOf(to) == image);
    EXPECT_EQ(fs::status(to).permissions(), fs::perms(0640));
    EXPECT_EQ(fs::last_write_time(to), written);
    EXPECT_TRUE(isEmptyDirectory(source.path));
}

TEST_F(MoveAcrossFileSystemsTest, NeverReplacesAnything) {
    writeFile(from, "new");
    writeFile(to, "old");
    EXPECT_EQ(move(from, to), EEXIST);
    fs::create_symlink("nowhere", target.path / "link");
    EXPECT_EQ(move(from, target.path / "link"), EEXIST);
    EXPECT_EQ(contentsOf(from), "new");
    EXPECT_EQ(contentsOf(to), "old");
}

TEST_F(MoveAcrossFileSystemsTest, RefusesWhatIsNoRegularFileAsWithinAFileSystem) {
    writeFile(from, "image");
    fs::create_symlink(from, source.path / "link");
    ASSERT_EQ(::mkfifo((source.path / "pipe").c_str(), 0600), 0);
    fs::create_directory(source.path / "folder");
    for (const char* name : {"link", "pipe", "folder"}) {
        EXPECT_EQ(move(source.path / name, target.path / name), EINVAL) << name;
        EXPECT_EQ(move(source.path / name, source.path / "other"), EINVAL) << name;
        EXPECT_TRUE(fs::exists(fs::symlink_status(source.path / name))) << name;
    }
    EXPECT_TRUE(isEmptyDirectory(target.path));
}

TEST_F(MoveAcrossFileSystemsTest, AFileThatIsBeingWrittenIsBusyAndLosesNoByte) {
    std::ofstream writer(from, std::ios::binary);
    writer << "begin" << std::flush;
    fs::last_write_time(from, fs::last_write_time(from) - 1h);
    EXPECT_EQ(move(from, to), EBUSY) << "idle as it is";
    writer << std::string(10'000, 'x') << "end" << std::flush;
    EXPECT_EQ(move(from, to), EBUSY);
    EXPECT_TRUE(isEmptyDirectory(target.path));
    EXPECT_EQ(std::distance(fs::directory_iterator(source.path), {}), 1);
    writer.close();
    EXPECT_EQ(move(from, to), 0);
    EXPECT_EQ(fs::file_size(to), 10'008U);
    EXPECT_TRUE(contentsOf(to).ends_with("xend"));
    EXPECT_TRUE(isEmptyDirectory(source.path));
}

TEST_F(MoveAcrossFileSystemsTest, WithoutLeasesAFileIsWholeWhenItHasNotChangedForSomeSeconds) {
    for (const int error : {EAGAIN, EINVAL}) {
        fileSystemFaults.leaseError = error;
        writeFile(from, "image");
        fs::last_write_time(from, fs::last_write_time(from) + 1min);
        EXPECT_EQ(move(from, to), EBUSY) << "it has just changed";
        EXPECT_TRUE(isEmptyDirectory(target.path));
        fs::last_write_time(from, fs::last_write_time(from) - 70s);
        EXPECT_EQ(move(from, to), 0) << error;
        EXPECT_EQ(contentsOf(to), "image");
        EXPECT_TRUE(isEmptyDirectory(source.path));
        fs::remove(to);
    }
}

TEST_F(MoveAcrossFileSystemsTest, BytesMatterWhereModesAndTimesCannotBeSet) {
    fileSystemFaults.ownerError = EPERM;
    writeFile(from, "image");
    EXPECT_EQ(move(from, to), 0);
    EXPECT_EQ(contentsOf(to), "image");
    EXPECT_TRUE(isEmptyDirectory(source.path));
}

TEST_F(MoveAcrossFileSystemsTest, AWriterWhoArrivesDuringTheCopyLosesNothing) {
    writeFile(from, std::string(48 << 20, 'x'));
    auto move = std::async(std::launch::async, [&] { return files.moveItem(from, to); });
    while (isEmptyDirectory(target.path) && move.wait_for(0s) == std::future_status::timeout) std::this_thread::yield();
    // Opening waits for the copy, which then is worth nothing; by default it would also end the process that copies.
    const int late = ::open(from.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (late >= 0) {
        EXPECT_EQ(::write(late, "tail", 4), 4);
        ::close(late);
    }
    if (const auto error = move.get()) {
        EXPECT_EQ(error->code(), EBUSY);
        EXPECT_TRUE(isEmptyDirectory(target.path));
        EXPECT_FALSE(files.moveItem(from, to));
    }
    EXPECT_EQ(contentsOf(to).ends_with("tail"), late >= 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(target.path), fs::directory_iterator()), 1);
    EXPECT_FALSE(fs::exists(from));
}

/// Runs in a process of its own: answers 0 when a move to a full file system leaves everything as it was.
[[noreturn]] void moveToAFullFileSystem(const fs::path& from, const fs::path& full) {
    enterPrivateMounts();
    mountTmpfs(full.string(), "64k");
    const auto error = files::LinuxFileManager().moveItem(from, full / "slide.jpg");
    const bool failed = error && error->code() == ENOSPC;
    const bool asBefore = fs::file_size(from) == 1'000'000 && isEmptyDirectory(full);
    if (!failed) std::cerr << (error ? error->localizedDescription() : "moved") << '\n';
    if (!asBefore) std::cerr << "the source has changed or something is left behind\n";
    std::_Exit(failed && asBefore ? 0 : 1);
}

TEST_F(MoveAcrossFileSystemsTest, AFullDestinationLeavesTheSourceAndNothingElse) {
    writeFile(from, std::string(1'000'000, 'x'));
    EXPECT_EXIT(moveToAFullFileSystem(from, target.path), testing::ExitedWithCode(0), "");
}

class LinuxFileManagerTest : public testing::Test {
protected:
    files::LinuxFileManager files;
    files::LinuxDirectories directories;
    TemporaryDirectory root;
};

TEST_F(LinuxFileManagerTest, FollowsLinksAndNeverWaitsForAPipe) {
    writeFile(root.path / "file", "abc");
    fs::create_symlink("file", root.path / "link");
    fs::create_symlink("gone", root.path / "dangling");
    fs::create_directory_symlink(".", root.path / "folder");
    ASSERT_EQ(::mkfifo((root.path / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(files.kindOf(root.path / "link"), FileKind::file);
    EXPECT_EQ(files.sizeOf(root.path / "link"), 3U);
    EXPECT_EQ(files.kindOf(root.path / "dangling"), FileKind::none);
    EXPECT_EQ(files.kindOf(root.path / "folder"), FileKind::directory);
    EXPECT_FALSE(files.createDirectory(root.path / "folder"));
    EXPECT_EQ(files.kindOf(root.path / "file/below"), FileKind::none);
    EXPECT_EQ(files.kindOf(root.path / std::string(5000, 'x')), FileKind::none);
    EXPECT_EQ(files.kindOf(root.path / "pipe"), FileKind::file);
    ErrorPtr error;
    EXPECT_FALSE(files.openForWriting(root.path / "pipe", error));
    EXPECT_TRUE(files.createFile(root.path / "pipe", "text"));
}

TEST_F(LinuxFileManagerTest, FindsTheUsersDirectories) {
    const auto support = root.path / "data/deep";
    ::setenv("XDG_DATA_HOME", support.c_str(), 1);
    EXPECT_EQ(directories.applicationSupportDirectory(), support);
    EXPECT_TRUE(fs::is_directory(support));
    ::setenv("XDG_DATA_HOME", "relative", 1);
    for (const auto& home : {root.path.string(), root.path.string() + "//", "//" + root.path.string() + "/./"}) {
        ::setenv("HOME", home.c_str(), 1);
        EXPECT_EQ(directories.homeDirectory().native(), root.path.native()) << home;
    }
    EXPECT_EQ(directories.applicationSupportDirectory(), root.path / ".local/share");
    EXPECT_TRUE(fs::is_directory(root.path / ".local/share"));
    writeFile(root.path / "file", "");
    ::setenv("XDG_DATA_HOME", (root.path / "file").c_str(), 1);
    EXPECT_EQ(directories.applicationSupportDirectory(), std::nullopt);
    ::unsetenv("HOME");
    EXPECT_TRUE(directories.homeDirectory().is_absolute());
    EXPECT_NE(directories.homeDirectory(), root.path);
}

TEST_F(LinuxFileManagerTest, FollowsLinksAndKnowsOtherUsers) {
    fs::create_directories(root.path / "far/away");
    fs::create_symlink("far/away", root.path / "link");
    fs::create_symlink("loop", root.path / "loop");
    EXPECT_EQ(files.resolvingSymbolicLinks(root.path / "link"), fs::canonical(root.path) / "far/away");
    EXPECT_EQ(files.resolvingSymbolicLinks(root.path / "loop"), std::nullopt);
    EXPECT_EQ(files.resolvingSymbolicLinks(root.path / "link/gone"), std::nullopt);
    EXPECT_EQ(directories.homeDirectoryForUser("root"), "/root");
    EXPECT_EQ(directories.homeDirectoryForUser("no such user"), std::nullopt);
}

}  // namespace
