/// Writes the manual page of one of our programs, or its completion for a shell, to standard output. Runs where the
/// programs are built.

#include "KeynoteCaptureService/CommandLine.h"
#include "presenters/impress/CommandLine.h"
#include "presenters/simulator/CommandLine.h"
#include "tools/keynote-capture/definition/CommandLine.h"
#include "tools/manual/Manual.h"
#include "tools/soap-call/CommandLine.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>

namespace {

template <typename Options>
Command defined(std::shared_ptr<CLI::App> (*make)(Options&)) {
    Options options;
    return commandOf(*make(options));
}

std::optional<std::string> made(std::string_view form, const Command& program, const char* frame) {
    if (form == "bash") return manual::bashCompletion(program);
    if (form == "zsh") return manual::zshCompletion(program);
    if (form == "fish") return manual::fishCompletion(program);
    std::ifstream file(frame);
    if (form != "man" || !file.is_open()) return std::nullopt;
    return manual::manPage(program, {std::istreambuf_iterator<char>(file), {}});
}

}  // namespace

int main(int argc, char** argv) {
    const std::string_view name = argc > 1 ? argv[1] : "";
    const std::string_view form = argc > 2 ? argv[2] : "";
    for (const auto& program :
         {defined(keynote_capture::makeCommandLine), defined(soap_call::makeCommandLine),
          defined(simulator::makeCommandLine), defined(impress::makeCommandLine), defined(::makeCommandLine)}) {
        if (program.name != name) continue;
        const auto text = made(form, program, argc > 3 ? argv[3] : "");
        if (text && std::fwrite(text->data(), 1, text->size(), stdout) == text->size()) return EXIT_SUCCESS;
    }
    std::fputs("usage: make-manual PROGRAM man FRAME | PROGRAM bash|zsh|fish\n", stderr);
    return EXIT_FAILURE;
}
