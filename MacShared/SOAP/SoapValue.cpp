#include "MacShared/SOAP/SoapValue.h"

#include <fmt/format.h>
#include <algorithm>
#include <cmath>
#include <iterator>

namespace shared {

namespace {

/// So many keys are found as fast by comparing each, and an index would cost the memory of several of them.
constexpr std::size_t kMostUnindexed = 16;

}  // namespace

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

/// The array that this is, or that it becomes the first member of; held by nobody else.
SoapArray& SoapValue::arrayForMore() {
    auto* held = std::get_if<std::shared_ptr<SoapArray>>(&value_);
    if (held == nullptr) {
        auto array = std::make_shared<SoapArray>();
        array->push_back(std::move(*this));
        held = &value_.emplace<std::shared_ptr<SoapArray>>(std::move(array));
    } else if (held->use_count() > 1) {
        // Somebody else holds the same array and must not see it grow.
        *held = std::make_shared<SoapArray>(**held);
    }
    return **held;
}

bool SoapValue::operator==(const SoapValue& other) const {
    if (dictionary() != nullptr && other.dictionary() != nullptr) return *dictionary() == *other.dictionary();
    if (array() != nullptr && other.array() != nullptr) return *array() == *other.array();
    return value_ == other.value_;
}

SoapDictionary::~SoapDictionary() = default;

SoapDictionary::SoapDictionary(SoapDictionary&& other) noexcept = default;

SoapDictionary::SoapDictionary(const SoapDictionary& other)
    : entries_(other.entries_), index_(other.index_ ? std::make_unique<Index>(*other.index_) : nullptr) {}

SoapDictionary& SoapDictionary::operator=(SoapDictionary other) noexcept {
    entries_.swap(other.entries_);
    index_.swap(other.index_);
    return *this;
}

SoapDictionary::SoapDictionary(std::initializer_list<Entry> entries) {
    for (const auto& [key, value] : entries) (*this)[key] = value;
}

std::size_t SoapDictionary::positionOf(std::string_view key) const {
    if (index_) {
        const auto found = index_->find(key);
        return found == index_->end() ? entries_.size() : found->second;
    }
    for (std::size_t i = entries_.size(); i > 0; --i) {
        if (entries_[i - 1].first == key) return i - 1;  // what repeats does so in a row
    }
    return entries_.size();
}

const SoapValue* SoapDictionary::find(std::string_view key) const {
    const auto position = positionOf(key);
    return position == entries_.size() ? nullptr : &entries_[position].second;
}

SoapValue& SoapDictionary::operator[](std::string_view key) {
    const auto position = positionOf(key);
    if (position == entries_.size()) {
        entries_.emplace_back(key, SoapValue());
        updateIndex();
    }
    return entries_[position].second;
}

void SoapDictionary::removeNulls() {
    const auto isNull = [](const Entry& entry) { return entry.second.isNull(); };
    const auto nulls = std::remove_if(entries_.begin(), entries_.end(), isNull);  // clang 14 fails on the range's
    if (nulls == entries_.end()) return;
    entries_.erase(nulls, entries_.end());
    // The positions of those behind have changed.
    index_.reset();
    updateIndex();
}

SoapDictionary SoapDictionary::fitted() && {
    SoapDictionary dictionary;
    // Moved into memory of the right size; keys and values stay where they are.
    dictionary.entries_.assign(std::make_move_iterator(entries_.begin()), std::make_move_iterator(entries_.end()));
    dictionary.index_ = std::move(index_);
    return dictionary;
}

/// Enters the keys that have come since.
void SoapDictionary::updateIndex() {
    if (entries_.size() <= kMostUnindexed) return;
    if (!index_) index_ = std::make_unique<Index>();
    for (auto i = index_->size(); i < entries_.size(); ++i) index_->emplace(entries_[i].first, i);
}

bool SoapDictionary::operator==(const SoapDictionary& other) const {
    return size() == other.size() && std::ranges::all_of(entries_, [&](const Entry& entry) {
               const auto* const value = other.find(entry.first);
               return value != nullptr && *value == entry.second;
           });
}

}  // namespace shared
