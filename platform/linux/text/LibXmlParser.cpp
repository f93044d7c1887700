#include "platform/linux/text/LibXmlParser.h"

#include "base/UTF8.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

namespace text {

namespace {

constexpr std::size_t kDeepest = 2048;
constexpr std::size_t kMostAttributes = 256;
constexpr std::size_t kLongestToken = 256UL * 1024;
/// libxml2 keeps each name once, in a table that stops growing early: masses of different ones would take it minutes.
constexpr int kMostNames = 200'000;
/// libxml2 refuses to hold more than 10 MB that it has not read yet, so long pieces are handed over in parts.
constexpr std::size_t kLongestPart = 32UL * 1024;

/// How much at the end of a text may be the beginning of CR LF. In UTF-16, libxml2 takes one whose halves come in two
/// parts for two line ends.
std::size_t openLineEnd(std::string_view text) {
    static constexpr std::string_view kWhole("\r\0\n", 3);
    for (auto length = kWhole.size(); length > 0; --length) {
        if (text.ends_with(kWhole.substr(0, length))) return length;
    }
    return 0;
}

const char* chars(const xmlChar* text) {
    return reinterpret_cast<const char*>(text);
}

bool hasManyAttributes(const xmlChar** attributes) {
    if (attributes == nullptr) return false;
    std::size_t entries = 0;  // names and values in turn
    while (attributes[entries] != nullptr && entries <= 2 * kMostAttributes) entries += 2;
    return entries > 2 * kMostAttributes;
}

std::string description(const xmlError& error) {
    std::string text = error.message == nullptr ? "the document is not well-formed" : error.message;
    while (text.ends_with('\n')) text.pop_back();
    return text;
}

/// What is short of memory deep inside has no context to tell.
bool lacksMemory(const xmlParserCtxt& context) {
    const auto* const last = xmlGetLastError();
    return context.errNo == XML_ERR_NO_MEMORY || context.lastError.code == XML_ERR_NO_MEMORY ||
           (last != nullptr && last->code == XML_ERR_NO_MEMORY);
}

/// Hears of failures for which libxml2 has no other handler, on this thread and meanwhile.
class GenericErrors {
public:
    GenericErrors(void* context, xmlGenericErrorFunc function) { xmlSetGenericErrorFunc(context, function); }
    ~GenericErrors() { xmlSetGenericErrorFunc(context_, function_); }
    GenericErrors(const GenericErrors&) = delete;
    GenericErrors& operator=(const GenericErrors&) = delete;

private:
    const xmlGenericErrorFunc function_ = xmlGenericError;
    void* const context_ = xmlGenericErrorContext;
};

}  // namespace

void LibXmlParser::Free::operator()(xmlParserCtxt* context) const {
    xmlFreeDoc(context->myDoc);  // holds the entities of an internal subset
    xmlFreeParserCtxt(context);
}

template <class Event>
void LibXmlParser::hear(void* parser, const Event& event) noexcept {
    auto& it = *static_cast<LibXmlParser*>(parser);
    if (it.failed_ || it.isUnfit_) return;
    try {
        event(it);
    } catch (...) {
        it.thrown_ = std::current_exception();
        it.failed_ = true;
        xmlStopParser(it.context_.get());
    }
}

xmlSAXHandler LibXmlParser::handler() {
    xmlSAXHandler handler{};
    handler.initialized = 1;
    handler.startElement = startElement;
    handler.endElement = [](void* parser, const xmlChar* name) {
        hear(parser, [&](LibXmlParser& it) {
            --it.depth_;
            it.delegate_.parserDidEndElement(chars(name));
        });
    };
    handler.characters = characters;
    handler.ignorableWhitespace = characters;
    handler.cdataBlock = cdata;
    // Where a document type stands in another file, libxml2 takes unknown entities for declared there.
    handler.reference = [](void* parser, const xmlChar* /*name*/) {
        hear(parser, [](LibXmlParser& it) { it.refuse("an entity is not known"); });
    };
    handler.getEntity = [](void*, const xmlChar* name) { return xmlGetPredefinedEntity(name); };
    return handler;
}

LibXmlParser::LibXmlParser(XMLParserDelegate& delegate) : delegate_(delegate) {
    xmlInitParser();
    auto events = handler();
    context_.reset(xmlCreatePushParserCtxt(&events, this, nullptr, 0, nullptr));
    if (!context_) throw std::bad_alloc();
    xmlCtxtUseOptions(context_.get(), XML_PARSE_SAX1 | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
}

bool LibXmlParser::parse(std::string_view piece) {
    std::string joined = std::exchange(held_, {});
    if (!joined.empty()) piece = joined.append(piece);
    while (!failed_ && !piece.empty()) {
        auto part = piece.substr(0, kLongestPart);
        part.remove_suffix(openLineEnd(part));
        if (part.empty()) {
            held_ = piece;
            break;
        }
        feed(part, false);
        piece.remove_prefix(part.size());
    }
    return !failed_;
}

bool LibXmlParser::finish() {
    if (!failed_ && !held_.empty()) feed(held_, false);
    if (!failed_) feed({}, true);
    return !failed_;
}

void LibXmlParser::feed(std::string_view piece, bool last) {
    const GenericErrors errors(this, conversionFailed);
    xmlResetLastError();
    xmlParseChunk(context_.get(), piece.data(), static_cast<int>(piece.size()), last ? 1 : 0);
    if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
    if (failed_) return;
    if (lacksMemory(*context_)) {
        failed_ = true;
        throw std::bad_alloc();
    }
    if (isUnfit_) {
        fail(XML_I18N_CONV_FAILED, "the bytes do not fit the encoding");
    } else if (context_->wellFormed == 0 || context_->disableSAX != 0) {
        fail(context_->lastError.code, description(context_->lastError));
    } else if (hasHugeToken()) {
        refuse("a tag or a declaration is too long");
    } else if (xmlDictSize(context_->dict) > kMostNames) {
        refuse("there are too many different names");
    }
}

/// What remains unread is the beginning of something whose end has not come. CDATA sections, of which libxml2 hands out
/// 300 bytes for each part fed until it has seen the end, and comments take no more time for being long; it refuses on
/// its own to hold too much of one.
bool LibXmlParser::hasHugeToken() const {
    const auto* const input = context_->input;
    if (input == nullptr || context_->instate == XML_PARSER_CDATA_SECTION) return false;
    const std::string_view unread(chars(input->cur), static_cast<std::size_t>(input->end - input->cur));
    return unread.size() > kLongestToken && !unread.starts_with("<!--");
}

void LibXmlParser::refuse(const std::string& reason) {
    fail(XML_ERR_USER_STOP, reason);
    xmlStopParser(context_.get());
}

void LibXmlParser::fail(int code, const std::string& reason) {
    failed_ = true;
    const auto line = std::to_string(xmlSAX2GetLineNumber(context_.get()));
    delegate_.parserParseErrorOccurred(makeError(NSXMLParserErrorDomain, code, reason + " (line " + line + ")"));
}

void LibXmlParser::startElement(void* parser, const xmlChar* name, const xmlChar** attributes) noexcept {
    hear(parser, [&](LibXmlParser& it) {
        if (++it.depth_ > kDeepest) {
            it.refuse("elements are nested too deep");
        } else if (hasManyAttributes(attributes)) {
            it.refuse("an element has too many attributes");
        } else {
            it.delegate_.parserDidStartElement(chars(name));
        }
    });
}

void LibXmlParser::characters(void* parser, const xmlChar* text, int length) noexcept {
    hear(parser, [&](LibXmlParser& it) {
        it.delegate_.parserFoundCharacters({chars(text), static_cast<std::size_t>(length)});
    });
}

/// In these sections alone libxml2 hands out longer forms of characters than UTF-8 has, byte for byte.
void LibXmlParser::cdata(void* parser, const xmlChar* text, int length) noexcept {
    hear(parser, [&](LibXmlParser& it) {
        const std::string_view section(chars(text), static_cast<std::size_t>(length));
        if (!utf8::isValid(section)) return it.refuse("a CDATA section is not UTF-8");
        it.delegate_.parserFoundCharacters(section);
    });
}

/// libxml2 leaves out what does not fit the encoding and reads on.
void LibXmlParser::conversionFailed(void* parser, const char* /*format*/, ...) noexcept {
    hear(parser, [](LibXmlParser& it) { it.isUnfit_ = true; });
}

}  // namespace text
