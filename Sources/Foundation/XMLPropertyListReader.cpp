// Reader of XML property lists through libxml2, which handles the encodings
// (UTF-8, UTF-16 by byte-order mark or declaration), entities and CDATA. The
// document tree is walked with a depth bound; no network or external entity
// is ever loaded.
#include <charconv>
#include <cmath>
#include <cstdint>

#include "Foundation/PropertyListCoding.h"
#include "Foundation/XMLParsing.h"
#include "KQFoundation/Foundation/Base64.h"

namespace kq::plist {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && isSpace(s.front())) s.remove_prefix(1);
    while (!s.empty() && isSpace(s.back())) s.remove_suffix(1);
    return s;
}

bool named(const xmlNode* node, const char* name) {
    return xmlStrcmp(node->name, reinterpret_cast<const xmlChar*>(name)) == 0;
}

/// The next element from `node` on, skipping white space, comments and
/// processing instructions; nullptr at the end or at other text.
const xmlNode* nextElement(const xmlNode* node, bool& stray) {
    for (; node; node = node->next) {
        if (node->type == XML_ELEMENT_NODE) return node;
        if ((node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) && node->content &&
            !trimmed(reinterpret_cast<const char*>(node->content)).empty())
            stray = true;
    }
    return nullptr;
}

std::optional<Value> parseInteger(std::string_view text) {
    text = trimmed(text);
    bool negative = false;
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    std::uint64_t magnitude = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    if (!negative) return Value(static_cast<unsigned long long>(magnitude));
    if (magnitude > std::uint64_t{1} << 63) return std::nullopt;
    return Value(static_cast<long long>(0 - magnitude));
}

std::optional<Value> parseReal(std::string_view text) {
    text = trimmed(text);
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    double d = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), d);
    if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return Value(d);
}

class XMLReader {
public:
    std::optional<Value> read(const xmlDoc* doc) {
        const xmlNode* root = xmlDocGetRootElement(doc);
        if (!root) return std::nullopt;
        if (!named(root, "plist")) return value(root, 0);
        bool stray = false;
        const xmlNode* top = nextElement(root->children, stray);
        if (!top || stray) return std::nullopt;
        return value(top, 0);
    }

private:
    /// The element's text: text, CDATA and entity references, no elements.
    std::optional<std::string> text(const xmlNode* node) {
        std::string out;
        if (!collect(node->children, out, 0) || !budget_.take(out.size())) return std::nullopt;
        return out;
    }

    bool collect(const xmlNode* node, std::string& out, std::size_t depth) {
        if (depth > PropertyList::kMaximumDepth) return false;
        for (; node; node = node->next) {
            switch (node->type) {
                case XML_TEXT_NODE:
                case XML_CDATA_SECTION_NODE:
                    if (node->content) out += reinterpret_cast<const char*>(node->content);
                    break;
                case XML_ENTITY_REF_NODE: {
                    // The reference's child is the entity's declaration.
                    const auto* entity = reinterpret_cast<const xmlEntity*>(node->children);
                    if (!entity || entity->type != XML_ENTITY_DECL) return false;
                    if (entity->children) {
                        if (!collect(entity->children, out, depth + 1)) return false;
                    } else if (entity->etype == XML_INTERNAL_GENERAL_ENTITY && entity->content) {
                        out += reinterpret_cast<const char*>(entity->content);
                    }
                    break;
                }
                case XML_COMMENT_NODE:
                case XML_PI_NODE: break;
                default: return false;
            }
            if (out.size() > PropertyList::kMaximumDecodedBytes) return false;
        }
        return true;
    }

    std::optional<Value> value(const xmlNode* node, std::size_t depth) {
        if (named(node, "dict") || named(node, "array")) {
            if (depth + 1 > PropertyList::kMaximumDepth || !budget_.take()) return std::nullopt;
            return named(node, "dict") ? dictionary(node, depth) : array(node, depth);
        }
        if (named(node, "true") || named(node, "false")) {
            if (node->children || !budget_.take()) return std::nullopt;
            return Value(named(node, "true"));
        }
        auto content = text(node);
        if (!content) return std::nullopt;
        if (named(node, "string") || named(node, "key")) return Value(std::move(*content));
        if (named(node, "integer")) return parseInteger(*content);
        if (named(node, "real")) return parseReal(*content);
        if (named(node, "data")) {
            auto data = dataFromBase64String(*content);
            if (!data) return std::nullopt;
            return Value(std::move(*data));
        }
        if (named(node, "date")) {
            auto seconds = parseISO8601(trimmed(*content));
            if (!seconds) return std::nullopt;
            return Value::dateWithTimeIntervalSinceReferenceDate(*seconds);
        }
        return std::nullopt;
    }

    std::optional<Value> array(const xmlNode* node, std::size_t depth) {
        Array out;
        bool stray = false;
        for (const xmlNode* child = nextElement(node->children, stray); child; child = nextElement(child->next, stray)) {
            auto element = value(child, depth + 1);
            if (!element) return std::nullopt;
            out.push_back(std::move(*element));
        }
        if (stray) return std::nullopt;
        return Value(std::move(out));
    }

    std::optional<Value> dictionary(const xmlNode* node, std::size_t depth) {
        Dictionary out;
        bool stray = false;
        for (const xmlNode* key = nextElement(node->children, stray); key;) {
            if (!named(key, "key")) return std::nullopt;
            auto name = text(key);
            const xmlNode* child = nextElement(key->next, stray);
            if (!name || !child) return std::nullopt;
            auto element = value(child, depth + 1);
            if (!element) return std::nullopt;
            out.setObject(*name, std::move(*element));
            key = nextElement(child->next, stray);
        }
        if (stray) return std::nullopt;
        return Value(std::move(out));
    }

    Budget budget_;
};

}  // namespace

std::optional<Value> readXML(std::string_view bytes) {
    auto doc = detail::parseXML(bytes);
    if (!doc) return std::nullopt;
    return XMLReader().read(doc.get());
}

}  // namespace kq::plist
