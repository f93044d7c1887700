#pragma once

#include "MacShared/SOAP/SoapValue.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace shared {

/// How `SimpleSoapCaller` writes a call as a SOAP 1.1 request. Texts are UTF-8. Nothing here fails or keeps state;
/// callable from any thread. Where a value cannot be encoded, or a name is missing, the XML says `(null)`.
///
/// Source of the envelope: W3C Note "Simple Object Access Protocol (SOAP) 1.1", section 4.

/// `trimSlash:`: without the slashes at both ends.
[[nodiscard]] std::string trimSlash(std::string_view string);

/// `combineNamespace:extension:SOAPAction:`: `namespace/extension/action`, each without slashes at its ends; an
/// extension that is missing or empty is left out. Without an action the text ends in a slash.
[[nodiscard]] std::string combineNamespace(const std::optional<std::string>& callNamespace,
                                           const std::optional<std::string>& extension,
                                           const std::optional<std::string>& SOAPAction);

/// `escapeCharacters:`: with entities for `& < > ' "`; those that the text already holds are escaped again.
[[nodiscard]] std::string escapeCharacters(std::string_view string);

/// `escapeNumber:`: a 32-bit signed integer in an element `int`, a double bare, every other number (booleans too) in an
/// element `double`; nothing for null.
[[nodiscard]] std::string escapeNumber(const SoapNumber* number);

/// `escapeDictionary:`: an element for each key, in the dictionary's order; nothing for null. Keys are not escaped.
[[nodiscard]] std::string escapeDictionary(const SoapDictionary* dictionary);

/// `escapeArray:`: the encodings of the members, one after the other without elements of their own; nothing for null.
[[nodiscard]] std::string escapeArray(const SoapArray* array);

/// `escapeObject:`: the encoding for the kind of the value; nothing for bytes, the null marker and null.
[[nodiscard]] std::optional<std::string> escapeObject(const SoapValue* object);

/// `createSOAPBodyFromMethod:withNamespace:namespaceExtension:parameterNames:parameters:bufferIndex:`: the whole
/// request. The extension is for the SOAPAction header alone and does not show here. The string at `bufferIndex` (-1:
/// none) is XML already and is not escaped. There are no parameters unless both lists are present. Throws
/// `std::out_of_range` when there are fewer names than parameters.
[[nodiscard]] std::string createSOAPBodyFromMethod(const std::optional<std::string>& method,
                                                   const std::optional<std::string>& withNamespace,
                                                   const std::optional<std::string>& namespaceExtension,
                                                   const std::optional<std::vector<std::string>>& parameterNames,
                                                   const std::optional<SoapArray>& parameters,
                                                   std::int64_t bufferIndex);

}  // namespace shared
