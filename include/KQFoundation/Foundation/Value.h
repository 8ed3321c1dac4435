#pragma once
// kq::Value: the loosely typed value of property lists and JSON (the
// platform's NSNull, NSNumber, NSString, NSData, NSDate, NSURL, NSArray and
// NSDictionary). Arrays and dictionaries hold values; dictionaries keep the
// order in which keys were inserted. Equality and hashing are by value, and
// numbers compare by their numeric value (1, 1.0 and YES are equal), as the
// platform's numbers do.
#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/URL.h"

namespace kq {

using Data = std::vector<std::uint8_t>;
/// Seconds as a double: every date a property list can hold fits (year 1 to
/// far beyond 9999), with sub-microsecond precision around the present.
using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double>>;

class Value;

class KQ_EXPORT Array : public std::vector<Value> {
public:
    using std::vector<Value>::vector;
    Array() = default;

    // ---- Category NSMutableArray(KQFoundation): NSMutableArray+KQFoundation.h/.cpp ----
    void addObjectIfNotNil(const Value* value);
    void addObjectIfNotNil(const std::optional<Value>& value);
    void addObjectsFromArrayIfNotNil(const Array* array);
    void addObjectsFromArrayIfNotNil(const std::optional<Array>& array);
    // ---- end of category ----

    // ---- Category NSArray(JSON): NSObject+JSON.h, JSONWriter.cpp, JSONReader.cpp ----
    std::string JSONString() const;
    static std::optional<Array> arrayWithJSONString(std::string_view text);
    static std::optional<Array> arrayWithJSONStringIgnoringNulls(std::string_view text);
    static std::optional<Array> arrayWithJSONString(std::string_view text, bool ignoreNull);
    // ---- end of category ----
};

class KQ_EXPORT Dictionary {
public:
    Dictionary() = default;
    Dictionary(std::initializer_list<std::pair<std::string, Value>> entries);

    std::size_t size() const { return keys_.size(); }
    bool empty() const { return keys_.empty(); }
    /// Keys in insertion order.
    const std::vector<std::string>& keys() const { return keys_; }
    const std::vector<Value>& values() const { return values_; }

    /// The value for the key, or nullptr (nil).
    const Value* objectForKey(std::string_view key) const;
    Value* objectForKey(std::string_view key);
    bool contains(std::string_view key) const { return objectForKey(key) != nullptr; }
    /// Sets or replaces (a replaced key keeps its position).
    void setObject(std::string_view key, Value value);
    bool removeObjectForKey(std::string_view key);
    /// The value for the key, inserting null when absent.
    Value& operator[](std::string_view key);

    /// Calls f(key, value) for every entry in insertion order.
    template <class F>
    void forEach(F&& f) const;

    // ---- Category NSDictionary(KQValueTypeChecking): NSDictionary+KQValueTypeChecking.h/.cpp ----
    const std::string* stringValueForKey(std::string_view key) const;
    const Array* arrayValueForKey(std::string_view key) const;
    const Dictionary* dictioniaryValueForKey(std::string_view key) const;
    const Value* numberValueForKey(std::string_view key) const;
    const Date* dateValueForKey(std::string_view key) const;
    std::int64_t integerValueForKey(std::string_view key, std::int64_t defaultValue) const;
    bool boolValueForKey(std::string_view key, bool defaultValue) const;
    // ---- end of category ----

    // ---- Category NSDictionary(JSON): NSObject+JSON.h, JSONWriter.cpp, JSONReader.cpp ----
    std::string JSONString() const;
    static std::optional<Dictionary> dictionaryWithJSONString(std::string_view text);
    static std::optional<Dictionary> dictionaryWithJSONStringIgnoringNulls(std::string_view text);
    static std::optional<Dictionary> dictionaryWithJSONString(std::string_view text, bool ignoreNull);
    // ---- end of category ----

    friend KQ_EXPORT bool operator==(const Dictionary& a, const Dictionary& b);

private:
    std::vector<std::string> keys_;
    std::vector<Value> values_;
    // Built only for larger dictionaries; small ones are searched linearly.
    std::unique_ptr<std::unordered_map<std::string, std::size_t>> index_;

public:
    Dictionary(const Dictionary& other);
    Dictionary(Dictionary&&) noexcept = default;
    Dictionary& operator=(const Dictionary& other);
    Dictionary& operator=(Dictionary&&) noexcept = default;
    ~Dictionary();

private:
    std::ptrdiff_t find(std::string_view key) const;
    void rebuildIndex();
};

class KQ_EXPORT Value {
public:
    enum class Type { Null, Bool, Integer, Real, String, Data, Date, URL, Array, Dictionary };

    Value() = default;  // null
    Value(std::nullptr_t) {}
    Value(bool b) : v_(b) {}
    Value(int i) : v_(static_cast<std::int64_t>(i)) {}
    Value(long i) : v_(static_cast<std::int64_t>(i)) {}
    Value(long long i) : v_(static_cast<std::int64_t>(i)) {}
    Value(unsigned i) : v_(static_cast<std::int64_t>(i)) {}
    Value(unsigned long i) : Value(static_cast<unsigned long long>(i)) {}
    /// Values above INT64_MAX are kept as unsigned (see isLargeUnsigned()).
    Value(unsigned long long i);
    Value(double d) : v_(d) {}
    Value(const char* s) : v_(std::string(s)) {}
    Value(std::string_view s) : v_(std::string(s)) {}
    Value(std::string s) : v_(std::move(s)) {}
    Value(kq::Data d) : v_(std::move(d)) {}
    Value(kq::Date d);
    /// Any other system-clock time, e.g. std::chrono::system_clock::now().
    template <class Duration>
    Value(std::chrono::time_point<std::chrono::system_clock, Duration> d) : Value(kq::Date(d)) {}
    /// A date given as seconds since 1 January 2001 UTC; the value keeps this
    /// exact double, so a property list's date is written back bit for bit.
    static Value dateWithTimeIntervalSinceReferenceDate(double seconds);
    Value(kq::URL u) : v_(std::move(u)) {}
    Value(kq::Array a) : v_(std::move(a)) {}
    Value(kq::Dictionary d) : v_(std::move(d)) {}

    Type type() const {
        return v_.index() == kLargeUnsignedIndex ? Type::Integer : static_cast<Type>(v_.index());
    }
    bool isNull() const { return type() == Type::Null; }
    bool isBool() const { return type() == Type::Bool; }
    bool isInteger() const { return type() == Type::Integer; }
    bool isReal() const { return type() == Type::Real; }
    /// A number in the platform's sense: boolean, integer or real.
    bool isNumber() const { return isBool() || isInteger() || isReal(); }
    bool isString() const { return type() == Type::String; }
    bool isData() const { return type() == Type::Data; }
    bool isDate() const { return type() == Type::Date; }
    bool isURL() const { return type() == Type::URL; }
    bool isArray() const { return type() == Type::Array; }
    bool isDictionary() const { return type() == Type::Dictionary; }

    /// Typed access: nullptr when the value has another type.
    const std::string* asString() const { return std::get_if<std::string>(&v_); }
    const kq::Data* asData() const { return std::get_if<kq::Data>(&v_); }
    const kq::Date* asDate() const {
        const StoredDate* stored = std::get_if<StoredDate>(&v_);
        return stored ? &stored->date : nullptr;
    }
    /// A date's exact seconds since 1 January 2001 UTC, nullopt for other types.
    std::optional<double> timeIntervalSinceReferenceDate() const;
    const kq::URL* asURL() const { return std::get_if<kq::URL>(&v_); }
    const kq::Array* asArray() const { return std::get_if<kq::Array>(&v_); }
    const kq::Dictionary* asDictionary() const { return std::get_if<kq::Dictionary>(&v_); }
    kq::Array* asArray() { return std::get_if<kq::Array>(&v_); }
    kq::Dictionary* asDictionary() { return std::get_if<kq::Dictionary>(&v_); }

    /// An integer above INT64_MAX (property lists hold unsigned 64-bit ones).
    bool isLargeUnsigned() const { return v_.index() == kLargeUnsignedIndex; }

    /// Numeric readings of a number (0 / false for anything else). Integers
    /// above INT64_MAX read as INT64_MAX here, like reals out of range.
    bool boolValue() const;
    std::int64_t integerValue() const;
    /// The integer as unsigned 64 bits: exact for large unsigned values,
    /// two's complement for negative ones.
    std::uint64_t unsignedIntegerValue() const;
    double doubleValue() const;

    // ---- Category NSNumber(JSON), NSObject(JSON): NSObject+JSON.h, JSONWriter.cpp ----
    std::string JSONString() const;
    // ---- end of category ----

    friend KQ_EXPORT bool operator==(const Value& a, const Value& b);
    std::size_t hash() const;

private:
    struct StoredDate {
        kq::Date date;
        double sinceReferenceDate;
        friend bool operator==(const StoredDate& a, const StoredDate& b) {
            return a.sinceReferenceDate == b.sinceReferenceDate;
        }
    };
    struct LargeUnsigned {
        std::uint64_t value;
        friend bool operator==(const LargeUnsigned& a, const LargeUnsigned& b) { return a.value == b.value; }
    };
    static constexpr std::size_t kLargeUnsignedIndex = 10;

    // The alternatives' order matches Type; LargeUnsigned is an Integer.
    std::variant<std::monostate, bool, std::int64_t, double, std::string, kq::Data, StoredDate, kq::URL,
                 kq::Array, kq::Dictionary, LargeUnsigned>
        v_;
};

// Defined here, where Value is complete (clang checks the body where it is written).
template <class F>
void Dictionary::forEach(F&& f) const {
    for (std::size_t i = 0; i < keys_.size(); ++i) f(keys_[i], values_[i]);
}

/// The text a value prints as (the platform's description, property-list style).
KQ_EXPORT std::string describe(const Value& v);
KQ_EXPORT std::string describe(const Array& a);
KQ_EXPORT std::string describe(const Dictionary& d);

/// For test frameworks that print values (GoogleTest finds these by name).
KQ_EXPORT void PrintTo(const Value& v, std::ostream* os);
KQ_EXPORT void PrintTo(const Dictionary& d, std::ostream* os);

/// Seconds since 1 January 2001 UTC, the platform's reference date.
KQ_EXPORT double timeIntervalSinceReferenceDate(Date d);
KQ_EXPORT Date dateWithTimeIntervalSinceReferenceDate(double seconds);

}  // namespace kq

template <>
struct std::hash<kq::Value> {
    std::size_t operator()(const kq::Value& v) const { return v.hash(); }
};
template <>
struct KQ_EXPORT std::hash<kq::Dictionary> {
    std::size_t operator()(const kq::Dictionary& d) const;
};
