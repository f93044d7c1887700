#include "KeynoteCaptureService/KeynoteTextExtractor.h"
#include "benchmarks/Failure.h"
#include "platform/linux/text/LinuxXMLServices.h"

#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <malloc.h>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using Slides = std::vector<ScriptingSlide>;

/// A thousand slides with ten text items each; some texts hold markup and letters beyond ASCII.
Slides deck() {
    Slides slides(1000);
    for (ScriptingSlide& slide : slides) {
        slide.slideNumber = &slide - slides.data() + 1;
        slide.defaultTitleItemText = "Title of a slide";
        slide.defaultBodyItemText = "A sentence that stands below the title – with a dash";
        slide.presenterNotes = "What the presenter wants to say, a little longer than what the slide shows.";
        for (int item = 0; item < 10; ++item) {
            slide.textItems.push_back("Größer & kleiner als <" + std::to_string(item) + ">, mit einigen Wörtern");
        }
    }
    return slides;
}

std::string xmlOf(Slides slides) {
    XMLElement root{.name = "Slides", .text = {}, .children = {}, .attributes = {}};
    root.children.reserve(slides.size());
    for (ScriptingSlide& slide : slides) {
        root.children.push_back(KeynoteTextExtractor::nodeForSlide(std::move(slide)));
    }
    return text::LinuxXMLServices().document(root, XMLEncoding::utf16);
}

/// A line of the process's status, in bytes.
double statusOf(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        double kibibytes = 0;
        if (word == key && status >> kibibytes) return kibibytes * 1024;
    }
    fail("the kernel does not tell how much memory the process has");
}

/// How much the resident memory grows at most for one deck, from its text on; before anything else has left room.
double peakMemory(const Slides& slides) {
    ::malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5" << std::flush;  // the peak begins anew
    const double before = statusOf("VmRSS:");
    benchmark::DoNotOptimize(xmlOf(slides));
    return statusOf("VmHWM:") - before;
}

const Slides& theDeck() {
    static const Slides slides = deck();
    return slides;
}

/// From the text as it was fetched to the bytes of the file.
void ours(benchmark::State& state) {
    static const double peak = peakMemory(theDeck());
    std::size_t size = 0;
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        Slides slides = theDeck();
        state.ResumeTiming();
        size = xmlOf(std::move(slides)).size();
    }
    state.counters["peak"] = peak;
    state.counters["size"] = static_cast<double>(size);
}

/// The library's own way from a tree of its own, which stands already.
void peer(benchmark::State& state) {
    const std::string xml = xmlOf(theDeck());
    const std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document(
        ::xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, XML_PARSE_HUGE), xmlFreeDoc);
    if (!document) fail("the document cannot be parsed");
    int size = 0;
    for ([[maybe_unused]] auto _ : state) {
        xmlChar* bytes = nullptr;
        ::xmlDocDumpMemoryEnc(document.get(), &bytes, &size, "UTF-16");
        ::xmlFree(bytes);
    }
    if (static_cast<std::size_t>(size) != xml.size()) fail("the two documents differ");
}

}  // namespace

BENCHMARK(ours)->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(peer)->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
