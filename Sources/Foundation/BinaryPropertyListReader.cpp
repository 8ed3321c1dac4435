// Reader of binary property lists ("bplist00"): a header, the objects, a table
// of object offsets and a 32-byte trailer. Every offset, length and object
// reference is checked against the data before it is followed.
#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Foundation/PropertyListCoding.h"
#include "Foundation/UnicodeText.h"
#include "KQFoundation/Foundation/PathUtilities.h"

namespace kq::plist {
namespace {

std::uint64_t bigEndian(const std::uint8_t* p, std::size_t n) {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < n; ++i) v = v << 8 | p[i];
    return v;
}

class BinaryReader {
public:
    explicit BinaryReader(std::string_view bytes)
        : p_(reinterpret_cast<const std::uint8_t*>(bytes.data())), size_(bytes.size()) {}

    std::optional<Value> read() {
        constexpr std::size_t kHeader = 8, kTrailer = 32;
        if (size_ < kHeader + kTrailer + 1 || std::memcmp(p_, "bplist00", kHeader) != 0) return std::nullopt;
        const std::uint8_t* trailer = p_ + size_ - kTrailer;
        offsetSize_ = trailer[6];
        refSize_ = trailer[7];
        const std::uint64_t count = bigEndian(trailer + 8, 8);
        const std::uint64_t top = bigEndian(trailer + 16, 8);
        const std::uint64_t tableOffset = bigEndian(trailer + 24, 8);
        const std::size_t tableEnd = size_ - kTrailer;
        if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8) return std::nullopt;
        if (tableOffset <= kHeader || tableOffset > tableEnd) return std::nullopt;
        if (count == 0 || top >= count || count > (tableEnd - tableOffset) / offsetSize_) return std::nullopt;
        objectsEnd_ = static_cast<std::size_t>(tableOffset);
        count_ = static_cast<std::size_t>(count);
        onPath_.assign(count_, false);
        // Shared references could expand a few hundred bytes into 2^40
        // values: count them all before building any.
        expanded_.assign(count_, 0);
        auto total = expandedCount(static_cast<std::size_t>(top), 0);
        if (!total || *total > PropertyList::kMaximumValueCount) return std::nullopt;
        return object(static_cast<std::size_t>(top), 0);
    }

private:
    /// True when `n` bytes from `pos` lie inside the object area.
    bool fits(std::size_t pos, std::uint64_t n) const { return pos <= objectsEnd_ && n <= objectsEnd_ - pos; }

    /// The count in a marker's low nibble, or in the integer that follows it.
    std::optional<std::uint64_t> length(std::uint8_t low, std::size_t& pos) const {
        if (low != 0xF) return low;
        if (!fits(pos, 1)) return std::nullopt;
        const std::uint8_t marker = p_[pos];
        if ((marker & 0xF0) != 0x10 || (marker & 0x0F) > 3) return std::nullopt;
        const std::size_t n = std::size_t{1} << (marker & 0x0F);
        if (!fits(pos + 1, n)) return std::nullopt;
        const std::uint64_t value = bigEndian(p_ + pos + 1, n);
        pos += 1 + n;
        return value;
    }

    /// Where the object starts, if its offset lies in the object area.
    std::optional<std::size_t> offsetOf(std::size_t index) const {
        if (index >= count_) return std::nullopt;
        const std::uint64_t offset = bigEndian(p_ + objectsEnd_ + index * offsetSize_, offsetSize_);
        if (offset < 8 || offset >= objectsEnd_) return std::nullopt;
        return static_cast<std::size_t>(offset);
    }

    struct References {
        std::size_t pos;
        std::uint64_t count;
    };

    /// An array's, set's or dictionary's references (keys, then values),
    /// checked to lie inside the object area; nullopt for a scalar.
    std::optional<References> references(std::size_t pos) const {
        const std::uint8_t kind = p_[pos] >> 4;
        if (kind != 0xA && kind != 0xC && kind != 0xD) return std::nullopt;
        ++pos;
        auto n = length(p_[pos - 1] & 0x0F, pos);
        if (!n || *n > objectsEnd_) return std::nullopt;
        const std::uint64_t count = *n * (kind == 0xD ? 2 : 1);
        if (!fits(pos, count * refSize_)) return std::nullopt;
        return References{pos, count};
    }

    std::size_t referenceAt(const References& refs, std::uint64_t i) const {
        return static_cast<std::size_t>(bigEndian(p_ + refs.pos + i * refSize_, refSize_));
    }

    /// The number of values the object becomes, every reference counted
    /// (saturating past the limit); nullopt for a cycle or too deep nesting.
    std::optional<std::uint64_t> expandedCount(std::size_t index, std::size_t depth) {
        auto pos = offsetOf(index);
        if (!pos) return std::nullopt;
        if (expanded_[index] != 0) return expanded_[index];
        const std::uint8_t kind = p_[*pos] >> 4;
        std::uint64_t total = 1;
        if (kind == 0xA || kind == 0xC || kind == 0xD) {
            auto refs = references(*pos);
            if (!refs || depth + 1 > PropertyList::kMaximumDepth || onPath_[index]) return std::nullopt;
            onPath_[index] = true;
            for (std::uint64_t i = 0; i < refs->count && total <= PropertyList::kMaximumValueCount; ++i) {
                auto child = expandedCount(referenceAt(*refs, i), depth + 1);
                if (!child) return std::nullopt;
                total += *child;
            }
            onPath_[index] = false;
        }
        expanded_[index] = total;
        return total;
    }

    std::optional<Value> object(std::size_t index, std::size_t depth) {
        auto start = offsetOf(index);
        if (!start) return std::nullopt;
        std::size_t pos = *start;
        const std::uint8_t marker = p_[pos++];
        const std::uint8_t low = marker & 0x0F;
        switch (marker >> 4) {
            case 0x0:
                if (!budget_.take()) return std::nullopt;
                if (marker == 0x08 || marker == 0x09) return Value(marker == 0x09);
                if (marker == 0x00 || marker == 0x0F) return Value();  // null, fill
                return std::nullopt;
            case 0x1: return integer(low, pos);
            case 0x2: {
                if ((low != 2 && low != 3) || !fits(pos, std::size_t{1} << low) || !budget_.take()) return std::nullopt;
                if (low == 2) return Value(static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(p_ + pos, 4)))));
                return Value(std::bit_cast<double>(bigEndian(p_ + pos, 8)));
            }
            case 0x3:
                if (marker != 0x33 || !fits(pos, 8) || !budget_.take()) return std::nullopt;
                return Value::dateWithTimeIntervalSinceReferenceDate(std::bit_cast<double>(bigEndian(p_ + pos, 8)));
            case 0x4:
            case 0x5:
            case 0x7: {
                auto n = length(low, pos);
                if (!n || !fits(pos, *n) || !budget_.take(*n)) return std::nullopt;
                const auto* begin = p_ + pos;
                if (marker >> 4 == 0x4) return Value(Data(begin, begin + *n));
                std::string text(reinterpret_cast<const char*>(begin), static_cast<std::size_t>(*n));
                if (marker >> 4 == 0x7) return isValidUTF8(text) ? std::optional(Value(std::move(text))) : std::nullopt;
                if (isASCII(text)) return Value(std::move(text));
                // Bytes above 0x7F in an "ASCII" string are read as Latin-1.
                std::string widened;
                for (unsigned char c : text) appendUTF8(widened, c);
                return Value(std::move(widened));
            }
            case 0x6: {
                auto n = length(low, pos);
                if (!n || *n > objectsEnd_ / 2 || !fits(pos, *n * 2) || !budget_.take(*n * 3)) return std::nullopt;
                std::u16string units(static_cast<std::size_t>(*n), u'\0');
                for (std::size_t i = 0; i < units.size(); ++i)
                    units[i] = static_cast<char16_t>(bigEndian(p_ + pos + 2 * i, 2));
                auto text = utf8FromUTF16(units);
                if (!text) return std::nullopt;
                return Value(std::move(*text));
            }
            case 0x8: {
                if (!fits(pos, low + 1u) || !budget_.take()) return std::nullopt;
                return Value(Dictionary{{"CF$UID", Value(static_cast<unsigned long long>(bigEndian(p_ + pos, low + 1u)))}});
            }
            case 0xA:
            case 0xC:  // a set reads as an array
            case 0xD: return container(index, marker >> 4 == 0xD, pos - 1, depth);
            default: return std::nullopt;
        }
    }

    std::optional<Value> integer(std::uint8_t low, std::size_t pos) {
        if (low > 4 || !fits(pos, std::size_t{1} << low) || !budget_.take()) return std::nullopt;
        const std::size_t n = std::size_t{1} << low;
        if (n <= 4) return Value(static_cast<long long>(bigEndian(p_ + pos, n)));
        if (n == 8) return Value(static_cast<long long>(bigEndian(p_ + pos, 8)));
        // 16 bytes: a signed 128-bit integer; everything from -2^63 to 2^64-1 is kept.
        const std::uint64_t high = bigEndian(p_ + pos, 8), lowPart = bigEndian(p_ + pos + 8, 8);
        if (high == 0) return Value(static_cast<unsigned long long>(lowPart));
        if (high == ~std::uint64_t{0} && (lowPart >> 63) != 0) return Value(static_cast<long long>(lowPart));
        return std::nullopt;
    }

    std::optional<Value> container(std::size_t index, bool isDictionary, std::size_t pos, std::size_t depth) {
        auto refs = references(pos);
        if (!refs || !budget_.take()) return std::nullopt;
        if (depth + 1 > PropertyList::kMaximumDepth || onPath_[index]) return std::nullopt;  // too deep, or a cycle
        onPath_[index] = true;
        std::optional<Value> result;
        if (isDictionary) {
            const std::uint64_t n = refs->count / 2;
            Dictionary dictionary;
            std::uint64_t i = 0;
            for (; i < n; ++i) {
                auto key = object(referenceAt(*refs, i), depth + 1);
                if (!key || !key->isString()) break;
                auto value = object(referenceAt(*refs, n + i), depth + 1);
                if (!value) break;
                dictionary.setObject(*key->asString(), std::move(*value));
            }
            if (i == n) result = Value(std::move(dictionary));
        } else {
            Array array;
            std::uint64_t i = 0;
            for (; i < refs->count; ++i) {
                auto element = object(referenceAt(*refs, i), depth + 1);
                if (!element) break;
                array.push_back(std::move(*element));
            }
            if (i == refs->count) result = Value(std::move(array));
        }
        onPath_[index] = false;
        return result;
    }

    const std::uint8_t* p_;
    std::size_t size_;
    std::size_t objectsEnd_ = 0;
    std::size_t count_ = 0;
    std::size_t offsetSize_ = 0;
    std::size_t refSize_ = 0;
    std::vector<bool> onPath_;
    std::vector<std::uint64_t> expanded_;
    Budget budget_;
};

}  // namespace

std::optional<Value> readBinary(std::string_view bytes) { return BinaryReader(bytes).read(); }

}  // namespace kq::plist
