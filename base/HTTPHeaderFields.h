#pragma once

#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Header fields in the order in which they were added. Names are matched without regard to case (RFC 9110, section
/// 5.1), and there is one field of each. Finding and adding one takes logarithmic time at most, so that masses of
/// fields from a server stay harmless. A value: threads may read one that nobody changes.
class HTTPHeaderFields {
public:
    /// A name, as it was first spelled, and its value.
    using Field = std::pair<std::string, std::string>;

    HTTPHeaderFields() = default;
    /// The fields, added one by one as with `addValue`.
    HTTPHeaderFields(std::initializer_list<Field> fields);

    /// The value of a field; nothing when there is no such field.
    [[nodiscard]] std::optional<std::string> value(std::string_view forHTTPHeaderField) const;
    /// `setValue:forHTTPHeaderField:`: gives the field this value alone. It comes last then.
    void setValue(std::string value, std::string forHTTPHeaderField);
    /// `addValue:forHTTPHeaderField:`: appends to a value that is there, after a comma; else adds the field.
    void addValue(std::string value, std::string forHTTPHeaderField);
    /// Takes the field out; does nothing when there is none. Takes time in proportion to the number of fields.
    void removeValue(std::string_view forHTTPHeaderField);

    /// The fields, in their order.
    [[nodiscard]] auto begin() const { return fields_.begin(); }
    [[nodiscard]] auto end() const { return fields_.end(); }

private:
    /// The order of names, whatever their case.
    struct ByName {
        using is_transparent = void;
        bool operator()(std::string_view one, std::string_view other) const;
    };

    [[nodiscard]] std::size_t positionOf(std::string_view name) const;
    void updateIndex();

    std::vector<Field> fields_;
    std::map<std::string, std::size_t, ByName> index_;  ///< positions by name; empty while there are few fields
};
