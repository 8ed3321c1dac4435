#include "KQFoundation/Foundation/PropertyList.h"

#include <plist/plist.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>

#include "Foundation/SystemHooks.h"

namespace kq {

namespace {

struct PlistDeleter {
    void operator()(plist_t p) const {
        if (p) plist_free(p);
    }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// Nesting deeper than this is not a property list anyone writes; refusing it
// keeps hostile input from exhausting the stack.
constexpr int kMaxDepth = 512;

std::optional<Value> toValue(plist_t node, int depth) {
    if (!node || depth > kMaxDepth) return std::nullopt;
    switch (plist_get_node_type(node)) {
        case PLIST_BOOLEAN: {
            uint8_t b = 0;
            plist_get_bool_val(node, &b);
            return Value(b != 0);
        }
        case PLIST_UINT: {
            uint64_t u = 0;
            plist_get_uint_val(node, &u);
            // The library stores negative integers as their two's complement.
            return Value(static_cast<std::int64_t>(u));
        }
        case PLIST_REAL: {
            double d = 0;
            plist_get_real_val(node, &d);
            return Value(d);
        }
        case PLIST_STRING: {
            char* s = nullptr;
            plist_get_string_val(node, &s);
            std::string text = s ? s : "";
            free(s);
            return Value(std::move(text));
        }
        case PLIST_DATA: {
            char* bytes = nullptr;
            uint64_t length = 0;
            plist_get_data_val(node, &bytes, &length);
            Data data(reinterpret_cast<std::uint8_t*>(bytes), reinterpret_cast<std::uint8_t*>(bytes) + length);
            free(bytes);
            return Value(std::move(data));
        }
        case PLIST_DATE: {
            int32_t sec = 0, usec = 0;
            plist_get_date_val(node, &sec, &usec);
            return Value(dateWithTimeIntervalSinceReferenceDate(sec + usec / 1e6));
        }
        case PLIST_ARRAY: {
            Array array;
            const uint32_t n = plist_array_get_size(node);
            array.reserve(n);
            for (uint32_t i = 0; i < n; ++i) {
                auto element = toValue(plist_array_get_item(node, i), depth + 1);
                if (!element) return std::nullopt;
                array.push_back(std::move(*element));
            }
            return Value(std::move(array));
        }
        case PLIST_DICT: {
            Dictionary dictionary;
            plist_dict_iter it = nullptr;
            plist_dict_new_iter(node, &it);
            if (!it) return Value(std::move(dictionary));
            bool ok = true;
            for (;;) {
                char* key = nullptr;
                plist_t child = nullptr;
                plist_dict_next_item(node, it, &key, &child);
                if (!child) {
                    free(key);
                    break;
                }
                auto value = toValue(child, depth + 1);
                if (!value || !key) {
                    ok = false;
                    free(key);
                    break;
                }
                dictionary.setObject(key, std::move(*value));
                free(key);
            }
            free(it);
            if (!ok) return std::nullopt;
            return Value(std::move(dictionary));
        }
        case PLIST_UID: {
            uint64_t u = 0;
            plist_get_uid_val(node, &u);
            return Value(Dictionary{{"CF$UID", Value(static_cast<std::int64_t>(u))}});
        }
        default: return std::nullopt;
    }
}

plist_t fromValue(const Value& v, int depth) {
    if (depth > kMaxDepth) return nullptr;
    switch (v.type()) {
        case Value::Type::Null: return nullptr;
        case Value::Type::Bool: return plist_new_bool(v.boolValue() ? 1 : 0);
        case Value::Type::Integer: return plist_new_uint(static_cast<uint64_t>(v.integerValue()));
        case Value::Type::Real: return plist_new_real(v.doubleValue());
        case Value::Type::String: return plist_new_string(v.asString()->c_str());
        case Value::Type::Data:
            return plist_new_data(reinterpret_cast<const char*>(v.asData()->data()), v.asData()->size());
        case Value::Type::Date: {
            const double t = timeIntervalSinceReferenceDate(*v.asDate());
            double whole = std::floor(t);
            if (whole < std::numeric_limits<int32_t>::min() || whole > std::numeric_limits<int32_t>::max())
                return nullptr;
            return plist_new_date(static_cast<int32_t>(whole), static_cast<int32_t>(std::lround((t - whole) * 1e6)));
        }
        case Value::Type::URL: return plist_new_string(v.asURL()->absoluteString().c_str());
        case Value::Type::Array: {
            plist_t array = plist_new_array();
            for (const Value& e : *v.asArray())
                if (plist_t child = fromValue(e, depth + 1)) plist_array_append_item(array, child);
            return array;
        }
        case Value::Type::Dictionary: {
            plist_t dict = plist_new_dict();
            v.asDictionary()->forEach([&](const std::string& key, const Value& value) {
                if (plist_t child = fromValue(value, depth + 1)) plist_dict_set_item(dict, key.c_str(), child);
            });
            return dict;
        }
    }
    return nullptr;
}

}  // namespace

std::optional<Value> PropertyList::read(std::string_view bytes) {
    if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max()) return std::nullopt;
    plist_t root = nullptr;
    if (plist_is_binary(bytes.data(), static_cast<uint32_t>(bytes.size()))) {
        plist_from_bin(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    } else {
        plist_from_xml(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    }
    PlistPtr holder(root);
    return toValue(root, 0);
}

std::optional<Value> PropertyList::read(const Data& bytes) {
    return read(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

std::optional<Value> PropertyList::readFile(std::string_view path) {
    std::ifstream in{std::string(path), std::ios::binary};
    if (!in) return std::nullopt;
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (in.bad()) return std::nullopt;
    return read(std::string_view(bytes));
}

std::optional<Dictionary> PropertyList::readDictionaryFile(std::string_view path) {
    auto value = readFile(path);
    if (!value || !value->isDictionary()) return std::nullopt;
    return std::move(*value->asDictionary());
}

Data PropertyList::write(const Value& value, PropertyListFormat format) {
    PlistPtr root(fromValue(value, 0));
    if (!root) return {};
    char* bytes = nullptr;
    uint32_t length = 0;
    Data out;
    if (format == PropertyListFormat::XML) {
        plist_to_xml(root.get(), &bytes, &length);
        if (bytes) out.assign(bytes, bytes + length);
        plist_to_xml_free(bytes);
    } else {
        plist_to_bin(root.get(), &bytes, &length);
        if (bytes) out.assign(bytes, bytes + length);
        plist_to_bin_free(bytes);
    }
    return out;
}

bool PropertyList::writeFile(std::string_view path, const Value& value, PropertyListFormat format,
                             std::error_code* error) {
    const Data bytes = write(value, format);
    if (bytes.empty()) {
        if (error) *error = std::make_error_code(std::errc::invalid_argument);
        return false;
    }
    return detail::writeFileAtomically(path, bytes, error);
}

}  // namespace kq
