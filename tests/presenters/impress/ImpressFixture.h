#pragma once

#include "bus/Convert.h"
#include "bus/Names.h"
#include "tests/presenters/impress/ImpressSession.h"
#include "tests/support/Deadline.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <algorithm>

using namespace std::chrono_literals;

/// Our own copy of the example deck: the office puts a lock file beside what it opens.
inline std::filesystem::path copyLecture(const std::filesystem::path& copy) {
    std::filesystem::copy_file(LECTURE, copy, std::filesystem::copy_options::overwrite_existing);
    return copy;
}

inline std::vector<std::string> namesIn(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(folder, missing)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

inline std::vector<std::string> imageNames(int count) {
    std::vector<std::string> names;
    for (int number = 1; number <= count; ++number) names.push_back(fmt::format("slide.{:03}.jpg", number));
    return names;
}

/// A deck of pages that take the office some time to draw.
inline std::filesystem::path writeLongDeck(const std::filesystem::path& deck, int pages) {
    auto text = contentsOf(TEXTS);
    const auto begin = text.find("<draw:page ");
    const auto end = text.find("<draw:page ", begin + 1);
    const auto page = text.substr(begin, end - begin);
    for (int i = 0; i < pages; ++i) text.insert(begin, page);
    writeFile(deck, text);
    return deck;
}

inline const std::map<std::string, sdbus::Variant> kExportProperties{
    {"compressionFactor", sdbus::Variant(0.8)},
    {"imageFormat", sdbus::Variant(std::string("Kifj"))},
    {"allStages", sdbus::Variant(false)},
    {"borders", sdbus::Variant(false)},
    {"date", sdbus::Variant(false)},
    {"slideNumbers", sdbus::Variant(false)}};

/// A test with the session that all tests share.
class Impress : public testing::Test {
protected:
    static void SetUpTestSuite() {
        session = std::make_unique<ImpressSession>();
        lecture = copyLecture(session->folder() / "lecture.fodp");
    }
    static void TearDownTestSuite() { session.reset(); }

    void SetUp() override {
        ASSERT_TRUE(session->waitForProgram()) << session->bridge().complaintsUntilNow();
        program = session->program();
    }

    /// Opens the deck as the user does.
    css::uno::Reference<css::frame::XModel> open(const std::filesystem::path& deck) {
        auto document = session->open(deck);
        const auto url = urlFromPath(deck);
        EXPECT_TRUE(eventually([&] { return poll(*program).documentFile == url; }));
        return document;
    }

    /// Sends a command, again while the office is too busy to be asked about the document.
    void send(const std::function<void()>& command) {
        EXPECT_TRUE(eventually([&] { return errorOf(command) == "accepted"; }));
    }

    /// What the call answers, asked again while the office is too busy.
    template <typename Call>
    auto answerTo(const Call& call) {
        decltype(call()) answer{};
        send([&] { answer = call(); });
        return answer;
    }

    std::string errorOf(const std::function<void()>& call) {
        try {
            call();
        } catch (const sdbus::Error& error) {
            return error.getName();
        }
        return "accepted";
    }

    static inline std::unique_ptr<ImpressSession> session;
    static inline std::filesystem::path lecture;
    std::unique_ptr<ProgramProxy> program;
};
