#include "bus/Callbacks.h"

#include "bus/Library.h"

#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/Message.h>
#include <cstdio>
#include <exception>
#include <memory>
#include <utility>

namespace bus {
namespace {

void complain(const char* reason) noexcept {
    std::fprintf(stderr, "A message on the bus could not be served: %s\n", reason);
}

struct Match final : Registration {
    explicit Match(sdbus::Slot taken) : slot(std::move(taken)) {}
    const sdbus::Slot slot;
};

}  // namespace

void guarded(const std::function<void()>& work) noexcept {
    try {
        work();
    } catch (const sdbus::Error&) {
        return;
    } catch (const Failure&) {
        return;
    } catch (const std::exception& error) {
        complain(error.what());
    } catch (...) {
        complain("unknown reason");
    }
}

Handle addMatch(sdbus::IConnection& connection, const std::string& rule,
                std::function<void(sdbus::Message&)> callback) {
    const auto call = [callback = std::move(callback)](sdbus::Message& message) {
        guarded([&] { callback(message); });
    };
    return translated([&] { return std::make_unique<Match>(connection.addMatch(rule, call)); });
}

}  // namespace bus
