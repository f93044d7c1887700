#pragma once

#include <initializer_list>
#include <string>

/// A command line, and a few words about it or none.
struct Example {
    std::string line;
    std::string words;
};

/// A heading and a line for each, the words below one another.
[[nodiscard]] std::string examples(std::initializer_list<Example> lines);
