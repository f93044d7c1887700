#pragma once

#include <cstddef>

/// What operator `new` gives in programs that are built with this.
namespace memory {

inline constexpr std::size_t kUnlimited = static_cast<std::size_t>(-1);

/// From now on the calling thread gets no piece of memory above this size.
void failAbove(std::size_t size);
/// The calling thread does not get the piece of this number, counted from now and from 1, until it gets all again.
void failAt(std::size_t number);
void failNoMore();
/// Whether the piece of that number was asked for.
[[nodiscard]] bool hasFailed();
/// Bytes that are held now, by all threads.
[[nodiscard]] std::size_t inUse();

}  // namespace memory
