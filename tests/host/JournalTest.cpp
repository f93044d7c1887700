#include "host/Journal.h"

#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <filesystem>

namespace {

using Lines = std::vector<std::string>;

class JournalTest : public testing::Test {
protected:
    void write(const std::string& line) const {
        auto journal = host::Journal::open(file_);
        ASSERT_TRUE(journal);
        EXPECT_TRUE(journal->append(line));
    }
    TemporaryDirectory directory_;
    const std::filesystem::path file_ = directory_.path / "timeline.jsonl";
};

TEST_F(JournalTest, CutAnywhereItKeepsEveryCompleteLineAndGoesOn) {
    const Lines lines{"{\"a\":1}", "{}", "{\"ä\":\"\"}", ""};
    std::string all;
    for (const auto& line : lines) all += line + '\n';
    for (std::size_t size = 0; size <= all.size(); ++size) {
        const auto kept = all.substr(0, size);
        writeFile(file_, kept);
        const auto complete = static_cast<std::size_t>(std::count(kept.begin(), kept.end(), '\n'));
        Lines expected(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(complete));
        EXPECT_EQ(host::journalLines(file_), expected) << size;

        write("next");
        const auto torn = kept.substr(kept.rfind('\n') + 1);
        if (!torn.empty()) expected.push_back(torn);
        expected.emplace_back("next");
        EXPECT_EQ(host::journalLines(file_), expected) << size;
    }
}

TEST_F(JournalTest, HasOneWriterAndNeverFollowsALink) {
    EXPECT_FALSE(host::isBeingWritten(file_)) << "there is none";
    write("one");
    EXPECT_FALSE(host::isBeingWritten(file_));
    const auto writer = host::Journal::open(file_);
    EXPECT_TRUE(host::isBeingWritten(file_));
    EXPECT_FALSE(host::Journal::open(file_));
    EXPECT_EQ(host::journalLines(file_), Lines{"one"});

    writeFile(directory_.path / "elsewhere", "mine\n");
    std::filesystem::create_symlink(directory_.path / "elsewhere", directory_.path / "link");
    EXPECT_FALSE(host::Journal::open(directory_.path / "link"));
    EXPECT_FALSE(host::Journal::open(directory_.path / "missing/timeline.jsonl"));
    EXPECT_EQ(host::journalLines(directory_.path), Lines());
}

}  // namespace
