/// What is made of the files of a recording: tables of journals and texts, and what comes of them to the byte.

#include "platform/linux/text/LinuxXMLServices.h"
#include "tests/support/TemporaryDirectory.h"
#include "tools/keynote-capture/lecture/Chapters.h"
#include "tools/keynote-capture/lecture/LectureFiles.h"
#include "tools/keynote-capture/lecture/Page.h"
#include "tools/keynote-capture/lecture/PlainText.h"
#include "tools/keynote-capture/lecture/Template.h"
#include "tools/keynote-capture/lecture/VideoStart.h"
#include "tools/keynote-capture/lecture/VisitTables.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace keynote_capture {
namespace {

namespace fs = std::filesystem;

constexpr const char* kNewYear = "2026-12-31T23:59:58.000000Z";

/// A journal whose steady clock showed 0 at the header's wall time.
std::string header(const std::string& wall = kNewYear, const std::string& more = R"("archive":"A.key",)",
                   const std::string& boot = "b") {
    return R"({"timeline":1,"recordingID":"r","presentationID":"A","deck":"file:///home/Optics%20%3C1%3E.key",)" +
           more + R"("clocks":{"wall":")" + wall + R"(","steady":0,"boot":")" + boot + R"("}})";
}
/// An entry that happened at that steady time in milliseconds, give or take 10 ms.
std::string entry(const std::string& event, std::int64_t at, const std::string& more = {}) {
    return fmt::format(R"({{"event":"{}",{}"steady":[{},{}]}})", event, more, (at - 10) * 1000, (at + 10) * 1000);
}
std::string shown(int slide, std::int64_t at, int position = 0) {
    return entry(
        "slideShown", at,
        fmt::format(R"("slide":{},{})", slide, position > 0 ? fmt::format(R"("position":{},)", position) : ""));
}
std::string received(const std::string& at) {
    return R"({"event":"detectedKeynoteTerminated","received":")" + at + "\"}";
}

using Lines = std::vector<std::string>;

/// "2@1000-2500." for slide 2 from 1 s to 2.5 s: "." when the next slide ends it, "!" the show, "?" nobody knows.
/// After a blank where the gaps begin.
std::string told(const Lecture& lecture) {
    const auto ms = [&](Date date) { return (date - lecture.start()) / std::chrono::milliseconds(1); };
    std::string text;
    for (const auto& part : lecture.parts) {
        for (const auto& visit : part.show.visits) {
            text += fmt::format("{}@{}-{}{}", visit.slide, ms(visit.start), ms(visit.end),
                                std::string(".!?").at(static_cast<std::size_t>(visit.ends)));
        }
        for (const auto& gap : part.show.gaps) text += fmt::format(" gap@{}", ms(gap.start));
        text += '\n';
    }
    return text;
}

Part partOf(const Lines& lines) {
    return {"/captures/A", showFrom(lines).value(), {}};
}

TEST(Show, TellsTheVisitsThatAJournalProves) {
    struct Case {
        const char* name;
        Lines lines;
        std::string visits;
    };
    const std::string start = entry("showStarted", 0);
    const std::string end = entry("showEnded", 9000);
    const std::vector<Case> cases{
        {"a jump back",
         {start, shown(1, 0), shown(2, 1000), shown(1, 2000), end},
         "1@0-1000.2@1000-2000.1@2000-9000!\n"},
        {"a pause without a slide",
         {start, shown(1, 0), shown(0, 1000), shown(1, 3000), end},
         "1@0-1000.1@3000-9000!\n"},
        {"a gap, and the same slide after it",
         {start, shown(1, 0), entry("unseenFrom", 2000), entry("unseenTo", 4000), end},
         "1@0-2000?1@4000-9000! gap@2000\n"},
        {"a gap, and another slide after it",
         {start, shown(1, 0), entry("unseenFrom", 2000), entry("unseenTo", 4000), shown(3, 4000), end},
         "1@0-2000?3@4000-9000! gap@2000\n"},
        {"visits that the program tells of the gap",
         {start, shown(1, 0), entry("unseenFrom", 2000), entry("unseenTo", 4000), shown(2, 3000), shown(3, 5000), end},
         "1@0-2000?2@3000-5000.3@5000-9000! gap@2000\n"},
        {"no end: it lasted at least until the last thing that came",
         {start, shown(1, 0), shown(2, 1000), received("2027-01-01T00:00:03.500000Z")},
         "1@0-1000.2@1000-5500? gap@5500\n"},
        {"a recorder that found the rest days later",
         {start, shown(1, 0), received("2026-12-31T23:59:59.500000Z"),
          R"({"event":"unseenFrom","earliest":null,"steady":[null,900000000000],"reason":"It has gone."})"},
         "1@0-1500? gap@1500\n"},
        {"torn, foreign and hostile lines",
         {start, shown(1, 0), R"({"event":"slideSho)", "[]", R"({"event":7,"steady":[{},{}]})",
          R"({"event":"slideShown","slide":"x","steady":[9,"y"]})",
          R"({"event":"slideShown","slide":9,"steady":[9223372036854775807,9223372036854775807]})", end},
         "1@0-9000!\n"},
        {"out of order by a clock that lies",
         {start, shown(1, 2000), shown(2, 1000), end},
         "1@2000-2000.2@2000-9000!\n"},
        {"an empty show", {start, end}, "\n"},
    };
    for (const auto& [name, lines, visits] : cases) {
        Lines journal{header()};
        journal.insert(journal.end(), lines.begin(), lines.end());
        EXPECT_EQ(told(lectureOf({partOf(journal)})), visits) << name;
    }
    EXPECT_FALSE(showFrom({start, end}));
    EXPECT_FALSE(showFrom({R"({"timeline":2})"}));
}

TEST(Show, IsContinuedByTheNextOne) {
    const auto first =
        partOf({header(), entry("showStarted", 0), shown(1, 0), shown(2, 1000), entry("unseenFrom", 2000)});
    const auto rest = [](const Lines& visits) {
        Lines lines{header("2027-01-01T00:00:01.000000Z"), R"({"event":"continues","presentationID":"A"})"};
        lines.insert(lines.end(), visits.begin(), visits.end());
        auto part = partOf(lines);
        // Its clock began 3 s later.
        part.show = showFrom(lines, partOf({header()}).show.clock).value();
        part.show.presentationID = "B";
        return part;
    };
    const auto end = entry("showEnded", 9000);
    EXPECT_EQ(told(lectureOf({rest({shown(2, 4000), end}), first})), "1@0-1000.2@1000-2000? gap@2000\n2@4000-9000!\n");
    EXPECT_EQ(told(lectureOf({first, rest({shown(1, 0), shown(2, 1000), shown(3, 3000), end})})),
              "1@0-1000.2@1000-3000.\n3@3000-9000!\n")
        << "the program has told the rest from the beginning";
    EXPECT_EQ(told(lectureOf({first, rest({shown(4, 1500), end})})), "1@0-1000.2@1000-2000? gap@2000\n4@2000-9000!\n");
}

constexpr const char* kText = R"(<?xml version="1.0"?><KeynoteInfo version="1"><Filename>x</Filename><Slides>
<Slide><Body>one
two</Body><IsSkipped>0</IsSkipped><Notes>n &lt;/script&gt;</Notes><Number>1</Number><Tables><Table><TableRows><Row><Cell>a</Cell>
<Cell>b</Cell></Row></TableRows><TableTitle>t</TableTitle></Table></Tables><TextItems><TextItem>Plain</TextItem>
<TextItem>one
two</TextItem><TextItem>extra</TextItem></TextItems><Title>Plain</Title></Slide>
<Slide><Body/><IsSkipped>1</IsSkipped><Notes/><Number>2</Number><Tables/><TextItems/><Title> a=b; #c \d --&gt; &amp; &lt;i&gt; "q" 'r'
x  </Title></Slide>
<Slide><Body/><IsSkipped>0</IsSkipped><Notes/><Number>3</Number><Tables/><TextItems/><Title>&#x202E;שלום &#x1F600;</Title></Slide>
</Slides></KeynoteInfo>)";

/// Three slides with hostile titles, and a fourth of which the text knows nothing, over the turn of a year.
Lecture hostileLecture() {
    auto part = partOf({header(), R"({"event":"archived","sha256":"12ab"})", entry("showStarted", 1000),
                        shown(1, 1000, 1), shown(3, 2234, 2), shown(2, 3000, 2), shown(2, 3000, 2),
                        shown(4, 3599000, 3), entry("showEnded", 3601000)});
    part.text = deckTextFrom(kText, text::LinuxXMLServices());
    return lectureOf({part});
}

TEST(Chapters, AreTheSameToTheByteInEveryFormat) {
    using std::chrono::milliseconds;
    const auto chapters = chaptersOf(hostileLecture(), milliseconds(500));
    EXPECT_EQ(webVTTFrom(chapters), R"(WEBVTT

00:00:00.500 --> 00:00:01.734
Plain

00:00:01.734 --> 00:00:02.500
שלום 😀

00:00:02.500 --> 00:59:58.500
a=b; #c \d --&gt; &amp; &lt;i&gt; "q" 'r' x

00:59:58.500 --> 01:00:00.500
Slide 4
)");
    EXPECT_EQ(ffmetadataFrom({chapters[2]}), R"(;FFMETADATA1

[CHAPTER]
TIMEBASE=1/1000
START=2500
END=3598500
title=a\=b\; \#c \\d --> & <i> "q" 'r' x
)");
    EXPECT_EQ(matroskaFrom({chapters[2]}), R"(<?xml version="1.0" encoding="UTF-8"?>
<Chapters>
  <EditionEntry>
    <ChapterAtom>
      <ChapterUID>1</ChapterUID>
      <ChapterTimeStart>00:00:02.500</ChapterTimeStart>
      <ChapterTimeEnd>00:59:58.500</ChapterTimeEnd>
      <ChapterDisplay>
        <ChapterString>a=b; #c \d --&gt; &amp; &lt;i&gt; &quot;q&quot; &#39;r&#39; x</ChapterString>
        <ChapterLanguage>und</ChapterLanguage>
      </ChapterDisplay>
    </ChapterAtom>
  </EditionEntry>
</Chapters>
)");
    EXPECT_EQ(ogmFrom({chapters[1], chapters[3]}),
              "CHAPTER01=00:00:01.734\nCHAPTER01NAME=שלום 😀\nCHAPTER02=00:59:58.500\nCHAPTER02NAME=Slide 4\n");
    EXPECT_EQ(ogmFrom(chaptersOf(hostileLecture(), -milliseconds(3598500))),
              "CHAPTER01=00:00:00.000\nCHAPTER01NAME=Slide 4\n")
        << "the video began during the last slide";
    EXPECT_EQ(clockText(std::chrono::hours(100)), "100:00:00.000");
}

TEST(Chapters, NeverOverlapHoweverTheyAreRounded) {
    Lines lines{header(), entry("showStarted", 0)};
    for (int i = 0; i < 500; ++i) lines.push_back(entry("slideShown", i / 3, R"("slide":1,)"));
    for (int offset = 0; offset < 1000; offset += 37) {
        std::chrono::milliseconds last{};
        for (const auto& chapter : chaptersOf(lectureOf({partOf(lines)}), Date::duration(offset))) {
            EXPECT_LE(last, chapter.start);
            EXPECT_LT(chapter.start, chapter.end);
            last = chapter.end;
        }
        EXPECT_GT(last.count(), 0);
    }
}

TEST(VisitTables, TellWhereEverySlideStandsAndWhatIsNotKnown) {
    const TemporaryDirectory captures;
    auto lecture = hostileLecture();
    lecture.parts[0].directory = captures.path / "A";
    writeFile(captures.path / "A/slide.001.jpg", "abc");
    const auto json = jsonOf(lecture, Date::duration(0), captures.path);
    EXPECT_EQ(lineOf(json.at("visits").at(0)),
              R"({"presentation":"A","slide":1,"documentPosition":1,"showPosition":1,"hidden":false,"inArchive":true,)"
              R"("start":0.0,"end":1.234,"startedAt":"2026-12-31T23:59:59.000000Z","startedBetween":)"
              R"(["2026-12-31T23:59:58.990000Z","2026-12-31T23:59:59.010000Z"],"ends":"nextSlide",)"
              R"("image":"A/slide.001.jpg","imageSHA256":)"
              R"("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",)"
              R"("title":"Plain","text":"one\ntwo\nextra\na\tb","notes":"n </script>"})");
    EXPECT_TRUE(json.at("visits").at(2).at("hidden")) << "a hidden slide that was shown";
    EXPECT_EQ(json.at("visits").at(4).at("inArchive"), false);
    EXPECT_EQ(json.at("presentations").at(0).at("deckEdited"), true) << "slide 4 is not in the archive copy";
    const auto csv = csvFrom(json);
    EXPECT_EQ(csv.substr(0, csv.find('\n') + 1),
              "presentation,slide,documentPosition,showPosition,hidden,inArchive,start,end,startedAt,ends,image,"
              "imageSHA256,title,text,notes\r\n");
    EXPECT_NE(csv.find("\nA,4,,3,,false,3598.0,3600.0,2027-01-01T00:59:57.000000Z,showEnded,,,,,\r\n"),
              std::string::npos)
        << csv;
}

TEST(Page, IsTheSameToTheByteAndHoldsNothingOfADeckAsMarkup) {
    const TemporaryDirectory captures;
    auto lecture = hostileLecture();
    lecture.parts[0].directory = captures.path / "A B";
    writeFile(captures.path / "A B/slide.001.jpg", "abc");
    const auto page = pageFrom(lecture, captures.path / "index");
    const auto list = page.find("<li id=v1");
    EXPECT_EQ(page.substr(list, page.find("</ol>", list) - list), R"(<li id=v1 data-from=0 data-to=1234 data-slide=0.1>
<img src=../A%20B/slide.001.jpg alt="Slide 1: Plain" loading=lazy>
<h3 dir=auto lang>Plain</h3>
<p class=when>0:00 · 1.2 s · slide 1</p>
<p class=text dir=auto lang>one
two
extra
a	b</p>
<h4>Notes</h4>
<p class=text dir=auto lang>n &lt;/script&gt;</p>
</li>
<li id=v2 data-from=1234 data-to=2000 data-slide=0.3>
<div class=none>No image</div>
<h3 dir=auto lang>שלום 😀</h3>
<p class=when>0:01 · 0.7 s · slide 3</p>
</li>
<li id=v3 data-from=2000 data-to=2000 data-slide=0.2>
<div class=none>No image</div>
<h3 dir=auto lang>a=b; #c \d --&gt; &amp; &lt;i&gt; &quot;q&quot; &#39;r&#39; x</h3>
<p class=when>0:02 · 0.0 s · slide 2 · visit 1 of 2 · hidden slide</p>
</li>
<li id=v4 data-from=2000 data-to=3598000 data-slide=0.2>
<div class=none>No image</div>
<h3 dir=auto lang>a=b; #c \d --&gt; &amp; &lt;i&gt; &quot;q&quot; &#39;r&#39; x</h3>
<p class=when>0:02 · 59 min 56 s · slide 2 · visit 2 of 2 · hidden slide</p>
</li>
<li id=v5 data-from=3598000 data-to=3600000 data-slide=0.4>
<div class=none>No image</div>
<h3 dir=auto lang>Slide 4</h3>
<p class=when>59:58 · 2.0 s · slide 4 · not in the archive copy</p>
</li>
)");
    EXPECT_NE(page.find("<title>Optics &lt;1&gt;</title>"), std::string::npos) << "the deck's name";
    EXPECT_NE(page.find("The deck was edited during the show"), std::string::npos);
    EXPECT_EQ(page, pageFrom(lecture, captures.path / "index"));
    EXPECT_EQ(page.find("{{"), std::string::npos) << "all is filled in";
}

TEST(VisitTables, TellADeckThatWasSavedDuringItsShow) {
    const std::string before = R"({"event":"deckFile","modified":"2026-12-31T23:00:00.000000Z","size":5})";
    const std::string after = R"({"event":"deckFile","modified":"2026-12-31T23:59:00.000000Z","size":5})";
    EXPECT_FALSE(showFrom({header(), before, before})->deckWasSaved);
    EXPECT_TRUE(showFrom({header(), before, after})->deckWasSaved);
}

TEST(Template, FillsInOnceAndHashesAsBrowsersDo) {
    EXPECT_EQ(filledIn("{{a}}-{{b}}{{a}}{{", {{"a", "{{b}}"}, {"c", "x"}}), "{{b}}-{{b}}{{b}}{{");
    EXPECT_EQ(hashSourceOf("alert('Hello, world.');"), "sha256-qznLcsROx4GACP2dm0UCKCzCG+HiZ1guq6ZZDob/Tng=");
}

TEST(PlainText, IsBoundedAndHoldsNothingThatBreaksOut) {
    EXPECT_EQ(oneLine(" a\r\n\t b\u2028c\u009B\u2066d "), "a b c d");
    EXPECT_EQ(oneLine("\xFF<\x01>"), "\uFFFD< >");
    EXPECT_EQ(oneLine(std::string(1'000'000, 'x')), std::string(200, 'x') + "…");
    EXPECT_EQ(escapedForXML("<a b='c'>&\"\x1B\uFFFE\xC0</a>\n"),
              "&lt;a b=&#39;c&#39;&gt;&amp;&quot;\uFFFD\uFFFD\uFFFD&lt;/a&gt;\n");
}

TEST(DeckText, OfADeckThatCouldNotBeReadIsNone) {
    for (const auto* const text :
         {"", "<KeynoteInfo><Slides/></KeynoteInfo>", "<Slides><Slide><Number>1</Number></Slide>"}) {
        EXPECT_FALSE(deckTextFrom(text, text::LinuxXMLServices())) << text;
    }
}

TEST(VideoStart, ComesFromTheFileItself) {
    using namespace std::string_literals;
    const TemporaryDirectory directory;
    const auto file = directory.path / "video";
    const auto start = [&](const std::string& bytes) {
        writeFile(file, bytes);
        const auto told = videoStartOf(file);
        return told ? jsonOf(told->at).get<std::string>() + (told->wholeSeconds ? "" : " exact") : "none";
    };
    const std::string ftyp =
        "\0\0\0\x0C"
        "ftypisom"s;
    const std::string date = "\xE3\xF1\xD2\x00"s;
    EXPECT_EQ(start(ftyp + "\0\0\0\x20moov\0\0\0\x18mvhd\0\0\0\0"s + date + "\0\0\0\0\0\0\0\0"s),
              "2025-03-08T10:52:48.000000Z");
    EXPECT_EQ(start(ftyp + "\0\0\0\1mdat\0\0\0\0\0\0\0\x12zz"s + "\0\0\0\x24moov\0\0\0\x1Cmvhd\1\0\0\0\0\0\0\0"s +
                    date + "\0\0\0\0\0\0\0\0"s),
              "2025-03-08T10:52:48.000000Z")
        << "behind long data, with eight bytes for the time";
    EXPECT_EQ(start(ftyp + "\0\0\0\x20moov\0\0\0\x18mvhd\0\0\0\0\0\0\0\0"s), "none") << "not known";
    const std::string mkv = "\x1A\x45\xDF\xA3\x80\x18\x53\x80\x67\x01\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s;
    EXPECT_EQ(start(mkv + "\xEC\x81z\x15\x49\xA9\x66\x8B\x44\x61\x88\x00\x00\x00\x00\x3B\x9A\xCA\x01"s),
              "2001-01-01T00:00:01.000000Z exact");
    for (const auto& broken : {""s, "xyz"s, ftyp, "\0\0\0\0moov"s, "\0\0\0\1mdat\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, mkv,
                               mkv + "\x00"s, mkv + "\x15\x49\xA9\x66\xFF"s}) {
        EXPECT_EQ(start(broken), "none");
    }
}

TEST(LectureFiles, FindWhatBelongsTogether) {
    const TemporaryDirectory captures;
    const auto add = [&](const std::string& name, const std::string& recording, const std::string& more) {
        writeFile(
            captures.path / name / "timeline.jsonl",
            fmt::format(
                R"({{"timeline":1,"recordingID":"{}","clocks":{{"wall":"2026-11-23T1{}:00:00.000000Z","steady":0}}}})"
                "\n{}\n{}\n",
                recording, name, more, shown(1, 1000)));
    };
    add("1", "r", "");
    add("2", "s", R"({"event":"continues","presentationID":"1"})");
    add("3", "s", "");
    add("4", "t", "torn");
    fs::create_directory(captures.path / "5");
    const auto names = [](const Lecture& lecture) {
        std::string all;
        for (const auto& part : lecture.parts) all += part.directory.filename();
        return all;
    };
    EXPECT_EQ(names(lectureAround(captures.path / "1").value()), "12");
    EXPECT_EQ(names(lectureAround(captures.path / "2").value()), "12");
    EXPECT_EQ(names(lectureAround(captures.path / "3").value()), "3");
    EXPECT_FALSE(lectureAround(captures.path / "5"));
    const auto recordings = recordingsIn(captures.path);
    ASSERT_EQ(recordings.size(), 2U);
    EXPECT_EQ(names(recordings[0]), "123");
    EXPECT_EQ(names(recordings[1]), "4");
}

}  // namespace
}  // namespace keynote_capture
