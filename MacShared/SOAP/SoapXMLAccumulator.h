#pragma once

#include "MacShared/SOAP/SoapValue.h"
#include "ports/XMLParser.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// Turns the XML of a SOAP response into values, without a schema. What lies outside the response element is ignored,
/// and so are attributes. Each element becomes the dictionary of its children by name, or else its text, or else
/// nothing; children of the same name become an array in document order, empty ones vanish. So
///
///     <GetItemResponse><GetItemResult><Id>7</Id><Tag>a</Tag><Tag>b</Tag></GetItemResult></GetItemResponse>
///
/// yields `{response: {GetItemResult: {Id: "7", Tag: ["a", "b"]}}}`; all leaves are strings.
///
/// Serves one parse: hand it to a parser, feed that, and ask for `Value`. One thread.
class SoapXMLAccumulator final : public XMLParserDelegate {
public:
    /// `initWithResponseTag:andResultTag:`: names as a document writes them, prefix included.
    SoapXMLAccumulator(std::string responseTag, std::string andResultTag);

    /// `parser:didStartElement:namespaceURI:qualifiedName:attributes:`
    void parserDidStartElement(std::string_view elementName) override;
    /// `parser:didEndElement:namespaceURI:qualifiedName:`
    void parserDidEndElement(std::string_view elementName) override;
    /// `parser:foundCharacters:`
    void parserFoundCharacters(std::string_view string) override;
    /// `parser:parseErrorOccurred:`: logged; a response element that has not closed stays away.
    void parserParseErrorOccurred(const ErrorPtr& parseError) override;

    /// `Value`: a dictionary with the one key "response", once the response element has closed, else an empty one. A
    /// response element whose children are all empty yields `{result tag: {}}`, one that holds nothing `{}`.
    [[nodiscard]] shared::SoapDictionary Value() const;

private:
    /// An open element of a response.
    struct Frame {
        std::string key;  ///< its name, or "response" for the response element
        std::shared_ptr<shared::SoapDictionary>
            dict;                    ///< the child elements that have closed; null while there are none
        std::size_t likelySize = 0;  ///< how many entries `dict` had in the last element at this depth
        bool hasText = false;        ///< whether there was character data
        std::string value;           ///< that character data

        [[nodiscard]] shared::SoapDictionary& children();
    };

    static void close(Frame& frame, shared::SoapDictionary& container);
    void open(std::string_view key);
    void settleResponse(const std::string& key);

    const std::string response_;
    const std::string result_;
    std::vector<Frame> stack_;  ///< the open elements, and then used frames that wait for the next ones
    std::size_t depth_ = 0;     ///< open elements; 0 before the response element and behind it
    std::optional<shared::SoapDictionary> value_;  ///< once the response element has begun
};
