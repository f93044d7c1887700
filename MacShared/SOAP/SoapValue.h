#pragma once

#include "MacShared/Guid.h"

#include <boost/container/small_vector.hpp>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace shared {

/// What SOAP calls take as parameters and answer as results. A value is one of: string, dictionary (in the order in
/// which its keys came), number, array, `Guid`, bytes, or the null marker, which also stands for "no value". Values
/// cannot be changed, copies share what is large, and threads may share a value.

class SoapDictionary;
class SoapValue;
using SoapArray = std::vector<SoapValue>;

template <class T>
concept SoapArithmetic = std::integral<T> || std::same_as<T, float> || std::same_as<T, double>;

/// A number that knows the type it was made from.
class SoapNumber {
public:
    template <SoapArithmetic T>
    explicit SoapNumber(T number) : value_(Widest<T>(number)), typeCode_(codeOf<T>()) {}

    /// The type code: `c s i q` for signed integers of 8 to 64 bits (a boolean is a `c`), `C S I Q` for unsigned
    /// ones, `f` and `d`.
    [[nodiscard]] char typeCode() const { return typeCode_; }
    /// Integers in plain decimal, booleans as 1 or 0, `inf`, `-inf`, `nan`; other numbers in the shortest form that
    /// reads back the same, with an exponent below 1e-4 and from 1e16.
    [[nodiscard]] std::string stringValue() const;

    bool operator==(const SoapNumber&) const = default;

private:
    template <class T>
    using Widest = std::conditional_t<std::floating_point<T>, T,
                                      std::conditional_t<std::unsigned_integral<T>, std::uint64_t, std::int64_t>>;

    template <class T>
    static constexpr char codeOf() {
        if (std::same_as<T, bool>) return 'c';
        if (std::floating_point<T>) return sizeof(T) == sizeof(float) ? 'f' : 'd';
        return (std::unsigned_integral<T> ? "-CS-I---Q" : "-cs-i---q")[sizeof(T)];
    }

    std::variant<std::int64_t, std::uint64_t, float, double> value_;
    char typeCode_;
};

/// A buffer of bytes; copies share it.
class SoapBytes {
public:
    SoapBytes() : SoapBytes(std::string()) {}
    explicit SoapBytes(std::string bytes) : bytes_(std::make_shared<const std::string>(std::move(bytes))) {}

    [[nodiscard]] std::string_view view() const { return *bytes_; }

    bool operator==(const SoapBytes& other) const { return view() == other.view(); }

private:
    std::shared_ptr<const std::string> bytes_;
};

class SoapValue {
public:
    /// The null marker.
    SoapValue() = default;
    SoapValue(std::string string) : value_(std::move(string)) {}
    SoapValue(const char* string) : value_(std::string(string)) {}
    SoapValue(SoapNumber number) : value_(number) {}
    template <SoapArithmetic T>
    SoapValue(T number) : SoapValue(SoapNumber(number)) {}
    SoapValue(SoapDictionary dictionary);
    /// Shares a dictionary that changes no more.
    SoapValue(std::shared_ptr<const SoapDictionary> dictionary) : value_(std::move(dictionary)) {}
    SoapValue(SoapArray array);
    SoapValue(Guid guid) : value_(std::move(guid)) {}
    SoapValue(SoapBytes bytes) : value_(std::move(bytes)) {}

    [[nodiscard]] bool isNull() const { return std::holds_alternative<std::monostate>(value_); }

    /// Each of these is null when the value is of another kind.
    [[nodiscard]] const std::string* string() const { return std::get_if<std::string>(&value_); }
    [[nodiscard]] const SoapDictionary* dictionary() const;
    [[nodiscard]] const SoapNumber* number() const { return std::get_if<SoapNumber>(&value_); }
    [[nodiscard]] const SoapArray* array() const;
    [[nodiscard]] const Guid* guid() const { return std::get_if<Guid>(&value_); }
    [[nodiscard]] const SoapBytes* bytes() const { return std::get_if<SoapBytes>(&value_); }

    /// Collects values: the null marker becomes the item, an array gets it at its end, and anything else becomes an
    /// array of itself and the item. Other holders of the same array do not see the item.
    template <class Item>
    void append(Item&& item) {
        if (isNull()) {
            *this = SoapValue(std::forward<Item>(item));
        } else {
            arrayForMore().emplace_back(std::forward<Item>(item));
        }
    }

    /// Whether both are of one kind and hold the same; the order of a dictionary's keys does not matter.
    bool operator==(const SoapValue& other) const;

private:
    SoapArray& arrayForMore();

    std::variant<std::monostate, std::string, std::shared_ptr<const SoapDictionary>, SoapNumber,
                 std::shared_ptr<SoapArray>, Guid, SoapBytes>
        value_;
};

/// Values by key, enumerated in the order in which the keys came. Finding a key takes logarithmic time at most, so that
/// a dictionary which a server fills stays fast whatever the keys are.
class SoapDictionary {
public:
    using Entry = std::pair<std::string, SoapValue>;

    SoapDictionary() = default;
    ~SoapDictionary();
    SoapDictionary(const SoapDictionary& other);
    SoapDictionary(SoapDictionary&& other) noexcept;
    SoapDictionary& operator=(SoapDictionary other) noexcept;
    /// Of entries with the same key the last value counts, at the place of the first.
    SoapDictionary(std::initializer_list<Entry> entries);

    [[nodiscard]] std::size_t size() const { return entries_.size(); }
    [[nodiscard]] bool empty() const { return entries_.empty(); }
    [[nodiscard]] auto begin() const { return entries_.begin(); }
    [[nodiscard]] auto end() const { return entries_.end(); }

    /// The value of a key, or null.
    [[nodiscard]] const SoapValue* find(std::string_view key) const;
    /// The value of a key, to be changed; a new key comes last and holds the null marker.
    [[nodiscard]] SoapValue& operator[](std::string_view key);
    /// Takes the memory for that many entries at once.
    void reserve(std::size_t entries) { entries_.reserve(entries); }
    /// Takes out the entries that hold the null marker.
    void removeNulls();
    /// Whether it holds memory for far more entries than there are.
    [[nodiscard]] bool isRoomy() const { return entries_.capacity() / 2 > entries_.size(); }
    /// The same entries in memory for no more than them.
    [[nodiscard]] SoapDictionary fitted() &&;

    bool operator==(const SoapDictionary& other) const;

private:
    using Index = std::map<std::string, std::size_t, std::less<>>;

    [[nodiscard]] std::size_t positionOf(std::string_view key) const;
    void updateIndex();

    boost::container::small_vector<Entry, 1> entries_;  ///< pure nesting takes no memory of its own
    std::unique_ptr<Index> index_;                      ///< positions by key; none while there are few keys
};

}  // namespace shared
