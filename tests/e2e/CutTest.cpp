/// Processes that are killed after each of their system calls, and disks as power cuts leave them after each: nothing
/// complete is lost, and nothing half is taken for whole.

#include "host/Journal.h"
#include "platform/linux/files/LinuxFileManager.h"
#include "presenters/impress/PendingFile.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/PowerCut.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/keynote-capture/FileDigest.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <atomic>
#include <map>
#include <new>
#include <set>

namespace fs = std::filesystem;

namespace {

using Json = nlohmann::json;
using Roots = PowerCut::Roots;
using Lines = std::vector<std::string>;

/// What a process does to two empty directories on two file systems, and what has to be true whenever it is cut.
struct Work {
    std::function<void(const Roots&)> prepare;  ///< before it begins
    std::function<void(const Roots&)> run;      ///< in the process
    std::function<void(const Roots&)> look;     ///< at what it has left when it was killed
    /// At what a power cut has left.
    std::function<void(const Roots&)> lookAfterPowerCut = {};
    Lines unsynced = {};  ///< files in the first directory whose bytes are not on the disk when it begins
};

class Disks {
public:
    explicit Disks(const Work& work) {
        if (work.prepare) work.prepare(roots);
    }

private:
    const TemporaryDirectory here_{"/dev/shm"};
    const TemporaryDirectory there_;

public:
    const Roots roots{here_.path, there_.path};
};

using OnChange = std::function<bool(const FileCall&)>;

/// Has the work done by a process of its own, for as long as `goesOn` says so after what may have changed the disks.
std::optional<int> start(const Work& work, const Disks& disks, const OnChange& goesOn) {
    return trace([&] { work.run(disks.roots); }, disks.roots,
                 [&](const FileCall& call) { return !call.mayChange || goesOn(call); });
}

/// Whether the process has ended by itself before it had made that many changes.
bool endsWithin(const Work& work, std::size_t changes) {
    const Disks disks(work);
    std::string last = "nothing";
    const auto status = start(work, disks, [&](const FileCall& call) {
        last = call.name + " " + call.path.filename().native();
        return changes-- > 1;
    });
    EXPECT_EQ(status.value_or(0), 0);
    const testing::ScopedTrace where(__FILE__, __LINE__, "killed after " + last);
    work.look(disks.roots);
    return status.has_value();
}

void cutPower(const Work& work) {
    const Disks disks(work);
    PowerCut power(disks.roots);
    for (const auto& file : work.unsynced) power.lose(disks.roots[0] / file);
    const auto status = start(work, disks, [&](const FileCall& call) {
        power.note(call);
        const testing::ScopedTrace where(__FILE__, __LINE__, "no power after " + call.name + " " + call.path.native());
        power.forEach(work.lookAfterPowerCut);
        return !testing::Test::HasFailure();
    });
    EXPECT_EQ(status, 0);
    power.forEach(work.lookAfterPowerCut);
}

void cutAfterEachChange(const Work& work) {
    std::size_t changes = 1;
    while (!endsWithin(work, changes) && !testing::Test::HasFailure()) ++changes;
    EXPECT_GT(changes, 1U) << "it is not seen to do anything";
    if (work.lookAfterPowerCut && !testing::Test::HasFailure()) cutPower(work);
}

class CutTest : public testing::Test {
protected:
    void SetUp() override {
        try {
            static_cast<void>(trace([] { ::close(-1); }, {}, {}));
        } catch (const TracingRefused& reason) {
            GTEST_SKIP() << reason.what();  // containers may forbid to trace
        }
    }
};

/// A number that a process and those that it begins see alike.
class SharedNumber {
public:
    SharedNumber()
        : number_(new (mmap(nullptr, sizeof(std::atomic<std::size_t>), PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<std::size_t>()) {}
    ~SharedNumber() { munmap(number_, sizeof *number_); }
    SharedNumber(const SharedNumber&) = delete;
    SharedNumber& operator=(const SharedNumber&) = delete;
    std::atomic<std::size_t>& operator*() const { return *number_; }

private:
    std::atomic<std::size_t>* number_;
};

TEST_F(CutTest, AJournalKeepsEveryLineThatItHasReported) {
    const Lines all{R"({"line":1})", R"({"line":2})", R"({"line":3})"};
    const SharedNumber reported;
    const auto run = [&](const Roots& roots) {
        const auto directory = roots[0] / "captures/P";
        static_cast<void>(files::LinuxFileManager().createDirectory(directory));
        for (const auto& line : all) {
            auto journal = host::Journal::open(directory / "timeline.jsonl");
            if (journal->append(line)) ++*reported;
        }
    };
    const auto look = [&](const Roots& roots) {
        const auto directory = roots[0] / "captures/P";
        auto lines = host::journalLines(directory / "timeline.jsonl");
        EXPECT_GE(lines.size(), *reported);
        EXPECT_EQ(lines, Lines(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(lines.size())));

        // Whoever goes on may find half a line behind those, and closes it.
        static_cast<void>(files::LinuxFileManager().createDirectory(directory));
        auto journal = host::Journal::open(directory / "timeline.jsonl");
        ASSERT_TRUE(journal);
        EXPECT_TRUE(journal->append("next"));
        auto now = host::journalLines(directory / "timeline.jsonl");
        if (now.size() == lines.size() + 2) {
            EXPECT_TRUE(all.at(lines.size()).starts_with(now.at(lines.size())));
            now.erase(now.end() - 2);
        }
        lines.emplace_back("next");
        EXPECT_EQ(now, lines);
    };
    const auto prepare = [&](const Roots&) { *reported = 0; };
    cutAfterEachChange({prepare, run, look, look});
}

TEST_F(CutTest, AMovedImageIsWholeWhereverItIs) {
    // More than is copied at a time.
    std::string image;
    while (image.size() < 70'000) image += std::to_string(image.size());
    std::set<dev_t> fileSystems;
    for (const auto& root : Disks({}).roots) {
        struct stat status {};
        ASSERT_EQ(::stat(root.c_str(), &status), 0);
        fileSystems.insert(status.st_dev);
    }
    ASSERT_EQ(fileSystems.size(), 2U) << "Set TMPDIR to a directory on another file system than /dev/shm.";
    for (const std::size_t target : {1U, 0U}) {
        const auto from = [](const Roots& roots) { return roots[0] / "slide/slide.001.jpg"; };
        const auto to = [target](const Roots& roots) { return roots[target] / "slide.001.jpg"; };
        const auto run = [&](const Roots& roots) {
            if (files::LinuxFileManager().moveItem(from(roots), to(roots))) ::_exit(1);
        };
        const auto look = [&](const Roots& roots) {
            EXPECT_TRUE(fs::exists(from(roots)) || fs::exists(to(roots)));
            for (const auto& file : {from(roots), to(roots)}) {
                EXPECT_TRUE(!fs::exists(file) || contentsOf(file) == image) << file;
            }
            const bool wasThere = fs::exists(to(roots));
            const auto error = files::LinuxFileManager().moveItem(from(roots), to(roots));
            EXPECT_EQ(error == nullptr, !wasThere) << "another look moves it, and nothing over it";
            EXPECT_TRUE(contentsOf(to(roots)) == image);
        };
        const auto prepare = [&](const Roots& roots) { writeFile(from(roots), image); };
        cutAfterEachChange({prepare, run, look, look});
    }
}

TEST_F(CutTest, AnArchiveCopyIsWholeOrEmpty) {
    const auto archive = [](const Roots& roots) { return roots[0] / "P.key"; };
    // As the service makes room for it and the program saves it.
    const auto run = [&](const Roots& roots) {
        static_cast<void>(files::LinuxFileManager().createFile(archive(roots), ""));
        impress::PendingFile file(archive(roots));
        std::ofstream out(file.path());
        out << "half" << std::flush << "whole" << std::flush;
        out.close();
        if (file.commit()) ::_exit(1);
    };
    const auto look = [&](const Roots& roots) {
        const auto content = contentsOf(archive(roots));
        EXPECT_TRUE(content.empty() || content == "halfwhole") << content;
        run(roots);
        EXPECT_EQ(contentsOf(archive(roots)), "halfwhole");
    };
    cutAfterEachChange({{}, run, look});
}

constexpr const char* kJournal =
    R"({"timeline":1,"recordingID":"R","presentationID":"P","deck":null,"archive":"P.key",)"
    R"("clocks":{"wall":"2026-03-05T13:07:09.000000Z","steady":0,"boot":"b"}}
{"event":"showStarted","steady":[0,1000]}
{"event":"slideShown","slide":1,"steady":[0,1000]}
{"event":"slideShown","slide":2,"steady":[2000000,2001000],"received":"2026-03-05T13:07:12.000000Z"}
)";
constexpr const char* kText =
    "<?xml version=\"1.0\"?><KeynoteInfo version=\"1\"><Slides><Slide><Number>1</Number><Title>Light</Title></Slide>"
    "</Slides></KeynoteInfo>";

class RecoveryCutTest : public CutTest {
protected:
    /// What its recorder has left.
    static void prepare(const Roots& roots) {
        const auto presentation = roots[0] / "P";
        writeFile(presentation / "timeline.jsonl", kJournal);
        writeFile(presentation / "P.key", "deck");
        writeFile(presentation / "P.key.key.text.xml", kText);
        for (const char* image : {"slide.001.jpg", "slide.002.jpg"})
            writeFile(presentation / image, "\xFF\xD8 \xFF\xD9");
    }
    static void run(const Roots& roots) {
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        ::dup2(nowhere, STDOUT_FILENO);
        ::execl(KEYNOTE_CAPTURE, KEYNOTE_CAPTURE, "recover", roots[0].c_str(), nullptr);
    }
    /// The files that it is all about, and all that the journal says of them.
    static std::map<std::string, std::string> leavesIn(const fs::path& presentation) {
        std::map<std::string, std::string> leaves;
        for (const auto& entry : fs::directory_iterator(presentation)) {
            const auto name = entry.path().filename().native();
            if (name != "timeline.jsonl") leaves[name] = contentsOf(entry.path());
        }
        return leaves;
    }
    static std::optional<Json> lineNamed(const fs::path& presentation, const std::string& event) {
        for (const auto& line : host::journalLines(presentation / "timeline.jsonl")) {
            const auto json = Json::parse(line, nullptr, false);
            if (json.is_object() && json.value("event", "") == event) return json;
        }
        return std::nullopt;
    }
};

TEST_F(RecoveryCutTest, IsMadeUpForByAnotherOneToTheByte) {
    const Work uncut{prepare, run, {}};
    const Disks whole(uncut);
    EXPECT_EQ(ChildProcess({KEYNOTE_CAPTURE, "recover", whole.roots[0]}).exitStatus(), 0);
    const auto expected = leavesIn(whole.roots[0] / "P");
    ASSERT_EQ(expected.size(), 6U);

    const auto lookAtOnce = [&](const Roots& roots) {
        const auto presentation = roots[0] / "P";
        if (const auto line = lineNamed(presentation, "archived")) {
            EXPECT_EQ(line->at("sha256"), keynote_capture::sha256Of(presentation / "P.key"));
        }
        // What is finished nobody looks at again.
        const bool isFinished = lineNamed(presentation, "finished").has_value();
        EXPECT_TRUE(!isFinished || leavesIn(presentation) == expected);
    };
    const auto look = [&](const Roots& roots) {
        lookAtOnce(roots);
        for (const auto& [name, bytes] : leavesIn(roots[0] / "P")) {
            EXPECT_TRUE(name.starts_with(".") || bytes == expected.at(name)) << "half of " << name;
        }
        EXPECT_EQ(ChildProcess({KEYNOTE_CAPTURE, "recover", roots[0]}).exitStatus(), 0);
        EXPECT_EQ(leavesIn(roots[0] / "P"), expected);
        EXPECT_TRUE(lineNamed(roots[0] / "P", "finished"));
    };
    cutAfterEachChange(
        {prepare, run, look, lookAtOnce, {"P/P.key", "P/P.key.key.text.xml", "P/slide.001.jpg", "P/slide.002.jpg"}});
}

}  // namespace
