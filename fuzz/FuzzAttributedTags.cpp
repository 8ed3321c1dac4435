// Tagged text unfolded and then edited at random: nothing crashes, refused
// edits change nothing, and after every step the runs tile the text without
// empty or equal neighbours and agree with a per-unit model of the attributes.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "Foundation/UnicodeText.h"
#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/NSMutableAttributedString+KQFoundation.h"

namespace {

using kq::Attributes;
using kq::MutableAttributedString;
using kq::Range;

void check(bool condition) {
    if (!condition) std::abort();
}

// The model: the text's UTF-16 units and the "k" attribute of each (-1 = none).
struct Model {
    std::u16string units;
    std::vector<int> labels;

    bool splitsPair(std::uint64_t index) const {
        return index > 0 && index < units.size() && (units[index] & 0xFC00) == 0xDC00 &&
               (units[index - 1] & 0xFC00) == 0xD800;
    }
    bool accepts(Range range) const {
        return range.location <= units.size() && range.length <= units.size() - range.location &&
               !splitsPair(range.location) && !splitsPair(range.end());
    }
};

int labelOf(const Attributes& attributes) {
    const auto* value = attributes.objectForKey("k");
    return value ? static_cast<int>(std::get<kq::Value>(*value).integerValue()) : -1;
}

Attributes labelled(int label) { return label < 0 ? Attributes{} : Attributes{{"k", kq::Value(label)}}; }

void compare(const MutableAttributedString& string, const Model& model) {
    const auto units = kq::utf16FromUTF8(string.string());
    check(units && *units == model.units && string.length() == model.units.size());
    std::uint64_t index = 0;
    std::size_t byte = 0;
    const auto runs = string.runs();
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const auto& run = runs[i];
        check(run.range.length > 0 && run.range.location == index && run.byteOffset == byte);
        check(i == 0 || !(*runs[i - 1].attributes == *run.attributes));
        for (std::uint64_t u = run.range.location; u < run.range.end(); ++u)
            check(model.labels[u] == labelOf(*run.attributes));
        index += run.range.length;
        byte += run.byteLength;
    }
    check(index == model.units.size() && byte == string.string().size());
}

std::u16string unitsOf(const std::string& text) { return kq::utf16FromUTF8(text).value_or(u""); }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    MutableAttributedString string(input.ConsumeRandomLengthString(512));
    string.unfoldTagsWithAttributes({{"b", labelled(1)}, {input.ConsumeRandomLengthString(8), labelled(2)}});
    Model model{unitsOf(string.string()), {}};
    for (const auto& run : string.runs()) model.labels.insert(model.labels.end(), run.range.length, labelOf(*run.attributes));
    compare(string, model);

    while (input.remaining_bytes() > 0) {
        const int operation = input.ConsumeIntegralInRange(0, 4);
        const std::uint64_t limit = model.units.size() + 2;
        const Range range{input.ConsumeIntegralInRange<std::uint64_t>(0, limit),
                          input.ConsumeIntegralInRange<std::uint64_t>(0, limit)};
        const int label = input.ConsumeIntegralInRange(-1, 3);
        const MutableAttributedString before = string;
        try {
            switch (operation) {
                case 0: {  // plain text inherits from the first replaced character, else its neighbour
                    const kq::AttributedString text(input.ConsumeRandomLengthString(16));
                    string.replaceCharactersInRange(range, text.string());
                    if (!model.accepts(range)) std::abort();
                    int inherited = -1;
                    if (range.length > 0) inherited = model.labels[range.location];
                    else if (range.location > 0) inherited = model.labels[range.location - 1];
                    else if (!model.labels.empty()) inherited = model.labels[0];
                    const std::u16string units = unitsOf(text.string());
                    model.units.replace(range.location, range.length, units);
                    model.labels.erase(model.labels.begin() + range.location, model.labels.begin() + range.end());
                    model.labels.insert(model.labels.begin() + range.location, units.size(), inherited);
                    break;
                }
                case 1: {
                    const kq::AttributedString text(input.ConsumeRandomLengthString(16), labelled(label));
                    string.replaceCharactersInRange(range, text);
                    if (!model.accepts(range)) std::abort();
                    const std::u16string units = unitsOf(text.string());
                    model.units.replace(range.location, range.length, units);
                    model.labels.erase(model.labels.begin() + range.location, model.labels.begin() + range.end());
                    model.labels.insert(model.labels.begin() + range.location, units.size(), label);
                    break;
                }
                case 2:
                    if (label < 0) string.removeAttribute("k", range);
                    else string.addAttribute("k", kq::Value(label), range);
                    if (!model.accepts(range)) std::abort();
                    std::fill(model.labels.begin() + range.location, model.labels.begin() + range.end(), label);
                    break;
                case 3:
                    string.deleteCharactersInRange(range);
                    if (!model.accepts(range)) std::abort();
                    model.units.erase(range.location, range.length);
                    model.labels.erase(model.labels.begin() + range.location, model.labels.begin() + range.end());
                    break;
                default: {
                    const Range found = string.unfoldTag("b");
                    if (found.location == Range::NotFound) {
                        check(string == before);
                    } else {
                        // Re-read the model from the string; the unit test covers the ranges.
                        model.units = unitsOf(string.string());
                        model.labels.clear();
                        for (const auto& run : string.runs())
                            model.labels.insert(model.labels.end(), run.range.length, labelOf(*run.attributes));
                        check(found.end() <= string.length());
                    }
                    break;
                }
            }
        } catch (const kq::RangeException&) {
            check(!model.accepts(range) && string == before);
        }
        compare(string, model);
    }
    return 0;
}
