#include "MacShared/SOAP/SoapEnvelope.h"

#include <gtest/gtest.h>
#include <limits>
#include <stdexcept>

using namespace shared;

namespace {

using Names = std::vector<std::string>;

std::string envelope(const std::string& defaultNamespace, const std::string& method) {
    return R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope)"
           R"( xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" xmlns:xsd="http://www.w3.org/2001/XMLSchema")"
           R"( xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/" xmlns=")" +
           defaultNamespace + "\"><soap:Body>" + method + "</soap:Body></soap:Envelope>";
}

TEST(SoapEnvelope, Requests) {
    Guid guid = Guid::guidWithString("none yet");
    guid.setGuidString("{3F2504E0-4f89}");
    EXPECT_EQ(
        createSOAPBodyFromMethod("GetItem", "urn:svc", "Remote", Names{"id", "count"}, SoapArray{guid, 3}, -1),
        envelope("urn:svc", R"(<GetItem xmlns="urn:svc/"><id><guid xsi:type="s1:guid">{3F2504E0-4f89}</guid></id>)"
                            "<count><int>3</int></count></GetItem>"));

    const SoapArray parameters{"a<b & 'c'", "<xop/>", SoapDictionary{{"k", "v"}, {"a", SoapDictionary{{"n", 1}}}},
                               SoapBytes("raw")};
    EXPECT_EQ(createSOAPBodyFromMethod("M", "urn:svc///", {}, Names{"p", "<q>", "r", "s", "extra"}, parameters, 1),
              envelope("urn:svc///", R"(<M xmlns="urn:svc/"><p>a&lt;b &amp; &apos;c&apos;</p><<q>><xop/></<q>>)"
                                     "<r><k>v</k><a><n><int>1</int></n></a></r><s>(null)</s></M>"));

    const auto bare = envelope("urn:svc", R"(<M xmlns="urn:svc/"></M>)");
    EXPECT_EQ(createSOAPBodyFromMethod("M", "urn:svc", "", Names{}, SoapArray{}, -1), bare);
    EXPECT_EQ(createSOAPBodyFromMethod("M", "urn:svc", "", {}, SoapArray{1}, -1), bare);
    EXPECT_EQ(createSOAPBodyFromMethod("M", "urn:svc", "", Names{"a"}, {}, -1), bare);
    EXPECT_EQ(createSOAPBodyFromMethod({}, {}, {}, {}, {}, -1),
              envelope("(null)", R"(<(null) xmlns="(null)/"></(null)>)"));
    EXPECT_THROW(static_cast<void>(createSOAPBodyFromMethod("M", "n", {}, Names{"a"}, SoapArray{1, 2}, -1)),
                 std::out_of_range);
}

TEST(SoapEnvelope, Values) {
    const std::pair<SoapValue, std::optional<std::string>> cases[] = {
        {"\"&amp;\" >\x01\xC3\xA9", "&quot;&amp;amp;&quot; &gt;\x01\xC3\xA9"},
        {std::int32_t{-7}, "<int>-7</int>"},
        {std::int64_t{7}, "<double>7</double>"},
        {std::uint64_t{18446744073709551615U}, "<double>18446744073709551615</double>"},
        {std::uint32_t{7}, "<double>7</double>"},
        {true, "<double>1</double>"},
        {'A', "<double>65</double>"},
        {0.1F, "<double>0.1</double>"},
        {2.5, "2.5"},
        {100000.0, "100000"},
        {0.1 + 0.2, "0.30000000000000004"},
        {-std::numeric_limits<double>::infinity(), "-inf"},
        {-std::numeric_limits<double>::quiet_NaN(), "nan"},
        {SoapArray{"a", "b"}, "ab"},
        {SoapArray{}, ""},
        {SoapArray{SoapDictionary{{"k", SoapValue()}}, Guid()},
         R"(<k>(null)</k><guid xsi:type="s1:guid">00000000-0000-0000-0000-000000000000</guid>)"},
        {SoapDictionary{}, ""},
        {SoapDictionary{{"z", 1}, {"a&", 2}, {"z", 3}}, "<z><int>3</int></z><a&><int>2</int></a&>"},
        {SoapBytes("x"), std::nullopt},
        {SoapValue(), std::nullopt},
    };
    for (const auto& [value, xml] : cases) EXPECT_EQ(escapeObject(&value), xml) << xml.value_or("nothing");
    EXPECT_EQ(escapeObject(nullptr), std::nullopt);
    EXPECT_EQ(escapeNumber(nullptr) + escapeDictionary(nullptr) + escapeArray(nullptr), "");
}

TEST(SoapValue, CopiesAreApart) {
    SoapValue value = SoapArray{1, 2};
    const SoapValue copy = value;
    value.append(3);
    EXPECT_EQ(copy, SoapValue(SoapArray{1, 2}));
    EXPECT_EQ(value, SoapValue(SoapArray{1, 2, 3}));
}

/// Texts are searched in blocks; a special character may stand at any place of one.
TEST(SoapEnvelope, LongTexts) {
    for (const std::size_t at : {0U, 31U, 4095U, 4096U, 8191U, 8192U, 9999U}) {
        for (const auto& [special, entity] :
             {std::pair('&', "&amp;"), {'<', "&lt;"}, {'>', "&gt;"}, {'\'', "&apos;"}, {'"', "&quot;"}}) {
            std::string text(10'000, '#');
            text[at] = special;
            EXPECT_EQ(escapeCharacters(text), text.substr(0, at) + entity + text.substr(at + 1)) << at << special;
        }
    }
}

TEST(SoapEnvelope, Namespaces) {
    EXPECT_EQ(combineNamespace("urn:svc/", "/Remote", "GetItem"), "urn:svc/Remote/GetItem");
    EXPECT_EQ(combineNamespace("//urn:a/b//", "", "/Get/Item//"), "urn:a/b/Get/Item");
    EXPECT_EQ(combineNamespace("urn:svc", {}, ""), "urn:svc/");
    EXPECT_EQ(trimSlash("///"), "");
}

}  // namespace
