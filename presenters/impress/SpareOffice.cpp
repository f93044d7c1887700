#include "presenters/impress/SpareOffice.h"

#include "presenters/impress/Uno.h"

#include <unistd.h>
#include <com/sun/star/frame/Desktop.hpp>
#include <memory>

namespace impress {

using namespace std::chrono_literals;

namespace {

constexpr auto kLongestOfficeStart = 45s;
constexpr auto kLongestEnd = 5s;

}  // namespace

void SpareOffice::run(const Work& work) {
    const std::lock_guard turn(turn_);
    // A name of our own: another bridge may have a spare office at the same time.
    const std::string pipe = "keynote-capture-spare-" + std::to_string(getpid());
    const bool started = process_.start(pipe, OfficeProcess::Windows::never);
    const auto office = started ? OfficeConnection::attachWithin(pipe, kLongestOfficeStart) : std::nullopt;
    if (!office) {
        process_.end();
        throw Refusal("LibreOffice cannot be started again.");
    }
    const std::shared_ptr<void> end(nullptr, [&](void*) { finish(*office); });
    work(office->context());
}

void SpareOffice::finish(const OfficeConnection& office) {
    if (!process_.isOwn(office.processIdentifier())) return;  // another bridge's, which has begun to listen for us
    try {
        css::frame::Desktop::create(office.context())->terminate();
    } catch (const css::uno::Exception&) {
        // gone already
    }
    process_.endWithin(kLongestEnd);
}

}  // namespace impress
