// The platform's description texts for values (what "%@" prints).
#include <charconv>
#include <cmath>
#include <cctype>
#include <cstdio>
#include <ostream>

#include "Foundation/PropertyListCoding.h"
#include "KQFoundation/Foundation/Describe.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

std::string describe(double v) {
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, v);
    return std::string(buffer, result.ptr);
}

std::string describe(const std::exception& e) { return e.what(); }

namespace {

std::string describeDate(Date d) {
    // Calendar arithmetic rather than gmtime: a date read from a file may hold
    // any double, NaN included.
    std::string iso = plist::formatISO8601(std::floor(timeIntervalSinceReferenceDate(d)));
    if (iso.size() < 20) return "(invalid date)";
    iso[10] = ' ';
    return iso.replace(iso.size() - 1, 1, " +0000");
}

// Inside collections, strings are quoted unless they are plain words.
std::string quotedIfNeeded(const std::string& s) {
    bool plain = !s.empty();
    for (unsigned char c : s)
        if (!(std::isalnum(c) || c == '_' || c == '.' || c == '/' || c == '$' || c == ':')) plain = false;
    if (plain) return s;
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') out += '\\';
        if (c == '\n') {
            out += "\\n";
            continue;
        }
        out += c;
    }
    return out + "\"";
}

void append(std::string& out, const Value& v, int indent, bool nested);

void appendArray(std::string& out, const Array& a, int indent) {
    const std::string pad(static_cast<std::size_t>(indent) * 4, ' ');
    out += "(\n";
    for (std::size_t i = 0; i < a.size(); ++i) {
        out += pad + "    ";
        append(out, a[i], indent + 1, true);
        out += i + 1 < a.size() ? ",\n" : "\n";
    }
    out += pad + ")";
}

void appendDictionary(std::string& out, const Dictionary& d, int indent) {
    const std::string pad(static_cast<std::size_t>(indent) * 4, ' ');
    out += "{\n";
    d.forEach([&](const std::string& key, const Value& value) {
        out += pad + "    " + quotedIfNeeded(key) + " = ";
        append(out, value, indent + 1, true);
        out += ";\n";
    });
    out += pad + "}";
}

void append(std::string& out, const Value& v, int indent, bool nested) {
    switch (v.type()) {
        case Value::Type::Null: out += "<null>"; break;
        case Value::Type::Bool:
        case Value::Type::Integer:
            out += v.isLargeUnsigned() ? std::to_string(v.unsignedIntegerValue()) : std::to_string(v.integerValue());
            break;
        case Value::Type::Real: out += describe(v.doubleValue()); break;
        case Value::Type::String: out += nested ? quotedIfNeeded(*v.asString()) : *v.asString(); break;
        case Value::Type::Data: {
            const Data& d = *v.asData();
            char head[48];
            std::snprintf(head, sizeof head, "{length = %zu, bytes = 0x", d.size());
            out += head;
            static const char* hex = "0123456789abcdef";
            for (std::size_t i = 0; i < d.size() && i < 24; ++i) {
                out += hex[d[i] >> 4];
                out += hex[d[i] & 15];
            }
            if (d.size() > 24) out += "...";
            out += "}";
            break;
        }
        case Value::Type::Date: out += describeDate(*v.asDate()); break;
        case Value::Type::URL: out += v.asURL()->absoluteString(); break;
        case Value::Type::Array: appendArray(out, *v.asArray(), indent); break;
        case Value::Type::Dictionary: appendDictionary(out, *v.asDictionary(), indent); break;
    }
}

}  // namespace

std::string describe(const Value& v) {
    std::string out;
    append(out, v, 0, false);
    return out;
}

void PrintTo(const Value& v, std::ostream* os) { *os << describe(v); }
void PrintTo(const Dictionary& d, std::ostream* os) { *os << describe(d); }

std::string describe(const Array& a) {
    std::string out;
    appendArray(out, a, 0);
    return out;
}

std::string describe(const Dictionary& d) {
    std::string out;
    appendDictionary(out, d, 0);
    return out;
}

}  // namespace kq
