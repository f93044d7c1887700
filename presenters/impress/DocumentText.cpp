#include "presenters/impress/DocumentText.h"

#include "bus/Convert.h"
#include "presenters/impress/Documents.h"

#include <com/sun/star/container/XEnumerationAccess.hpp>
#include <com/sun/star/container/XNamed.hpp>
#include <com/sun/star/frame/XTitle.hpp>
#include <com/sun/star/lang/XServiceInfo.hpp>
#include <com/sun/star/presentation/XPresentationPage.hpp>
#include <com/sun/star/table/XTable.hpp>
#include <com/sun/star/text/XTextRange.hpp>
#include <future>
#include <iostream>
#include <numeric>

namespace impress {

using css::drawing::XDrawPage;

namespace {

/// A reader spends its time waiting for small answers: while one waits, the office answers another.
constexpr int kReaders = 4;

/// The interface counts as old, but asking for services by name would cost a call for each.
rtl::OUString typeOf(const Reference<css::drawing::XShape>& shape) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    return shape->getShapeType();
#pragma GCC diagnostic pop
}

/// The file's name without regard to the title that its author gave the document.
std::string nameOf(const Model& document) {
    if (const auto path = pathFromURL(textFrom(document->getURL()))) return bus::validUTF8(path->filename().native());
    const Reference<css::frame::XTitle> title(document, UNO_QUERY);
    return title.is() ? textFrom(title->getTitle()) : std::string();
}

/// Reads the slides of one document. Every line that asks a shape for something waits for the office, so what a shape
/// is decides what it is asked.
class TextReader {
public:
    /// `size` counts the bytes of all readers of the document.
    explicit TextReader(std::atomic<std::size_t>& size) : size_(size) {}

    ScriptingSlide readSlide(std::int64_t number, const Reference<XDrawPage>& page) {
        slide_ = {};
        slide_.slideNumber = number;
        slide_.skipped = !valueOf({page, UNO_QUERY_THROW}, "Visible", true);
        readShapes(Reference<css::container::XIndexAccess>(page.get()));
        unlessItFails([&] { slide_.presenterNotes = notesOf(page); });
        return std::move(slide_);
    }

private:
    void readShapes(const Reference<css::container::XIndexAccess>& shapes) {
        const sal_Int32 count = shapes->getCount();
        for (sal_Int32 index = 0; index < count; ++index) {
            unlessItFails([&] {
                Reference<css::drawing::XShape> shape;
                shapes->getByIndex(index) >>= shape;
                if (shape.is()) readShape(shape);
            });
        }
    }

    /// A shape that cannot be read, perhaps because its user removes it just now, costs the text of no other.
    template <typename Read>
    void unlessItFails(const Read& read) {
        try {
            read();
        } catch (const css::uno::Exception& exception) {
            std::cerr << "A text of slide " + std::to_string(slide_.slideNumber) +
                             " cannot be read: " + textFrom(exception) + "\n";
        }
    }

    void readShape(const Reference<css::drawing::XShape>& shape) {
        const auto type = typeOf(shape);
        if (type == "com.sun.star.drawing.GroupShape") {
            readShapes(Reference<css::container::XIndexAccess>(shape, UNO_QUERY_THROW));
        } else if (type == "com.sun.star.drawing.TableShape") {
            slide_.tables.push_back(readTable(shape));
        } else if (type == "com.sun.star.drawing.AnnotationShape") {
            return;  // the mark of a remark, which later offices show among the shapes: nothing of the slide
        } else if (auto text = textOf(shape); !text.empty()) {
            const bool isTitle = type == "com.sun.star.presentation.TitleTextShape";
            const bool isBody =
                type == "com.sun.star.presentation.OutlinerShape" || type == "com.sun.star.presentation.SubtitleShape";
            // Of several placeholders of a kind the first one counts.
            if (isTitle && slide_.defaultTitleItemText.empty()) slide_.defaultTitleItemText = text;
            if (isBody && slide_.defaultBodyItemText.empty()) slide_.defaultBodyItemText = text;
            slide_.textItems.push_back(std::move(text));
        }
    }

    ScriptingTable readTable(const Reference<css::drawing::XShape>& shape) {
        ScriptingTable result;
        const Reference<css::container::XNamed> named(shape, UNO_QUERY);
        if (named.is()) result.name = counted(textFrom(named->getName()));
        const auto table = valueOf<Reference<css::table::XTable>>({shape, UNO_QUERY_THROW}, "Model");
        // A table without a model has been removed meanwhile.
        if (!table.is()) return result;
        const sal_Int32 columns = table->getColumnCount();
        result.rows.resize(static_cast<std::size_t>(table->getRowCount()));
        for (sal_Int32 row = 0; auto& cells : result.rows) {
            for (sal_Int32 column = 0; column < columns; ++column) {
                cells.push_back(textOf(table->getCellByPosition(column, row)));
            }
            ++row;
        }
        return result;
    }

    /// The text of the notes page's own placeholder.
    std::string notesOf(const Reference<XDrawPage>& page) {
        const Reference<css::presentation::XPresentationPage> presentationPage(page, UNO_QUERY_THROW);
        const auto notes = presentationPage->getNotesPage();
        const sal_Int32 count = notes.is() ? notes->getCount() : 0;
        for (sal_Int32 index = 0; index < count; ++index) {
            Reference<css::drawing::XShape> shape;
            notes->getByIndex(index) >>= shape;
            if (shape.is() && typeOf(shape) == "com.sun.star.presentation.NotesShape") return textOf(shape);
        }
        return {};
    }

    std::string textOf(const Reference<css::uno::XInterface>& holder) {
        const Reference<css::text::XTextRange> range(holder, UNO_QUERY);
        if (!range.is()) return {};
        auto text = range->getString();
        // What the office says for a field that it cannot fill in without a page: "<number>" in the user's language.
        if (text.indexOf('<') >= 0) text = withSlideNumber(text, range);
        return counted(textFrom(text));
    }

    /// The text with the slide's number in the fields for it.
    rtl::OUString withSlideNumber(const rtl::OUString& text, const Reference<css::text::XTextRange>& range) {
        auto result = text;
        forEach(range, [&](const auto& paragraph) {
            forEach(paragraph, [&](const Reference<css::text::XTextRange>& portion) {
                const Reference<css::beans::XPropertySet> properties(portion, UNO_QUERY_THROW);
                if (valueOf<rtl::OUString>(properties, "TextPortionType") != "TextField") return;
                const auto field = valueOf<Reference<css::lang::XServiceInfo>>(properties, "TextField");
                if (!field.is() || !field->supportsService("com.sun.star.text.textfield.PageNumber")) return;
                result = result.replaceAll(portion->getString(), rtl::OUString::number(slide_.slideNumber));
            });
        });
        return result;
    }

    /// Calls `take` with each part of a text.
    template <typename Take>
    static void forEach(const Reference<css::text::XTextRange>& text, const Take& take) {
        const Reference<css::container::XEnumerationAccess> access(text, UNO_QUERY);
        const auto parts = access.is() ? access->createEnumeration() : Reference<css::container::XEnumeration>();
        while (parts.is() && parts->hasMoreElements()) {
            take(Reference<css::text::XTextRange>(parts->nextElement(), UNO_QUERY_THROW));
        }
    }

    std::string counted(const std::string& text) {
        if ((size_ += text.size()) > kLargestText) throw Refusal("The document has more text than 32 MiB.");
        return bus::validUTF8(text);
    }

    ScriptingSlide slide_;  ///< being read
    std::atomic<std::size_t>& size_;
};

}  // namespace

ScriptingDocumentText textOfDocument(const Model& document) {
    ScriptingDocumentText text;
    text.name = nameOf(document);
    const auto pages = pagesOf(document);
    const sal_Int32 count = pages->getCount();
    text.slides.resize(static_cast<std::size_t>(count));
    std::atomic<std::size_t> size = 0;
    std::atomic<sal_Int32> next = 0;
    const auto readSome = [&] {
        for (sal_Int32 index = next++; index < count; index = next++) {
            const Reference<XDrawPage> page(pages->getByIndex(index), UNO_QUERY_THROW);
            text.slides[static_cast<std::size_t>(index)] = textOfSlide(index + 1, page, size);
        }
    };
    std::vector<std::future<void>> readers;
    readers.reserve(kReaders);
    for (int i = 0; i < kReaders; ++i) readers.push_back(std::async(std::launch::async, readSome));
    // All have ended by the time a failure of one goes on, since a future of a thread waits for it.
    for (auto& reader : readers) reader.get();
    static_cast<void>(pages->getCount());  // fails when it was the document that went, and with it the texts
    return text;
}

ScriptingSlide textOfSlide(std::int64_t number, const Reference<XDrawPage>& page, std::atomic<std::size_t>& size) {
    return TextReader(size).readSlide(number, page);
}

std::vector<std::int64_t> slideNumbersOf(const Model& document) {
    std::vector<std::int64_t> numbers(static_cast<std::size_t>(pagesOf(document)->getCount()));
    std::iota(numbers.begin(), numbers.end(), 1);
    return numbers;
}

}  // namespace impress
