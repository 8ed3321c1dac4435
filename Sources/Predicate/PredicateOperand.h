#pragma once
// What an expression of a predicate evaluates to. Most operands borrow: a
// value inside the evaluated object, the path text of a file URL, a constant
// of the predicate. Only values computed on the way (a URL's absolute string,
// an array mapped through a key) are owned, so evaluating "path ENDSWITH ..."
// against a file URL copies nothing.
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "KQFoundation/Foundation/URL.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq::predicate {

class Operand {
public:
    Operand() = default;  // nil
    static Operand borrowing(const Value& value) { return Operand(Storage(&value)); }
    static Operand text(std::string_view text) { return Operand(Storage(text)); }
    static Operand url(const URL& url) { return Operand(Storage(&url)); }
    static Operand owning(Value value) { return Operand(Storage(std::move(value))); }

    bool isNull() const {
        if (std::holds_alternative<std::monostate>(storage_)) return true;
        const Value* v = value();
        return v && v->isNull();
    }
    bool ownsStorage() const { return std::holds_alternative<Value>(storage_); }

    /// The text of a string operand.
    std::optional<std::string_view> string() const {
        if (auto* t = std::get_if<std::string_view>(&storage_)) return *t;
        if (const Value* v = value()) {
            if (const std::string* s = v->asString()) return std::string_view(*s);
        }
        return std::nullopt;
    }
    const URL* url() const {
        if (auto* u = std::get_if<const URL*>(&storage_)) return *u;
        const Value* v = value();
        return v ? v->asURL() : nullptr;
    }
    /// The value, when the operand is held as one (not for text or URL operands).
    const Value* value() const {
        if (auto* v = std::get_if<const Value*>(&storage_)) return *v;
        return std::get_if<Value>(&storage_);
    }
    const Array* array() const {
        const Value* v = value();
        return v ? v->asArray() : nullptr;
    }

    /// The operand as a value of its own (copies).
    Value toValue() const;
    /// An operand that owns its value, for when what it borrows from goes away.
    Operand detached() const { return ownsStorage() ? *this : owning(toValue()); }

private:
    using Storage = std::variant<std::monostate, const Value*, std::string_view, const URL*, Value>;
    explicit Operand(Storage storage) : storage_(std::move(storage)) {}
    Storage storage_;
};

/// The platform's class name for the operand's kind ("NSString", "NSURL", ...),
/// used in the texts of evaluation exceptions.
std::string className(const Operand& operand);
/// The operand's description, as exception texts print it.
std::string describe(const Operand& operand);

}  // namespace kq::predicate
