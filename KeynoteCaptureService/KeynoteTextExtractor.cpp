#include "KeynoteCaptureService/KeynoteTextExtractor.h"

#include "KeynoteCaptureService/KeynoteCaptureConstants.h"
#include "MacShared/NSBundle+VELLogAdditions.h"
#include "ports/Platform.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr const char* keynoteInfoKey = "KeynoteInfo";
constexpr const char* keynoteVersionKey = "KeynoteVersion";
constexpr const char* filenameKey = "Filename";
constexpr const char* allSlidesKey = "Slides";
constexpr const char* slideKey = "Slide";
constexpr const char* bodyTextKey = "Body";
constexpr const char* slideIsSkippedKey = "IsSkipped";
constexpr const char* presenterNotesKey = "Notes";
constexpr const char* slideNumberKey = "Number";
constexpr const char* tablesKey = "Tables";
constexpr const char* textItemsKey = "TextItems";
constexpr const char* titleTextKey = "Title";
constexpr const char* textItemKey = "TextItem";
constexpr const char* tableKey = "Table";
constexpr const char* tableTitleKey = "TableTitle";
constexpr const char* tableRowsKey = "TableRows";
constexpr const char* tableRowKey = "Row";
constexpr const char* tableCellKey = "Cell";

/// Source: W3C, XML Schema Part 1, section 2.6.
constexpr const char* kSchemaNamespace = "http://www.w3.org/2001/XMLSchema";
constexpr const char* kSchemaInstanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";

XMLElement textNode(const char* name, std::string text) {
    return {.name = name, .text = std::move(text), .children = {}, .attributes = {}};
}

XMLElement parentNode(const char* name, std::vector<XMLElement> children) {
    return {.name = name, .text = {}, .children = std::move(children), .attributes = {}};
}

/// An element with one child per item.
template <typename Item, typename NodeForItem>
XMLElement listNode(const char* name, std::vector<Item> items, const NodeForItem& nodeForItem) {
    std::vector<XMLElement> children;
    children.reserve(items.size());
    std::transform(std::make_move_iterator(items.begin()), std::make_move_iterator(items.end()),
                   std::back_inserter(children), nodeForItem);
    return parentNode(name, std::move(children));
}

}  // namespace

KeynoteTextExtractor::KeynoteTextExtractor(std::shared_ptr<ScriptingDocument> keynoteDocument)
    : keynoteDocument_(std::move(keynoteDocument)) {}

std::string KeynoteTextExtractor::xmlDataForDocument(const std::shared_ptr<ScriptingDocument>& document) {
    return std::make_shared<KeynoteTextExtractor>(document)->xmlData();
}

const std::string& KeynoteTextExtractor::xmlData() {
    if (!xmlData_) extractXMLData();
    return *xmlData_;
}

std::string KeynoteTextExtractor::xmlString() {
    return platform().xml.document(rootNode(), XMLEncoding::utf8);
}

void KeynoteTextExtractor::extractXMLData() {
    xmlData_ = platform().xml.document(rootNode(), XMLEncoding::utf16);
}

XMLElement KeynoteTextExtractor::rootNode() {
    std::vector<XMLElement> children = metadataNodes();
    children.push_back(slidesNode());
    XMLElement root = parentNode(keynoteInfoKey, std::move(children));
    root.attributes = {{"version", "1"}, {"xmlns:xsd", kSchemaNamespace}, {"xmlns:xsi", kSchemaInstanceNamespace}};
    return root;
}

std::vector<XMLElement> KeynoteTextExtractor::metadataNodes() {
    std::vector<XMLElement> nodes;
    nodes.push_back(textNode(filenameKey, text().name));
    nodes.push_back(textNode(keynoteVersionKey, keynoteApplication()->version().value_or("")));
    return nodes;
}

XMLElement KeynoteTextExtractor::slidesNode() {
    static_cast<void>(text());
    // Taken rather than copied: the text of a deck may be large, and the document is written once.
    auto [name, slides] = *std::exchange(text_, std::nullopt);
    VELLog("%@: extracting text from %zd slides", name.empty() ? std::nullopt : std::optional(name),
           std::ssize(slides));
    return listNode(allSlidesKey, std::move(slides), nodeForSlide);
}

XMLElement KeynoteTextExtractor::nodeForSlide(ScriptingSlide slide) {
    std::vector<XMLElement> children;
    // In the order of their names, which readers of the file may rely on.
    children.reserve(7);
    children.push_back(textNode(bodyTextKey, sanitizedString(std::move(slide.defaultBodyItemText))));
    children.push_back(textNode(slideIsSkippedKey, slide.skipped ? "1" : "0"));
    children.push_back(textNode(presenterNotesKey, sanitizedString(std::move(slide.presenterNotes))));
    children.push_back(textNode(slideNumberKey, std::to_string(slide.slideNumber)));
    children.push_back(tablesNodeForSlide(std::move(slide.tables)));
    children.push_back(textItemsNodeForSlide(std::move(slide.textItems)));
    children.push_back(textNode(titleTextKey, sanitizedString(std::move(slide.defaultTitleItemText))));
    return parentNode(slideKey, std::move(children));
}

XMLElement KeynoteTextExtractor::tablesNodeForSlide(std::vector<ScriptingTable> tables) {
    return listNode(tablesKey, std::move(tables), nodeForTable);
}

XMLElement KeynoteTextExtractor::nodeForTable(ScriptingTable table) {
    std::vector<XMLElement> children;
    children.push_back(rowsNodeForTable(std::move(table.rows)));
    children.push_back(textNode(tableTitleKey, sanitizedString(std::move(table.name))));
    return parentNode(tableKey, std::move(children));
}

XMLElement KeynoteTextExtractor::rowsNodeForTable(std::vector<std::vector<std::string>> rows) {
    return listNode(tableRowsKey, std::move(rows), [](std::vector<std::string> row) {
        return listNode(tableRowKey, std::move(row),
                        [](std::string cell) { return textNode(tableCellKey, std::move(cell)); });
    });
}

XMLElement KeynoteTextExtractor::textItemsNodeForSlide(std::vector<std::string> textItems) {
    return listNode(textItemsKey, std::move(textItems), nodeForTextItem);
}

XMLElement KeynoteTextExtractor::nodeForTextItem(std::string text) {
    return textNode(textItemKey, sanitizedString(std::move(text)));
}

std::string KeynoteTextExtractor::sanitizedString(std::string string) {
    // The program uses the first for line breaks within a paragraph; XML cannot hold it.
    std::replace(string.begin(), string.end(), '\v', ' ');
    std::replace(string.begin(), string.end(), '\t', ' ');
    return string;
}

std::shared_ptr<ScriptingApplication> KeynoteTextExtractor::keynoteApplication() {
    if (!keynoteApplication_) {
        keynoteApplication_ = platform().scripting.applicationForBundleIdentifier(kKeynoteBundleIdentifier);
        keynoteApplication_->setDelegate(weak_from_this());
    }
    return keynoteApplication_;
}

const ScriptingDocumentText& KeynoteTextExtractor::text() {
    if (!text_) {
        // Through the extractor's own connection, so that it hears of a failure.
        text_ = keynoteDocument_ ? keynoteApplication()->documentWithID(keynoteDocument_->id())->text()
                                 : ScriptingDocumentText();
    }
    return *text_;
}

void KeynoteTextExtractor::eventDidFail(const std::string& /*event*/, const Error& error) {
    const shared::InfoDictionary userInfo(error.userInfo().begin(), error.userInfo().end());
    VELLog("%s error:%@ userInfo:%@", "-[KeynoteTextExtractor eventDidFail:withError:]", error, userInfo);
}
