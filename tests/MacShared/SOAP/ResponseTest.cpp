#include "MacShared/SOAP/SoapXMLAccumulator.h"
#include "platform/linux/text/LinuxXMLServices.h"
#include "tests/MacShared/SOAP/SoapScenario.h"
#include "tests/support/Memory.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <stdexcept>

namespace {

class Response : public testing::Test {
protected:
    Response() { shared::beginNewLogRun(); }

    /// The tree of a document that comes in pieces of this size.
    static std::string parsed(const XMLServices& services, std::string_view xml, std::size_t piece) {
        SoapXMLAccumulator accumulator("GetItemResponse", "GetItemResult");
        const auto parser = services.makeParser(accumulator);
        for (; !xml.empty(); xml.remove_prefix(std::min(piece, xml.size()))) {
            if (!parser->parse(xml.substr(0, piece))) break;
        }
        static_cast<void>(parser->finish());
        return lineOf(shared::SoapValue(accumulator.Value()));
    }

    std::string parsed(const std::string& xml) const { return parsed(real, xml, xml.size() + 1); }
    [[nodiscard]] std::size_t errors() const { return platform.unifiedLog.entries.size() / 2; }

    simulated::SimulatedPlatform platform;
    const text::LinuxXMLServices real;
};

TEST_F(Response, BecomesATree) {
    const std::pair<const char*, const char*> cases[] = {
        {"plain.xml", "{response: {GetItemResult: {Id: 7, Tag: [a, b]}}}"},
        {"text-result.xml", "{response: {GetItemResult: t}}"},
        {"empty-result.xml", "{response: {GetItemResult: {}}}"},
        {"empty-response.xml", "{response: {}}"},
        {"text-response.xml", "{response: only text}"},
        {"layout.xml", "{response: {GetItemResult: {Id: 7, Blank:  , Half: {}}}}"},
        {"repeated.xml", "{response: {GetItemResult: {Row: [{N: 1}, {N: 2}, {N: 3}], Total: 3}}}"},
        {"markup.xml", "{response: {GetItemResult: {A: x<y> & z, B: }}}"},
        {"entities.xml", "{response: {GetItemResult: {A: <&>'\", B: \xC3\xA9\xF0\x9F\x98\x80, C: &lt;}}}"},
        {"prefixed.xml", "{}"},
        {"prefixed-inside.xml", "{response: {a:GetItemResult: {a:Id: 7}}}"},
        {"second.xml", "{response: {GetItemResult: first}}"},
        {"nested.xml", "{response: {GetItemResult: {GetItemResponse: {response: r}}}}"},
        {"utf-8-mark.xml", "{response: {GetItemResult: Schöne Grüße, 日本}}"},
        {"utf-16.xml", "{response: {GetItemResult: Schöne Grüße, 日本}}"},
        {"iso-8859-1.xml", "{response: {GetItemResult: Schöne Grüße}}"},
        {"windows-1252.xml", "{response: {GetItemResult: Schöne Grüße – €}}"},
    };
    for (const auto& [name, tree] : cases) {
        const auto xml = contentsOf(std::string(KCS_SOURCE_DIR "/tests/data/soap/") + name);
        for (const std::size_t piece : {std::size_t{1}, std::size_t{3}, xml.size()}) {
            EXPECT_EQ(parsed(real, xml, piece), tree) << name << " in pieces of " << piece;
        }
        EXPECT_EQ(errors(), 0U) << name;
        for (std::size_t cut = 0; cut < xml.size(); ++cut) {
            const auto cutTree = parsed(xml.substr(0, cut));
            EXPECT_TRUE(cutTree == tree || cutTree == "{}") << name << " cut at " << cut << ": " << cutTree;
        }
        platform.unifiedLog.entries.clear();
    }
}

std::string repeated(const std::string& pattern, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) result += pattern;
    return result;
}

std::string inResponse(const std::string& content) {
    return "<GetItemResponse>" + content + "</GetItemResponse>";
}

std::string manyAttributes(int count) {
    std::string result;
    for (int i = 0; i < count; ++i) result += " a" + std::to_string(i) + "=''";
    return result;
}

/// None of these yields anything or takes long, and each is told once.
TEST_F(Response, HostileDocumentsEndInAParseError) {
    const std::string lol =
        "<!DOCTYPE r [<!ENTITY a 'aaaaaaaaaa'><!ENTITY b '&a;&a;&a;&a;&a;&a;&a;&a;'><!ENTITY c "
        "'&b;&b;&b;&b;&b;&b;&b;'>";
    const std::pair<const char*, std::string> cases[] = {
        {"nothing", ""},
        {"no XML", "HTTP/1.1 200 OK"},
        {"bytes that are not UTF-8", inResponse("\xFF\xFE\xFF")},
        {"a longer form than UTF-8 has, in a CDATA section", inResponse("<a><![CDATA[\xC1\x87]]></a>")},
        {"bytes that do not fit the encoding",
         "<?xml version='1.0' encoding='utf--8'?>" + inResponse("<a>x\xE6y</a>") + "\xE6"},
        {"a tag that does not match", "<GetItemResponse><a></b></GetItemResponse>"},
        {"an entity bomb", lol + "]>" + inResponse("&c;")},
        {"an entity bomb in an attribute", lol + "]>" + inResponse("<x y='&c;'/>")},
        {"a parameter entity", "<!DOCTYPE r [<!ENTITY % p SYSTEM 'file:///etc/passwd'>%p;]>" + inResponse("&x;")},
        {"an external entity", "<!DOCTYPE r [<!ENTITY x SYSTEM 'file:///etc/hostname'>]>" + inResponse("&x;")},
        {"an external document type", "<!DOCTYPE r SYSTEM 'file:///etc/r.dtd'>" + inResponse("&x;")},
        {"a deep tree", inResponse(repeated("<a>", 10'000) + repeated("</a>", 10'000))},
        {"many attributes", inResponse("<a" + manyAttributes(257) + "/>")},
        {"a tag full of attributes", inResponse("<a" + manyAttributes(25'000) + "/>")},
        {"a tag of a million attributes", inResponse("<a" + manyAttributes(1'000'000) + "/>")},
        {"a tag that never ends", "<GetItemResponse a='" + std::string(20 << 20, 'x')},
        {"a comment that never ends", "<GetItemResponse><!--" + std::string(20 << 20, 'x')},
        {"masses of names", inResponse([] {
             std::string fields;
             for (int i = 0; i < 1'500'000; ++i) fields += "<field" + std::to_string(i) + "/>";
             return fields;
         }())},
    };
    for (const auto& [name, xml] : cases) {
        EXPECT_EQ(parsed(xml), "{}") << name;
        EXPECT_EQ(errors(), 1U) << name;
        platform.unifiedLog.entries.clear();
    }
    static_cast<void>(parsed("<a>"));
    EXPECT_EQ(platform.unifiedLog.entries.at(0).message, "-[SoapXMLAccumulator parser:parseErrorOccurred:]");
    EXPECT_EQ(platform.unifiedLog.entries.at(1).message, "XML parsing error occurred");
}

/// docs/soap.md tells integrators what they have to expect of a response at its limit.
TEST_F(Response, TakesABoundedMultipleOfItsBytes) {
    const auto children = [](int count, const std::string& content) {
        std::string xml;
        for (char name = 'a'; name < 'a' + count; ++name) {
            xml.append("<").append(1, name);
            xml.append(content.empty() ? "/>" : ">" + content + "</" + name + ">");
        }
        return "<r>" + xml + "</r>";
    };
    for (const auto& unit :
         {std::string("<a>x</a>"), children(1, "x"), children(2, ""), children(16, ""), children(17, "x"),
          children(16, "") + children(1, "x"), repeated("<a>", 1000) + "x" + repeated("</a>", 1000)}) {
        const auto xml = inResponse(repeated(unit, static_cast<int>((1 << 20) / unit.size())));
        const auto before = memory::inUse();
        SoapXMLAccumulator accumulator("GetItemResponse", "GetItemResult");
        const auto parser = real.makeParser(accumulator);
        EXPECT_TRUE(parser->parse(xml) && parser->finish());
        EXPECT_LT(memory::inUse() - before, 25 * xml.size()) << unit.substr(0, 40);
    }
}

TEST_F(Response, LargeAndDeepOnesAreRead) {
    constexpr int kDepth = 2040;
    const auto deep = repeated("<a>", kDepth) + "x" + repeated("</a>", kDepth);
    EXPECT_EQ(parsed("<GetItemResponse>" + deep + "</GetItemResponse>").size(),
              std::string("{response: x}").size() + kDepth * std::string("{a: }").size());

    EXPECT_EQ(parsed("<!--" + std::string(9 << 20, 'x') + "--><GetItemResponse>7</GetItemResponse>"), "{response: 7}");
    const std::string prose(20 << 20, 'x');
    EXPECT_EQ(parsed("<GetItemResponse>" + prose + "</GetItemResponse>"), "{response: " + prose + "}");
    const auto markup = repeated("<a>\xC3\xA9</a>", 1 << 19);
    EXPECT_EQ(parsed("<GetItemResponse><![CDATA[" + markup + "]]></GetItemResponse>"), "{response: " + markup + "}");

    constexpr int kLines = 40'000;
    std::string utf16 = "\xFF\xFE";
    for (const char c : "<GetItemResponse>x" + repeated("\r\n", kLines) + "</GetItemResponse>") {
        utf16.append({c, '\0'});
    }
    for (const std::size_t piece : {1UL, 3UL, utf16.size()}) {
        EXPECT_EQ(parsed(real, utf16, piece).size(), std::string("{response: x}").size() + kLines) << piece;
    }

    SoapXMLAccumulator accumulator("GetItemResponse", "GetItemResult");
    accumulator.parserDidStartElement("GetItemResponse");
    for (int i = 0; i < 100'000; ++i) {
        const auto name = "field" + std::to_string(i);
        accumulator.parserDidStartElement(name);
        if (i % 2 == 0) accumulator.parserFoundCharacters(name);
        accumulator.parserDidEndElement(name);
    }
    accumulator.parserDidEndElement("GetItemResponse");
    const auto value = accumulator.Value();
    const auto& fields = *value.find("response")->dictionary();
    EXPECT_EQ(fields.size(), 50'000U);
    EXPECT_EQ(*fields.find("field99998"), shared::SoapValue("field99998"));
    EXPECT_EQ(fields.find("field99999"), nullptr);
    EXPECT_EQ(fields.begin()[40'000].first, "field80000");
}

TEST_F(Response, WhatItsReceiverThrowsComesOut) {
    class Thrower final : public XMLParserDelegate {
    public:
        explicit Thrower(char at) : at_(at) {}
        std::string told;

    private:
        void hear(char what) {
            told += what;
            if (what == at_) throw std::length_error("full");
        }
        void parserDidStartElement(std::string_view /*name*/) override { hear('<'); }
        void parserDidEndElement(std::string_view /*name*/) override { hear('>'); }
        void parserFoundCharacters(std::string_view /*text*/) override { hear('x'); }
        void parserParseErrorOccurred(const ErrorPtr& /*error*/) override { hear('!'); }

        const char at_;
    };
    for (const std::string told : {"<", "<x", "<x>", "<x>!"}) {
        Thrower thrower(told.back());
        const auto parser = real.makeParser(thrower);
        EXPECT_THROW(parser->parse("<a>text</a><b/>") && parser->finish(), std::length_error);
        EXPECT_FALSE(parser->parse("<c/>"));
        EXPECT_EQ(thrower.told, told);
    }
}

}  // namespace
