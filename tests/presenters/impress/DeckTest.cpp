#include "bus/ProgramValues.h"
#include "presenters/impress/DocumentText.h"
#include "tests/presenters/impress/ImpressFixture.h"

#include <unistd.h>
#include <algorithm>
#include <com/sun/star/drawing/XDrawPagesSupplier.hpp>
#include <com/sun/star/frame/XStorable.hpp>
#include <com/sun/star/presentation/XPresentationPage.hpp>
#include <com/sun/star/util/XModifiable.hpp>
#include <cppuhelper/implbase2.hxx>
#include <csignal>
#include <sstream>
#include <thread>

using css::uno::Reference;
using css::uno::UNO_QUERY_THROW;
using testing::UnitTest;

using namespace impress;

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;
using Seconds = std::chrono::duration<double>;

void addWords(Words& words, const std::string& text) {
    std::istringstream stream(text);
    for (std::string word; stream >> word;) words.push_back(word);
}

/// Takes the first that begins and ends so out of the text, a blank in its place; whether there was one.
bool take(std::string& text, std::string_view begin, std::string_view end) {
    const auto from = text.find(begin);
    if (from == std::string::npos) return false;
    text.replace(from, text.find(end, from) + end.size() - from, " ");
    return true;
}

/// The words of each page of a flat deck, sorted; remarks and what pictures hold are no text of it.
std::vector<Words> wordsOfPages(const fs::path& deck) {
    std::vector<Words> result;
    const std::string all = contentsOf(deck);
    for (auto at = all.find("<draw:page "); at != std::string::npos; at = all.find("<draw:page ", at + 1)) {
        auto page = all.substr(at, all.find("</draw:page>", at) - at);
        while (take(page, "<office:annotation", "</office:annotation>") ||
               take(page, "<office:binary-data", "</office:binary-data>") || take(page, "<svg:desc", "</svg:desc>") ||
               take(page, "<", ">")) {
        }
        for (const auto& [entity, character] : {std::pair("&lt;", "<"), {"&gt;", ">"}, {"&amp;", "&"}}) {
            const auto found = page.find(entity);
            if (found != std::string::npos) page.replace(found, std::string_view(entity).size(), character);
        }
        addWords(result.emplace_back(), page);
        std::sort(result.back().begin(), result.back().end());
    }
    return result;
}

using Text = std::tuple<std::string, std::vector<bus::SlideStruct>>;

Words wordsOf(const bus::SlideStruct& slide) {
    Words words;
    addWords(words, slide.get<4>());
    for (const auto& item : slide.get<5>()) addWords(words, item);
    for (const auto& table : slide.get<6>()) {
        for (const auto& row : table.get<1>()) {
            for (const auto& cell : row) addWords(words, cell);
        }
    }
    std::sort(words.begin(), words.end());
    return words;
}

/// A page of the office whose first shape and whose notes fail.
class FailingPage : public cppu::WeakImplHelper2<css::presentation::XPresentationPage, css::beans::XPropertySet> {
public:
    explicit FailingPage(const Reference<css::drawing::XDrawPage>& page)
        : page_(page), properties_(page, UNO_QUERY_THROW) {}
    using Page = Reference<css::drawing::XDrawPage>;
    using Shape = Reference<css::drawing::XShape>;
    using Listener = Reference<css::beans::XPropertyChangeListener>;
    using Veto = Reference<css::beans::XVetoableChangeListener>;
    using Text = rtl::OUString;

    css::uno::Any SAL_CALL getByIndex(sal_Int32 index) override {
        if (index == 0) throw css::uno::RuntimeException();
        return page_->getByIndex(index);
    }
    Page SAL_CALL getNotesPage() override { throw css::uno::RuntimeException(); }
    sal_Int32 SAL_CALL getCount() override { return page_->getCount(); }
    css::uno::Any SAL_CALL getPropertyValue(const Text& name) override { return properties_->getPropertyValue(name); }

    css::uno::Type SAL_CALL getElementType() override { return page_->getElementType(); }
    sal_Bool SAL_CALL hasElements() override { return page_->hasElements(); }
    void SAL_CALL add(const Shape&) override {}
    void SAL_CALL remove(const Shape&) override {}
    Reference<css::beans::XPropertySetInfo> SAL_CALL getPropertySetInfo() override { return {}; }
    void SAL_CALL setPropertyValue(const Text&, const css::uno::Any&) override {}
    void SAL_CALL addPropertyChangeListener(const Text&, const Listener&) override {}
    void SAL_CALL removePropertyChangeListener(const Text&, const Listener&) override {}
    void SAL_CALL addVetoableChangeListener(const Text&, const Veto&) override {}
    void SAL_CALL removeVetoableChangeListener(const Text&, const Veto&) override {}

private:
    Page page_;
    Reference<css::beans::XPropertySet> properties_;
};

class Deck : public Impress {
protected:
    void SetUp() override {
        Impress::SetUp();
        folder = session->folder() / UnitTest::GetInstance()->current_test_info()->name();
        fs::create_directory(folder);
    }

    std::string open(const fs::path& path) { return program->open(urlFromPath(path)); }
    Text textOf(const std::string& id) {
        Text text;
        std::tie(std::get<0>(text), std::get<1>(text)) = program->documentText(id);
        return text;
    }
    bool isOpen(const std::string& id) {
        return errorOf([&] { (void)program->slideNumbers(id); }) == "accepted";
    }

    fs::path folder;
};

TEST_F(Deck, TellsEveryWordOfEveryPage) {
    for (const fs::path deck : {LECTURE, TEXTS}) {
        const auto id = open(deck);
        const auto expected = wordsOfPages(deck);
        const auto [name, slides] = textOf(id);
        EXPECT_EQ(name, deck.filename());
        ASSERT_EQ(slides.size(), expected.size());
        for (std::size_t i = 0; i < slides.size(); ++i) EXPECT_EQ(wordsOf(slides[i]), expected[i]) << deck << i;
        program->close(id, "ask ");
    }
}

TEST_F(Deck, TellsWhatIsTitleBodyNotesAndTable) {
    const auto id = open(TEXTS);
    EXPECT_EQ(program->slideNumbers(id), (std::vector<std::int64_t>{1, 2, 3}));
    const auto [name, slides] = textOf(id);
    ASSERT_EQ(slides.size(), 3U);
    const auto& [number, skipped, title, body, notes, items, tables] =
        static_cast<const bus::SlideStruct::tuple&>(slides[1]);
    EXPECT_EQ(number, 2);
    EXPECT_TRUE(skipped);
    EXPECT_EQ(title, "مرحبا 👩‍🏫 שלום 日本");
    EXPECT_EQ(body, "") << "the placeholder is empty";
    EXPECT_EQ(items, (Words{title, "one\ntwo\tthree  four & <five>", "page 2"}));
    EXPECT_EQ(slides[0].get<2>(), "");
    EXPECT_EQ(slides[0].get<5>(), (Words{"outer", "middle", "inner one\ninner two", "on a line", "over a picture"}));
    EXPECT_EQ(slides[2].get<4>(), "Say\nthis");
    ASSERT_EQ(slides[2].get<6>().size(), 1U);
    EXPECT_EQ(slides[2].get<6>()[0].get<0>(), "Prices");
    EXPECT_EQ(slides[2].get<6>()[0].get<1>(), (std::vector<Words>{{"both", ""}, {"first\nline", "1.50 €"}}));
    program->close(id, "ask ");
    const auto lectureID = open(LECTURE);
    const auto first = std::get<1>(textOf(lectureID)).at(0);
    EXPECT_EQ(first.get<2>(), "Sampling Sound");
    EXPECT_EQ(first.get<3>(), "How a continuous wave becomes a list of numbers");
    program->close(lectureID, "ask ");
}

TEST_F(Deck, AShapeThatCannotBeReadCostsNoOtherText) {
    const auto document = session->open(lecture);
    const Reference<css::drawing::XDrawPagesSupplier> supplier(document, UNO_QUERY_THROW);
    const Reference<css::drawing::XDrawPage> page(supplier->getDrawPages()->getByIndex(0), UNO_QUERY_THROW);
    std::atomic<std::size_t> size = 0;
    const auto whole = textOfSlide(1, page, size);
    const Reference<css::presentation::XPresentationPage> failing(new FailingPage(page));
    const auto rest = textOfSlide(1, Reference<css::drawing::XDrawPage>(failing.get()), size);
    const auto& items = whole.textItems;
    ASSERT_GT(items.size(), 1U);
    EXPECT_EQ(rest.textItems, Words(items.begin() + 1, items.end()));
    EXPECT_EQ(rest.presenterNotes, "");
    document->dispose();
}

TEST_F(Deck, ReadsKeynoteDocuments) {
    const auto id = open(KEYNOTE_LECTURE);
    const auto [name, slides] = textOf(id);
    EXPECT_EQ(name, "lecture.key");
    ASSERT_EQ(slides.size(), 3U);
    EXPECT_EQ(slides[0].get<5>(), (Words{"Counting in twos", "A lecture in three slides"}));
    EXPECT_EQ(slides[1].get<4>(), "Show a real switch.");
    EXPECT_EQ(slides[1].get<5>().at(1), "A switch is open or closed\nTwo states → one digit\nكل رقم إما صفر أو واحد 🎓");
    program->close(id, "ask ");
    const auto empty = open(EMPTY_DOCUMENT);
    EXPECT_EQ(program->slideNumbers(empty).size(), 1U);
    EXPECT_EQ(wordsOf(std::get<1>(textOf(empty)).at(0)), Words{});
    program->close(empty, "ask ");
}

TEST_F(Deck, SaysWhyItCannotOpenAFile) {
    const auto locked = folder / "locked.odp";
    const auto document = session->open(LECTURE);
    Reference<css::frame::XStorable>(document, UNO_QUERY_THROW)
        ->storeToURL(unoText(urlFromPath(locked)), properties({property("FilterName", rtl::OUString("impress8")),
                                                               property("Password", rtl::OUString("secret"))}));
    document->dispose();
    writeFile(folder / "text.odp", "no deck");
    writeFile(folder / "cut.fodp", contentsOf(LECTURE).substr(0, 30000));
    writeFile(folder / "cut.odp", contentsOf(locked).substr(0, 5000));
    writeFile(folder / "empty.key", "");
    fs::create_directory(folder / "folder.key");
    fs::create_directory(folder / "no UTF-8 \xff.key");
    ASSERT_EQ(mkfifo((folder / "pipe.key").c_str(), 0600), 0);
    writeFile(folder / "unreadable.odp", "x");
    fs::permissions(folder / "unreadable.odp", fs::perms::none);
    const bool mayReadAll = access((folder / "unreadable.odp").c_str(), R_OK) == 0;
    for (const auto& [file, reason] :
         std::map<std::string, std::string>{{"locked.odp", "password"},
                                            {"text.odp", "format"},
                                            {"cut.fodp", "damaged"},
                                            {"cut.odp", "damaged"},
                                            {"empty.key", "empty"},
                                            {"folder.key", "folder"},
                                            {"no UTF-8 \xff.key", "folder"},
                                            {"pipe.key", "no file"},
                                            {"unreadable.odp", mayReadAll ? "format" : "permission"}}) {
        try {
            ADD_FAILURE() << file << open(folder / file);
        } catch (const sdbus::Error& error) {
            EXPECT_EQ(error.getName(), bus::kProgramFailed);
            EXPECT_NE(error.getMessage().find(reason), std::string::npos) << error.getMessage();
        }
    }
    EXPECT_EQ(poll(*program).documentID, "") << "nothing stays open";
}

TEST_F(Deck, OpensWithoutATraceBesideWhatTheUserSees) {
    const auto seen = Impress::open(copyLecture(folder / "seen.fodp"));
    const auto before = poll(*program);
    const auto windows = answerTo([&] { return program->windows(); }).size();
    fs::create_directory(folder / "read only");
    const auto deck = copyLecture(folder / "read only" / "deck.fodp");
    fs::permissions(folder / "read only", fs::perms::owner_read | fs::perms::owner_exec);
    const auto id = open(deck);
    EXPECT_EQ(open(deck), id);
    EXPECT_EQ(open(folder / "seen.fodp"), before.documentID);
    EXPECT_EQ(namesIn(folder / "read only"), Words{"deck.fodp"});
    EXPECT_EQ(poll(*program).documentID, before.documentID);
    EXPECT_EQ(answerTo([&] { return program->windows(); }).size(), windows);
    program->close(id, "ask ");
    EXPECT_TRUE(isOpen(id)) << "it was opened twice";
    program->close(id, "ask ");
    EXPECT_FALSE(isOpen(id));
    std::string left;
    {
        const auto other = sdbus::createSessionBusConnection();
        other->enterEventLoopAsync();
        left = ProgramProxy(*other, session->programNames().at(0)).open(urlFromPath(deck));
        EXPECT_TRUE(isOpen(left));
    }
    EXPECT_TRUE(eventually([&] { return !isOpen(left); })) << "its opener has left";
    fs::permissions(folder / "read only", fs::perms::owner_all);
    seen->dispose();
}

TEST_F(Deck, ClosesAsItIsTold) {
    const auto file = folder / "new.odp";
    const auto id = open(file);
    EXPECT_EQ(std::get<0>(textOf(id)), "new.odp");
    EXPECT_EQ(open(file), id);
    program->close(id, "no  ");
    EXPECT_TRUE(namesIn(folder).empty()) << "nothing was ordered to be written";
    program->close(id, "yes ");
    EXPECT_NE(contentsOf(file).find("opendocument.presentation"), std::string::npos);
    EXPECT_FALSE(isOpen(id));

    for (const auto& [saving, modified, closes] :
         {std::tuple("ask ", true, false), {"no  ", true, false}, {"yes ", true, true}, {"ask ", false, false}}) {
        const auto document = Impress::open(file);
        const auto own = poll(*program).documentID;
        Reference<css::util::XModifiable>(document, UNO_QUERY_THROW)->setModified(modified);
        const auto error = errorOf([&, how = saving] { program->close(own, how); });
        EXPECT_EQ(error, std::string(saving) == "no  " ? bus::kProgramFailed : "accepted");
        EXPECT_EQ(!isOpen(own), closes) << saving << modified;
        if (!closes) document->dispose();
    }

    const auto document = Impress::open(lecture);
    const auto presented = poll(*program).documentID;
    ImpressSession::showOf(document)->start();
    ASSERT_TRUE(eventually([&] { return poll(*program).playing; }));
    EXPECT_EQ(errorOf([&] { program->close(presented, "yes "); }), bus::kProgramFailed);
    EXPECT_EQ(errorOf([&] { program->close(presented, "what"); }), bus::kProgramFailed);
    program->activate();
    EXPECT_TRUE(poll(*program).playing);
    program->stop(presented);
    ASSERT_TRUE(eventually([&] { return !poll(*program).playing; }));
    document->dispose();
}

TEST_F(Deck, ALectureDoesNotWaitForALongDeck) {
    const auto longID = open(writeLongDeck(folder / "long.fodp", 150));
    program->export_(longID, urlFromPath(folder / "long"), "Kimg", kExportProperties);
    bool closed = false;
    std::thread closing([&] {
        const auto own = sdbus::createSessionBusConnection();
        own->enterEventLoopAsync();
        ProgramProxy(*own, session->programNames().at(0)).close(longID, "no  ");
        closed = true;
    });
    const auto id = open(lecture);
    program->export_(id, urlFromPath(folder / "images"), "Kimg", kExportProperties);
    program->save(id, urlFromPath(folder / "first.key"));
    const auto probe = open(folder / "probe.key");
    EXPECT_TRUE(fs::exists(folder / "first.key")) << "saving and opening keep their order";
    program->save(probe, urlFromPath(folder / "probe.key"));
    Seconds worst{0};
    EXPECT_TRUE(eventually([&] {
        const auto start = std::chrono::steady_clock::now();
        (void)program->presentingState();
        worst = std::max<Seconds>(worst, std::chrono::steady_clock::now() - start);
        return namesIn(folder / "images") == imageNames(8) && fs::exists(folder / "probe.key");
    }));
    EXPECT_LT(worst.count(), 3) << "the long deck takes longer";
    EXPECT_FALSE(fs::exists(folder / "long/slide.153.jpg")) << "the long deck is still at work";
    program->close(probe, "no  ");
    program->close(id, "no  ");
    closing.join();
    EXPECT_TRUE(closed && fs::exists(folder / "long/slide.153.jpg")) << "it is closed after its own export";
}

TEST_F(Deck, StartsTheOfficeOnDemandAndEndsItWhenIdle) {
    ChildProcess bridge({"env", "-u", "DISPLAY", "-u", "SAL_USE_VCLPLUGIN", "HOME=" + folder.string(), BRIDGE, "--pipe",
                         session->folder().filename(), "--exit-when-idle", "1"});
    ASSERT_TRUE(eventually([&] { return session->programNames().size() == 2; }, 60s)) << bridge.complaintsUntilNow();
    const auto names = session->programNames();
    const auto mine = "com.apple.iWork.Keynote.instance" + std::to_string(program->ProcessIdentifier());
    const auto started = session->programNamed(names[0] == mine ? names[1] : names[0]);
    const auto office = static_cast<pid_t>(started->ProcessIdentifier());
    EXPECT_EQ(started->Version(), "14.0");
    EXPECT_EQ(kill(office, 0), 0);
    EXPECT_EQ(bridge.exitStatus(), 0) << bridge.complaints();
    EXPECT_TRUE(eventually([&] { return kill(office, 0) != 0; }));
}

}  // namespace
