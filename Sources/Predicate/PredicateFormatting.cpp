#include "Predicate/PredicateFormatting.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "Predicate/PredicateLexer.h"

namespace kq::predicate {
namespace {

// markReal: whole numbers get ".0", so that they read back as reals.
void appendReal(std::string& out, double value, bool markReal) {
    if (std::isnan(value) || std::isinf(value)) {
        // No literal reads as these; the cast of their text does.
        out += std::isnan(value) ? "CAST(\"nan\", \"NSNumber\")"
                                 : (value < 0 ? "CAST(\"-inf\", \"NSNumber\")" : "CAST(\"inf\", \"NSNumber\")");
        return;
    }
    char buffer[64];
    // The shortest text that reads back to the same double.
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    if (ec != std::errc()) return;
    const std::string_view text(buffer, static_cast<std::size_t>(end - buffer));
    out += text;
    // "3" would read back as an integer (and "-0" as 0).
    if (markReal && text.find_first_of(".e") == std::string_view::npos) out += ".0";
}

}  // namespace

void appendQuotedString(std::string& out, std::string_view text) {
    out += '"';
    for (char c : text) {
        switch (c) {
            case '"': out += "\\\""; break;
            case '\n': out += "\\n"; break;
            case '\t': out += "\\t"; break;
            case '\r': out += "\\r"; break;
            case '\\': out += "\\\\"; break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char buffer[8];
                    std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(c));
                    out += buffer;
                } else {
                    out += c;
                }
        }
    }
    out += '"';
}

void appendConstant(std::string& out, const Value& value) {
    switch (value.type()) {
        case Value::Type::Null: out += "nil"; break;
        case Value::Type::Bool: out += value.boolValue() ? "YES" : "NO"; break;
        case Value::Type::Integer: out += std::to_string(value.integerValue()); break;
        case Value::Type::Real: appendReal(out, value.doubleValue(), true); break;
        case Value::Type::String: appendQuotedString(out, *value.asString()); break;
        case Value::Type::Date:
            out += "CAST(";
            appendReal(out, timeIntervalSinceReferenceDate(*value.asDate()), false);
            out += ", \"NSDate\")";
            break;
        case Value::Type::URL:
            out += "CAST(";
            appendQuotedString(out, value.asURL()->absoluteString());
            out += ", \"NSURL\")";
            break;
        case Value::Type::Array: {
            out += '{';
            const Array& array = *value.asArray();
            for (std::size_t i = 0; i < array.size(); ++i) {
                if (i) out += ", ";
                appendConstant(out, array[i]);
            }
            out += '}';
            break;
        }
        case Value::Type::Data:
        case Value::Type::Dictionary:
            // No literal form; print the description.
            out += describe(value);
            break;
    }
}

void appendKeyName(std::string& out, std::string_view key) {
    if (!readsAsKeyName(key)) out += '#';
    out += key;
}

}  // namespace kq::predicate
