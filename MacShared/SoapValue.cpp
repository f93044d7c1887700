#include "MacShared/SoapValue.h"

#include <fmt/format.h>
#include <algorithm>
#include <cmath>

std::string SoapNumber::stringValue() const {
    return std::visit(
        [](auto number) -> std::string {
            if constexpr (std::floating_point<decltype(number)>) {
                if (std::isnan(number)) return "nan";  // its sign says nothing
            }
            return fmt::format("{}", number);
        },
        value_);
}

SoapValue::SoapValue(SoapDictionary dictionary)
    : value_(std::make_shared<const SoapDictionary>(std::move(dictionary))) {}

SoapValue::SoapValue(SoapArray array) : value_(std::make_shared<SoapArray>(std::move(array))) {}

const SoapDictionary* SoapValue::dictionary() const {
    const auto* held = std::get_if<std::shared_ptr<const SoapDictionary>>(&value_);
    return held == nullptr ? nullptr : held->get();
}

const SoapArray* SoapValue::array() const {
    const auto* held = std::get_if<std::shared_ptr<SoapArray>>(&value_);
    return held == nullptr ? nullptr : held->get();
}

void SoapValue::append(SoapValue item) {
    auto* const held = std::get_if<std::shared_ptr<SoapArray>>(&value_);
    if (isNull()) {
        *this = std::move(item);
    } else if (held == nullptr) {
        SoapArray both;
        both.push_back(std::move(*this));
        both.push_back(std::move(item));
        *this = std::move(both);
    } else {
        if (held->use_count() > 1) *held = std::make_shared<SoapArray>(**held);
        (*held)->push_back(std::move(item));
    }
}

bool SoapValue::operator==(const SoapValue& other) const {
    if (dictionary() != nullptr && other.dictionary() != nullptr) return *dictionary() == *other.dictionary();
    if (array() != nullptr && other.array() != nullptr) return *array() == *other.array();
    return value_ == other.value_;
}

SoapDictionary::SoapDictionary(std::initializer_list<Entry> entries) {
    for (const auto& [key, value] : entries) (*this)[key] = value;
}

std::size_t SoapDictionary::positionOf(std::string_view key) const {
    if (!index_.empty()) {
        const auto found = index_.find(key);
        return found == index_.end() ? entries_.size() : found->second;
    }
    const auto found = std::ranges::find(entries_, key, &Entry::first);
    return static_cast<std::size_t>(found - entries_.begin());
}

const SoapValue* SoapDictionary::find(std::string_view key) const {
    const auto position = positionOf(key);
    return position == entries_.size() ? nullptr : &entries_[position].second;
}

SoapValue& SoapDictionary::operator[](std::string key) {
    const auto position = positionOf(key);
    if (position == entries_.size()) {
        entries_.emplace_back(std::move(key), SoapValue());
        updateIndex();
    }
    return entries_[position].second;
}

void SoapDictionary::removeNulls() {
    if (std::erase_if(entries_, [](const Entry& entry) { return entry.second.isNull(); }) == 0) return;
    index_.clear();
    updateIndex();
}

/// Enters the keys that have come since.
void SoapDictionary::updateIndex() {
    if (entries_.size() <= kLongestUnindexed) return;
    for (auto i = index_.size(); i < entries_.size(); ++i) index_.emplace(entries_[i].first, i);
}

bool SoapDictionary::operator==(const SoapDictionary& other) const {
    return size() == other.size() && std::ranges::all_of(entries_, [&](const Entry& entry) {
               const auto* const value = other.find(entry.first);
               return value != nullptr && *value == entry.second;
           });
}
