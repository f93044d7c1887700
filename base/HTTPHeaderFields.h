#pragma once

#include <algorithm>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Header fields in their order. Names are matched without regard to case (RFC 9110, section 5.1); finding and adding
/// one takes logarithmic time at most, so that masses of fields stay harmless.
class HTTPHeaderFields {
public:
    using Field = std::pair<std::string, std::string>;

private:
    static char lower(char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    /// The order of names, whatever their case.
    struct ByName {
        using is_transparent = void;
        bool operator()(std::string_view one, std::string_view other) const {
            return std::lexicographical_compare(one.begin(), one.end(), other.begin(), other.end(),
                                                [](char a, char b) { return lower(a) < lower(b); });
        }
    };
    static auto hasName(std::string_view name) {
        return [name](const Field& field) {
            return std::equal(name.begin(), name.end(), field.first.begin(), field.first.end(),
                              [](char one, char other) { return lower(one) == lower(other); });
        };
    }

public:
    HTTPHeaderFields() = default;
    HTTPHeaderFields(std::initializer_list<Field> fields) {
        for (const auto& [name, value] : fields) addValue(value, name);
    }

    [[nodiscard]] std::optional<std::string> value(std::string_view forHTTPHeaderField) const {
        const auto position = positionOf(forHTTPHeaderField);
        return position == fields_.size() ? std::nullopt : std::optional(fields_[position].second);
    }
    /// `setValue:forHTTPHeaderField:`: replaces.
    void setValue(const std::string& value, const std::string& forHTTPHeaderField) {
        removeValue(forHTTPHeaderField);
        addValue(value, forHTTPHeaderField);
    }
    /// `addValue:forHTTPHeaderField:`: appends to a value that is there, after a comma.
    void addValue(const std::string& value, const std::string& forHTTPHeaderField) {
        const auto position = positionOf(forHTTPHeaderField);
        if (position < fields_.size()) {
            fields_[position].second.append(",").append(value);
        } else {
            fields_.emplace_back(forHTTPHeaderField, value);
            updateIndex();
        }
    }
    void removeValue(std::string_view forHTTPHeaderField) {
        if (std::erase_if(fields_, hasName(forHTTPHeaderField)) == 0) return;
        index_.clear();
        updateIndex();
    }

    [[nodiscard]] auto begin() const { return fields_.begin(); }
    [[nodiscard]] auto end() const { return fields_.end(); }

private:
    static constexpr std::size_t kMostUnindexed = 32;

    /// Behind the last when there is none.
    [[nodiscard]] std::size_t positionOf(std::string_view name) const {
        if (fields_.size() > kMostUnindexed) {
            const auto found = index_.find(name);
            return found == index_.end() ? fields_.size() : found->second;
        }
        return static_cast<std::size_t>(std::find_if(fields_.begin(), fields_.end(), hasName(name)) - fields_.begin());
    }
    /// Enters the fields that have come since.
    void updateIndex() {
        if (fields_.size() <= kMostUnindexed) return;
        for (auto i = index_.size(); i < fields_.size(); ++i) index_.emplace(fields_[i].first, i);
    }

    std::vector<Field> fields_;
    std::map<std::string, std::size_t, ByName> index_;  ///< positions by name; empty while there are few fields
};
