// Predicate formats from arbitrary text. A format either parses or throws
// kq::InvalidArgumentException; one that parses prints a format that parses
// back to the same text, and evaluates (or throws that exception) against
// file URLs and values.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Predicate/Predicate.h"

namespace {

const std::vector<kq::Value>& arguments() {
    // For %@ and %K in the format, in order.
    static const std::vector<kq::Value> values{kq::Value("com.example.Quill"), kq::Value("lastPathComponent"),
                                               kq::Value(kq::Array{"a", 1, 2.5}), kq::Value(7)};
    return values;
}

// A runaway MATCHES costs the library's regular-expression time limit (about
// two seconds) each time it is evaluated; inputs that use it are evaluated
// less, so that they stay within the fuzzer's time-out.
std::size_t countMatches(std::string_view format) {
    std::string upper(format);
    for (char& c : upper) c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    std::size_t count = 0;
    for (std::size_t at = upper.find("MATCHES"); at != std::string::npos; at = upper.find("MATCHES", at + 1)) ++count;
    return count;
}

void evaluate(const kq::Predicate& predicate, bool once) {
    static const kq::URL urls[] = {
        kq::URL::fileURLWithPath("/Applications/Quill.app", true),
        kq::URL::fileURLWithPath("/Users/me/Library/Caches/com.example.Quill.plist"),
        kq::URL::fileURLWithPath("/"),
    };
    static const kq::Value values[] = {
        kq::Value(kq::Dictionary{{"name", "Café"}, {"n", 3}, {"tags", kq::Array{"x", kq::Array{1, 2}}},
                                 {"nested", kq::Dictionary{{"d", kq::dateWithTimeIntervalSinceReferenceDate(0)}}}}),
        kq::Value("text"),
        kq::Value(kq::Array{1, "two", kq::Value()}),
    };
    static const kq::Dictionary variables{{"v", "com.example"}, {"n", 2}};
    for (const kq::URL& url : urls) {
        try {
            (void)predicate.evaluateWithObject(url);
        } catch (const kq::InvalidArgumentException&) {
        }
        if (once) break;
    }
    for (const kq::Value& value : values) {
        try {
            (void)predicate.evaluateWithObject(value, variables);
        } catch (const kq::InvalidArgumentException&) {
        }
        if (once) break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view format(reinterpret_cast<const char*>(data), size);
    kq::PredicatePtr predicate;
    try {
        predicate = kq::Predicate::predicateWithFormat(format, arguments());
    } catch (const kq::InvalidArgumentException&) {
        return 0;
    }
    const std::string printed = predicate->predicateFormat();
    try {
        if (kq::Predicate::predicateWithFormat(printed)->predicateFormat() != printed) std::abort();
    } catch (const kq::InvalidArgumentException&) {
        std::abort();  // the printed form must read back
    }
    const std::size_t matches = countMatches(format);
    if (matches > 2) return 0;
    evaluate(*predicate, matches > 0);
    if (matches > 0) return 0;
    try {
        evaluate(*predicate->predicateWithSubstitutionVariables(kq::Dictionary{{"v", 1}}), false);
    } catch (const kq::InvalidArgumentException&) {
    }
    return 0;
}
