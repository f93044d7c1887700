#pragma once

#include "bus/Peer.h"

#include <cstdint>
#include <string>
#include <vector>

/// What the bus daemon can be asked, as a peer with its name and path.
namespace bus::daemon {

[[nodiscard]] Call<std::vector<std::string>> listNames();
/// The unique name behind a name.
[[nodiscard]] Call<std::string> ownerOf(const std::string& name);
[[nodiscard]] Call<bool> hasOwner(const std::string& name);
/// Starts who can be started by this name, and is answered when the name has an owner.
[[nodiscard]] Call<std::uint32_t> start(const std::string& name);
/// Something to wait for the answer of.
[[nodiscard]] Call<std::string> identifier();

}  // namespace bus::daemon
