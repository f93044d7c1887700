#include "platform/linux/files/LinuxFileManager.h"
#include "platform/simulated/SimulatedFileManager.h"
#include "tests/support/Contract.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>

namespace {

using Path = std::filesystem::path;

/// A file manager and two empty directories on different file systems that it may use.
class FileManagerHarness {
public:
    virtual ~FileManagerHarness() = default;
    virtual FileManager& files() = 0;
    virtual Path root() const = 0;
    virtual Path elsewhere() const = 0;
    virtual std::string contents(const Path& path) const = 0;
};

class LinuxHarness final : public FileManagerHarness {
public:
    FileManager& files() override { return files_; }
    Path root() const override { return directory_.path; }
    Path elsewhere() const override { return elsewhere_.path; }
    std::string contents(const Path& path) const override { return contentsOf(path); }

private:
    files::LinuxFileManager files_;
    TemporaryDirectory directory_;
    TemporaryDirectory elsewhere_{"/dev/shm"};
};

class SimulatedHarness final : public FileManagerHarness {
public:
    SimulatedHarness() {
        EXPECT_FALSE(files_.createDirectory(elsewhere()));
        files_.mounts = {elsewhere()};
    }
    FileManager& files() override { return files_; }
    Path root() const override { return "/"; }
    Path elsewhere() const override { return "/elsewhere"; }
    std::string contents(const Path& path) const override { return files_.contents(path).value_or(""); }

private:
    simulated::SimulatedFileManager files_;
};

class FileManagerContract : public Contract<FileManagerHarness, LinuxHarness, SimulatedHarness> {
protected:
    FileManager& files = harness->files();
    const Path root = harness->root();
    const Path elsewhere = harness->elsewhere();
};

void expectError(const ErrorPtr& error, int code, const Path& path) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), NSPOSIXErrorDomain);
    EXPECT_EQ(error->code(), code) << error->localizedDescription();
    EXPECT_EQ(error->userInfo().at(NSFilePathErrorKey), path.native());
}

TEST_P(FileManagerContract, CreatesFilesAndReplacesWhatTheyHeld) {
    const Path file = root / "log";
    EXPECT_EQ(files.kindOf(file), FileKind::none);
    EXPECT_EQ(files.sizeOf(file), std::nullopt);
    EXPECT_FALSE(files.createFile(file, "a first run"));
    EXPECT_FALSE(files.createFile(file, "short"));
    EXPECT_EQ(harness->contents(file), "short");
    EXPECT_EQ(files.sizeOf(file), 5U);
    EXPECT_EQ(files.kindOf(file), FileKind::file);
    expectError(files.createFile(root / "missing/log", ""), ENOENT, root / "missing/log");
    expectError(files.createFile(root, ""), EISDIR, root);
}

TEST_P(FileManagerContract, CreatesDirectoriesWithTheirParents) {
    const Path directory = root / "a/b c/ä";
    EXPECT_FALSE(files.createDirectory(directory));
    EXPECT_FALSE(files.createDirectory(directory));
    EXPECT_EQ(files.kindOf(directory), FileKind::directory);
    EXPECT_FALSE(files.createFile(root / "file", "kept"));
    expectError(files.createDirectory(root / "file"), EEXIST, root / "file");
    EXPECT_TRUE(files.createDirectory(root / "file/below"));
    EXPECT_EQ(harness->contents(root / "file"), "kept");
}

TEST_P(FileManagerContract, MovesButNeverOverAnExistingFile) {
    const Path from = root / "slide.jpeg";
    const Path to = root / "slide.jpg";
    EXPECT_FALSE(files.createFile(from, "image"));
    EXPECT_FALSE(files.moveItem(from, to));
    EXPECT_EQ(files.kindOf(from), FileKind::none);
    EXPECT_EQ(harness->contents(to), "image");

    EXPECT_FALSE(files.createFile(from, "another"));
    expectError(files.moveItem(from, to), EEXIST, to);
    EXPECT_EQ(harness->contents(from), "another");
    EXPECT_EQ(harness->contents(to), "image");

    for (const Path& other : {root, elsewhere}) {
        expectError(files.moveItem(root / "gone", other / "new"), ENOENT, root / "gone");
        expectError(files.moveItem(from, other / "missing/new"), ENOENT, other / "missing/new");
        EXPECT_FALSE(files.createDirectory(root / "folder"));
        expectError(files.moveItem(root / "folder", other / "new"), EINVAL, root / "folder");
    }
    EXPECT_EQ(harness->contents(from), "another");
    EXPECT_FALSE(files.moveItem(from, elsewhere / "new"));
    EXPECT_EQ(harness->contents(elsewhere / "new"), "another");
}

TEST_P(FileManagerContract, AWriterGoesOnIntoTheMovedFileAndItsFileSystemKeepsIt) {
    EXPECT_FALSE(files.createFile(root / "a", ""));
    ErrorPtr error;
    auto writer = files.openForWriting(root / "a", error);
    ASSERT_TRUE(writer);
    writer->write("before ");
    EXPECT_FALSE(files.moveItem(root / "a", root / "b"));
    writer->write("after");
    EXPECT_EQ(harness->contents(root / "b"), "before after");
    EXPECT_EQ(files.kindOf(root / "a"), FileKind::none);

    expectError(files.moveItem(root / "b", elsewhere / "c"), EBUSY, elsewhere / "c");
    EXPECT_EQ(files.kindOf(elsewhere / "c"), FileKind::none);
    writer.reset();
    EXPECT_FALSE(files.moveItem(root / "b", elsewhere / "c"));
    EXPECT_EQ(harness->contents(elsewhere / "c"), "before after");
}

TEST_P(FileManagerContract, OpensExistingFilesOnlyAndWritesFromTheirStart) {
    ErrorPtr error;
    EXPECT_FALSE(files.openForWriting(root / "file", error));
    expectError(error, ENOENT, root / "file");
    EXPECT_EQ(files.kindOf(root / "file"), FileKind::none);

    EXPECT_FALSE(files.createFile(root / "file", "12345"));
    const auto writer = files.openForWriting(root / "file", error);
    ASSERT_TRUE(writer);
    EXPECT_FALSE(error);
    writer->write("ab");
    writer->write("c");
    EXPECT_EQ(harness->contents(root / "file"), "abc45");
}

INSTANTIATE_CONTRACT(FileManagerContract);

}  // namespace
