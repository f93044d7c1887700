#include "platform/linux/bus/ProgramCalls.h"

#include <utility>

namespace bus {

void ProgramCalls::close() {
    programs_.clear();
    connection_.reset();
}

void ProgramCalls::end() {
    hasEnded_ = true;
    close();
}

/// Those who owe nothing any more are forgotten when somebody else is called.
ProgramCalls::Program& ProgramCalls::programOf(const std::string& owner) {
    if (hasEnded_) throw Failure(kProgramFailed, "no more events are sent");
    if (!connection_) {
        auto connection = std::make_unique<Connection>();
        connection->serveOn(loop_, [this] { close(); });
        connection_ = std::move(connection);
    }
    if (!programs_.contains(owner)) {
        std::erase_if(programs_, [](const auto& each) { return each.second.isOwing.use_count() == 1; });
        programs_[owner].peer = std::make_unique<Peer>(*connection_, owner, kProgramPath);
    }
    return programs_[owner];
}

}  // namespace bus
