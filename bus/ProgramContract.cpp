#include "bus/ProgramContract.h"

#include "bus/Connection.h"
#include "bus/Names.h"
#include "bus/Sdbus.h"

#include <utility>

namespace bus {

Handle watchProcessIdentifiers(Connection& connection,
                               std::function<void(const std::string& sender, pid_t processIdentifier)> changed) {
    const std::string rule = std::string("type='signal',path='") + kProgramPath + "',interface='" +
                             kPropertiesInterface + "',member='PropertiesChanged',arg0='" + kProgramInterface + "'";
    // No sender in the rule: who the programs are is known only to whoever watches their names.
    return connection.addMatch(rule, [changed = std::move(changed)](sdbus::Message& message) {
        std::string interface;
        message >> interface;
        if (const auto process = factsFrom(message).processIdentifier) changed(senderOf(message), *process);
    });
}

}  // namespace bus
