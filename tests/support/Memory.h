#pragma once

#include <cstddef>

/// What operator `new` gives in programs that are built with this.
namespace memory {

inline constexpr std::size_t kUnlimited = static_cast<std::size_t>(-1);

/// From now on the calling thread gets no piece of memory above this size.
void failAbove(std::size_t size);
/// Bytes that are held now, by all threads.
[[nodiscard]] std::size_t inUse();

}  // namespace memory
