#pragma once

#include <memory>
#include <string>

namespace CLI {
class FormatterBase;
}  // namespace CLI

/// Lines of at most 80 columns from the text's paragraphs: its lines of prose, those behind the first indented by so
/// much. Lines that begin with a blank, as examples do, stay as they are.
[[nodiscard]] std::string wrapped(const std::string& text, std::size_t indent = 0);

/// The form of help that all programs have.
[[nodiscard]] std::shared_ptr<CLI::FormatterBase> makeHelpText();
