#pragma once

#include <string_view>

namespace keynote_capture {

/// The parts of a lecture's page, which are compiled in. `{{name}}` stands in the template where something is filled
/// in.
extern const std::string_view kPageTemplate;
extern const std::string_view kPageStyle;
extern const std::string_view kPageScript;

}  // namespace keynote_capture
