#include "ports/HTTP.h"

#include <gtest/gtest.h>

namespace {

TEST(HTTPHeaderFields, KeepTheirOrderAndKnowNamesInAnyCase) {
    for (const int others : {0, 100}) {
        HTTPHeaderFields fields{{"Set-Cookie", "a"}, {"Empty", ""}, {"SET-COOKIE", "b"}};
        for (int i = 0; i < others; ++i) fields.addValue("x", "Other-" + std::to_string(i));
        EXPECT_EQ(fields.value("set-cookie"), "a,b");
        EXPECT_EQ(fields.value("EMPTY"), "");
        EXPECT_EQ(fields.value("Cookie"), std::nullopt);
        fields.setValue("c", "set-cookie");  // now the last
        fields.addValue("d", "Set-Cookie");
        fields.removeValue("Other-3");
        EXPECT_EQ(fields.value("other-3"), std::nullopt);
        std::vector<std::string> names;
        for (const auto& [name, value] : fields) names.push_back(name);
        EXPECT_EQ(names.front(), "Empty");
        EXPECT_EQ(names.back(), "set-cookie");
        EXPECT_EQ(fields.value("Set-COOKIE"), "c,d");
        for (int i = 4; i < others; ++i) EXPECT_EQ(fields.value("other-" + std::to_string(i)), "x");
    }
}

/// A server's choice; the test's own time limit is what stops a search through all of them for each.
TEST(HTTPHeaderFields, MayBeMany) {
    constexpr int kMany = 400'000;
    HTTPHeaderFields fields;
    for (int i = 0; i < kMany; ++i) fields.addValue("x", std::to_string(i));
    EXPECT_EQ(std::distance(fields.begin(), fields.end()), kMany);
    EXPECT_EQ(fields.value("399999"), "x");
}

}  // namespace
