// Keyed archives: an object graph flattened into "$objects" with UID
// references, written and read as a property list.
#include "KQFoundation/Foundation/KeyedArchiver.h"

#include <algorithm>

#include "KQFoundation/Foundation/PropertyList.h"

namespace kq {

namespace {

constexpr std::int64_t kArchiveVersion = 100000;
constexpr const char* kArchiverName = "NSKeyedArchiver";

/// The platform classes plain values are archived as.
const std::vector<std::string> kArrayClasses{"NSArray", "NSObject"};
const std::vector<std::string> kDictionaryClasses{"NSDictionary", "NSObject"};
const std::vector<std::string> kURLClasses{"NSURL", "NSObject"};
const std::vector<std::string> kDateClasses{"NSDate", "NSObject"};

// Typed look-ups (the dictionary category lives in a higher layer).
const std::string* stringFor(const Dictionary& d, std::string_view key) {
    const Value* v = d.objectForKey(key);
    return v ? v->asString() : nullptr;
}
const Array* arrayFor(const Dictionary& d, std::string_view key) {
    const Value* v = d.objectForKey(key);
    return v ? v->asArray() : nullptr;
}
const Value* numberFor(const Dictionary& d, std::string_view key) {
    const Value* v = d.objectForKey(key);
    return v && v->isNumber() ? v : nullptr;
}

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

// ---- KeyedArchiver ----------------------------------------------------------

Data KeyedArchiver::archivedDataWithRootObject(const Value& root) {
    if (root.isNull()) return {};
    KeyedArchiver archiver;
    archiver.encodeObject("root", root);
    return archiver.encodedData();
}

Data KeyedArchiver::archivedDataWithRootObject(const std::vector<std::string>& classes, const Encoder& encode) {
    KeyedArchiver archiver;
    archiver.encodeObject("root", classes, encode);
    return archiver.encodedData();
}

void KeyedArchiver::encodeObject(std::string_view key, const Value& value) {
    current_.setObject(key, PropertyList::UID(add(value, 0)));
}

void KeyedArchiver::encodeObject(std::string_view key, const std::vector<std::string>& classes,
                                 const Encoder& encode) {
    current_.setObject(key, PropertyList::UID(addObject(classes, encode)));
}

void KeyedArchiver::encodeInteger(std::string_view key, std::int64_t value) {
    current_.setObject(key, Value(static_cast<long long>(value)));
}

void KeyedArchiver::encodeBool(std::string_view key, bool value) { current_.setObject(key, Value(value)); }

void KeyedArchiver::encodeDouble(std::string_view key, double value) { current_.setObject(key, Value(value)); }

Data KeyedArchiver::encodedData() const {
    if (failed_ || objects_.size() > UINT32_MAX) return {};
    const Dictionary archive{{"$version", Value(static_cast<long long>(kArchiveVersion))},
                             {"$archiver", kArchiverName},
                             {"$top", current_},
                             {"$objects", objects_}};
    return PropertyList::write(Value(archive), PropertyListFormat::Binary);
}

std::uint32_t KeyedArchiver::reserve() {
    objects_.emplace_back();
    return static_cast<std::uint32_t>(objects_.size() - 1);
}

std::uint32_t KeyedArchiver::classReference(const std::vector<std::string>& classes) {
    const std::string name = classes.empty() ? std::string("NSObject") : classes.front();
    if (auto it = classes_.find(name); it != classes_.end()) return it->second;
    Array names(classes.begin(), classes.end());
    if (names.empty()) names.emplace_back(name);
    const std::uint32_t reference = reserve();
    objects_[reference] = Dictionary{{"$classname", name}, {"$classes", std::move(names)}};
    classes_.emplace(name, reference);
    return reference;
}

std::uint32_t KeyedArchiver::addObject(const std::vector<std::string>& classes, const Encoder& encode) {
    const std::uint32_t reference = reserve();
    Dictionary outer;
    std::swap(outer, current_);
    encode(*this);
    Dictionary keys;
    std::swap(keys, current_);
    std::swap(outer, current_);
    keys.setObject("$class", PropertyList::UID(classReference(classes)));
    objects_[reference] = std::move(keys);
    return reference;
}

std::uint32_t KeyedArchiver::add(const Value& value, std::size_t depth) {
    if (value.isNull()) return 0;
    if (depth >= KeyedUnarchiver::kMaximumDepth) {
        failed_ = true;  // it could not be read back
        return 0;
    }
    switch (value.type()) {
        case Value::Type::Array:
            return addObject(kArrayClasses, [&](KeyedArchiver& archiver) {
                Array references;
                for (const Value& element : *value.asArray())
                    references.push_back(PropertyList::UID(archiver.add(element, depth + 1)));
                archiver.current_.setObject("NS.objects", std::move(references));
            });
        case Value::Type::Dictionary:
            return addObject(kDictionaryClasses, [&](KeyedArchiver& archiver) {
                Array keys, objects;
                value.asDictionary()->forEach([&](const std::string& key, const Value& element) {
                    keys.push_back(PropertyList::UID(archiver.add(Value(key), depth + 1)));
                    objects.push_back(PropertyList::UID(archiver.add(element, depth + 1)));
                });
                archiver.current_.setObject("NS.keys", std::move(keys));
                archiver.current_.setObject("NS.objects", std::move(objects));
            });
        case Value::Type::URL:
            return addObject(kURLClasses, [&](KeyedArchiver& archiver) {
                archiver.current_.setObject("NS.base", PropertyList::UID(0));
                archiver.encodeObject("NS.relative", Value(value.asURL()->absoluteString()));
            });
        case Value::Type::Date:
            return addObject(kDateClasses, [&](KeyedArchiver& archiver) {
                archiver.encodeDouble("NS.time", *value.timeIntervalSinceReferenceDate());
            });
        default: {
            // Strings, numbers and data stand inline.
            const std::uint32_t reference = reserve();
            objects_[reference] = value;
            return reference;
        }
    }
}

// ---- KeyedUnarchiver --------------------------------------------------------

struct KeyedUnarchiver::Archive {
    Array objects;
    Dictionary top;
    std::size_t decoded = 0;  // values built so far, against shared-reference blow-up
};

KeyedUnarchiver::KeyedUnarchiver(std::shared_ptr<Archive> archive, const Dictionary* keys,
                                 std::vector<std::uint32_t> path)
    : archive_(std::move(archive)), keys_(keys), path_(std::move(path)) {}

std::optional<KeyedUnarchiver> KeyedUnarchiver::unarchiverWithData(const Data& data) {
    auto plist = PropertyList::read(data);
    Dictionary* root = plist ? plist->asDictionary() : nullptr;
    if (!root) return std::nullopt;
    const std::string* archiver = stringFor(*root, "$archiver");
    const Value* version = root->objectForKey("$version");
    Value* objects = root->objectForKey("$objects");
    Value* top = root->objectForKey("$top");
    if (!archiver || *archiver != kArchiverName || !version || !version->isInteger() || !objects ||
        !objects->isArray() || objects->asArray()->empty() || !top || !top->isDictionary())
        return std::nullopt;
    auto archive = std::make_shared<Archive>();
    archive->objects = std::move(*objects->asArray());
    archive->top = std::move(*top->asDictionary());
    const Dictionary* keys = &archive->top;
    return KeyedUnarchiver(std::move(archive), keys, {});
}

std::optional<Value> KeyedUnarchiver::unarchiveObjectWithData(const Data& data) {
    auto unarchiver = unarchiverWithData(data);
    if (!unarchiver) return std::nullopt;
    return unarchiver->decodeObject("root");
}

bool KeyedUnarchiver::containsValueForKey(std::string_view key) const { return keys_->contains(key); }

std::optional<Value> KeyedUnarchiver::decodeObject(std::string_view key) const {
    const Value* value = keys_->objectForKey(key);
    auto reference = value ? PropertyList::UIDValue(*value) : std::nullopt;
    if (!reference) return std::nullopt;
    std::vector<std::uint32_t> path = path_;
    return decodeValue(*reference, path_.size(), path);
}

std::int64_t KeyedUnarchiver::decodeInteger(std::string_view key) const {
    const Value* value = numberFor(*keys_, key);
    return value ? value->integerValue() : 0;
}

bool KeyedUnarchiver::decodeBool(std::string_view key) const {
    const Value* value = numberFor(*keys_, key);
    return value && value->boolValue();
}

double KeyedUnarchiver::decodeDouble(std::string_view key) const {
    const Value* value = numberFor(*keys_, key);
    return value ? value->doubleValue() : 0.0;
}

namespace {

/// The object's class dictionary ({"$classname", "$classes"}), if it is an object of a class.
const Dictionary* classOf(const Array& objects, const Value& object) {
    const Dictionary* keys = object.asDictionary();
    const Value* classValue = keys ? keys->objectForKey("$class") : nullptr;
    auto reference = classValue ? PropertyList::UIDValue(*classValue) : std::nullopt;
    if (!reference || *reference >= objects.size()) return nullptr;
    const Dictionary* description = objects[*reference].asDictionary();
    if (!description || !stringFor(*description, "$classname")) return nullptr;
    return description;
}

}  // namespace

std::optional<std::string> KeyedUnarchiver::classNameForKey(std::string_view key) const {
    const Value* value = keys_->objectForKey(key);
    auto reference = value ? PropertyList::UIDValue(*value) : std::nullopt;
    if (!reference || *reference >= archive_->objects.size()) return std::nullopt;
    const Dictionary* description = classOf(archive_->objects, archive_->objects[*reference]);
    if (!description) return std::nullopt;
    return *stringFor(*description, "$classname");
}

std::optional<KeyedUnarchiver> KeyedUnarchiver::nestedUnarchiver(std::string_view key,
                                                                 std::string_view className) const {
    const Value* value = keys_->objectForKey(key);
    auto reference = value ? PropertyList::UIDValue(*value) : std::nullopt;
    if (!reference || *reference == 0 || *reference >= archive_->objects.size()) return std::nullopt;
    if (path_.size() + 1 > kMaximumDepth || std::find(path_.begin(), path_.end(), *reference) != path_.end())
        return std::nullopt;
    const Value& object = archive_->objects[*reference];
    const Dictionary* description = classOf(archive_->objects, object);
    if (!description) return std::nullopt;
    bool matches = *stringFor(*description, "$classname") == className;
    if (const Array* classes = arrayFor(*description, "$classes"))
        for (const Value& name : *classes) matches = matches || (name.isString() && *name.asString() == className);
    if (!matches) return std::nullopt;
    std::vector<std::uint32_t> path = path_;
    path.push_back(*reference);
    return KeyedUnarchiver(archive_, object.asDictionary(), std::move(path));
}

std::optional<Value> KeyedUnarchiver::decodeValue(std::uint32_t reference, std::size_t depth,
                                                  std::vector<std::uint32_t>& path) const {
    const Array& objects = archive_->objects;
    if (reference >= objects.size() || ++archive_->decoded > PropertyList::kMaximumValueCount) return std::nullopt;
    if (reference == 0) return Value();
    const Value& object = objects[reference];
    if (!object.isArray() && !object.isDictionary()) return object;  // inline string, number, data
    const Dictionary* description = classOf(objects, object);
    if (!description || depth + 1 > kMaximumDepth ||
        std::find(path.begin(), path.end(), reference) != path.end())
        return std::nullopt;
    const Dictionary& keys = *object.asDictionary();
    const std::string& name = *stringFor(*description, "$classname");

    path.push_back(reference);
    // The references of a list under `key`, each decoded; nullopt if any fails.
    auto decodeList = [&](std::string_view key) -> std::optional<Array> {
        const Array* references = arrayFor(keys, key);
        if (!references) return std::nullopt;
        Array out;
        for (const Value& element : *references) {
            auto elementReference = PropertyList::UIDValue(element);
            auto decoded = elementReference ? decodeValue(*elementReference, depth + 1, path) : std::nullopt;
            if (!decoded) return std::nullopt;
            out.push_back(std::move(*decoded));
        }
        return out;
    };
    auto decodeKey = [&](std::string_view key) -> std::optional<Value> {
        const Value* value = keys.objectForKey(key);
        auto keyReference = value ? PropertyList::UIDValue(*value) : std::nullopt;
        return keyReference ? decodeValue(*keyReference, depth + 1, path) : std::nullopt;
    };

    std::optional<Value> result;
    if (isOneOf(name, {"NSArray", "NSMutableArray", "NSSet", "NSMutableSet", "NSOrderedSet", "NSMutableOrderedSet"})) {
        if (auto list = decodeList("NS.objects")) result = Value(std::move(*list));
    } else if (isOneOf(name, {"NSDictionary", "NSMutableDictionary"})) {
        auto dictionaryKeys = decodeList("NS.keys");
        auto dictionaryObjects = dictionaryKeys ? decodeList("NS.objects") : std::nullopt;
        if (dictionaryObjects && dictionaryKeys->size() == dictionaryObjects->size()) {
            Dictionary out;
            bool valid = true;
            for (std::size_t i = 0; i < dictionaryKeys->size() && valid; ++i) {
                const std::string* text = (*dictionaryKeys)[i].asString();
                valid = text != nullptr;
                if (valid) out.setObject(*text, std::move((*dictionaryObjects)[i]));
            }
            if (valid) result = Value(std::move(out));
        }
    } else if (isOneOf(name, {"NSString", "NSMutableString"})) {
        if (const std::string* text = stringFor(keys, "NS.string")) result = Value(*text);
    } else if (isOneOf(name, {"NSData", "NSMutableData"})) {
        if (const Value* bytes = keys.objectForKey("NS.data"); bytes && bytes->isData()) result = *bytes;
    } else if (name == "NSDate") {
        if (const Value* time = numberFor(keys, "NS.time"))
            result = Value::dateWithTimeIntervalSinceReferenceDate(time->doubleValue());
    } else if (name == "NSURL") {
        // Only absolute URLs: a URL relative to a base is never written here.
        auto base = decodeKey("NS.base");
        auto relative = base && base->isNull() ? decodeKey("NS.relative") : std::nullopt;
        if (relative && relative->isString())
            if (auto url = URL::URLWithString(*relative->asString())) result = Value(std::move(*url));
    } else if (name == "NSNull") {
        result = Value();
    }
    path.pop_back();
    return result;
}

}  // namespace kq
