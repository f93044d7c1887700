#include "commandline/Examples.h"

#include "commandline/Translation.h"

#include <algorithm>

std::string examples(std::initializer_list<Example> lines) {
    std::size_t width = 0;
    for (const auto& example : lines) width = std::max(width, example.line.size());
    auto text = lines.size() == 1 ? translated("Example:\n") : translated("Examples:\n");
    for (const auto& [line, words] : lines) {
        text += words.empty() ? fmt::format("  {}\n", line) : fmt::format("  {:<{}}  {}\n", line, width, words);
    }
    return text;
}
