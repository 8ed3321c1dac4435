// Writer of binary property lists. Equal strings, numbers, dates and data are
// stored once; offsets and object references take the fewest bytes that hold
// them.
#include <bit>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "Foundation/PropertyListCoding.h"
#include "Foundation/UnicodeText.h"

namespace kq::plist {
namespace {

void appendBigEndian(std::string& out, std::uint64_t v, std::size_t n) {
    for (std::size_t i = n; i-- > 0;) out += static_cast<char>((v >> (8 * i)) & 0xFF);
}

std::size_t bytesFor(std::uint64_t v) {
    if (v <= 0xFF) return 1;
    if (v <= 0xFFFF) return 2;
    if (v <= 0xFFFFFFFF) return 4;
    return 8;
}

void appendInteger(std::string& out, std::uint64_t v) {
    const std::size_t n = bytesFor(v);
    out += static_cast<char>(0x10 | std::countr_zero(n));
    appendBigEndian(out, v, n);
}

/// A marker with its count: in the low nibble, or as an integer after it.
void appendHeader(std::string& out, std::uint8_t kind, std::uint64_t count) {
    if (count < 15) {
        out += static_cast<char>(kind << 4 | count);
    } else {
        out += static_cast<char>(kind << 4 | 0xF);
        appendInteger(out, count);
    }
}

class BinaryWriter {
public:
    std::optional<Data> write(const Value& root) {
        if (root.isNull() || !add(root, 0)) return std::nullopt;
        const std::size_t refSize = bytesFor(objects_.size() - 1);
        std::string out = "bplist00";
        std::vector<std::uint64_t> offsets;
        offsets.reserve(objects_.size());
        for (const Object& object : objects_) {
            offsets.push_back(out.size());
            out += object.bytes;
            for (std::uint64_t ref : object.refs) appendBigEndian(out, ref, refSize);
        }
        const std::uint64_t tableOffset = out.size();
        const std::size_t offsetSize = bytesFor(offsets.back());
        for (std::uint64_t offset : offsets) appendBigEndian(out, offset, offsetSize);
        out.append(6, '\0');
        out += static_cast<char>(offsetSize);
        out += static_cast<char>(refSize);
        appendBigEndian(out, objects_.size(), 8);
        appendBigEndian(out, 0, 8);  // the root is the first object
        appendBigEndian(out, tableOffset, 8);
        return Data(out.begin(), out.end());
    }

private:
    struct Object {
        std::string bytes;               // a scalar whole, or a container's marker
        std::vector<std::uint64_t> refs;  // a container's references
    };

    /// Adds the value (and what it holds) and gives its object number.
    std::optional<std::uint64_t> add(const Value& v, std::size_t depth) {
        if (auto uid = PropertyList::UIDValue(v)) {
            // A keyed archive's reference: its own marker, not a dictionary.
            std::string bytes;
            const std::size_t n = bytesFor(*uid);
            bytes += static_cast<char>(0x80 | (n - 1));
            appendBigEndian(bytes, *uid, n);
            return unique(std::move(bytes));
        }
        if (v.isArray() || v.isDictionary()) {
            if (depth >= PropertyList::kMaximumDepth) return std::nullopt;
            const std::uint64_t number = objects_.size();
            objects_.emplace_back();
            std::vector<std::uint64_t> refs;
            if (const Array* array = v.asArray()) {
                for (const Value& element : *array) {
                    if (element.isNull()) continue;
                    auto ref = add(element, depth + 1);
                    if (!ref) return std::nullopt;
                    refs.push_back(*ref);
                }
                appendHeader(objects_[number].bytes, 0xA, refs.size());
            } else {
                const Dictionary& dictionary = *v.asDictionary();
                std::vector<std::uint64_t> values;
                for (std::size_t i = 0; i < dictionary.size(); ++i) {
                    if (dictionary.values()[i].isNull()) continue;
                    auto key = add(Value(dictionary.keys()[i]), depth + 1);
                    auto value = key ? add(dictionary.values()[i], depth + 1) : std::nullopt;
                    if (!value) return std::nullopt;
                    refs.push_back(*key);
                    values.push_back(*value);
                }
                appendHeader(objects_[number].bytes, 0xD, refs.size());
                refs.insert(refs.end(), values.begin(), values.end());
            }
            objects_[number].refs = std::move(refs);
            return number;
        }
        auto bytes = scalar(v);
        if (!bytes) return std::nullopt;
        return unique(std::move(*bytes));
    }

    /// The number of the scalar with these bytes, stored once.
    std::uint64_t unique(std::string bytes) {
        auto [it, added] = unique_.try_emplace(bytes, objects_.size());
        if (added) objects_.push_back({std::move(bytes), {}});
        return it->second;
    }

    static std::optional<std::string> scalar(const Value& v) {
        std::string out;
        switch (v.type()) {
            case Value::Type::Bool: out += v.boolValue() ? '\x09' : '\x08'; break;
            case Value::Type::Integer:
                if (v.isLargeUnsigned()) {
                    out += '\x14';  // 16 bytes, as a signed 128-bit integer
                    appendBigEndian(out, 0, 8);
                    appendBigEndian(out, v.unsignedIntegerValue(), 8);
                } else if (v.integerValue() < 0) {
                    out += '\x13';
                    appendBigEndian(out, v.unsignedIntegerValue(), 8);
                } else {
                    appendInteger(out, v.unsignedIntegerValue());
                }
                break;
            case Value::Type::Real:
                out += '\x23';
                appendBigEndian(out, std::bit_cast<std::uint64_t>(v.doubleValue()), 8);
                break;
            case Value::Type::Date:
                out += '\x33';
                appendBigEndian(out, std::bit_cast<std::uint64_t>(*v.timeIntervalSinceReferenceDate()), 8);
                break;
            case Value::Type::Data:
                appendHeader(out, 0x4, v.asData()->size());
                out.append(v.asData()->begin(), v.asData()->end());
                break;
            case Value::Type::String:
            case Value::Type::URL: {
                const std::string text = v.isURL() ? v.asURL()->absoluteString() : *v.asString();
                if (isASCII(text)) {
                    appendHeader(out, 0x5, text.size());
                    out += text;
                    break;
                }
                auto units = utf16FromUTF8(text);
                if (!units) return std::nullopt;
                appendHeader(out, 0x6, units->size());
                for (char16_t unit : *units) appendBigEndian(out, unit, 2);
                break;
            }
            default: return std::nullopt;
        }
        return out;
    }

    std::vector<Object> objects_;
    std::unordered_map<std::string, std::uint64_t> unique_;
};

}  // namespace

std::optional<Data> writeBinary(const Value& value) { return BinaryWriter().write(value); }

}  // namespace kq::plist
