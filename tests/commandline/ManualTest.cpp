/// Manual pages and completions of all programs.

#include "tests/commandline/Programs.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <regex>
#include <sstream>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

std::string share(const std::string& file) {
    return contentsOf(fs::path(SHARE) / file);
}

/// All that help lists with dashes before it.
std::vector<std::string> optionsOf(const Words& command) {
    const auto help = run(with(command, "--help")).output;
    std::vector<std::string> names;
    const std::regex option("\n  (?:-[a-z], )?--([a-z-]+)");
    for (std::sregex_iterator each(help.begin(), help.end(), option), end; each != end; ++each)
        names.push_back((*each)[1]);
    return names;
}

TEST(Manual, TellsEveryOptionThatHelpTells) {
    std::size_t seen = 0;
    for (const auto& command : commandLines()) {
        const auto& program = command.front();
        const auto page = share("man/man1/" + program + ".1");
        const auto bash = share("bash-completion/completions/" + program);
        const auto zsh = share("zsh/vendor-completions/_" + program);
        const auto fish = share("fish/vendor_completions.d/" + program + ".fish");
        for (const auto& option : optionsOf(command)) {
            ++seen;
            EXPECT_THAT(page, HasSubstr("Fl -" + option)) << program;
            EXPECT_THAT(bash, HasSubstr("--" + option)) << program;
            EXPECT_THAT(zsh, HasSubstr("--" + option)) << program;
            EXPECT_THAT(fish, HasSubstr(" -l " + option)) << program;
        }
    }
    EXPECT_GT(seen, 40U) << "the test looks at the wrong place";
}

TEST(Manual, PagesAreWellFormed) {
    for (const auto& program : programs()) {
        const auto page = SHARE "/man/man1/" + program + ".1";
        const auto lint = run({MANDOC, "-Tlint", "-Wwarning", page});
        EXPECT_EQ(lint.output + lint.complaints, "");
        EXPECT_EQ(lint.status, 0);
        const auto shown = run({"/usr/bin/env", "LC_ALL=C.UTF-8", "MANROFFSEQ=", "man", "-l", "--warnings", page});
        EXPECT_EQ(shown.complaints, "");
        EXPECT_THAT(shown.output, HasSubstr("EXIT STATUS"));
    }
}

TEST(Completion, IsReadByEachShell) {
    for (const auto& program : programs()) {
        for (const auto& words : {Words{"bash", "-n", SHARE "/bash-completion/completions/" + program},
                                  Words{"zsh", "-n", SHARE "/zsh/vendor-completions/_" + program},
                                  Words{"fish", "-n", SHARE "/fish/vendor_completions.d/" + program + ".fish"}}) {
            const auto outcome = run(Words{"/usr/bin/env", words[0], words[1], words[2]});
            EXPECT_EQ(outcome.status, 0) << words[0] << outcome.complaints;
        }
    }
}

struct Case {
    const char* line;
    std::vector<std::string> words;
};

/// Completes a line that ends where the cursor is.
class Completion : public testing::TestWithParam<const char*> {
protected:
    Completion() {
        fs::create_directory(directory_.path / "lectures");
        std::ofstream(directory_.path / "lecture.odp") << "deck";
    }
    [[nodiscard]] std::vector<std::string> completed(const std::string& line) const {
        const auto in = "cd '" + directory_.path.native() + "'\n";
        const bool isFish = GetParam() == std::string("fish");
        const auto script = isFish ? in +
                                         "source " SHARE
                                         "/fish/vendor_completions.d/keynote-capture.fish\n"
                                         "complete -C '" +
                                         line + "'"
                                   : in +
                                         "source " SHARE
                                         "/bash-completion/completions/keynote-capture\n"
                                         "COMP_WORDS=(" +
                                         std::regex_replace(line, std::regex("="), " = ") +
                                         (line.ends_with(' ') || line.ends_with('=') ? " ''" : "") +
                                         ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\ncompopt() { :; }\n"
                                         "_keynote_capture\nprintf '%s\\n' \"${COMPREPLY[@]}\"";
        auto text = run({"/usr/bin/env", "HOME=" + directory_.path.native(), GetParam(), "-c", script}).output;
        std::vector<std::string> words;
        std::istringstream lines(text);
        for (std::string each; std::getline(lines, each);) {
            each = each.substr(0, each.find('\t'));
            // A shell tells a directory with or without its slash, and an option with its value before it or without.
            if (each.ends_with('/')) each.pop_back();
            each = each.substr(each.starts_with("--") && each.find('=') != std::string::npos ? each.find('=') + 1 : 0);
            if (!each.empty()) words.push_back(each);
        }
        return words;
    }

    TemporaryDirectory directory_;
};

TEST_P(Completion, KnowsCommandsOptionsAndValues) {
    EXPECT_THAT(completed("keynote-capture re"), testing::UnorderedElementsAre("record", "recover"));
    EXPECT_THAT(completed("keynote-capture record --rec"), ElementsAre("--recording-id"));
    EXPECT_THAT(completed("keynote-capture record --to lec"), ElementsAre("lectures"));
    EXPECT_THAT(completed("keynote-capture record --to=lec"), ElementsAre("lectures"));
    EXPECT_THAT(completed("keynote-capture export --format m"), ElementsAre("matroska"));
    EXPECT_THAT(completed("keynote-capture export lec"), ElementsAre("lectures"));
    EXPECT_THAT(completed("keynote-capture extract lec"), testing::UnorderedElementsAre("lecture.odp", "lectures"));
    EXPECT_THAT(completed("keynote-capture setup --pipe "), ElementsAre());
    EXPECT_THAT(completed("keynote-capture status --rep"), ElementsAre());
}

INSTANTIATE_TEST_SUITE_P(Shells, Completion, testing::Values("bash", "fish"),
                         [](const auto& each) { return std::string(each.param); });

}  // namespace
