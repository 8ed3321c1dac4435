// kqu plural --lang LANG [--bundle DIR] [--tag] FORMAT NUMBER: a localized
// number string, for checking an application's plural translations. DIR
// holds <lang>.lproj/Localizable.strings and stands for the application.
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "Command.h"
#include "KQFoundation/KQULocalizedNumberString.h"

namespace {

struct PluralOptions {
    std::string language;
    std::string bundle;
    bool tag = false;
    std::string format;
    std::string number;
};

/// A number with a decimal point is a double, any other a 64-bit integer.
kq::FormatArgument parseNumber(const std::string& text) {
    const char* begin = text.data();
    const char* end = begin + text.size();
    if (text.find('.') != std::string::npos) {
        char* parsed = nullptr;
        const double value = std::strtod(begin, &parsed);
        if (!text.empty() && parsed == end) return kq::FormatArgument(value);
    } else {
        std::int64_t value = 0;
        auto [at, error] = std::from_chars(begin + (begin != end && *begin == '+'), end, value);
        if (error == std::errc() && at == end && begin != end) return kq::FormatArgument(value);
    }
    throw kqu::CommandFailure{kqu::kExitUsage, "'" + text + "' is not a number (as in 21 or 2.5)"};
}

const kqu::CommandRegistration registration{{
    "plural",
    "Format a count with the plural form its language needs",
    [](CLI::App& app) -> std::function<int()> {
        auto options = std::make_shared<PluralOptions>();
        app.add_option("--lang", options->language, "The user's language, as in ru or pl")->required();
        app.add_option("--bundle", options->bundle, "Folder with <lang>.lproj/Localizable.strings");
        app.add_flag("--tag", options->tag, "Print the chosen plural tag, as in [Few]");
        app.add_option("FORMAT", options->format, "Format with a marked count, as in \"%?d files\"")->required();
        app.add_option("NUMBER", options->number, "The count")->required();
        return [options] {
            if (options->language.empty()) throw kqu::CommandFailure{kqu::kExitUsage, "--lang needs a language"};
            const kq::FormatArgument number = parseNumber(options->number);
            // The user's language comes first; the application's localization
            // is then chosen from the bundle's folders as for any application.
            ::setenv("LANGUAGE", options->language.c_str(), 1);
            if (!options->bundle.empty()) {
                std::error_code error;
                if (!std::filesystem::is_directory(options->bundle, error))
                    throw kqu::CommandFailure{kqu::kExitInputFailure, options->bundle + ": no such folder"};
                kq::Bundle::setMainBundle(kq::Bundle::bundleWithPath(options->bundle));
            }
            if (options->tag) {
                auto category = kq::pluralCategoryOfFormat(options->format, {&number, 1});
                if (!category) {
                    throw kqu::CommandFailure{kqu::kExitUsage,
                                              "the format marks no count: put ? right after the % of a number "
                                              "conversion, as in %?d"};
                }
                std::string tag(kq::pluralTagFormat(*category));
                std::printf("%s\n", tag.substr(0, tag.size() - 2).c_str());
                return kqu::kExitSuccess;
            }
            const std::string text = KQULocalizedNumberStringWithFormatImpl(nullptr, options->format, {&number, 1});
            std::fwrite(text.data(), 1, text.size(), stdout);
            std::fputc('\n', stdout);
            return kqu::kExitSuccess;
        };
    },
}};

}  // namespace
