#pragma once
// kq::KeyedArchiver and kq::KeyedUnarchiver: the platform's keyed archives,
// a binary property list
//   {"$archiver": "NSKeyedArchiver", "$version": 100000,
//    "$objects": ["$null", ...], "$top": {"root": UID}}
// in which objects refer to each other by UID (index into "$objects"). An
// object of a class is a dictionary of its keys plus "$class", the UID of
// {"$classname": ..., "$classes": [class, superclasses...]}. Strings, numbers
// and data stand inline in "$objects"; arrays, dictionaries, URLs and dates
// are objects of the platform's collection and value classes.
//
// Reading is defensive: a reference out of range, a cycle, a value of the
// wrong type or nesting deeper than kMaximumDepth makes the read give
// nullopt, never a crash.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

class KQ_EXPORT KeyedArchiver {
public:
    /// Writes the keys of one object of a class into the archiver it is given.
    using Encoder = std::function<void(KeyedArchiver&)>;

    /// An archive whose root is a plain value (string, number, data, date,
    /// URL, array or dictionary of these); empty for a null root.
    static Data archivedDataWithRootObject(const Value& root);
    /// An archive whose root is an object of `classes` (its class name first,
    /// then its superclasses) whose keys `encode` writes.
    static Data archivedDataWithRootObject(const std::vector<std::string>& classes, const Encoder& encode);

    /// Encoding into the object being written. A null value is written as
    /// the "$null" reference.
    void encodeObject(std::string_view key, const Value& value);
    void encodeObject(std::string_view key, const std::vector<std::string>& classes, const Encoder& encode);
    void encodeInteger(std::string_view key, std::int64_t value);
    void encodeBool(std::string_view key, bool value);
    void encodeDouble(std::string_view key, double value);

    /// The archive of what was encoded so far at the top level (the keys
    /// written on a fresh archiver become the "$top" keys).
    Data encodedData() const;

private:
    std::uint32_t add(const Value& value, std::size_t depth);
    std::uint32_t addObject(const std::vector<std::string>& classes, const Encoder& encode);
    std::uint32_t classReference(const std::vector<std::string>& classes);
    std::uint32_t reserve();

    Array objects_{Value("$null")};
    Dictionary current_;  // the keys of the object being written ($top at first)
    std::unordered_map<std::string, std::uint32_t> classes_;
    bool failed_ = false;
};

class KQ_EXPORT KeyedUnarchiver {
public:
    /// Objects nested deeper than this (through references) are refused.
    static constexpr std::size_t kMaximumDepth = 64;

    /// An unarchiver on the "$top" keys of an archive (binary or XML property
    /// list); nullopt when the data is not a keyed archive.
    static std::optional<KeyedUnarchiver> unarchiverWithData(const Data& data);
    /// The plain value at the root ("root") of an archive; nullopt when it is
    /// not a keyed archive or the root is no plain value.
    static std::optional<Value> unarchiveObjectWithData(const Data& data);

    bool containsValueForKey(std::string_view key) const;
    /// The plain value under the key: null for "$null", nullopt when absent
    /// or not decodable as a plain value.
    std::optional<Value> decodeObject(std::string_view key) const;
    /// Number readings; 0 / false when absent or not a number, as the platform's.
    std::int64_t decodeInteger(std::string_view key) const;
    bool decodeBool(std::string_view key) const;
    double decodeDouble(std::string_view key) const;
    /// The class name of the object under the key, when it is an object of a class.
    std::optional<std::string> classNameForKey(std::string_view key) const;

    /// An object of a class: `decode` reads its keys from the unarchiver it
    /// is given. nullopt when the key is absent, the object is not of a class
    /// whose "$classes" holds `className`, it lies on its own path of
    /// references (a cycle) or deeper than kMaximumDepth, or `decode` gives nullopt.
    template <class T, class F>
    std::optional<T> decodeObject(std::string_view key, std::string_view className, F&& decode) const {
        auto nested = nestedUnarchiver(key, className);
        if (!nested) return std::nullopt;
        return decode(static_cast<const KeyedUnarchiver&>(*nested));
    }

private:
    struct Archive;
    KeyedUnarchiver(std::shared_ptr<Archive> archive, const Dictionary* keys, std::vector<std::uint32_t> path);

    std::optional<KeyedUnarchiver> nestedUnarchiver(std::string_view key, std::string_view className) const;
    std::optional<Value> decodeValue(std::uint32_t reference, std::size_t depth, std::vector<std::uint32_t>& path) const;

    std::shared_ptr<Archive> archive_;
    const Dictionary* keys_;             // the keys of the object being read
    std::vector<std::uint32_t> path_;  // the objects above it, for cycles and depth
};

}  // namespace kq
