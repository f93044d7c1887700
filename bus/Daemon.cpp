#include "bus/Daemon.h"

#include "bus/MakeCall.h"
#include "bus/Names.h"

namespace bus::daemon {

Call<std::vector<std::string>> listNames() {
    return makeCall<std::vector<std::string>>(kBusDaemon, "ListNames");
}

Call<std::string> ownerOf(const std::string& name) {
    return makeCall<std::string>(kBusDaemon, "GetNameOwner", name);
}

Call<bool> hasOwner(const std::string& name) {
    return makeCall<bool>(kBusDaemon, "NameHasOwner", name);
}

Call<std::uint32_t> start(const std::string& name) {
    return makeCall<std::uint32_t>(kBusDaemon, "StartServiceByName", name, std::uint32_t{0});
}

Call<std::string> identifier() {
    return makeCall<std::string>(kBusDaemon, "GetId");
}

}  // namespace bus::daemon
