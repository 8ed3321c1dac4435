#include "KQFoundation/Foundation/Value.h"

#include <cmath>
#include <cstring>
#include <functional>

namespace kq {

namespace {
// Small dictionaries (most Info.plist and filter dictionaries) are faster to
// search linearly than to index.
constexpr std::size_t kIndexThreshold = 16;

std::size_t combine(std::size_t seed, std::size_t h) {
    return seed ^ (h + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2));
}
}  // namespace

// ---- Dictionary -----------------------------------------------------------

Dictionary::Dictionary(std::initializer_list<std::pair<std::string, Value>> entries) {
    for (const auto& [key, value] : entries) setObject(key, value);
}

Dictionary::Dictionary(const Dictionary& other) : keys_(other.keys_), values_(other.values_) {
    if (other.index_) rebuildIndex();
}

Dictionary& Dictionary::operator=(const Dictionary& other) {
    if (this != &other) {
        keys_ = other.keys_;
        values_ = other.values_;
        index_.reset();
        if (other.index_) rebuildIndex();
    }
    return *this;
}

Dictionary::~Dictionary() = default;

void Dictionary::rebuildIndex() {
    index_ = std::make_unique<std::unordered_map<std::string, std::size_t>>();
    index_->reserve(keys_.size());
    for (std::size_t i = 0; i < keys_.size(); ++i) index_->emplace(keys_[i], i);
}

std::ptrdiff_t Dictionary::find(std::string_view key) const {
    if (index_) {
        auto it = index_->find(std::string(key));
        return it == index_->end() ? -1 : static_cast<std::ptrdiff_t>(it->second);
    }
    for (std::size_t i = 0; i < keys_.size(); ++i)
        if (keys_[i] == key) return static_cast<std::ptrdiff_t>(i);
    return -1;
}

const Value* Dictionary::objectForKey(std::string_view key) const {
    const auto i = find(key);
    return i < 0 ? nullptr : &values_[static_cast<std::size_t>(i)];
}

Value* Dictionary::objectForKey(std::string_view key) {
    const auto i = find(key);
    return i < 0 ? nullptr : &values_[static_cast<std::size_t>(i)];
}

void Dictionary::setObject(std::string_view key, Value value) {
    if (Value* existing = objectForKey(key)) {
        *existing = std::move(value);
        return;
    }
    keys_.emplace_back(key);
    values_.push_back(std::move(value));
    if (index_) {
        index_->emplace(keys_.back(), keys_.size() - 1);
    } else if (keys_.size() > kIndexThreshold) {
        rebuildIndex();
    }
}

bool Dictionary::removeObjectForKey(std::string_view key) {
    const auto i = find(key);
    if (i < 0) return false;
    keys_.erase(keys_.begin() + i);
    values_.erase(values_.begin() + i);
    if (index_) rebuildIndex();
    return true;
}

Value& Dictionary::operator[](std::string_view key) {
    if (Value* existing = objectForKey(key)) return *existing;
    setObject(key, Value());
    return values_.back();
}

bool operator==(const Dictionary& a, const Dictionary& b) {
    if (a.size() != b.size()) return false;
    // Equal dictionaries hold the same pairs; their insertion order may differ.
    for (std::size_t i = 0; i < a.keys_.size(); ++i) {
        const Value* other = b.objectForKey(a.keys_[i]);
        if (!other || !(*other == a.values_[i])) return false;
    }
    return true;
}

// ---- Value -----------------------------------------------------------------

Value::Value(unsigned long long i) {
    if (i > static_cast<unsigned long long>(INT64_MAX))
        v_ = LargeUnsigned{i};
    else
        v_ = static_cast<std::int64_t>(i);
}

Value::Value(kq::Date d) : v_(StoredDate{d, kq::timeIntervalSinceReferenceDate(d)}) {}

Value Value::dateWithTimeIntervalSinceReferenceDate(double seconds) {
    Value v;
    v.v_ = StoredDate{kq::dateWithTimeIntervalSinceReferenceDate(seconds), seconds};
    return v;
}

std::optional<double> Value::timeIntervalSinceReferenceDate() const {
    const StoredDate* stored = std::get_if<StoredDate>(&v_);
    return stored ? std::optional(stored->sinceReferenceDate) : std::nullopt;
}

std::uint64_t Value::unsignedIntegerValue() const {
    if (const LargeUnsigned* large = std::get_if<LargeUnsigned>(&v_)) return large->value;
    return static_cast<std::uint64_t>(integerValue());
}

bool Value::boolValue() const {
    switch (type()) {
        case Type::Bool: return std::get<bool>(v_);
        case Type::Integer: return isLargeUnsigned() || std::get<std::int64_t>(v_) != 0;
        case Type::Real: return std::get<double>(v_) != 0.0;
        default: return false;
    }
}

std::int64_t Value::integerValue() const {
    switch (type()) {
        case Type::Bool: return std::get<bool>(v_) ? 1 : 0;
        case Type::Integer: return isLargeUnsigned() ? INT64_MAX : std::get<std::int64_t>(v_);
        case Type::Real: {
            const double d = std::get<double>(v_);
            if (std::isnan(d)) return 0;
            if (d >= 9.2233720368547758e18) return INT64_MAX;
            if (d <= -9.2233720368547758e18) return INT64_MIN;
            return static_cast<std::int64_t>(d);
        }
        default: return 0;
    }
}

double Value::doubleValue() const {
    switch (type()) {
        case Type::Bool: return std::get<bool>(v_) ? 1.0 : 0.0;
        case Type::Integer:
            return isLargeUnsigned() ? static_cast<double>(std::get<LargeUnsigned>(v_).value)
                                     : static_cast<double>(std::get<std::int64_t>(v_));
        case Type::Real: return std::get<double>(v_);
        default: return 0.0;
    }
}

bool operator==(const Value& a, const Value& b) {
    if (a.isNumber() && b.isNumber()) {
        if (a.isReal() || b.isReal()) return a.doubleValue() == b.doubleValue();
        if (a.isLargeUnsigned() || b.isLargeUnsigned()) return a.v_ == b.v_;
        return a.integerValue() == b.integerValue();
    }
    return a.v_ == b.v_;
}

std::size_t Value::hash() const {
    switch (type()) {
        case Type::Null: return 0x5a5a;
        case Type::Bool:
        case Type::Integer:
        case Type::Real: {
            // Numbers equal across kinds must hash alike: hash integral values as integers.
            const double d = doubleValue();
            if (isLargeUnsigned() || (isReal() && (std::trunc(d) != d || std::abs(d) >= 9.2e18)))
                return std::hash<double>()(d);
            return std::hash<std::int64_t>()(integerValue());
        }
        case Type::String: return std::hash<std::string>()(std::get<std::string>(v_));
        case Type::Data: {
            const auto& d = std::get<kq::Data>(v_);
            return std::hash<std::string_view>()(
                std::string_view(reinterpret_cast<const char*>(d.data()), d.size()));
        }
        case Type::Date: return std::hash<double>()(std::get<StoredDate>(v_).sinceReferenceDate);
        case Type::URL: return std::get<kq::URL>(v_).hash();
        case Type::Array: {
            std::size_t h = 0xa11a7;
            for (const Value& e : std::get<kq::Array>(v_)) h = combine(h, e.hash());
            return h;
        }
        case Type::Dictionary: return std::hash<kq::Dictionary>()(std::get<kq::Dictionary>(v_));
    }
    return 0;
}

double timeIntervalSinceReferenceDate(Date d) {
    // 2001-01-01T00:00:00Z is 978307200 seconds after the Unix epoch.
    return std::chrono::duration<double>(d.time_since_epoch()).count() - 978307200.0;
}

Date dateWithTimeIntervalSinceReferenceDate(double seconds) {
    return Date(Date::duration(seconds + 978307200.0));
}

}  // namespace kq

std::size_t std::hash<kq::Dictionary>::operator()(const kq::Dictionary& d) const {
    // Order-independent, like equality.
    std::size_t h = d.size();
    d.forEach([&h](const std::string& key, const kq::Value& value) {
        h += std::hash<std::string>()(key) * 31 + value.hash();
    });
    return h;
}
