// The tree is copied out of libxml2's document into plain objects right after
// parsing, so nodes own their data and copies are ordinary deep copies.
#include "KQFoundation/Foundation/XMLDocument.h"

#include "Foundation/XMLParsing.h"

namespace kq {

namespace detail {

struct XMLTreeBuilder {
    static std::string text(const xmlChar* s) { return s ? reinterpret_cast<const char*>(s) : std::string(); }

    static std::string qualified(const xmlChar* localName, const xmlNs* ns) {
        if (!ns || !ns->prefix) return text(localName);
        return text(ns->prefix) + ":" + text(localName);
    }

    /// An attribute's text; entities the document declares stay unexpanded.
    static std::string attributeValue(const xmlAttr* attribute) {
        std::string value;
        for (const xmlNode* part = attribute->children; part; part = part->next) {
            if (part->type == XML_TEXT_NODE) {
                value += text(part->content);
            } else if (part->type == XML_ENTITY_REF_NODE) {
                const auto* entity = reinterpret_cast<const xmlEntity*>(part->children);
                if (entity && entity->type == XML_ENTITY_DECL && entity->etype == XML_INTERNAL_PREDEFINED_ENTITY)
                    value += text(entity->content);
            }
        }
        return value;
    }

    // Recursion is bounded by libxml2's nesting limit.
    static std::unique_ptr<XMLElement> element(const xmlNode* node) {
        std::unique_ptr<XMLElement> out(
            new XMLElement(qualified(node->name, node->ns), text(node->name), node->ns ? text(node->ns->href) : ""));
        for (const xmlAttr* a = node->properties; a; a = a->next) {
            out->attributes_.emplace_back(new XMLNode(XMLNode::Kind::Attribute, qualified(a->name, a->ns), text(a->name),
                                                      a->ns ? text(a->ns->href) : "", attributeValue(a)));
        }
        for (const xmlNode* child = node->children; child; child = child->next) {
            switch (child->type) {
                case XML_ELEMENT_NODE: out->children_.push_back(element(child)); break;
                case XML_TEXT_NODE:
                case XML_CDATA_SECTION_NODE:
                    out->children_.emplace_back(new XMLNode(XMLNode::Kind::Text, {}, {}, {}, text(child->content)));
                    break;
                case XML_COMMENT_NODE:
                    out->children_.emplace_back(new XMLNode(XMLNode::Kind::Comment, {}, {}, {}, text(child->content)));
                    break;
                case XML_PI_NODE:
                    out->children_.emplace_back(new XMLNode(XMLNode::Kind::ProcessingInstruction, text(child->name),
                                                            text(child->name), {}, text(child->content)));
                    break;
                default: break;
            }
        }
        return out;
    }
};

}  // namespace detail

XMLNode::XMLNode(Kind kind, std::string name, std::string localName, std::string URI, std::string content)
    : kind_(kind), name_(std::move(name)), localName_(std::move(localName)), URI_(std::move(URI)),
      content_(std::move(content)) {}

XMLNode::~XMLNode() = default;

const std::vector<std::unique_ptr<XMLNode>>& XMLNode::children() const noexcept {
    static const std::vector<std::unique_ptr<XMLNode>> none;
    const XMLElement* element = asElement();
    return element ? element->children_ : none;
}

const XMLElement* XMLNode::asElement() const noexcept {
    return kind_ == Kind::Element ? static_cast<const XMLElement*>(this) : nullptr;
}

std::unique_ptr<XMLNode> XMLNode::copy() const {
    if (const XMLElement* element = asElement()) return std::make_unique<XMLElement>(*element);
    return std::unique_ptr<XMLNode>(new XMLNode(*this));
}

namespace {

void appendText(const XMLNode& node, std::string& out) {
    for (const auto& child : node.children()) {
        if (child->kind() == XMLNode::Kind::Text) out += child->stringValue();
        else if (child->kind() == XMLNode::Kind::Element) appendText(*child, out);
    }
}

}  // namespace

std::string XMLNode::stringValue() const {
    if (kind_ != Kind::Element) return content_;
    std::string out;
    appendText(*this, out);
    return out;
}

XMLElement::XMLElement(std::string name, std::string localName, std::string URI)
    : XMLNode(Kind::Element, std::move(name), std::move(localName), std::move(URI), {}) {}

XMLElement::XMLElement(const XMLElement& other) : XMLNode(other) {
    children_.reserve(other.children_.size());
    for (const auto& child : other.children_) children_.push_back(child->copy());
    attributes_.reserve(other.attributes_.size());
    for (const auto& attribute : other.attributes_) attributes_.push_back(attribute->copy());
}

XMLElement& XMLElement::operator=(const XMLElement& other) {
    if (this != &other) *this = XMLElement(other);
    return *this;
}

XMLElement::~XMLElement() = default;

const XMLNode* XMLElement::attributeForName(std::string_view name) const {
    for (const auto& attribute : attributes_)
        if (attribute->name() == name) return attribute.get();
    return nullptr;
}

const XMLNode* XMLElement::attributeForLocalName(std::string_view localName, std::string_view URI) const {
    for (const auto& attribute : attributes_)
        if (attribute->localName() == localName && attribute->URI() == URI) return attribute.get();
    return nullptr;
}

std::vector<const XMLElement*> XMLElement::elementsForName(std::string_view name) const {
    std::vector<const XMLElement*> out;
    for (const auto& child : children_)
        if (child->kind() == Kind::Element && child->name() == name) out.push_back(child->asElement());
    return out;
}

std::vector<const XMLElement*> XMLElement::elementsForLocalName(std::string_view localName,
                                                                std::string_view URI) const {
    std::vector<const XMLElement*> out;
    for (const auto& child : children_)
        if (child->kind() == Kind::Element && child->localName() == localName && child->URI() == URI)
            out.push_back(child->asElement());
    return out;
}

std::unique_ptr<XMLDocument> XMLDocument::create(std::string_view bytes) {
    auto parsed = detail::parseXML(bytes);
    if (!parsed) return nullptr;
    const xmlNode* root = xmlDocGetRootElement(parsed.get());
    if (!root) return nullptr;
    std::unique_ptr<XMLDocument> document(new XMLDocument());
    document->root_ = detail::XMLTreeBuilder::element(root);
    return document;
}

std::unique_ptr<XMLDocument> XMLDocument::create(const Data& bytes) {
    return create(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

}  // namespace kq
