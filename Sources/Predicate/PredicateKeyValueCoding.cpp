#include "Predicate/PredicateKeyValueCoding.h"

#include <array>
#include <utility>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/PathUtilities.h"
#include "Foundation/UnicodeText.h"

namespace kq::predicate {
namespace {

constexpr std::array<std::pair<std::string_view, KnownKey>, 22> kKnownKeys{{
    {"self", KnownKey::Self},
    {"SELF", KnownKey::Self},
    {"@count", KnownKey::Count},
    {"path", KnownKey::Path},
    {"relativePath", KnownKey::RelativePath},
    {"lastPathComponent", KnownKey::LastPathComponent},
    {"pathExtension", KnownKey::PathExtension},
    {"pathComponents", KnownKey::PathComponents},
    {"absoluteString", KnownKey::AbsoluteString},
    {"relativeString", KnownKey::RelativeString},
    {"description", KnownKey::Description},
    {"scheme", KnownKey::Scheme},
    {"host", KnownKey::Host},
    {"port", KnownKey::Port},
    {"user", KnownKey::User},
    {"password", KnownKey::Password},
    {"query", KnownKey::Query},
    {"fragment", KnownKey::Fragment},
    {"isFileURL", KnownKey::IsFileURL},
    {"hasDirectoryPath", KnownKey::HasDirectoryPath},
    {"length", KnownKey::Length},
    {"stringByDeletingPathExtension", KnownKey::StringByDeletingPathExtension},
}};

[[noreturn]] void throwUndefinedKey(const Operand& object, const std::string& key) {
    throw InvalidArgumentException("[" + className(object) +
                                   " valueForUndefinedKey:]: this class is not key value coding-compliant for the key " +
                                   key + ".");
}

Operand stringOrNil(std::string s) { return s.empty() ? Operand() : Operand::owning(Value(std::move(s))); }

Operand optionalString(std::optional<std::string> s) { return s ? Operand::owning(Value(std::move(*s))) : Operand(); }

Operand stringArray(const std::vector<std::string>& strings) {
    Array array;
    array.reserve(strings.size());
    for (const auto& s : strings) array.emplace_back(s);
    return Operand::owning(Value(std::move(array)));
}

// The last component of an absolute file path, borrowed from the path itself.
std::string_view lastComponentView(std::string_view path) {
    if (path.size() <= 1) return path;
    const auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

Operand urlValueForKey(const Operand& object, const URL& url, const KeyPathComponent& key) {
    switch (key.known) {
        case KnownKey::Self:
            return Operand::url(url);
        case KnownKey::Path:
        case KnownKey::RelativePath:
            if (url.isFileURL()) return Operand::text(url.filePathView());
            return Operand::owning(Value(url.path()));
        case KnownKey::LastPathComponent:
            if (url.isFileURL()) return Operand::text(lastComponentView(url.filePathView()));
            return Operand::owning(Value(url.lastPathComponent()));
        case KnownKey::PathExtension:
            if (url.isFileURL()) return Operand::owning(Value(pathExtension(url.filePathView())));
            return Operand::owning(Value(url.pathExtension()));
        case KnownKey::PathComponents:
            return stringArray(url.pathComponents());
        case KnownKey::AbsoluteString:
        case KnownKey::RelativeString:
        case KnownKey::Description:
            return Operand::owning(Value(url.absoluteString()));
        case KnownKey::Scheme:
            return stringOrNil(url.scheme());
        case KnownKey::Host:
            return stringOrNil(url.host());
        case KnownKey::User:
            return stringOrNil(url.user());
        case KnownKey::Password:
            return stringOrNil(url.password());
        case KnownKey::Port:
            if (auto port = url.port()) return Operand::owning(Value(*port));
            return Operand();
        case KnownKey::Query:
            return optionalString(url.query());
        case KnownKey::Fragment:
            return optionalString(url.fragment());
        case KnownKey::IsFileURL:
            return Operand::owning(Value(url.isFileURL()));
        case KnownKey::HasDirectoryPath:
            return Operand::owning(Value(url.hasDirectoryPath()));
        default:
            throwUndefinedKey(object, key.name);
    }
}

Operand stringValueForKey(const Operand& object, std::string_view text, const KeyPathComponent& key) {
    switch (key.known) {
        case KnownKey::Self:
        case KnownKey::Description:
            return object;
        case KnownKey::Length:
            return Operand::owning(Value(lengthInUTF16Units(text)));
        case KnownKey::LastPathComponent:
            return Operand::owning(Value(lastPathComponent(text)));
        case KnownKey::PathExtension:
            return Operand::owning(Value(pathExtension(text)));
        case KnownKey::PathComponents:
            return stringArray(pathComponents(text));
        case KnownKey::StringByDeletingPathExtension:
            return Operand::owning(Value(stringByDeletingPathExtension(text)));
        default:
            throwUndefinedKey(object, key.name);
    }
}

Operand arrayValueForKey(const Operand& object, const Array& array, const KeyPathComponent& key) {
    if (key.known == KnownKey::Self) return object;
    if (key.known == KnownKey::Count) return Operand::owning(Value(array.size()));
    // Any other key maps over the elements; a nil result becomes null, as the
    // platform's arrays do.
    Array mapped;
    mapped.reserve(array.size());
    for (const Value& element : array) {
        Operand result = valueForKey(Operand::borrowing(element), key);
        mapped.push_back(result.isNull() ? Value() : result.toValue());
    }
    return Operand::owning(Value(std::move(mapped)));
}

}  // namespace

KeyPathComponent::KeyPathComponent(std::string keyName) : name(std::move(keyName)) {
    for (const auto& [text, k] : kKnownKeys) {
        if (text == name) {
            known = k;
            break;
        }
    }
}

KeyPath makeKeyPath(std::string_view dotted) {
    KeyPath path;
    std::size_t start = 0;
    while (true) {
        const auto dot = dotted.find('.', start);
        path.emplace_back(std::string(dotted.substr(start, dot == std::string_view::npos ? dot : dot - start)));
        if (dot == std::string_view::npos) break;
        start = dot + 1;
    }
    return path;
}

Operand valueForKey(const Operand& object, const KeyPathComponent& key) {
    if (object.isNull()) return Operand();
    if (const URL* url = object.url()) return urlValueForKey(object, *url, key);
    if (auto text = object.string()) return stringValueForKey(object, *text, key);
    const Value* value = object.value();
    if (const Dictionary* dictionary = value->asDictionary()) {
        if (key.known == KnownKey::Count) return Operand::owning(Value(dictionary->size()));
        if (const Value* found = dictionary->objectForKey(key.name)) return Operand::borrowing(*found);
        if (key.known == KnownKey::Self) return object;
        return Operand();
    }
    if (const Array* array = value->asArray()) return arrayValueForKey(object, *array, key);
    if (key.known == KnownKey::Self) return object;
    throwUndefinedKey(object, key.name);
}

Operand valueForKeyPath(const Operand& object, const KeyPath& path) {
    Operand current = object;
    for (const KeyPathComponent& key : path) {
        if (key.known == KnownKey::Self) continue;
        Operand next = valueForKey(current, key);
        // What `next` borrows may live inside `current`, which is replaced now.
        if (current.ownsStorage() && !next.ownsStorage()) next = next.detached();
        current = std::move(next);
    }
    return current;
}

}  // namespace kq::predicate
