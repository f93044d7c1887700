#include "platform/linux/LibXmlServices.h"

#include "bus/Convert.h"

#include <libxml/xmlwriter.h>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>

namespace {

const xmlChar* chars(const std::string& text) {
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

/// Whether XML 1.0 can hold what begins at `at`: no control characters but tab, line feed and carriage return, and
/// neither U+FFFE nor U+FFFF. Source: W3C, XML 1.0, production 2 (Char).
bool isAllowed(std::string_view text, std::size_t at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x20) return byte == '\t' || byte == '\n' || byte == '\r';
    const std::string_view rest = text.substr(at, 3);
    return rest != "\xEF\xBF\xBE" && rest != "\xEF\xBF\xBF";
}

bool isPlain(std::string_view text) {
    for (const char each : text) {
        if (static_cast<unsigned char>(each) < 0x20 || static_cast<unsigned char>(each) >= 0x7F) return false;
    }
    return true;
}

/// The text without what XML cannot hold.
std::string allowedText(const std::string& text) {
    std::string allowed;
    const std::string valid = bus::validUTF8(text);
    allowed.reserve(valid.size());
    for (std::size_t at = 0; at < valid.size(); ++at) {
        if (isAllowed(valid, at)) {
            allowed += valid[at];
        } else if (static_cast<unsigned char>(valid[at]) >= 0x80) {
            at += 2;
        }
    }
    return allowed;
}

class Writer {
public:
    explicit Writer(XMLEncoding encoding) {
        if (!buffer_ || !writer_) throw std::bad_alloc();
        xmlTextWriterStartDocument(writer_.get(), "1.0", encoding == XMLEncoding::utf16 ? "UTF-16" : "UTF-8", nullptr);
    }

    void write(const XMLElement& element) {
        xmlTextWriterStartElement(writer_.get(), chars(element.name));
        for (const auto& [name, value] : element.attributes) {
            xmlTextWriterWriteAttribute(writer_.get(), chars(name), chars(allowedText(value)));
        }
        if (isPlain(element.text)) {
            if (!element.text.empty()) xmlTextWriterWriteString(writer_.get(), chars(element.text));
        } else {
            xmlTextWriterWriteString(writer_.get(), chars(allowedText(element.text)));
        }
        for (const XMLElement& child : element.children) write(child);
        xmlTextWriterEndElement(writer_.get());
    }

    std::string finish() {
        xmlTextWriterEndDocument(writer_.get());
        writer_.reset();
        return {reinterpret_cast<const char*>(xmlBufferContent(buffer_.get())),
                static_cast<std::size_t>(xmlBufferLength(buffer_.get()))};
    }

private:
    std::unique_ptr<xmlBuffer, decltype(&xmlBufferFree)> buffer_{xmlBufferCreate(), xmlBufferFree};
    std::unique_ptr<xmlTextWriter, decltype(&xmlFreeTextWriter)> writer_{xmlNewTextWriterMemory(buffer_.get(), 0),
                                                                         xmlFreeTextWriter};
};

}  // namespace

std::string LibXmlServices::document(const XMLElement& root, XMLEncoding encoding) const {
    Writer writer(encoding);
    writer.write(root);
    return writer.finish();
}
