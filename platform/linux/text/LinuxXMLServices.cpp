#include "platform/linux/text/LinuxXMLServices.h"

#include "platform/linux/text/LibXmlParser.h"

#include <libxml/chvalid.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>
#include <cstdint>
#include <stdexcept>

namespace text {

namespace {

enum class Place { element, attribute };

/// How a character is written: as it is (nothing), as a reference, or not at all (empty). Negative is what is no UTF-8.
const char* replacementOf(UChar32 character, Place place) {
    const auto inAttribute = [place](const char* reference) { return place == Place::attribute ? reference : nullptr; };
    switch (character) {
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '&':
            return "&amp;";
        case '\r':
            return "&#13;";  // readers take a bare one for a line feed, and what follows for blanks
        case '\n':
            return inAttribute("&#10;");
        case '\t':
            return inAttribute("&#9;");
        case '"':
            return inAttribute("&quot;");
        default:
            return character >= 0 && xmlIsCharQ(static_cast<unsigned>(character)) ? nullptr : "";
    }
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"  // inside U8_NEXT
/// The character at `at`, which moves behind it; negative for bytes that are no UTF-8.
UChar32 nextCharacter(const std::string& text, std::size_t& at) {
    UChar32 character = 0;
    U8_NEXT(text.data(), at, text.size(), character);
    return character;
}
#pragma GCC diagnostic pop

void appendText(std::string& xml, const std::string& text, Place place) {
    std::size_t written = 0;
    // What needs no change is copied in runs: most of a text is one.
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t begin = at;
        const char* const replacement = replacementOf(nextCharacter(text, at), place);
        if (!replacement) continue;
        xml.append(text, written, begin - written).append(replacement);
        written = at;
    }
    xml.append(text, written);
}

void appendElement(std::string& xml, const XMLElement& element) {
    xml.append("<").append(element.name);
    for (const auto& [name, value] : element.attributes) {
        xml.append(" ").append(name).append("=\"");
        appendText(xml, value, Place::attribute);
        xml += '"';
    }
    if (element.text.empty() && element.children.empty()) {
        xml += "/>";
        return;
    }
    xml += '>';
    appendText(xml, element.text, Place::element);
    for (const XMLElement& child : element.children) appendElement(xml, child);
    xml.append("</").append(element.name).append(">");
}

/// The same text in UTF-16 of this machine's byte order, behind a byte order mark.
std::string utf16From(const std::string& text) {
    static constexpr UChar kByteOrderMark = 0xFEFF;
    // UTF-16 has at most as many units as UTF-8 has bytes.
    std::string bytes(sizeof(UChar) * (1 + text.size()), '\0');
    auto* const units = reinterpret_cast<UChar*>(bytes.data());
    *units = kByteOrderMark;
    const auto size = static_cast<std::int32_t>(text.size());
    std::int32_t written = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8(units + 1, size, &written, text.data(), size, &status);
    if (U_FAILURE(status)) throw std::length_error("The XML document is too long.");
    bytes.resize(sizeof(UChar) * (1 + static_cast<std::size_t>(written)));
    return bytes;
}

}  // namespace

std::string LinuxXMLServices::document(const XMLElement& root, XMLEncoding encoding) const {
    const bool isUTF16 = encoding == XMLEncoding::utf16;
    std::string xml = std::string("<?xml version=\"1.0\" encoding=\"") + (isUTF16 ? "UTF-16" : "UTF-8") + "\"?>\n";
    appendElement(xml, root);
    xml += '\n';
    return isUTF16 ? utf16From(xml) : xml;
}

std::unique_ptr<XMLParser> LinuxXMLServices::makeParser(XMLParserDelegate& delegate) const {
    return std::make_unique<LibXmlParser>(delegate);
}

}  // namespace text
