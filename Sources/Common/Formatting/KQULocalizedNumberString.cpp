#include "KQFoundation/KQULocalizedNumberString.h"

#include <algorithm>
#include <memory>

#include "Foundation/FormatEngine.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/NSBundle+KQFoundation.h"

namespace kq {
namespace {

enum class Rule { EastSlavic, Polish, Czech, Generic };

Rule ruleFor(std::string_view language) {
    if (language == "ru" || language == "uk") return Rule::EastSlavic;
    if (language == "pl") return Rule::Polish;
    if (language == "cs") return Rule::Czech;
    return Rule::Generic;
}

/// The first marked conversion and the category its argument chooses.
std::optional<PluralCategory> categoryOf(const std::vector<detail::FormatConversion>& conversions,
                                         std::span<const FormatArgument> arguments, std::string_view language) {
    auto marked = std::find_if(conversions.begin(), conversions.end(),
                               [](const detail::FormatConversion& c) { return c.pluralMark; });
    if (marked == conversions.end()) return std::nullopt;
    if (marked->kind == detail::ConversionClass::Floating) {
        if (marked->argument >= arguments.size()) return std::nullopt;
        const FormatArgument& a = arguments[marked->argument];
        if (!a.isInteger() && !a.isFloating()) return std::nullopt;
        return PluralCategory::Many;
    }
    auto count = detail::integerValueOf(*marked, arguments);
    if (!count) return std::nullopt;
    return pluralCategoryForInteger(language, *count);
}

}  // namespace

std::string_view pluralTagFormat(PluralCategory category) {
    switch (category) {
        case PluralCategory::ExactlyZero: return "[=0]%@";
        case PluralCategory::ExactlyOne: return "[=1]%@";
        case PluralCategory::One: return "[One]%@";
        case PluralCategory::Few: return "[Few]%@";
        case PluralCategory::Many: break;
    }
    return "[Many]%@";
}

PluralCategory pluralCategoryForInteger(std::string_view language, std::int64_t count) {
    if (count == 0) return PluralCategory::ExactlyZero;
    if (count == 1) return PluralCategory::ExactlyOne;
    // Unsigned, so that the magnitude of INT64_MIN exists.
    const std::uint64_t n = count < 0 ? 0 - static_cast<std::uint64_t>(count) : static_cast<std::uint64_t>(count);
    const std::uint64_t d10 = n % 10;
    const std::uint64_t d100 = n % 100;
    const bool slavicFew = d10 >= 2 && d10 <= 4 && !(d100 >= 10 && d100 <= 20);
    switch (ruleFor(language)) {
        case Rule::EastSlavic:
            if (d10 == 1 && d100 != 11) return PluralCategory::One;
            return slavicFew ? PluralCategory::Few : PluralCategory::Many;
        case Rule::Polish:
            if (count == -1) return PluralCategory::One;
            return slavicFew ? PluralCategory::Few : PluralCategory::Many;
        case Rule::Czech:
            // Deliberately the last two digits only: 101 is One, 102 Few.
            if (d100 == 1) return PluralCategory::One;
            return d100 >= 2 && d100 <= 4 ? PluralCategory::Few : PluralCategory::Many;
        case Rule::Generic: break;
    }
    return count == -1 ? PluralCategory::One : PluralCategory::Many;
}

std::string pluralLanguage() {
    try {
        return Bundle::preferredApplicationLocalization();
    } catch (const RangeException&) {
        // No localized main bundle: the user's own language is all there is.
        auto languages = Bundle::preferredLanguages();
        if (languages.empty()) return "";
        return languages.front().substr(0, languages.front().find('-'));
    }
}

std::optional<PluralCategory> pluralCategoryOfFormat(std::string_view format, std::span<const FormatArgument> arguments) {
    const auto conversions = detail::parseFormat(format);
    if (std::none_of(conversions.begin(), conversions.end(), [](const auto& c) { return c.pluralMark; }))
        return std::nullopt;
    return categoryOf(conversions, arguments, pluralLanguage());
}

}  // namespace kq

std::string KQULocalizedNumberStringWithFormatImpl(const kq::Bundle* bundle, std::string_view format,
                                                   std::span<const kq::FormatArgument> arguments) {
    if (format.empty()) return {};
    const auto conversions = kq::detail::parseFormat(format);
    const bool marked = std::any_of(conversions.begin(), conversions.end(), [](const auto& c) { return c.pluralMark; });
    if (!marked) return kq::detail::renderFormat(format, conversions, arguments);

    auto category = kq::categoryOf(conversions, arguments, kq::pluralLanguage());
    if (!category) return kq::detail::renderFormat(format, conversions, arguments);

    std::shared_ptr<kq::Bundle> main;
    if (!bundle) {
        main = kq::Bundle::mainBundle();
        bundle = main.get();
    }
    if (bundle) {
        const kq::FormatArgument formatArgument(format);
        const std::string key = kq::formatWithArguments(kq::pluralTagFormat(*category), {&formatArgument, 1});
        std::string translated = bundle->localizedString(key);
        if (!translated.empty() && translated != key) return kq::formatWithArguments(translated, arguments);
    }
    return kq::detail::renderFormat(format, conversions, arguments);
}
