/// What all programs say of themselves, and of a command line that is wrong.

#include "tests/commandline/Programs.h"
#include "tests/support/German.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <optional>
#include <sstream>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::size_t widthOf(const std::string& line) {
    return static_cast<std::size_t>(
        std::count_if(line.begin(), line.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

class CommandLine : public testing::TestWithParam<const char*> {
protected:
    const bool isGerman = GetParam() == std::string("de");
    const std::optional<German> german = isGerman ? std::make_optional<German>() : std::nullopt;
};

TEST_P(CommandLine, HelpHasOneFormAndFitsATerminal) {
    for (const auto& words : commandLines()) {
        const auto help = run(with(words, "--help"));
        EXPECT_EQ(help.status, 0);
        EXPECT_THAT(help.output, AllOf(HasSubstr(isGerman ? "\nAufruf: " + words.front() : "\nUsage: " + words.front()),
                                       HasSubstr(isGerman ? "\nBeispiel" : "\nExample"), HasSubstr("\n  -h, --help"),
                                       Not(HasSubstr("REQUIRED")), Not(HasSubstr("TEXT ")), Not(HasSubstr("{}"))))
            << words.back();
        std::istringstream lines(help.output);
        for (std::string line; std::getline(lines, line);) EXPECT_LE(widthOf(line), 80U) << line;
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, CommandLine, testing::Values("en", "de"),
                         [](const auto& each) { return std::string(each.param); });

TEST(WrongUsage, IsNamedByItsProgramWithWhatWasPerhapsMeant) {
    for (const auto& program : programs()) {
        EXPECT_THAT(run({program, "--version"}).output, testing::MatchesRegex(program + " [0-9]+\\.[0-9]+\\.[0-9]+\n"));
        const auto wrong = run({program, "--versoin"});
        EXPECT_EQ(wrong.status, 2);
        EXPECT_EQ(wrong.complaints, fmt::format("{0}: There is no option --versoin; did you mean --version?\n"
                                                "Run {0} --help for more information.\n",
                                                program));
    }
    const std::vector<std::pair<Words, std::string>> cases = {
        {{"recrod"}, "There is no command recrod; did you mean record?"},
        {{"frobnicate"}, "There is no command frobnicate."},
        {{}, "A command is missing."},
        {{"record"}, "--to is missing."},
        {{"record", "--too", "x"}, "There is no option --too; did you mean --to?"},
        {{"record", "--to"}, "--to needs a value."},
        {{"record", "--to", "x", "--execc=y"}, "There is no option --execc; did you mean --exec?"},
        {{"export", "/gone"}, "CAPTURE: there is no directory /gone"},
        {{"export", "/", "--format", "x"}, "--format: must be one of vtt, ffmetadata, matroska, ogm, json, csv"},
        {{"export", "/", "--offset", "1", "--video", "/bin/sh"}, "--offset and --video do not go together."},
        {{"extract", "a", "b\x1B[2J"}, "b\\u{1b}[2J is one argument too many."},
        {{"windows", "--\xFF"}, "There is no option --\xEF\xBF\xBD."},
    };
    for (auto [words, sentence] : cases) {
        words.insert(words.begin(), "keynote-capture");
        const auto wrong = run(words);
        EXPECT_EQ(wrong.status, 2) << sentence;
        EXPECT_THAT(wrong.complaints, StartsWith("keynote-capture: " + sentence + "\nRun keynote-capture"));
    }
    EXPECT_THAT(run({"keynote-simulator", "--slides", "1.5"}).complaints,
                HasSubstr("--slides: must be a whole number"));
    EXPECT_THAT(run({"keynote-simulator", "--slides", "0"}).complaints, HasSubstr("must be a number from 1 to 10000"));
}

TEST(WrongUsage, SpeaksTheUsersLanguageButNeverInJSON) {
    const German german;
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/gone", 1);
    EXPECT_THAT(run({"keynote-capture", "recrod"}).complaints, HasSubstr("gemeint ist vielleicht record."));
    EXPECT_THAT(run({"keynote-capture", "status"}).output, StartsWith("Fehler   Bus        Der Sitzungsbus "));
    EXPECT_THAT(run({"keynote-capture", "status", "--json"}).output,
                AllOf(HasSubstr("\"state\":\"failed\""), Not(HasSubstr("Sitzung"))));
}

}  // namespace
