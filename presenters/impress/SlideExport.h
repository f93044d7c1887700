#pragma once

#include "presenters/impress/Uno.h"

#include <filesystem>
#include <set>

namespace impress {

/// An order to write every slide of a document, hidden ones too, as JPEG image `slide.NNN.jpg` by its number.
struct SlideExport {
    std::filesystem::path directory;  ///< made when missing
    int quality = 80;                 ///< of JPEG, 0 to 100
    std::set<int> written = {};       ///< numbers of the slides whose image is done

    /// Writes the images that are not done; what fails goes to standard error, and the other slides go on. The office
    /// does it on its own copy of the pages: its views, selection and modified flag stay as they are. Throws
    /// `css::uno::Exception` when the document or the office goes away; then a copy of the document can go on.
    void run(const Context& office, const Model& document);
};

}  // namespace impress
