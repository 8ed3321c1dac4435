#include "Predicate/PredicateOperand.h"

namespace kq::predicate {

Value Operand::toValue() const {
    if (auto* t = std::get_if<std::string_view>(&storage_)) return Value(*t);
    if (auto* u = std::get_if<const URL*>(&storage_)) return Value(**u);
    if (const Value* v = value()) return *v;
    return Value();
}

std::string className(const Operand& operand) {
    if (operand.url()) return "NSURL";
    if (operand.string()) return "NSString";
    const Value* v = operand.value();
    if (!v) return "NSNull";
    switch (v->type()) {
        case Value::Type::Null: return "NSNull";
        case Value::Type::Bool:
        case Value::Type::Integer:
        case Value::Type::Real: return "NSNumber";
        case Value::Type::String: return "NSString";
        case Value::Type::Data: return "NSData";
        case Value::Type::Date: return "NSDate";
        case Value::Type::URL: return "NSURL";
        case Value::Type::Array: return "NSArray";
        case Value::Type::Dictionary: return "NSDictionary";
    }
    return "NSObject";
}

std::string describe(const Operand& operand) {
    if (operand.isNull()) return "(null)";
    if (auto text = operand.string()) return std::string(*text);
    if (const URL* url = operand.url()) return kq::describe(*url);
    return kq::describe(*operand.value());
}

}  // namespace kq::predicate
