#include "presenters/impress/SlideExport.h"

#include "base/FileURL.h"
#include "presenters/impress/Documents.h"
#include "presenters/impress/PendingFile.h"

#include <fmt/format.h>
#include <algorithm>
#include <chrono>
#include <com/sun/star/drawing/GraphicExportFilter.hpp>
#include <iostream>

namespace impress {

namespace {

using Seconds = std::chrono::duration<double>;
using Stopwatch = std::chrono::steady_clock;

constexpr int kImageWidth = 1440;

/// Exports the pages of one document, one after the other.
class PageExporter {
public:
    PageExporter(const Context& office, SlideExport& order)
        : order_(order), filter_(css::drawing::GraphicExportFilter::create(office)) {}

    void exportPage(const Reference<css::beans::XPropertySet>& page) {
        if (imageOptions_.getLength() == 0) imageOptions_ = imageOptions(page);
        const auto number = valueOf<sal_Int16>(page, "Number");
        // Done before the document went; a copy of it goes on.
        if (order_.written.contains(number)) return;
        const std::string name = fmt::format("slide.{:03}.jpg", number);
        PendingFile file(order_.directory / name);
        if (!writeImage(page, file.path())) {
            std::cerr << "The office could not write the image " << order_.directory / name << ".\n";
            return;
        }
        const auto error = file.commit();
        if (error) std::cerr << "No image " << order_.directory / name << ": " << error.message() << ".\n";
        if (!error) order_.written.insert(number);
    }

    [[nodiscard]] Seconds timeInFilter() const { return timeInFilter_; }

private:
    bool writeImage(const Reference<css::beans::XPropertySet>& page, const std::filesystem::path& path) {
        filter_->setSourceDocument(Reference<css::lang::XComponent>(page, UNO_QUERY_THROW));
        const auto request =
            properties({property("URL", unoText(urlFromPath(path))), property("MediaType", rtl::OUString("image/jpeg")),
                        property("FilterData", imageOptions_)});
        const auto start = Stopwatch::now();
        const bool written = filter_->filter(request);
        timeInFilter_ += Stopwatch::now() - start;
        return written;
    }

    /// All pages of a document have one size.
    [[nodiscard]] Properties imageOptions(const Reference<css::beans::XPropertySet>& page) const {
        const auto width = valueOf<sal_Int32>(page, "Width");
        const auto height = valueOf<sal_Int32>(page, "Height");
        const auto pixelHeight =
            width > 0 && height > 0 ? std::max<sal_Int32>(1, (kImageWidth * height + width / 2) / width) : kImageWidth;
        return properties({property("PixelWidth", sal_Int32(kImageWidth)), property("PixelHeight", pixelHeight),
                           property("Quality", sal_Int32(order_.quality))});
    }

    SlideExport& order_;
    Reference<css::drawing::XGraphicExportFilter> filter_;
    Properties imageOptions_;
    Seconds timeInFilter_{0};
};

}  // namespace

void SlideExport::run(const Context& office, const Model& document) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    // Nobody waits for an export any more, so what goes wrong is told here.
    if (error) std::cerr << "Cannot make the folder " << directory << ": " << error.message() << ".\n";
    if (error) return;
    const auto start = Stopwatch::now();
    const auto pages = pagesOf(document);
    const sal_Int32 count = pages->getCount();
    PageExporter exporter(office, *this);
    for (sal_Int32 index = 0; index < count; ++index) {
        const Reference<css::beans::XPropertySet> page(pages->getByIndex(index), UNO_QUERY_THROW);
        exporter.exportPage(page);
    }
    const Seconds elapsed = Stopwatch::now() - start;
    std::cerr << fmt::format("Exported {} of {} slides in {:.2f} s, {:.1f} % of it inside the office's filter.\n",
                             written.size(), count, elapsed.count(), 100 * exporter.timeInFilter() / elapsed);
}

}  // namespace impress
