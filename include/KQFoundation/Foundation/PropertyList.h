#pragma once
// Property lists (XML and binary) to and from kq::Value, through libplist.
// Readers never throw: anything unreadable gives nullopt.
#include <optional>
#include <string_view>
#include <system_error>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

enum class PropertyListFormat { XML, Binary };

class KQ_EXPORT PropertyList {
public:
    static std::optional<Value> read(const Data& bytes);
    static std::optional<Value> read(std::string_view bytes);
    static std::optional<Value> readFile(std::string_view path);
    /// The dictionary at the root of the file, or nullopt.
    static std::optional<Dictionary> readDictionaryFile(std::string_view path);

    /// Null values (and anything a property list cannot hold) are left out.
    static Data write(const Value& value, PropertyListFormat format = PropertyListFormat::XML);
    /// Writes atomically (temporary file, then rename).
    static bool writeFile(std::string_view path, const Value& value,
                          PropertyListFormat format = PropertyListFormat::XML, std::error_code* error = nullptr);
};

}  // namespace kq
