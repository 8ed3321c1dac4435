#include "JsonOutput.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "KQFoundation/Foundation/Base64.h"
#include "KQFoundation/Foundation/PathUtilities.h"

namespace kqu {

namespace {

void appendReal(std::string& out, double value) {
    if (!std::isfinite(value)) {
        out += "null";
        return;
    }
    char text[32];
    auto [end, error] = std::to_chars(text, text + sizeof text, value);
    std::string_view written(text, static_cast<std::size_t>(end - text));
    out += written;
    // Keep reals recognisable as reals.
    if (error == std::errc() && written.find_first_of(".eE") == std::string_view::npos) out += ".0";
}

class Writer {
public:
    explicit Writer(JsonStyle style) : pretty_(style == JsonStyle::Pretty) {}

    void write(const kq::Value& value, int depth) {
        switch (value.type()) {
            case kq::Value::Type::Null: out += "null"; break;
            case kq::Value::Type::Bool: out += value.boolValue() ? "true" : "false"; break;
            case kq::Value::Type::Integer:
                out += value.isLargeUnsigned() ? std::to_string(value.unsignedIntegerValue())
                                               : std::to_string(value.integerValue());
                break;
            case kq::Value::Type::Real: appendReal(out, value.doubleValue()); break;
            case kq::Value::Type::String: appendJSONString(out, *value.asString()); break;
            case kq::Value::Type::Data: appendJSONString(out, kq::base64EncodedString(*value.asData())); break;
            case kq::Value::Type::Date: appendJSONString(out, iso8601(*value.asDate())); break;
            case kq::Value::Type::URL: appendJSONString(out, value.asURL()->absoluteString()); break;
            case kq::Value::Type::Array: writeArray(*value.asArray(), depth); break;
            case kq::Value::Type::Dictionary: writeDictionary(*value.asDictionary(), depth); break;
        }
    }

    std::string out;

private:
    void newline(int depth) {
        if (!pretty_) return;
        out += '\n';
        out.append(static_cast<std::size_t>(depth) * 2, ' ');
    }

    void writeArray(const kq::Array& array, int depth) {
        if (array.empty()) {
            out += "[]";
            return;
        }
        out += '[';
        for (std::size_t i = 0; i < array.size(); ++i) {
            if (i) out += ',';
            newline(depth + 1);
            write(array[i], depth + 1);
        }
        newline(depth);
        out += ']';
    }

    void writeDictionary(const kq::Dictionary& dictionary, int depth) {
        if (dictionary.empty()) {
            out += "{}";
            return;
        }
        out += '{';
        bool first = true;
        dictionary.forEach([&](const std::string& key, const kq::Value& value) {
            if (!first) out += ',';
            first = false;
            newline(depth + 1);
            appendJSONString(out, key);
            out += pretty_ ? ": " : ":";
            write(value, depth + 1);
        });
        newline(depth);
        out += '}';
    }

    bool pretty_;
};

}  // namespace

void appendJSONString(std::string& out, std::string_view text) {
    out += '"';
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        switch (c) {
            case '"': out += "\\\""; ++i; continue;
            case '\\': out += "\\\\"; ++i; continue;
            case '\b': out += "\\b"; ++i; continue;
            case '\f': out += "\\f"; ++i; continue;
            case '\n': out += "\\n"; ++i; continue;
            case '\r': out += "\\r"; ++i; continue;
            case '\t': out += "\\t"; ++i; continue;
            default: break;
        }
        if (c < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
            ++i;
            continue;
        }
        const std::size_t length = kq::lengthOfUTF8CharacterAt(text, i);
        if (length == 0) {
            out += "\xef\xbf\xbd";  // U+FFFD for a byte that is not UTF-8
            ++i;
            continue;
        }
        out.append(text.substr(i, length));
        i += length;
    }
    out += '"';
}

std::string iso8601(kq::Date date) {
    using namespace std::chrono;
    // A date read from a file may hold any double, NaN included.
    const double count = date.time_since_epoch().count();
    if (!std::isfinite(count) || std::abs(count) > 1e15) return "invalid date";
    const auto seconds = floor<std::chrono::seconds>(date);
    const auto milliseconds = duration_cast<std::chrono::milliseconds>(date - seconds).count();
    const auto time = static_cast<std::time_t>(seconds.time_since_epoch().count());
    std::tm parts{};
    if (!gmtime_r(&time, &parts)) return "invalid date";
    char text[48];
    std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
    if (milliseconds) length += static_cast<std::size_t>(std::snprintf(text + length, sizeof text - length, ".%03d", static_cast<int>(milliseconds)));
    std::snprintf(text + length, sizeof text - length, "Z");
    return text;
}

std::string toJSON(const kq::Value& value, JsonStyle style) {
    Writer writer(style);
    writer.write(value, 0);
    return std::move(writer.out);
}

void printJSON(const kq::Value& value) { std::printf("%s\n", toJSON(value).c_str()); }

}  // namespace kqu
