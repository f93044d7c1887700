#include "platform/linux/LibXmlServices.h"

#include "platform/linux/LibXmlParser.h"

#include <libxml/chvalid.h>
#include <libxml/xmlwriter.h>
#include <unicode/utf8.h>
#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace {

const xmlChar* chars(const std::string& text) {
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

bool isPlain(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char each) { return each >= 0x20 && each < 0x7F; });
}

/// The text without what XML cannot hold.
std::string allowedText(const std::string& text) {
    std::string allowed;
    allowed.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t begin = at;
        UChar32 character = 0;
        U8_NEXT(text.data(), at, text.size(), character);
        if (character >= 0 && xmlIsCharQ(static_cast<unsigned>(character))) allowed.append(text, begin, at - begin);
    }
    return allowed;
}

int appendTo(void* document, const char* bytes, int size) {
    static_cast<std::string*>(document)->append(bytes, static_cast<std::size_t>(size));
    return size;
}

/// Only memory can run out here, so a failure of the library is told as that of any other allocation.
void check(int result) {
    if (result < 0) throw std::bad_alloc();
}

class Writer {
public:
    explicit Writer(XMLEncoding encoding)
        : writer_(xmlNewTextWriter(xmlOutputBufferCreateIO(appendTo, nullptr, &document_, nullptr)),
                  xmlFreeTextWriter) {
        if (!writer_) throw std::bad_alloc();
        const char* const name = encoding == XMLEncoding::utf16 ? "UTF-16" : "UTF-8";
        check(xmlTextWriterStartDocument(writer_.get(), "1.0", name, nullptr));
    }

    void write(const XMLElement& element) {
        check(xmlTextWriterStartElement(writer_.get(), chars(element.name)));
        for (const auto& [name, value] : element.attributes) {
            check(xmlTextWriterWriteAttribute(writer_.get(), chars(name), chars(allowedText(value))));
        }
        if (!element.text.empty()) writeText(element.text);
        for (const XMLElement& child : element.children) write(child);
        check(xmlTextWriterEndElement(writer_.get()));
    }

    std::string finish() {
        check(xmlTextWriterEndDocument(writer_.get()));
        return std::move(document_);
    }

private:
    void writeText(const std::string& text) {
        check(xmlTextWriterWriteString(writer_.get(), chars(isPlain(text) ? text : allowedText(text))));
    }

    std::string document_;
    const std::unique_ptr<xmlTextWriter, decltype(&xmlFreeTextWriter)> writer_;
};

}  // namespace

std::string LibXmlServices::document(const XMLElement& root, XMLEncoding encoding) const {
    Writer writer(encoding);
    writer.write(root);
    return writer.finish();
}

std::unique_ptr<XMLParser> LibXmlServices::makeParser(XMLParserDelegate& delegate) const {
    return std::make_unique<LibXmlParser>(delegate);
}
