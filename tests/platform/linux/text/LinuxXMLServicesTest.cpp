#include "platform/linux/text/LinuxXMLServices.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <cstdlib>
#include <memory>

namespace {

/// A text, and what a reader finds of it.
struct Case {
    std::string text;
    std::string read;
};

const Case kCases[] = {
    {"<a href=\"x\">&amp;']]>", "<a href=\"x\">&amp;']]>"},
    {" \r\n \r\t ", " \r\n \r\t "},
    {{"a\0\x01\x08\v\f\x1F\x7F", 8}, "a\x7F"},
    {"x\xEF\xBF\xBEy\xEF\xBF\xBFz\xEF\xBF\xBD", "xyz\xEF\xBF\xBD"},
    {"surrogate \xED\xA0\xBD\xED\xB8\x80, overlong \xC0\xBC, too great \xF4\x90\x80\x80",
     "surrogate , overlong , too great "},
    {"cut off \xE2\x82z\xFF\xF0\x9F\x98", "cut off z"},
    {"\U0001F600 \u05E9\u05DC\u05D5\u05DD \u202E\u0085\u2028\uFEFF",
     "\U0001F600 \u05E9\u05DC\u05D5\u05DD \u202E\u0085\u2028\uFEFF"},
    {std::string(100'000, '&') + "\u00E4", std::string(100'000, '&') + "\u00E4"},
};

std::string taken(xmlChar* text) {
    const std::unique_ptr<xmlChar, decltype(xmlFree)> owned(text, xmlFree);
    return text ? reinterpret_cast<const char*>(text) : "nothing";
}

TEST(XMLWriter, EveryReaderFindsWhatXMLCanHold) {
    XMLElement root{.name = "Texts", .text = {}, .children = {}, .attributes = {}};
    for (const Case& each : kCases) {
        root.children.push_back({.name = "Text", .text = each.text, .children = {}, .attributes = {{"is", each.text}}});
    }
    const TemporaryDirectory directory;
    const auto file = directory.path / "texts.xml";
    for (const auto& [encoding, beginning] : {std::pair(XMLEncoding::utf16, std::string("\xFF\xFE<\0?\0", 6)),
                                              std::pair(XMLEncoding::utf8, std::string("<?xml "))}) {
        const std::string xml = text::LinuxXMLServices().document(root, encoding);
        EXPECT_TRUE(xml.starts_with(beginning));
        const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
            ::xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, XML_PARSE_NONET), xmlFreeDoc);
        ASSERT_TRUE(document);
        const xmlNode* node = ::xmlDocGetRootElement(document.get())->children;
        for (const Case& each : kCases) {
            ASSERT_TRUE(node);
            EXPECT_EQ(taken(::xmlNodeGetContent(node)), each.read);
            EXPECT_EQ(taken(::xmlGetProp(node, reinterpret_cast<const xmlChar*>("is"))), each.read);
            node = node->next;
        }
        writeFile(file, xml);
        EXPECT_EQ(std::system(("xmllint --noout " + file.native()).c_str()), 0);
    }
}

}  // namespace
