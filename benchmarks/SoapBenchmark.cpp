#include "MacShared/MTOMHelpers.h"
#include "MacShared/SOAP/SoapEnvelope.h"
#include "MacShared/SOAP/SoapXMLAccumulator.h"
#include "benchmarks/Failure.h"
#include "platform/linux/text/LinuxXMLServices.h"

#include <benchmark/benchmark.h>
#include <libxml/parserInternals.h>
#include <sys/resource.h>
#include <algorithm>
#include <chrono>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t kMiB = 1 << 20;

std::string response(const std::string& content) {
    return R"(<?xml version="1.0" encoding="utf-8"?><soap:Envelope xmlns:soap="http://schemas.xmlsoap.org/soap/envelope/">)"
           "<soap:Body><GetItemResponse><GetItemResult>" +
           content + "</GetItemResult></GetItemResponse></soap:Body></soap:Envelope>";
}

/// 100,000 rows of four columns.
std::string table() {
    std::string rows;
    for (int i = 0; i < 100'000; ++i) {
        const auto number = std::to_string(i);
        rows.append("<Row><Id>").append(number).append("</Id><Title>Lecture ").append(number);
        rows.append("</Title><Start>2024-03-05T13:07:09Z</Start><Length>").append(number).append("</Length></Row>\n");
    }
    return response(rows);
}

/// Elements 2,000 deep, fifty times.
std::string tree() {
    std::string branches;
    for (int i = 0; i < 50; ++i) {
        for (int depth = 0; depth < 2000; ++depth) branches += "<node>";
        branches += "leaf";
        for (int depth = 0; depth < 2000; ++depth) branches += "</node>";
    }
    return response(branches);
}

/// 16 MiB of text without markup.
std::string prose() {
    std::string text;
    while (text.size() < 16 * kMiB) text += "Optics: light, lenses and prisms, and how they bend.\n";
    return text;
}

void parse(benchmark::State& state, const std::string& xml) {
    const text::LinuxXMLServices services;
    for ([[maybe_unused]] auto _ : state) {
        auto held = std::make_unique<SoapXMLAccumulator>("GetItemResponse", "GetItemResult");
        auto& accumulator = *held;
        const auto parser = services.makeParser(accumulator);
        if (!parser->parse(xml) || !parser->finish()) fail("the response is well-formed");
        if (accumulator.Value().empty()) fail("the response element is there");
        state.PauseTiming();  // the result is its receiver's, who frees it
        held.reset();
        state.ResumeTiming();
    }
}

xmlSAXHandler handlerThatDoesNothing() {
    xmlSAXHandler handler{};
    handler.initialized = 1;
    handler.startElement = [](void*, const xmlChar*, const xmlChar**) {};
    handler.endElement = [](void*, const xmlChar*) {};
    handler.characters = [](void*, const xmlChar*, int) {};
    handler.ignorableWhitespace = handler.characters;
    return handler;
}

using Context = std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)>;

/// libxml2 alone, over the whole document at once.
void bareParse(benchmark::State& state, const std::string& xml) {
    for ([[maybe_unused]] auto _ : state) {
        const Context context(xmlCreateMemoryParserCtxt(xml.data(), static_cast<int>(xml.size())), xmlFreeParserCtxt);
        *context->sax = handlerThatDoesNothing();
        xmlCtxtUseOptions(context.get(), XML_PARSE_SAX1 | XML_PARSE_HUGE);
        if (xmlParseDocument(context.get()) != 0) fail("the peer reads it too");
    }
}

/// libxml2 alone, by the parser that takes a document in pieces.
void barePush(benchmark::State& state, const std::string& xml) {
    constexpr std::size_t kPiece = 32UL * 1024;
    for ([[maybe_unused]] auto _ : state) {
        auto handler = handlerThatDoesNothing();
        const Context context(xmlCreatePushParserCtxt(&handler, nullptr, nullptr, 0, nullptr), xmlFreeParserCtxt);
        xmlCtxtUseOptions(context.get(), XML_PARSE_SAX1 | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
        for (std::size_t at = 0; at < xml.size(); at += kPiece) {
            xmlParseChunk(context.get(), xml.data() + at, static_cast<int>(std::min(kPiece, xml.size() - at)), 0);
        }
        if (xmlParseChunk(context.get(), nullptr, 0, 1) != 0) fail("the peer reads it too");
    }
}

void envelope(benchmark::State& state, const std::string& text) {
    const std::optional<std::vector<std::string>> names = {{"text"}};
    const std::optional<shared::SoapArray> parameters = {{shared::SoapValue(text)}};
    for ([[maybe_unused]] auto _ : state) {
        const auto xml = shared::createSOAPBodyFromMethod("SetItem", "urn:svc", {}, names, parameters, -1);
        benchmark::DoNotOptimize(xml.data());
    }
}

/// memcpy into new memory, as the envelope is new.
void copy(benchmark::State& state, const std::string& text) {
    for ([[maybe_unused]] auto _ : state) {
        const std::unique_ptr<char[]> memory(new char[text.size()]);
        std::memcpy(memory.get(), text.data(), text.size());
        benchmark::DoNotOptimize(memory.get());
    }
}

double secondsOf(const auto& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Packs an attachment of that many bytes and prints the seconds, those of a memcpy into new memory, and the most bytes
/// that the process had in memory meanwhile.
int pack(std::size_t size) {
    const shared::SoapBytes attachment(std::string(size, 'x'));
    std::optional<std::string> boundary;
    const auto packing = secondsOf([&] {
        const auto body = MTOMHelpers::MTOMBodyFromEnvelope("<e/>", attachment.view(), "urn:x/0", "urn:x/1", boundary);
        if (body.size() <= size) fail("the attachment is in the body");
    });
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto copying = secondsOf([&] {
        const std::unique_ptr<char[]> memory(new char[size]);
        std::memcpy(memory.get(), attachment.view().data(), size);
        benchmark::DoNotOptimize(memory.get());
    });
    std::cout << packing << " " << copying << " " << 1024 * usage.ru_maxrss << "\n";
    return 0;
}

}  // namespace

/// With "pack BYTES" as arguments it measures the packing of one attachment, in a process of its own because of the
/// memory.
int main(int argc, char** argv) {
    if (argc == 3 && std::string_view(argv[1]) == "pack") return pack(std::stoul(argv[2]));
    benchmark::Initialize(&argc, argv);
    const auto add = [](const std::string& name, const std::string& text, const auto& operation) {
        benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
            operation(state, text);
        })->Unit(benchmark::kMillisecond);
    };
    const std::pair<std::string, std::string> responses[] = {
        {"table", table()}, {"tree", tree()}, {"text", response(prose())}};
    for (const auto& [name, xml] : responses) {
        add(name + "; ours", xml, parse);
        add(name + "; push", xml, barePush);
        add(name + "; pull", xml, bareParse);
    }
    const std::pair<std::string, std::string> texts[] = {{"envelope of 1 MiB", prose().substr(0, kMiB)},
                                                         {"envelope of 16 MiB", prose()}};
    for (const auto& [name, text] : texts) {
        add(name + "; ours", text, envelope);
        add(name + "; peer", text, copy);
    }
    benchmark::RunSpecifiedBenchmarks();
}
