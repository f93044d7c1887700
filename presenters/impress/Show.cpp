#include "presenters/impress/Show.h"

#include "base/FileURL.h"
#include "presenters/impress/Documents.h"

#include <com/sun/star/frame/Desktop.hpp>
#include <com/sun/star/presentation/XSlideShowController.hpp>
#include <iostream>
#include <thread>

namespace impress {

using css::presentation::XPresentation2;
using css::presentation::XSlideShowController;
using namespace std::chrono_literals;

namespace {

constexpr auto kLongestOpening = 30s;
/// A show that starts while the deck's window is still being laid out stays black, and the office tells no end of that.
constexpr auto kSettling = 3s;

Reference<XPresentation2> open(const Context& office, const std::filesystem::path& deck) {
    const auto desktop = css::frame::Desktop::create(office);
    const auto url = unoText(urlFromPath(std::filesystem::absolute(deck)));
    // Read only: neither leaves a lock file beside the deck nor asks what to do about somebody else's.
    const auto document = desktop->loadComponentFromURL(url, "_default", 0, properties({property("ReadOnly", true)}));
    return presentationOf(document);
}

/// The office starts the show behind the call; null when it does not come.
Reference<XSlideShowController> start(const Reference<XPresentation2>& presentation) {
    presentation->start();
    const auto deadline = std::chrono::steady_clock::now() + kLongestOpening;
    while (std::chrono::steady_clock::now() < deadline) {
        if (auto controller = presentation->getController(); controller.is() && presentation->isRunning())
            return controller;
        std::this_thread::sleep_for(50ms);
    }
    return {};
}

}  // namespace

bool Show::run(const Context& office) const {
    const auto presentation = open(office, deck);
    std::cout << "opened " << deck.string() << std::endl;
    std::this_thread::sleep_for(kSettling);
    const auto controller = start(presentation);
    if (!controller.is()) {
        std::cout << "the show did not start" << std::endl;
        return false;
    }
    std::cout << "show started" << std::endl;
    while (true) {
        const auto number = valueOf<sal_Int16>({controller->getCurrentSlide(), UNO_QUERY_THROW}, "Number");
        std::cout << "showing slide " << number << std::endl;
        const bool last = controller->getCurrentSlideIndex() + 1 >= controller->getSlideCount();
        std::this_thread::sleep_for(advance);
        // Somebody may have ended the show at the screen.
        if (last || !presentation->isRunning()) break;
        controller->gotoNextSlide();
    }
    presentation->end();
    std::cout << "show ended" << std::endl;
    return true;
}

}  // namespace impress
