#pragma once

#include "ports/Scripting.h"
#include "ports/XML.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Reads the text of a document from the presentation program and makes an XML document of it.
///
/// The document's text is fetched whole with the first node that needs it, and moves on into the nodes of the slides.
/// What the program does not tell makes its element empty; the extraction goes on. One thread at a time.
class KeynoteTextExtractor final : public ScriptingDelegate, public std::enable_shared_from_this<KeynoteTextExtractor> {
public:
    /// `initWithKeynoteDocument:`. A null document has no name and no slides.
    explicit KeynoteTextExtractor(std::shared_ptr<ScriptingDocument> keynoteDocument);

    /// `xmlDataForDocument:`: the XML of a document, in one go.
    [[nodiscard]] static std::string xmlDataForDocument(const std::shared_ptr<ScriptingDocument>& document);

    /// The bytes of the XML document, UTF-16; made on first use by `extractXMLData`.
    [[nodiscard]] const std::string& xmlData();
    /// The XML document as text, UTF-8, from a look of its own at the document.
    [[nodiscard]] std::string xmlString();

    /// Elements "Filename" and "KeynoteVersion".
    [[nodiscard]] std::vector<XMLElement> metadataNodes();
    /// Element "Slides".
    [[nodiscard]] XMLElement slidesNode();

    /// `nodeForSlide:`: its seven children are always there, empty where the slide has nothing.
    [[nodiscard]] static XMLElement nodeForSlide(ScriptingSlide slide);
    [[nodiscard]] static XMLElement tablesNodeForSlide(std::vector<ScriptingTable> tables);
    [[nodiscard]] static XMLElement nodeForTable(ScriptingTable table);
    [[nodiscard]] static XMLElement rowsNodeForTable(std::vector<std::vector<std::string>> rows);
    [[nodiscard]] static XMLElement textItemsNodeForSlide(std::vector<std::string> textItems);
    [[nodiscard]] static XMLElement nodeForTextItem(std::string text);
    /// `sanitizedString:`: vertical and horizontal tabs become blanks.
    [[nodiscard]] static std::string sanitizedString(std::string string);

    /// A connection of the extractor's own, whose failed events it logs; made on first use.
    [[nodiscard]] std::shared_ptr<ScriptingApplication> keynoteApplication();

private:
    void extractXMLData();
    [[nodiscard]] XMLElement rootNode();
    [[nodiscard]] const ScriptingDocumentText& text();
    void eventDidFail(const std::string& event, const Error& error) override;

    const std::shared_ptr<ScriptingDocument> keynoteDocument_;
    std::shared_ptr<ScriptingApplication> keynoteApplication_;
    std::optional<ScriptingDocumentText> text_;
    std::optional<std::string> xmlData_;
};
