#include "MacShared/SOAP/SoapEnvelope.h"

#include "MacShared/Description.h"
#include "base/Table.h"
#include "base/Trimmed.h"

#include <algorithm>

namespace shared {

namespace {

constexpr std::string_view kOpening =
    R"(<?xml version="1.0" encoding="utf-8"?>)"
    R"(<soap:Envelope xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance")"
    R"( xmlns:xsd="http://www.w3.org/2001/XMLSchema" xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/" xmlns=")";
constexpr std::string_view kClosing = "</soap:Body></soap:Envelope>";
constexpr std::string_view kNull = "(null)";

/// Texts are searched and copied in blocks of this size: what was searched is still in the cache when it is copied.
constexpr std::size_t kBlock = 4096;

// Bitwise and in bytes, so that the compiler turns a loop over it into vector instructions.
constexpr unsigned char isSpecial(char c) {
    return static_cast<unsigned char>(((c | 2) == '>') | ((c | 1) == '\'') | (c == '"'));
}
static_assert(std::ranges::all_of(std::string_view("<>&'\""), isSpecial));

[[gnu::always_inline]] inline bool blockHasSpecial(const char* block) {
    unsigned char found = 0;
    for (std::size_t i = 0; i < kBlock; ++i) found |= isSpecial(block[i]);
    return found != 0;
}

#ifdef __x86_64__
// Without wider vectors than every processor has, the search takes longer than the copying.
[[gnu::target("avx2")]] bool blockHasSpecialByAVX2(const char* block) {
    return blockHasSpecial(block);
}
const bool kHasAVX2 = __builtin_cpu_supports("avx2") != 0;
#else
constexpr bool kHasAVX2 = false;
bool blockHasSpecialByAVX2(const char* block) {
    return blockHasSpecial(block);
}
#endif

/// Most texts, and all that are long, have none: finding that out fast is what counts.
bool hasSpecial(std::string_view block) {
    if (block.size() < kBlock) return std::ranges::any_of(block, isSpecial);
    return kHasAVX2 ? blockHasSpecialByAVX2(block.data()) : blockHasSpecial(block.data());
}

constexpr std::pair<char, std::string_view> kEntities[] = {
    {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'\'', "&apos;"}, {'"', "&quot;"}};

void appendEscapedBlock(std::string& xml, std::string_view block) {
    std::size_t copied = 0;
    for (std::size_t i = 0; i < block.size(); ++i) {
        if (isSpecial(block[i]) == 0) continue;
        xml.append(block, copied, i - copied).append(valueIn(kEntities, block[i], {}));
        copied = i + 1;
    }
    xml.append(block, copied);
}

void appendEscaped(std::string& xml, std::string_view text) {
    for (; !text.empty(); text.remove_prefix(std::min(kBlock, text.size()))) {
        const auto block = text.substr(0, kBlock);
        if (hasSpecial(block)) {
            appendEscapedBlock(xml, block);
        } else {
            xml.append(block);
        }
    }
}

void appendNumber(std::string& xml, const SoapNumber& number) {
    const auto text = number.stringValue();
    if (number.typeCode() == 'd') {
        xml.append(text);
    } else if (number.typeCode() == 'i') {
        xml.append("<int>").append(text).append("</int>");
    } else {
        xml.append("<double>").append(text).append("</double>");
    }
}

void appendObject(std::string& xml, const SoapValue& object);

template <class Content>
void appendElement(std::string& xml, std::string_view name, const Content& appendContent) {
    // Names are written as they are: they are part of a program, not of its data.
    xml.append("<").append(name).append(">");
    appendContent();
    xml.append("</").append(name).append(">");
}

void appendDictionary(std::string& xml, const SoapDictionary& dictionary) {
    for (const auto& entry : dictionary) {
        appendElement(xml, entry.first, [&] { appendObject(xml, entry.second); });
    }
}

void appendArray(std::string& xml, const SoapArray& array) {
    for (const auto& member : array) appendObject(xml, member);
}

void appendObject(std::string& xml, const SoapValue& object) {
    if (const auto* string = object.string()) {
        appendEscaped(xml, *string);
    } else if (const auto* dictionary = object.dictionary()) {
        appendDictionary(xml, *dictionary);
    } else if (const auto* number = object.number()) {
        appendNumber(xml, *number);
    } else if (const auto* array = object.array()) {
        appendArray(xml, *array);
    } else if (const auto* guid = object.guid()) {
        xml.append(guid->soapParameterValue());
    } else {
        xml.append(kNull);
    }
}

std::size_t sizeOf(const SoapArray& array);

/// About how much a value takes: exact for strings without special characters, which are what can be large.
std::size_t sizeOf(const SoapValue& object) {
    // Enough for a number or a GUID with its element.
    std::size_t size = 64;
    if (const auto* string = object.string()) return string->size();
    if (const auto* array = object.array()) return sizeOf(*array);
    if (const auto* dictionary = object.dictionary()) {
        for (const auto& [key, value] : *dictionary) size += 2 * key.size() + sizeOf(value);
    }
    return size;
}

std::size_t sizeOf(const SoapArray& array) {
    std::size_t size = 0;
    for (const auto& member : array) size += sizeOf(member);
    return size;
}

template <class Value, class Append>
std::string escaped(const Value* value, const Append& append) {
    std::string xml;
    if (value != nullptr) append(xml, *value);
    return xml;
}

using Names = std::vector<std::string>;

void appendParameters(std::string& xml, const Names& names, const SoapArray& parameters, std::int64_t bufferIndex) {
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const auto* const raw = static_cast<std::int64_t>(i) == bufferIndex ? parameters[i].string() : nullptr;
        appendElement(xml, names.at(i), [&] {
            if (raw != nullptr) {
                xml.append(*raw);
            } else {
                appendObject(xml, parameters[i]);
            }
        });
    }
}

}  // namespace

std::string trimSlash(std::string_view string) {
    return std::string(trimmed(string, "/"));
}

std::string combineNamespace(const std::optional<std::string>& callNamespace,
                             const std::optional<std::string>& extension,
                             const std::optional<std::string>& SOAPAction) {
    auto combined = trimSlash(description(callNamespace));
    if (extension && !extension->empty()) combined.append("/").append(trimSlash(*extension));
    combined += '/';
    if (SOAPAction && !SOAPAction->empty()) combined += trimSlash(*SOAPAction);
    return combined;
}

std::string escapeCharacters(std::string_view string) {
    std::string xml;
    xml.reserve(string.size());
    appendEscaped(xml, string);
    return xml;
}

std::string escapeNumber(const SoapNumber* number) {
    return escaped(number, appendNumber);
}

std::string escapeDictionary(const SoapDictionary* dictionary) {
    return escaped(dictionary, appendDictionary);
}

std::string escapeArray(const SoapArray* array) {
    return escaped(array, appendArray);
}

std::optional<std::string> escapeObject(const SoapValue* object) {
    if (object == nullptr || object->isNull() || object->bytes() != nullptr) return std::nullopt;
    return escaped(object, appendObject);
}

std::string createSOAPBodyFromMethod(const std::optional<std::string>& method,
                                     const std::optional<std::string>& withNamespace,
                                     const std::optional<std::string>& /*namespaceExtension*/,
                                     const std::optional<std::vector<std::string>>& parameterNames,
                                     const std::optional<SoapArray>& parameters, std::int64_t bufferIndex) {
    const auto methodName = description(method);
    const auto defaultNamespace = description(withNamespace);
    const bool hasParameters = parameterNames && parameters;
    std::string xml;
    // One allocation: a request may be megabytes, and growing would copy it over and over.
    xml.reserve(1024 + (hasParameters ? sizeOf(*parameters) : 0));
    xml.append(kOpening).append(defaultNamespace).append("\"><soap:Body><");
    xml.append(methodName).append(" xmlns=\"").append(combineNamespace(withNamespace, {}, {})).append("\">");
    if (hasParameters) appendParameters(xml, *parameterNames, *parameters, bufferIndex);
    xml.append("</").append(methodName).append(">").append(kClosing);
    return xml;
}

}  // namespace shared
