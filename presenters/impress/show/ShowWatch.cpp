#include "presenters/impress/show/ShowWatch.h"

#include "presenters/impress/Documents.h"
#include "presenters/impress/EndListener.h"
#include "presenters/impress/show/DrawingLag.h"
#include "presenters/impress/show/ShowListeners.h"
#include "presenters/impress/show/ShowRecord.h"
#include "presenters/impress/show/Waker.h"
#include "runtime/LoopThread.h"

#include <algorithm>
#include <com/sun/star/document/XDocumentEventBroadcaster.hpp>
#include <com/sun/star/document/XEventBroadcaster.hpp>
#include <com/sun/star/frame/theGlobalEventBroadcaster.hpp>
#include <com/sun/star/lang/XComponent.hpp>
#include <com/sun/star/presentation/XPresentationSupplier.hpp>
#include <mutex>
#include <optional>
#include <utility>

namespace impress {

using css::presentation::XPresentation2;
using css::presentation::XSlideShowController;
using css::uno::Reference;
using css::uno::UNO_QUERY;
using css::uno::UNO_QUERY_THROW;
using namespace std::chrono_literals;

namespace {

/// A show that starts tells so; whether one runs all the same is looked up no sooner, for an office that starts a show
/// answers nobody, and draws its first slide the later for it.
constexpr auto kStartCheck = 100ms;
constexpr auto kLongestStart = 1s;
/// How often an office that is to draw is woken, and for how long.
constexpr auto kWakeInterval = 300us;
constexpr auto kLongestWaking = 100ms;
/// A show's first slide has to wait for its window, too.
constexpr int kFirstLags = 4;

Instant now() {
    return std::chrono::steady_clock::now();
}

/// Returns once the office does something else: its show draws and flushes what it has begun without a break, and only
/// then lets others in.
void waitForBreak(const Reference<XSlideShowController>& show) {
    (void)show->getCurrentSlide();
}

/// 0 when there is no such page any more.
std::int64_t numberOf(const Reference<css::drawing::XDrawPage>& page) {
    sal_Int16 number = 0;
    try {
        const Reference<css::beans::XPropertySet> properties(page, UNO_QUERY);
        if (properties.is()) properties->getPropertyValue("Number") >>= number;
    } catch (const css::uno::Exception& exception) {
        std::cerr << "A slide of the show has no number: " + textFrom(exception) + "\n";
    }
    return number;
}

}  // namespace

/// The office calls in on threads of the connection, and waits: these calls take the time and what is gone later, and
/// leave the rest to the loop. Everything but the loop's own is guarded by `mutex_`.
class ShowWatch::Watch : public std::enable_shared_from_this<ShowWatch::Watch> {
public:
    void start(const OfficeConnection& office) {
        push([this, context = office.context(), process = office.processIdentifier()] {
            lag_ = drawingLagOf(process);
            if (lag_ == 0ms) use(Waker(context));
            if (!drawsBeforeFocus(versionOf(context))) return;
            const std::lock_guard lock(mutex_);
            record_.drawsBeforeFocus();
        });
        push([this, context = office.context()] {
            const Reference<css::document::XDocumentEventBroadcaster> broadcaster(
                css::frame::theGlobalEventBroadcaster::get(context), UNO_QUERY_THROW);
            broadcaster->addDocumentEventListener(new DocumentListener([weak = weak_from_this()](const auto& event) {
                if (const auto watch = weak.lock()) watch->documentEvent(event);
            }));
        });
    }

    void found(const std::string& documentID, const Reference<XSlideShowController>& show) {
        const std::lock_guard lock(mutex_);
        if (isWatched(show)) return;
        begins(documentID, show,
               opened_ && opened_->documentID == documentID ? std::optional(opened_->at) : std::nullopt);
        push([this, show] { listenTo(show, false); });
    }

    [[nodiscard]] PresentingState told(PresentingState state) {
        const std::lock_guard lock(mutex_);
        return record_.told(std::move(state), now());
    }

private:
    /// A view of a document whose show did not run then. It may be that of a show.
    struct Opened {
        std::string documentID;
        Reference<XPresentation2> presentation;
        Instant at;
        Reference<css::document::XEventBroadcaster> document;
        Reference<css::document::XEventListener> listener;
    };
    using Show = Reference<XSlideShowController>;

    /// Has the loop ask the office.
    void push(Task task) {
        thread_.loop().async([task = std::move(task)] { heard(task); });
    }
    void pushAfter(Duration delay, Task task) {
        thread_.loop().after(delay, [task = std::move(task)] { heard(task); });
    }
    void use(Waker waker) {
        const std::lock_guard lock(mutex_);
        waker_ = std::move(waker);
    }
    [[nodiscard]] bool isWatched(const Show& show) const { return show.get() == show_.get(); }

    void documentEvent(const css::document::DocumentEvent& event) {
        const auto at = now();
        if (event.EventName == "OnViewCreated") viewCreated(event.Source, at);
        if (event.EventName != "OnFocus") return;
        // The window manager has given the focus to somebody else, so the show's window has gone.
        const std::lock_guard lock(mutex_);
        record_.hasEnded(at);
    }

    /// The office asks its own thread for what is asked during its call, so it answers for this very moment.
    void viewCreated(const Reference<css::uno::XInterface>& source, Instant at) {
        const Reference<css::presentation::XPresentationSupplier> supplier(source, UNO_QUERY);
        const Reference<css::frame::XModel> model(source, UNO_QUERY);
        if (!supplier.is() || !model.is()) return;
        const Reference<XPresentation2> presentation(supplier->getPresentation(), UNO_QUERY);
        if (!presentation.is() || presentation->isRunning()) return;
        Opened opened{identifierOf(model), presentation, at, {model, UNO_QUERY}, {}};
        hearStartOf(opened);
        const std::lock_guard lock(mutex_);
        opened_ = opened;
        pushAfter(kStartCheck, [this, opened] { lookForShow(opened); });
    }

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"  // no other interface tells that a show starts
    /// A document tells of its shows what the office's broadcaster leaves out; but also of everything else that happens
    /// in it, so it is heard only until its view has turned out to be that of a show, or of none.
    void hearStartOf(Opened& opened) {
        if (!opened.document.is()) return;
        opened.listener = new ModelListener(
            [weak = weak_from_this(), id = opened.documentID, presentation = opened.presentation](const auto& event) {
                const auto watch = weak.lock();
                if (watch && event.EventName == "OnStartPresentation") watch->starts(id, presentation);
            });
        opened.document->addEventListener(opened.listener);
    }
    static void forget(const Opened& opened) {
        if (opened.listener.is()) opened.document->removeEventListener(opened.listener);
    }
#pragma GCC diagnostic pop

    /// The show is there, but nothing of it is drawn; its first slide comes when the office goes on.
    void starts(const std::string& documentID, const Reference<XPresentation2>& presentation) {
        const auto at = now();
        const Show show = presentation->getController();
        if (!show.is()) return;
        {
            const std::lock_guard lock(mutex_);
            if (!isWatched(show)) begins(documentID, show, at);
        }
        listenTo(show, true);
    }

    /// With the lock held.
    void begins(const std::string& documentID, const Show& show, std::optional<Instant> notBefore) {
        show_ = show;
        comingSlides_ = 0;
        isHeard_ = hasCome_ = false;
        record_.begins(documentID, notBefore);
        opened_.reset();
    }

    void lookForShow(const Opened& opened) {
        if (opened.presentation->isRunning()) {
            if (const auto show = opened.presentation->getController(); show.is()) {
                found(opened.documentID, show);
                return forget(opened);
            }
        }
        const auto waited = now() - opened.at;
        if (waited > kLongestStart) return forget(opened);
        pushAfter(std::max<Duration>(kStartCheck, waited / 8), [this, opened] { lookForShow(opened); });
    }

    void listenTo(const Show& show, bool hearsStart) {
        {
            const std::lock_guard lock(mutex_);
            if (!isWatched(show) || std::exchange(isHeard_, true)) return;
            hearsStart_ = hearsStart;
        }
        const auto calling = [this, &show](void (Watch::*hear)(const Show&)) {
            return [weak = weak_from_this(), show, hear] {
                if (const auto watch = weak.lock()) ((*watch).*hear)(show);
            };
        };
        Reference<css::lang::XComponent>(show, UNO_QUERY_THROW)
            ->addEventListener(new EndListener(calling(&Watch::ends)));
        show->addSlideShowListener(
            new ShowListener({calling(&Watch::slideComes), calling(&Watch::slideMoves), calling(&Watch::pauses)}));
        push([this, show] {
            takeFirstSlide(show);
            settleLater(show);
        });
    }

    /// Where nobody has listened when the show started, its first slide has come before.
    void takeFirstSlide(const Show& show) {
        if (hasCome()) return;
        const auto position = show->getCurrentSlideIndex() + 1;
        const auto page = show->getCurrentSlide();
        const auto number = numberOf(page);
        const std::lock_guard lock(mutex_);
        if (!hasCome_ && isWatched(show)) record_.opensWith(number, position);
    }
    [[nodiscard]] bool hasCome() {
        const std::lock_guard lock(mutex_);
        return hasCome_;
    }

    void slideComes(const Show& show) {
        const auto position = show->getCurrentSlideIndex() + 1;
        const auto page = show->getCurrentSlide();
        std::unique_lock lock(mutex_);
        if (!isWatched(show)) return;
        const auto at = now();
        ++comingSlides_;
        push([this, show, page, position, at] { takeSlide(show, page, position, at); });
        if (std::exchange(hasCome_, true) || !hearsStart_) return;
        record_.isNotBefore(at);
        const auto waker = waker_;
        lock.unlock();
        if (waker)
            waker->wake([weak = weak_from_this(), show] {
                if (const auto watch = weak.lock()) watch->showsNothingYet(show);
            });
    }

    /// The office goes on from a show's first slide to this call ahead of whatever draws; meanwhile it has set up the
    /// show's window.
    void showsNothingYet(const Show& show) {
        const std::lock_guard lock(mutex_);
        if (isWatched(show)) record_.isNotBefore(now());
    }

    void takeSlide(const Show& show, const Reference<css::drawing::XDrawPage>& page, std::int64_t position,
                   Instant at) {
        const auto number = numberOf(page);
        const std::lock_guard lock(mutex_);
        if (!isWatched(show)) return;
        --comingSlides_;
        record_.comes(number, position, at);
        settleLater(show);
    }

    /// A slide that does nothing, or takes its time to come, is on the screen all the same after so long.
    void settleLater(const Show& show) {
        pushAfter(kLongestDrawing, [this, show, arrival = ++arrivals_] {
            if (arrival == arrivals_) noteShown(show);
        });
        push([this, arrival = arrivals_] { hasten(arrival, now() + kLongestWaking); });
    }

    /// Until the next slide comes, or this one is on the screen. Not for an end: there the office's other windows draw
    /// by its timers, and the focus, which is the sign, must not come to them any earlier than it does.
    void hasten(int arrival, Instant until) {
        if (!waker_ || arrival != arrivals_ || now() > until || !isAwaited()) return;
        waker_->wake([weak = weak_from_this(), arrival, until] {
            const auto watch = weak.lock();
            if (!watch) return;
            watch->pushAfter(kWakeInterval, [watch = watch.get(), arrival, until] { watch->hasten(arrival, until); });
        });
    }
    [[nodiscard]] bool isAwaited() {
        const std::lock_guard lock(mutex_);
        return record_.awaitsScreen();
    }

    void slideMoves(const Show& show) {
        const std::lock_guard lock(mutex_);
        if (!isWatched(show) || (comingSlides_ == 0 && !record_.awaitsScreen())) return;
        push([this, show] { noteShown(show); });
    }

    /// What is in the record by now has been on the screen, if only until the next slide came.
    void noteShown(const Show& show) {
        if (!awaitsScreen(show)) return;
        waitForBreak(show);
        const std::lock_guard lock(mutex_);
        if (isWatched(show)) record_.isShown(now() + (record_.isStarting() ? kFirstLags * lag_ : lag_));
    }
    [[nodiscard]] bool awaitsScreen(const Show& show) {
        const std::lock_guard lock(mutex_);
        return isWatched(show) && record_.awaitsScreen();
    }

    void pauses(const Show& show) {
        push([this, show] {
            const std::lock_guard lock(mutex_);
            if (isWatched(show)) record_.pauses();
        });
    }

    void ends(const Show& show) {
        const std::lock_guard lock(mutex_);
        if (!isWatched(show)) return;
        record_.ends(now());
        pushAfter(kLongestDrawing, [this, show] { noteEnd(show); });
    }

    /// Where no other window of the office has got the focus.
    void noteEnd(const Show& show) {
        waitForBreak(show);
        const std::lock_guard lock(mutex_);
        if (!isWatched(show)) return;
        record_.hasEnded(now());
        show_.clear();
    }

    std::mutex mutex_;
    ShowRecord record_;
    std::optional<Opened> opened_;
    Show show_;                   ///< the latest
    bool isHeard_ = false;        ///< whether its listeners are there, or about to be
    bool hearsStart_ = false;     ///< whether they were before its first slide
    bool hasCome_ = false;        ///< a slide since then
    int comingSlides_ = 0;        ///< that are not in the record yet
    std::optional<Waker> waker_;  ///< written by the loop
    int arrivals_ = 0;  ///< of slides and shows, as the loop has noted them; the loop's own, as is the next one
    Duration lag_{};    ///< from the office's drawing to the screen
    runtime::LoopThread thread_{[](const std::string& what) { std::cerr << "Watching a show failed: " + what + "\n"; },
                                "shows"};
};

ShowWatch::ShowWatch(const OfficeConnection& office) : watch_(std::make_shared<Watch>()) {
    watch_->start(office);
}

ShowWatch::~ShowWatch() = default;

void ShowWatch::found(const std::string& documentID, const Reference<XSlideShowController>& show) const {
    watch_->found(documentID, show);
}

PresentingState ShowWatch::told(PresentingState state) const {
    return watch_->told(std::move(state));
}

}  // namespace impress
