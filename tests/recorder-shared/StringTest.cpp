#include "base/UTF8.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "recorder-shared/NSString+VELStringAdditions.h"

#include <gtest/gtest.h>

namespace {

using Parameters = std::map<std::string, std::string>;

TEST(Strings, Base64) {
    const std::pair<std::string, std::optional<std::string>> cases[] = {
        {"", ""},
        {"Zg==", "f"},
        {"Zm8=", "fo"},
        {"Zm9v", "foo"},
        {"Zm9vYmFy", "foobar"},
        {"/+8A", std::string("\xFF\xEF\0", 3)},
        {"\r\nZ m*9\xFFv-_YmE\x01= \n", "fooba"},
        {" \n", ""},
        {"Z", std::nullopt},
        {"Zg", std::nullopt},
        {"Zg=", std::nullopt},
        {"Zg===", std::nullopt},
        {"Zm9v=", std::nullopt},
        {"Zm9vZ===", std::nullopt},
        {"=", std::nullopt},
        {"====", std::nullopt},
        {"Zg==Zg==", std::nullopt},
        {"Zg=g=", std::nullopt},
    };
    for (const auto& [text, bytes] : cases) EXPECT_EQ(base64DecodedData(text), bytes) << text;
}

TEST(Strings, QueryParameters) {
    const std::pair<const char*, Parameters> cases[] = {
        {"a=1&b=2&a=3", {{"a", "3"}, {"b", "2"}}},       {"x&y=1=2&=5", {{"", "5"}}}, {"", {}}, {"&&=&", {{"", ""}}},
        {"a%20b=c+d&ä=", {{"a%20b", "c+d"}, {"ä", ""}}},
    };
    for (const auto& [query, parameters] : cases) EXPECT_EQ(queryParameters(query), parameters) << query;
}

TEST(Strings, EncodingAndTrimming) {
    EXPECT_EQ(urlEncode(";/?:@&=+$,"), ";/?:@&=+$,");
    EXPECT_EQ(urlEncode("a;b/z9 -_.~%#"), "%61;%62/%7A%39%20%2D%5F%2E%7E%25%23");
    EXPECT_EQ(urlEncode(std::string("ä\0", 3)), "%C3%A4%00");
    EXPECT_EQ(urlEncode(""), "");
    const std::pair<const char*, const char*> trimmed[] = {
        {"//a/b//", "a/b"}, {"/", ""}, {"", ""}, {"a", "a"}, {"a//b/", "a//b"}};
    for (const auto& [text, result] : trimmed) EXPECT_EQ(trimSlash(text), result) << text;
    for (const char* text : {"", " \t\r\n\v\f", "\u00A0\u0085\u2003\u3000\u2029"}) EXPECT_TRUE(isEmpty(text)) << text;
    for (const char* text : {"/", " a", "\u200B", "\u00A1", "\xC2", "\xE2\x80"}) EXPECT_FALSE(isEmpty(text)) << text;
}

TEST(Strings, UTF8) {
    for (const char* text : {"", "a", "\x7F", "\u0080", "\u07FF", "\u0800", "\uD7FF", "\uE000", "\uFFFF", "\U00010000",
                             "\U0010FFFF", "aä€😀z"}) {
        EXPECT_TRUE(utf8::isValid(text)) << text;
    }
    for (const char* text :
         {"\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF",
          "\xF4\x90\x80\x80", "\xF8\x88\x80\x80\x80", "\xFF", "a\xC3", "\xC3z", "\xE2\x82", "\xE2\x82z"}) {
        EXPECT_FALSE(utf8::isValid(text)) << text;
    }
}

TEST(Strings, StandardisedPaths) {
    simulated::SimulatedPlatform platform;
    platform.directories.homes["bob"] = "/Users/bob";
    platform.files.symbolicLinks["/link"] = "/far/away";
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {".", ""},
        {"/", "/"},
        {"//a/./b//", "/a/b"},
        {"./a//b/.", "a/b"},
        {"a/../b", "a/../b"},
        {"/a/b/../c", "/a/c"},
        {"/../../a/..", "/"},
        {"/link/b", "/link/b"},
        {"/link/../b", "/far/b"},
        {"~", "/home/lecturer"},
        {"~/a/../b", "/home/lecturer/b"},
        {"~bob//x.key", "/Users/bob/x.key"},
        {"~nobody/a/..", "~nobody/a/.."},
        {"a/~", "a/~"},
    };
    for (const auto& [path, result] : cases) EXPECT_EQ(stringByStandardizingPath(path), result) << path;
}

TEST(Strings, HomeDirectory) {
    simulated::SimulatedPlatform platform;
    const std::pair<const char*, const char*> relative[] = {{"~/Documents/x.key", "Documents/x.key"},
                                                            {"/Users/bøb", ""},
                                                            {"/Users/bøb/../bøb/a", "a"},
                                                            {"/opt/lœcal/x", "x"},
                                                            {"", ""}};
    for (const char* home : {"/Users/bøb", "/Users/bøb/"}) {
        platform.directories.homes[""] = home;
        for (const auto& [path, result] : relative) EXPECT_EQ(pathRelativeToHome(path), result) << path;
    }
    platform.directories.homes[""] = "/Users/bob";
    for (const char* path : {"~", "/Users/bob/a", "/Users//bobby/file"})
        EXPECT_TRUE(isUnderHomeDirectory(path)) << path;
    for (const char* path : {"/Users", "/Users/bob/../al", "Users/bob", ""}) {
        EXPECT_FALSE(isUnderHomeDirectory(path)) << path;
    }
}

}  // namespace
