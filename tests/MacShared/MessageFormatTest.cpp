#include "MacShared/MessageFormat.h"

#include <gtest/gtest.h>

namespace {

TEST(MessageFormat, Conversions) {
    const std::uint64_t size = 18'446'744'073'709'551'615U;
    const std::int64_t slide = 7;
    EXPECT_EQ(shared::formatMessage("%@.%03ld.jpg", "slide", slide), "slide.007.jpg");
    EXPECT_EQ(shared::formatMessage("File size %llu", size), "File size 18446744073709551615");
    EXPECT_EQ(shared::formatMessage("polling of %f less", 0.1), "polling of 0.100000 less");
    EXPECT_EQ(shared::formatMessage("100 %% of %s, %d", "it", true), "100 % of it, 1");
    EXPECT_EQ(shared::formatMessage("%@ %@ %@", slide, 0.5, std::string("100 %@")), "7 0.5 100 %@");
}

TEST(MessageFormat, NothingIsNull) {
    EXPECT_EQ(shared::formatMessage("%@ %@ %@", std::optional<std::string>(), ErrorPtr(),
                                    std::optional<std::filesystem::path>()),
              "(null) (null) (null)");
}

TEST(MessageFormat, PlatformObjects) {
    EXPECT_EQ(shared::description(std::set<std::string>{"slide.002.jpg", "slide.001.jpg"}),
              "{(\n    \"slide.001.jpg\",\n    \"slide.002.jpg\"\n)}");
    EXPECT_EQ(shared::description(std::vector<std::string>{"b", "a b", ""}), "(\n    b,\n    \"a b\",\n    \"\"\n)");
    EXPECT_EQ(shared::description(std::set<std::string>{}), "{(\n)}");
    EXPECT_EQ(shared::description(Date(std::chrono::microseconds(1'709'644'029'999'999))), "2024-03-05 13:07:09 +0000");
    EXPECT_EQ(shared::description(Date(std::chrono::microseconds(-1))), "1969-12-31 23:59:59 +0000");
    EXPECT_EQ(shared::description(makeError("D", 5)), "Error Domain=D Code=5 \"(null)\"");
    EXPECT_EQ(shared::description(makeError("D", -1712, "too late")), "Error Domain=D Code=-1712 \"too late\"");
    EXPECT_EQ(shared::stringFromRect({0.5, -3, 1440.25, 900}), "{{0.5, -3}, {1440.25, 900}}");
    EXPECT_EQ(shared::description(
                  shared::InfoDictionary{{"b", "two words"}, {"a", shared::InfoDictionary{{"c", std::int64_t{1}}}}}),
              "{\n    a =     {\n        c = 1;\n    };\n    b = \"two words\";\n}");
}

}  // namespace
