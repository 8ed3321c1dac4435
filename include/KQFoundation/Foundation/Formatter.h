#pragma once
// kq::Formatter: turns values into text for display and editing, and text
// back into values (the platform's NSFormatter). Formatters that a text field
// or a table column can hold derive from it.
#include <optional>
#include <string>
#include <string_view>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

class KQ_EXPORT Formatter {
public:
    virtual ~Formatter() = default;

    /// The text shown for the value; nullopt for a value of a kind the
    /// formatter does not handle.
    virtual std::optional<std::string> stringForObjectValue(const Value& value) const = 0;
    /// Reads the text back into `*out` (when `out` is given). On failure
    /// returns false and may describe why in `*error` (when given).
    virtual bool getObjectValue(Value* out, std::string_view string, std::string* error) const = 0;
    /// The text offered for editing; by default the shown text.
    virtual std::optional<std::string> editingStringForObjectValue(const Value& value) const {
        return stringForObjectValue(value);
    }
};

}  // namespace kq
