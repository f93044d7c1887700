#pragma once

#include "bus/Peer.h"

#include <sdbus-c++/Message.h>
#include <sdbus-c++/Types.h>
#include <type_traits>

namespace bus {

/// The one value of a reply.
template <typename Value>
Value valueFrom(sdbus::Message& reply) {
    Value value{};
    if constexpr (!std::is_same_v<Value, Nothing>) reply >> value;
    return value;
}

/// A call with these arguments, in the types of the library.
template <typename Value = Nothing, typename... Arguments>
Call<Value> makeCall(const char* interface, const char* member, const Arguments&... arguments) {
    const auto write = [arguments...](sdbus::MethodCall& call) { static_cast<void>((call << ... << arguments)); };
    return {{interface, member, write}, &valueFrom<Value>};
}

/// The same, with a reply to be read in another way.
template <typename Value>
Call<Value> readBy(Value (*read)(sdbus::Message&), Call<> call) {
    return {{static_cast<Event&&>(call)}, read};
}

}  // namespace bus
