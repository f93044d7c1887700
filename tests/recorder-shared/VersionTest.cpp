#include "MacShared/VELVersionInfo.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "recorder-shared/KeynoteInstallHelper.h"
#include "recorder-shared/VELVersion.h"

#include <gtest/gtest.h>

namespace {

class Version : public testing::Test {
protected:
    static VELVersion version(const char* text) {
        const auto parsed = VELVersion::versionWithString(text);
        EXPECT_TRUE(parsed) << text;
        return parsed.value_or(VELVersion(0, 0, 0, 0));
    }
    simulated::SimulatedPlatform platform;
};

TEST_F(Version, Parsing) {
    EXPECT_EQ(version("12.2.1").stringValue(), "12.2.1.0");
    EXPECT_EQ(version("9").stringValue(), "9.0.0.0");
    EXPECT_EQ(version("1.2.3.4").stringValue(), "1.2.3.4");
    for (const char* bad : {"", ".", "13.", ".13", "1..2", "12.a", "1.2.3.4.5", "1.2.3.4.", "x"}) {
        EXPECT_FALSE(VELVersion::versionWithString(bad)) << bad;
    }
    EXPECT_FALSE(VELVersion::versionWithString(std::nullopt));
}

TEST_F(Version, ComparisonIsNumericFromTheLeft) {
    const char* ascending[] = {"0.0.0.1", "9.9.9.9", "10.0", "10.0.0.1", "10.0.1", "10.1", "4294967297"};
    for (std::size_t i = 0; i < std::size(ascending); ++i) {
        for (std::size_t j = 0; j < std::size(ascending); ++j) {
            const int expected = i < j ? -1 : (i > j ? 1 : 0);
            EXPECT_EQ(version(ascending[i]).compareTo(version(ascending[j])), expected)
                << ascending[i] << " and " << ascending[j];
        }
    }
    EXPECT_TRUE(version("9.0").isEqual(VELVersion::versionWithMajor(9, 0, 0, 0)));
    EXPECT_FALSE(version("1.2.3.4").isEqual(VELVersion::versionWithMajor(1, 2, 3, 5)));
    EXPECT_EQ(version("4294967297").stringValue(), "1.0.0.0") << "printed as the low 32 bits";
    EXPECT_EQ(version("0").compareTo(std::nullopt), 0);
    EXPECT_EQ(version("0.0.0.1").compareTo(std::nullopt), 1);
}

TEST_F(Version, AtLeast) {
    EXPECT_TRUE(version("13.0").isAtleastVersion("13.0"));
    EXPECT_FALSE(version("12.2.1").isAtleastVersion("13.0"));
    EXPECT_TRUE(version("0.1").isAtleastVersion("x.y")) << "every version is at least an invalid one";
}

TEST_F(Version, DescriptionHoldsTheAddressInDecimal) {
    const VELVersion one(1, 2, 3, 4);
    const auto address = std::to_string(reinterpret_cast<std::uintptr_t>(&one));
    EXPECT_EQ(one.description(), "<VELVersion:0x" + address + "x 1.2.3.4>");
}

TEST_F(Version, SupportedBands) {
    struct Case {
        std::optional<std::string> version;
        bool legacy;
        bool isNew;
    };
    const Case cases[] = {{"5.3", true, false},       {"5.9.9.9", true, false}, {"6.0", false, false},
                          {"6.2.2", false, false},    {"6.4.9", false, false},  {"6.5", false, true},
                          {"6.5.0.0", false, true},   {"14.2", false, true},    {"", true, false},
                          {std::nullopt, true, false}};
    for (const auto& [text, legacy, isNew] : cases) {
        EXPECT_EQ(KeynoteInstallHelper::isSupportedKeynoteVersionForLegacyPlugin(text), legacy) << text.value_or("nil");
        EXPECT_EQ(KeynoteInstallHelper::isSupportedKeynoteVersionForNewPlugin(text), isNew) << text.value_or("nil");
        EXPECT_EQ(KeynoteInstallHelper::isSupportedKeynoteVersion(text), legacy || isNew) << text.value_or("nil");
    }
}

TEST_F(Version, OfSystemAndProgram) {
    constexpr const char* kFile = "/System/Library/CoreServices/SystemVersion.plist";
    EXPECT_EQ(VELVersionInfo::osVersionString(), "Version 13.4 (Build 22F66)");
    ASSERT_FALSE(platform.files.createDirectory("/System/Library/CoreServices"));
    ASSERT_FALSE(platform.files.createFile(kFile, "unreadable"));
    EXPECT_EQ(VELVersionInfo::osVersionString(), std::nullopt) << "no falling back once there is a file";
    platform.bundles.propertyLists[kFile] = {{"ProductVersion", "13.4"}};
    EXPECT_EQ(VELVersionInfo::osVersionString(), "13.4");

    EXPECT_EQ(VELVersionInfo::buildVersionString(), std::nullopt);
    platform.bundles.setMainBundle({{"CFBundleShortVersionString", "1.2"}, {"CFBundleVersion", "34"}});
    EXPECT_EQ(VELVersionInfo::appVersionString(), "1.2");
    EXPECT_EQ(VELVersionInfo::buildVersionString(), "34");
}

}  // namespace
