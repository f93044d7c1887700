#include "platform/linux/SystemVersion.h"
#include "platform/linux/files/DirectoryBundles.h"
#include "platform/linux/files/LinuxDirectories.h"
#include "platform/linux/files/PropertyList.h"
#include "platform/linux/files/PropertyListDefaults.h"
#include "tests/support/German.h"
#include "tests/support/TemporaryDirectory.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <cstdint>

namespace {

using Path = std::filesystem::path;

std::string xmlWith(const std::string& content) {
    return "<plist version=\"1.0\"><dict>" + content + "</dict></plist>";
}

std::string entry(const std::string& key, const std::string& value) {
    return "<key>" + key + "</key><string>" + value + "</string>";
}

/// A text of less than 15 letters as an object.
std::string ascii(const std::string& text) {
    return static_cast<char>(0x50 + text.size()) + text;
}

/// A binary property list of these objects, the first one on top; offsets of two bytes and references of one.
std::string binaryOf(const std::vector<std::string>& objects) {
    std::string list = "bplist00";
    std::string offsets;
    const auto add16 = [&](std::size_t value) {
        (offsets += static_cast<char>(value >> 8)) += static_cast<char>(value);
    };
    for (const auto& object : objects) {
        add16(list.size());
        list += object;
    }
    const auto table = list.size();
    list += offsets + std::string("\0\0\0\0\0\0\x02\x01", 8);
    for (const std::size_t number : {objects.size(), std::size_t{0}, table}) {
        for (int shift = 56; shift >= 0; shift -= 8) list += static_cast<char>(number >> shift);
    }
    return list;
}

class BundleTest : public testing::Test {
protected:
    std::optional<std::string> info(const std::string& plist, const std::string& key) {
        writeFile(root.path / "X.app/Contents/Info.plist", plist);
        return bundles.bundleAtPath(root.path / "X.app")->infoString(key);
    }

    TemporaryDirectory root;
    files::DirectoryBundles bundles;
};

TEST_F(BundleTest, ReadsXmlAndBinaryDictionaries) {
    const auto xml = xmlWith(entry("A", "1.0 &amp; more") + "<key>N</key><integer>1</integer><key>D</key><dict>" +
                             entry("B", "inner") + "</dict>");
    EXPECT_EQ(info(xml, "A"), "1.0 & more");
    for (const char* absent : {"N", "D", "B", "C", ""}) EXPECT_EQ(info(xml, absent), std::nullopt) << absent;

    const std::string longText(300, 'v');
    const auto binary = binaryOf({std::string("\xD4\x01\x02\x03\x03\x04\x05\x06\x00", 9), ascii("A"), ascii("B"),
                                  ascii("N"), std::string("\x5F\x11\x01\x2C", 4) + longText,
                                  std::string("\x64\x00\xE4\x20\xAC\xD8\x3D\xDE\x00", 9), "\x10\x07"});
    EXPECT_EQ(info(binary, "A"), longText);
    EXPECT_EQ(info(binary, "B"), "ä€😀");
    EXPECT_EQ(info(binary, "N"), std::nullopt);
}

TEST_F(BundleTest, ReadsOfXmlWhatItsTopDictionarySays) {
    const auto good = entry("A", "x");
    const std::string beside = "<key>A</key><string>inner</string>";
    for (const auto& [list, expected] : std::vector<std::pair<std::string, std::optional<std::string>>>{
             {"\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//X//EN\" "
              "\"http://127.0.0.1:9/x.dtd\">\n<!-- <dict> -->" +
                  xmlWith("\n\t" + good + "\n"),
              "x"},
             {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + xmlWith(entry("A", "\xE4")), "ä"},
             {"<dict>" + good + "</dict>", "x"},
             {xmlWith(entry("A", "&lt;&#x20AC;<![CDATA[<&]]><!-- no --> y")), "<€<& y"},
             {xmlWith("<key>O</key><array>" + beside + "</array>" + good + "<key>O</key><dict>" + beside + "</dict>"),
              "x"},
             {xmlWith("<key>O</key><data>eA==</data>" + good + "<key>D</key><date>2024-03-05T13:07:09Z</date>"), "x"},
             {xmlWith(entry("A", "first") + good), "x"},
             {xmlWith("<key>A</key><real>1.5</real><string>nobody's</string>"), std::nullopt},
             {xmlWith("<key>A</key>"), std::nullopt},
             {"<plist><array>" + beside + "</array></plist>", std::nullopt},
             {"<!DOCTYPE plist [<!ENTITY e \"x\">]>" + xmlWith(entry("A", "&e;")), std::nullopt},
             {xmlWith(good + "<key>B</key>&e;"), std::nullopt},
             {xmlWith(good) + "<", std::nullopt}}) {
        EXPECT_EQ(info(list, "A"), expected) << list;
    }
}

TEST_F(BundleTest, AUserDefaultIsWhatThePlatformTakesForTrue) {
    const auto flag = [&](const std::string& plist) {
        writeFile(root.path / "program.plist", plist);
        return files::PropertyListDefaults(root.path / "program.plist").boolForKey("A");
    };
    const auto xml = [&](const std::string& value) { return flag(xmlWith("<key>A</key>" + value)); };
    for (const char* value : {"<true/>", "<integer>2</integer>", "<string>YES</string>", "<string> -01</string>"}) {
        EXPECT_TRUE(xml(value)) << value;
    }
    for (const char* value : {"<false/>", "<integer>0</integer>", "<string>no</string>", "<string/>", "<dict/>", "<"}) {
        EXPECT_FALSE(xml(value)) << value;
    }
    const std::string top("\xD1\x01\x02", 3);
    EXPECT_TRUE(flag(binaryOf({top, ascii("A"), "\x09"})));
    EXPECT_TRUE(flag(binaryOf({top, ascii("A"), std::string("\x11\x01\x00", 3)})));
    EXPECT_FALSE(flag(binaryOf({top, ascii("A"), "\x08"})));

    ::setenv("XDG_CONFIG_HOME", root.path.c_str(), 1);
    writeFile(root.path / (bundles.mainBundle()->infoString("CFBundleExecutable").value() + ".plist"),
              xmlWith("<key>A</key><true/>"));
    EXPECT_TRUE(files::PropertyListDefaults(files::LinuxDirectories(), *bundles.mainBundle()).boolForKey("A"));
    EXPECT_FALSE(files::PropertyListDefaults(files::LinuxDirectories(), *bundles.mainBundle()).boolForKey("B"));
    ::unsetenv("XDG_CONFIG_HOME");
}

TEST_F(BundleTest, TakesDamagedDictionariesForAbsent) {
    const auto good = binaryOf({"\xD1\x01\x02", ascii("A"), ascii("B")});
    EXPECT_EQ(info(good, "A"), "B");
    for (std::size_t length = 0; length < good.size(); ++length) {
        EXPECT_EQ(info(good.substr(0, length), "A"), std::nullopt) << length;
    }
    // Whatever a single byte says, nothing outside the file is read (the sanitizers watch).
    for (std::size_t i = 0; i < good.size(); ++i) {
        for (const int value : {0, 1, 0x7F, 0x80, 0xDF, 0xFF}) {
            auto damaged = good;
            damaged[i] = static_cast<char>(value);
            (void)files::binaryPropertyScalars(damaged);
        }
    }
    for (const char* text :
         {"", "garbage", "<plist>", "<plist><dict><key>A</key>", "<plist><array/></plist>", "bplist00"}) {
        EXPECT_EQ(info(text, "A"), std::nullopt) << text;
    }
}

TEST_F(BundleTest, SurvivesDictionariesBuiltToExhaustTheirReader) {
    std::string deep;
    for (int i = 0; i < 60'000; ++i) deep += "<array>";
    for (int i = 0; i < 60'000; ++i) deep += "</array>";
    EXPECT_EQ(info(xmlWith(entry("A", "x") + "<key>D</key>" + deep), "A"), std::nullopt);

    // Forty arrays that each hold the next one twice: 2^40 objects when they are copied.
    std::vector<std::string> objects{std::string("\xD2\x01\x03\x02\x04", 5), ascii("A"), ascii("x"), ascii("D")};
    for (int i = 0; i < 40; ++i) {
        const auto next = static_cast<char>(objects.size() + 1);
        objects.push_back({'\xA2', next, next});
    }
    objects.emplace_back("\x09");
    EXPECT_EQ(info(binaryOf(objects), "A"), "x");

    // One long text under many keys.
    std::string many("\xDF\x10\x64", 3);
    for (int i = 0; i < 100; ++i) many += static_cast<char>(1 + i);
    many += std::string(100, '\x65');
    std::vector<std::string> repeated{many};
    for (int i = 0; i < 100; ++i)
        repeated.push_back({'\x52', static_cast<char>('0' + i / 10), static_cast<char>('0' + i % 10)});
    repeated.push_back(std::string("\x5F\x11\x75\x30", 4) + std::string(30'000, 'v'));
    EXPECT_EQ(info(binaryOf(repeated), "00"), std::nullopt);

    const auto padding = "<!--" + std::string(1 << 20, ' ') + "-->";
    EXPECT_EQ(info(xmlWith(entry("A", "x")), "A"), "x");
    EXPECT_EQ(info(padding + xmlWith(entry("A", "x")), "A"), std::nullopt);
}

TEST_F(BundleTest, ABundleIsADirectoryAndItsDictionaryAFile) {
    EXPECT_FALSE(bundles.bundleAtPath(root.path / "gone.app"));
    writeFile(root.path / "file.app", "");
    EXPECT_FALSE(bundles.bundleAtPath(root.path / "file.app"));

    const auto contents = root.path / "Odd.app/Contents";
    std::filesystem::create_directories(contents);
    const auto bundle = bundles.bundleAtPath(root.path / "Odd.app");
    ASSERT_TRUE(bundle);
    for (const char* name : {"Odd.app", "Odd.app/", "Odd.app//"}) {
        EXPECT_EQ(bundles.bundleAtPath(root.path / name)->path().native(), (root.path / "Odd.app").native());
    }
    EXPECT_EQ(bundle->localizedString("Text"), "Text");
    ASSERT_EQ(::mkfifo((contents / "Info.plist").c_str(), 0600), 0);
    EXPECT_EQ(bundles.bundleAtPath(root.path / "Odd.app")->infoString("A"), std::nullopt);
    std::filesystem::remove(contents / "Info.plist");
    for (const char* target : {"/dev/zero", "/dev/full", "/", "Info.plist"}) {
        std::filesystem::create_symlink(target, contents / "Info.plist");
        EXPECT_EQ(bundles.bundleAtPath(root.path / "Odd.app")->infoString("A"), std::nullopt) << target;
        std::filesystem::remove(contents / "Info.plist");
    }
}

TEST_F(BundleTest, FindsTheMainBundleBesideTheExecutable) {
    const auto plist = xmlWith(entry("CFBundleExecutable", "Service") + entry("CFBundleIdentifier", "com.example") +
                               entry("CFBundleVersion", "7"));
    for (const char* executable : {"build/bin/Service", "prefix/libexec/keynote-capture/Service"}) {
        const Path path = root.path / executable;
        const Path top = root.path / *Path(executable).begin();
        writeFile(top / "share/keynote-capture/Info.plist", plist);
        files::DirectoryBundles own(path);
        EXPECT_EQ(own.mainBundle()->path(), top / "share/keynote-capture");
        EXPECT_EQ(own.mainBundle()->infoString("CFBundleIdentifier"), "com.example");

        files::DirectoryBundles neighbour(path.parent_path() / "tool");
        EXPECT_EQ(neighbour.mainBundle()->infoString("CFBundleExecutable"), "tool")
            << "the service's log would be ours";
        EXPECT_EQ(neighbour.mainBundle()->infoString("CFBundleIdentifier"), std::nullopt);
        EXPECT_EQ(neighbour.mainBundle()->infoString("CFBundleVersion"), "7") << "it is of the same package";
    }
    files::DirectoryBundles bare(root.path / "elsewhere/bin/Service");
    EXPECT_EQ(bare.mainBundle()->infoString("CFBundleExecutable"), "Service");
    EXPECT_EQ(bare.mainBundle()->infoString("CFBundleIdentifier"), std::nullopt);
}

TEST_F(BundleTest, FindsResources) {
    const auto resources = root.path / "X.app/Contents/Resources";
    std::filesystem::create_directories(resources / "Animations/Extra.plugin");
    writeFile(resources / "README", "");
    const auto bundle = bundles.bundleAtPath(root.path / "X.app");
    EXPECT_EQ(bundle->pathForResource("Extra", "plugin", "Animations"), resources / "Animations/Extra.plugin");
    EXPECT_EQ(bundle->pathForResource("Extra", "plugin"), std::nullopt);
    EXPECT_EQ(bundle->pathForResource("README", ""), resources / "README");

    const auto own = root.path / "build/share/keynote-capture/Extra.plugin";
    std::filesystem::create_directories(own);
    const auto main = files::DirectoryBundles(root.path / "build/bin/Service").mainBundle();
    EXPECT_EQ(main->pathForResource("Extra", "plugin"), own);
}

TEST_F(BundleTest, ReadsSingleTextsOfPropertyLists) {
    const auto file = root.path / "list.plist";
    EXPECT_EQ(bundles.propertyListString(file, "A"), std::nullopt);
    writeFile(file, xmlWith(entry("A", "1")));
    EXPECT_EQ(bundles.propertyListString(file, "A"), "1");
    EXPECT_EQ(bundles.propertyListString(file, "B"), std::nullopt);
}

TEST(SystemVersion, IsTheDistributionsAndItsPointRelease) {
    struct Case {
        const char* id;
        const char* debian;
        const char* version;
    };
    for (const auto& [id, debian, version] : {Case{"12", "12.8", "12.8"},
                                              {"\"12\"", "trixie/sid", "12"},
                                              {"'12'", "", "12"},
                                              {"12", "12", "12"},
                                              {"6", "12.8", "6"},
                                              {"1", "12.8", "1"},
                                              {"", "12.8", "12.8"},
                                              {"", "trixie/sid", "unknown"},
                                              {"", "", "unknown"}}) {
        TemporaryDirectory etc;
        writeFile(etc.path / "os-release", fmt::format("ID=debian\nVERSION_ID={}\nVERSION=\"12 (x)\"\n", id));
        writeFile(etc.path / "debian_version", fmt::format("{}\n", debian));
        const auto text = systemVersionString(etc.path);
        EXPECT_TRUE(text.starts_with(fmt::format("Version {} (Build ", version))) << text;
        EXPECT_TRUE(text.ends_with(")")) << text;
    }
    TemporaryDirectory empty;
    EXPECT_TRUE(systemVersionString(empty.path).starts_with("Version unknown (Build "));
}

TEST_F(BundleTest, TranslatesIntoTheUsersLanguage) {
    const auto main = files::DirectoryBundles().mainBundle();
    const std::string english = "Unable to create directory, file path is nil.";
    EXPECT_EQ(main->localizedString(english), english);
    EXPECT_EQ(main->localizedString(""), "");
    const German german;
    EXPECT_EQ(main->localizedString(english), "Das Verzeichnis kann nicht angelegt werden, sein Pfad fehlt.");
    EXPECT_EQ(main->localizedString("no such text"), "no such text");
    EXPECT_EQ(main->localizedString(""), "");
}

}  // namespace
