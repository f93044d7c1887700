#include "MacShared/MTOMHelpers.h"

#include <gtest/gtest.h>
#include <clocale>

using namespace shared;

namespace {

constexpr const char* kStart = "urn:x/0";
constexpr const char* kBuffer = "urn:x/1";

/// What stands before the mark, which is taken away with it.
std::string takeUntil(std::string& text, const std::string& mark) {
    const auto at = text.find(mark);
    EXPECT_NE(at, std::string::npos) << mark;
    auto taken = text.substr(0, at);
    text.erase(0, at + mark.size());
    return taken;
}

TEST(MTOM, BodyHoldsEnvelopeAndBytes) {
    const std::string longUTF8 = "<e>" + [] {
        std::string text;
        for (int i = 0; i < 20'000; ++i) text += "\xE6\x97\xA5";
        return text;
    }() + "</e>";
    const std::string cases[][2] = {{"<e/>", "bytes"},
                                    {longUTF8, std::string("\0a\0", 3)},
                                    {"<e>\xC3\xA9</e>", ""},
                                    {"<e/>", "\r\n--\r\n\r\n--------------------------0123456789abcdef--\r\n"},
                                    {"<e/>", std::string(100'000, '\n')}};
    for (const auto& [envelope, bytes] : cases) {
        std::optional<std::string> boundary;
        auto body = MTOMHelpers::MTOMBodyFromEnvelope(envelope, bytes, kStart, kBuffer, boundary);
        ASSERT_TRUE(boundary);
        const auto delimiter = "\r\n--" + *boundary;
        EXPECT_EQ(takeUntil(body, delimiter + "\r\n"), "");
        EXPECT_EQ(takeUntil(body, "\r\n\r\n"),
                  "Content-Disposition: form-data; name=\"foo\"\r\n"
                  "Content-Type: application/xop+xml; charset=UTF-8; type=\"text/xml\"\r\nContent-ID: <urn:x/0>");
        EXPECT_EQ(takeUntil(body, delimiter + "\r\n"), envelope);
        EXPECT_EQ(takeUntil(body, "\r\n\r\n"),
                  "Content-Disposition: form-data; name=\"project\"; filename=\"buffer\"\r\n"
                  "Content-Type: application/octet-stream\r\nContent-Transfer-Encoding: binary\r\n"
                  "Content-ID: <urn:x/1>");
        EXPECT_EQ(takeUntil(body, delimiter + "--"), bytes);
        EXPECT_EQ(body, "\r\n");
        EXPECT_EQ(MTOMHelpers::MTOMBoundaryFromContentType(MTOMHelpers::MTOMContentTypeWithBoundary(*boundary, kStart)),
                  boundary);
    }
    EXPECT_EQ(MTOMHelpers::MTOMContentTypeWithBoundary("B", "S"),
              R"(multipart/related;type="application/xop+xml";boundary="B";start="S";start-info="text/xml")");
}

TEST(MTOM, LastBytesAreReplaced) {
    const SoapValue include = R"(<xop:Include xmlns:xop="http://www.w3.org/2004/08/xop/include" href="cid:urn:x/1"/>)";
    std::optional<SoapBytes> buffer;
    std::int32_t index = -1;
    const auto replace = [&](const SoapArray& parameters) {
        return MTOMHelpers::MTOMParametersWithIDForBuffer(kBuffer, parameters, buffer, &index);
    };
    EXPECT_EQ(replace({}), std::nullopt);
    EXPECT_EQ(replace({"text", 3, SoapValue()}), std::nullopt);
    EXPECT_FALSE(buffer);
    EXPECT_EQ(index, -1);
    EXPECT_EQ(replace({"text", SoapBytes("a"), 3}), (SoapArray{"text", include, 3}));
    EXPECT_EQ(index, 1);
    EXPECT_EQ(replace({SoapBytes("a"), 3, SoapBytes("b")}), (SoapArray{SoapBytes("a"), 3, include}));
    EXPECT_EQ(index, 2);
    EXPECT_EQ(buffer, SoapBytes("b"));
}

TEST(MTOM, BoundaryOfAResponse) {
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);  // bytes count, whatever the user's encoding
    const std::pair<std::optional<std::string>, std::optional<std::string>> cases[] = {
        {R"(multipart/related; boundary="MIMEBoundary_abc"; type="text/xml")", "MIMEBoundary_abc"},
        {"multipart/related;boundary=a b", "a b"},
        {"multipart/related;boundary=\"\"a\"b\"\"\";", "a\"b"},
        {"a; boundary=; boundary=x", ""},
        {"a; boundary=a\xE9z; x", "a\xE9z"},
        {"text/xml; charset=utf-8", std::nullopt},
        {"multipart/related; Boundary=a", std::nullopt},
        {"", std::nullopt},
        {std::nullopt, std::nullopt},
    };
    for (const auto& [type, boundary] : cases) {
        EXPECT_EQ(MTOMHelpers::MTOMBoundaryFromContentType(type), boundary) << type.value_or("nil");
    }
}

}  // namespace
