#include "KQFoundation/KQUXMLBasedDocument.h"

#include <cxxabi.h>

#include <cstdlib>
#include <limits>

#include "KQFoundation/Foundation/Exceptions.h"
#include "KQFoundation/Foundation/Log.h"
#include "KQFoundation/NSXMLNode+KQFoundation.h"

namespace {

[[noreturn]] void raiseAbstractMethod(const std::string& className) {
    throw kq::InternalInconsistencyException(
        kq::format("'%@' class method should be overriden in subclass %@.", "currentFormatVersion", className));
}

std::string readableName(const std::type_info& type) {
    int status = 0;
    std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                     &std::free);
    return status == 0 && name ? name.get() : type.name();
}

/// Leading integer of the text as the platform reads one: white space, a
/// sign, digits; 0 when there are none, clamped when too large.
std::int64_t integerValue(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n' || text[i] == '\r')) ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
    constexpr std::uint64_t limit = std::uint64_t{1} << 63;
    std::uint64_t magnitude = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        magnitude = magnitude * 10 + static_cast<std::uint64_t>(text[i] - '0');
        if (magnitude >= limit) {
            magnitude = limit;
            break;
        }
    }
    if (negative) return magnitude == limit ? std::numeric_limits<std::int64_t>::min()
                                            : -static_cast<std::int64_t>(magnitude);
    return magnitude >= limit ? std::numeric_limits<std::int64_t>::max() : static_cast<std::int64_t>(magnitude);
}

}  // namespace

KQUXMLBasedDocument::~KQUXMLBasedDocument() = default;

std::int64_t KQUXMLBasedDocument::currentFormatVersion() { raiseAbstractMethod("KQUXMLBasedDocument"); }

bool KQUXMLBasedDocument::readXMLDocument(const kq::XMLDocument&) { return true; }

std::optional<KQUXMLBasedDocument::Header> KQUXMLBasedDocument::readHeader(const kq::XMLDocument* document,
                                                                           std::int64_t (*currentFormatVersion)(),
                                                                           const std::type_info& type) {
    const kq::XMLElement* root = document ? document->rootElement() : nullptr;
    if (!root) return std::nullopt;
    const kq::XMLNode* dateAttribute = root->attributeForName("CreationDate");
    const kq::XMLNode* versionAttribute = root->attributeForName("Version");
    const std::optional<kq::Date> date = dateAttribute ? dateAttribute->dateValue() : std::nullopt;
    if (!date || !versionAttribute) return std::nullopt;
    std::string version = versionAttribute->stringValue();
    const std::size_t dot = version.find('.');
    if (dot == std::string::npos) return std::nullopt;
    // A subclass without its own currentFormatVersion() inherits the base's.
    if (currentFormatVersion == &KQUXMLBasedDocument::currentFormatVersion && type != typeid(KQUXMLBasedDocument))
        raiseAbstractMethod(readableName(type));
    if (integerValue(std::string_view(version).substr(0, dot)) != currentFormatVersion()) return std::nullopt;
    return Header{std::move(version), *date};
}
