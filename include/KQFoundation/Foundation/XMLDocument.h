#pragma once
// A read-only XML tree (the platform's NSXMLDocument, NSXMLElement and
// NSXMLNode), parsed by libxml2 and then owned by plain C++ objects, so an
// element can be copied and kept after its document is gone.
//
// What the tree holds: elements, attributes, text (CDATA sections become
// text), comments and processing instructions. Character references and the
// five predefined entities are replaced while parsing; references to entities
// that the document declares itself are not expanded and leave nothing in the
// tree. Nothing is loaded from the network or from files.
//
// Names: name() is the qualified name as written ("em:id"); localName() and
// URI() give the part after the prefix and the namespace it is bound to
// (empty when none), for documents that mix vocabularies.
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/Value.h"

namespace kq {

class XMLElement;
namespace detail {
struct XMLTreeBuilder;
}

class KQ_EXPORT XMLNode {
public:
    enum class Kind { Element, Attribute, Text, Comment, ProcessingInstruction };

    virtual ~XMLNode();
    XMLNode& operator=(const XMLNode&) = delete;

    Kind kind() const noexcept { return kind_; }
    /// Qualified name of an element or attribute, target of a processing
    /// instruction; empty for text and comments.
    const std::string& name() const noexcept { return name_; }
    /// The name without its prefix.
    const std::string& localName() const noexcept { return localName_; }
    /// The namespace URI of an element or attribute; empty when it has none.
    const std::string& URI() const noexcept { return URI_; }
    /// Text, comment and processing-instruction content, an attribute's
    /// value, or all text below an element in document order.
    std::string stringValue() const;

    /// Child nodes in document order; only elements have any.
    const std::vector<std::unique_ptr<XMLNode>>& children() const noexcept;
    std::size_t childCount() const noexcept { return children().size(); }
    /// This node as an element, or nullptr.
    const XMLElement* asElement() const noexcept;
    /// A deep copy.
    std::unique_ptr<XMLNode> copy() const;

    // ---- Category NSXMLNode(KQFoundation): NSXMLNode+KQFoundation.h/.cpp ----
    std::optional<Date> dateValue() const;
    std::optional<std::vector<std::string>> childrenStringValues() const;
    // ---- end of category ----

protected:
    XMLNode(Kind kind, std::string name, std::string localName, std::string URI, std::string content);
    XMLNode(const XMLNode&) = default;
    XMLNode(XMLNode&&) noexcept = default;
    XMLNode& operator=(XMLNode&&) noexcept = default;

private:
    friend class XMLElement;
    friend struct detail::XMLTreeBuilder;

    Kind kind_;
    std::string name_;
    std::string localName_;
    std::string URI_;
    std::string content_;
};

class KQ_EXPORT XMLElement : public XMLNode {
public:
    /// Deep copies: the copy shares nothing with the original.
    XMLElement(const XMLElement& other);
    XMLElement& operator=(const XMLElement& other);
    XMLElement(XMLElement&&) noexcept = default;
    XMLElement& operator=(XMLElement&&) noexcept = default;
    ~XMLElement() override;

    /// Attribute nodes in document order (namespace declarations are not attributes).
    const std::vector<std::unique_ptr<XMLNode>>& attributes() const noexcept { return attributes_; }
    /// The attribute with this qualified name, or nullptr.
    const XMLNode* attributeForName(std::string_view name) const;
    /// The attribute with this local name in this namespace, or nullptr.
    const XMLNode* attributeForLocalName(std::string_view localName, std::string_view URI) const;
    /// The child elements with this qualified name, in order.
    std::vector<const XMLElement*> elementsForName(std::string_view name) const;
    /// The child elements with this local name in this namespace, in order.
    std::vector<const XMLElement*> elementsForLocalName(std::string_view localName, std::string_view URI) const;

    // ---- Category NSXMLElement(KQFoundation): NSXMLNode+KQFoundation.h/.cpp ----
    const XMLElement* elementForName(std::string_view name) const;
    // ---- end of category ----

private:
    friend class XMLNode;
    friend struct detail::XMLTreeBuilder;
    XMLElement(std::string name, std::string localName, std::string URI);

    std::vector<std::unique_ptr<XMLNode>> children_;
    std::vector<std::unique_ptr<XMLNode>> attributes_;
};

class KQ_EXPORT XMLDocument {
public:
    /// Parses a whole document (any encoding libxml2 detects); nullptr when
    /// the bytes are not well-formed XML or pass libxml2's limits (nesting
    /// depth 256, 10 MB of text in one node).
    static std::unique_ptr<XMLDocument> create(std::string_view bytes);
    static std::unique_ptr<XMLDocument> create(const Data& bytes);

    const XMLElement* rootElement() const noexcept { return root_.get(); }

private:
    XMLDocument() = default;
    std::unique_ptr<XMLElement> root_;
};

}  // namespace kq
