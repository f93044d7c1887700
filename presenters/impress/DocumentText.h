#pragma once

#include "presenters/impress/Uno.h"

#include <sdbus-c++/Types.h>
#include <atomic>
#include <com/sun/star/drawing/XDrawPage.hpp>
#include <com/sun/star/frame/XModel.hpp>
#include <cstdint>
#include <string>
#include <vector>

/// A presentation's text, as `documentText` of the scripting channel answers it.
struct DocumentText {
    using Table = sdbus::Struct<std::string, std::vector<std::vector<std::string>>>;
    using Slide = sdbus::Struct<std::int64_t, bool, std::string, std::string, std::string, std::vector<std::string>,
                                std::vector<Table>>;

    /// Bytes of text that one answer may hold.
    static constexpr std::size_t kLargest = std::size_t{32} << 20U;

    std::string name;
    std::vector<Slide> slides;

    /// Reads all slides in small steps, between which the office does other things. Throws `Refusal` when the
    /// text is larger than `kLargest`, and `css::uno::Exception` when the document or the office goes away.
    [[nodiscard]] static DocumentText read(const css::uno::Reference<css::frame::XModel>& document);
    /// Reads one slide. A shape that cannot be read is left out, and told on standard error. `size` counts bytes of
    /// text up to `kLargest`. Throws as `read` does.
    [[nodiscard]] static Slide readSlide(std::int64_t number, const css::uno::Reference<css::drawing::XDrawPage>& page,
                                         std::atomic<std::size_t>& size);
};

/// The numbers of the document's slides, in order.
[[nodiscard]] std::vector<std::int64_t> slideNumbersOf(const css::uno::Reference<css::frame::XModel>& document);
