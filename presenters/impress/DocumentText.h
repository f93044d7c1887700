#pragma once

#include "ports/Scripting.h"
#include "presenters/impress/Uno.h"

#include <atomic>
#include <com/sun/star/drawing/XDrawPage.hpp>
#include <cstdint>
#include <string>
#include <vector>

namespace impress {

/// Bytes of text that one answer may hold.
inline constexpr std::size_t kLargestText = std::size_t{32} << 20U;

/// Reads the name of a presentation and the text of all slides in small steps, between which the office does other
/// things. Throws `Refusal` when the text is larger than `kLargestText`, and `css::uno::Exception` when the document or
/// the office goes away.
[[nodiscard]] ScriptingDocumentText textOfDocument(const Model& document);
/// Reads one slide. A shape that cannot be read is left out, and told on standard error. `size` counts bytes of text up
/// to `kLargestText`. Throws as `textOfDocument` does.
[[nodiscard]] ScriptingSlide textOfSlide(std::int64_t number, const Reference<css::drawing::XDrawPage>& page,
                                         std::atomic<std::size_t>& size);

/// The numbers of the document's slides, in order.
[[nodiscard]] std::vector<std::int64_t> slideNumbersOf(const Model& document);

}  // namespace impress
