#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

/// The value that a table of pairs has for a key, or the one for every other key. For short tables: looks at each pair.
template <class Key, class Value, std::size_t Size>
[[nodiscard]] constexpr Value valueIn(const std::pair<Key, Value> (&table)[Size], const Key& key, Value otherwise) {
    const auto* const found = std::ranges::find(table, key, &std::pair<Key, Value>::first);
    return found == std::end(table) ? otherwise : found->second;
}
