#include "bus/Convert.h"

#include <gtest/gtest.h>

TEST(Convert, ReplacesEveryByteThatTheBusWouldRefuse) {
    const struct {
        std::string text;
        std::string valid;
    } cases[] = {
        {"plain ä € 😀", "plain ä € 😀"},
        {"\x80", "\uFFFD"},
        {"a\xFFz", "a\uFFFDz"},
        {"\xC3", "\uFFFD"},                                // cut off
        {"\xC0\xAF", "\uFFFD\uFFFD"},                      // overlong
        {"\xE0\x80\xAF", "\uFFFD\uFFFD\uFFFD"},            // overlong
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},            // surrogate
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
        {"\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},          // U+10FFFF
        {std::string("a\0b", 3),
         "a\uFFFD"
         "b"},
    };
    for (const auto& [text, valid] : cases) EXPECT_EQ(bus::validUTF8(text), valid);
}

TEST(Convert, CarriesErrorsThroughTheirNamesOnTheBus) {
    for (const std::int64_t code : {2, 0, -1712}) {
        const auto sent = makeError("SomeDomain", code, "What to do.");
        const auto received = bus::errorFrom(bus::failureFrom(*sent));
        EXPECT_EQ(received->domain(), "SomeDomain");
        EXPECT_EQ(received->code(), code);
        EXPECT_EQ(received->localizedDescription(), "What to do.");
    }
    const auto odd = makeError("Odd domain!", 1, "\xFF");
    EXPECT_EQ(bus::failureFrom(*odd).name(), "com.veldrin.Error.Odd_domain_.Code1");
    EXPECT_STREQ(bus::failureFrom(*odd).what(), "\uFFFD");
}

TEST(Convert, CarriesAnyFileNameAsURL) {
    const bus::Path path("/a b/\xFF%ä#?.key");
    const auto url = urlFromPath(path);
    EXPECT_EQ(url, "file:///a%20b/%FF%25%C3%A4%23%3F.key");
    EXPECT_EQ(pathFromURL(url), path);
    for (const char* directory : {"file:///a%20b/", "file://localhost/a%20b//", "file:///a%20b%2F"}) {
        EXPECT_EQ(pathFromURL(directory), "/a b") << directory;
    }
    for (const char* top : {"file:///", "file:////"}) EXPECT_EQ(pathFromURL(top), "/") << top;
    for (const char* bad : {"", "/a", "http:///a", "file://host/a", "file:///%0", "file:///%zz", "file:///a%00b"}) {
        EXPECT_EQ(pathFromURL(bad), std::nullopt) << bad;
    }
}
