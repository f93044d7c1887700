#include "base/HTTPHeaderFields.h"

#include <algorithm>
#include <utility>

namespace {

/// So many are found as fast by looking at each, and most messages have fewer.
constexpr std::size_t kMostUnindexed = 32;

char lower(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

auto hasName(std::string_view name) {
    return [name](const HTTPHeaderFields::Field& field) {
        return std::ranges::equal(name, field.first, {}, lower, lower);
    };
}

}  // namespace

bool HTTPHeaderFields::ByName::operator()(std::string_view one, std::string_view other) const {
    return std::ranges::lexicographical_compare(one, other, {}, lower, lower);
}

HTTPHeaderFields::HTTPHeaderFields(std::initializer_list<Field> fields) {
    for (const auto& [name, value] : fields) addValue(value, name);
}

std::optional<std::string> HTTPHeaderFields::value(std::string_view forHTTPHeaderField) const {
    const auto position = positionOf(forHTTPHeaderField);
    return position == fields_.size() ? std::nullopt : std::optional(fields_[position].second);
}

void HTTPHeaderFields::setValue(std::string value, std::string forHTTPHeaderField) {
    removeValue(forHTTPHeaderField);
    addValue(std::move(value), std::move(forHTTPHeaderField));
}

void HTTPHeaderFields::addValue(std::string value, std::string forHTTPHeaderField) {
    const auto position = positionOf(forHTTPHeaderField);
    if (position < fields_.size()) {
        fields_[position].second.append(",").append(value);
    } else {
        fields_.emplace_back(std::move(forHTTPHeaderField), std::move(value));
        updateIndex();
    }
}

void HTTPHeaderFields::removeValue(std::string_view forHTTPHeaderField) {
    if (std::erase_if(fields_, hasName(forHTTPHeaderField)) == 0) return;
    index_.clear();  // the positions behind it have changed
    updateIndex();
}

/// Behind the last when there is none.
std::size_t HTTPHeaderFields::positionOf(std::string_view name) const {
    if (fields_.size() > kMostUnindexed) {
        const auto found = index_.find(name);
        return found == index_.end() ? fields_.size() : found->second;
    }
    return static_cast<std::size_t>(std::ranges::find_if(fields_, hasName(name)) - fields_.begin());
}

/// Enters the fields that have come since.
void HTTPHeaderFields::updateIndex() {
    if (fields_.size() <= kMostUnindexed) return;
    for (auto i = index_.size(); i < fields_.size(); ++i) index_.emplace(fields_[i].first, i);
}
