// Writer of XML property lists in the platform's usual form: declaration,
// DOCTYPE, <plist version="1.0">, tab indentation.
#include <charconv>
#include <cmath>

#include "Foundation/PropertyListCoding.h"
#include "KQFoundation/Foundation/Base64.h"
#include "Foundation/UnicodeText.h"
#include "KQFoundation/Foundation/PathUtilities.h"

namespace kq::plist {
namespace {

class XMLWriter {
public:
    std::optional<Data> write(const Value& root) {
        out_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
               "<plist version=\"1.0\">\n";
        if (root.isNull() || !value(root, 0)) return std::nullopt;
        out_ += "</plist>\n";
        return Data(out_.begin(), out_.end());
    }

private:
    void indent(std::size_t depth) { out_.append(depth, '\t'); }

    /// Escaped text; false for what XML 1.0 cannot carry (most control
    /// characters, U+FFFE, U+FFFF) and for text that is not UTF-8.
    bool escaped(std::string_view text) {
        if (!isValidUTF8(text)) return false;
        for (std::size_t i = 0; i < text.size();) {
            const UTF8Sequence sequence = decodeUTF8(text, i);
            const char32_t c = sequence.codePoint;
            if ((c < 0x20 && c != '\t' && c != '\n' && c != '\r') || c == 0xFFFE || c == 0xFFFF) return false;
            switch (c) {
                case '<': out_ += "&lt;"; break;
                case '>': out_ += "&gt;"; break;
                case '&': out_ += "&amp;"; break;
                case '\r': out_ += "&#13;"; break;  // a literal one would read back as \n
                default: out_.append(text.substr(i, sequence.length));
            }
            i += sequence.length;
        }
        return true;
    }

    bool element(const char* name, std::string_view text, std::size_t depth, bool escape = true) {
        indent(depth);
        out_ += '<';
        out_ += name;
        out_ += '>';
        if (escape) {
            if (!escaped(text)) return false;
        } else {
            out_ += text;
        }
        out_ += "</";
        out_ += name;
        out_ += ">\n";
        return true;
    }

    bool value(const Value& v, std::size_t depth) {
        if (depth >= PropertyList::kMaximumDepth) return false;
        switch (v.type()) {
            case Value::Type::Null: return false;
            case Value::Type::Bool:
                indent(depth);
                out_ += v.boolValue() ? "<true/>\n" : "<false/>\n";
                return true;
            case Value::Type::Integer:
                return element("integer", v.isLargeUnsigned() ? std::to_string(v.unsignedIntegerValue())
                                                               : std::to_string(v.integerValue()), depth, false);
            case Value::Type::Real: {
                const double d = v.doubleValue();
                if (std::isnan(d)) return element("real", "nan", depth, false);
                if (std::isinf(d)) return element("real", d > 0 ? "+infinity" : "-infinity", depth, false);
                char text[32];
                auto [end, error] = std::to_chars(text, text + sizeof text, d);
                return error == std::errc() && element("real", std::string_view(text, static_cast<std::size_t>(end - text)), depth, false);
            }
            case Value::Type::Date: {
                const std::string text = formatISO8601(*v.timeIntervalSinceReferenceDate());
                return !text.empty() && element("date", text, depth, false);
            }
            case Value::Type::Data: return element("data", base64EncodedString(*v.asData()), depth, false);
            case Value::Type::String: return element("string", *v.asString(), depth);
            case Value::Type::URL: return element("string", v.asURL()->absoluteString(), depth);
            case Value::Type::Array: {
                const Array& array = *v.asArray();
                indent(depth);
                out_ += "<array>\n";
                for (const Value& element : array)
                    if (!element.isNull() && !value(element, depth + 1)) return false;
                indent(depth);
                out_ += "</array>\n";
                return true;
            }
            case Value::Type::Dictionary: {
                const Dictionary& dictionary = *v.asDictionary();
                indent(depth);
                out_ += "<dict>\n";
                for (std::size_t i = 0; i < dictionary.size(); ++i) {
                    if (dictionary.values()[i].isNull()) continue;
                    if (!element("key", dictionary.keys()[i], depth + 1) || !value(dictionary.values()[i], depth + 1))
                        return false;
                }
                indent(depth);
                out_ += "</dict>\n";
                return true;
            }
        }
        return false;
    }

    std::string out_;
};

}  // namespace

std::optional<Data> writeXML(const Value& value) { return XMLWriter().write(value); }

}  // namespace kq::plist
