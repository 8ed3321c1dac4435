// Reader for localized strings tables. Tables come either as old-style text
// ("key" = "value"; with comments) in UTF-8 or UTF-16, or, in compiled
// bundles, as an XML or binary property list holding one dictionary.
#include <optional>
#include <string_view>

#include "Foundation/PropertyListCoding.h"
#include "KQFoundation/Foundation/Bundle.h"
#include "KQFoundation/Foundation/PropertyList.h"

namespace kq {
namespace {

bool looksLikePropertyList(const Data& bytes) {
    auto startsWith = [&](std::string_view prefix) {
        return bytes.size() >= prefix.size() &&
               std::string_view(reinterpret_cast<const char*>(bytes.data()), prefix.size()) == prefix;
    };
    return startsWith("bplist") || startsWith("<?xml") || startsWith("<!DOCTYPE plist") || startsWith("<plist");
}

}  // namespace

std::optional<Dictionary> parseStringsFile(const Data& bytes) {
    std::optional<Value> table;
    if (looksLikePropertyList(bytes)) {
        table = PropertyList::read(bytes);
    } else if (auto text = plist::decodeText(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()))) {
        table = plist::readText(*text, true);
    }
    if (!table || !table->isDictionary()) return std::nullopt;
    Dictionary strings;
    table->asDictionary()->forEach([&](const std::string& key, const Value& v) {
        if (v.isString()) strings.setObject(key, v);
    });
    return strings;
}

}  // namespace kq
