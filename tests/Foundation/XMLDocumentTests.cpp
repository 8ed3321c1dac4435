#include <gtest/gtest.h>
#include <unicode/timezone.h>

#include <tuple>

#include "KQFoundation/NSXMLNode+KQFoundation.h"

using kq::XMLDocument;
using kq::XMLElement;
using kq::XMLNode;

namespace {

std::unique_ptr<XMLDocument> parse(std::string_view text) { return XMLDocument::create(text); }

/// Sets ICU's default time zone for the test's lifetime.
struct ScopedTimeZone {
    explicit ScopedTimeZone(const char* id) : saved(icu::TimeZone::createDefault()) {
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone(id));
    }
    ~ScopedTimeZone() { icu::TimeZone::adoptDefault(saved); }
    icu::TimeZone* saved;
};

constexpr std::string_view kManifest = R"(<?xml version="1.0"?>
<RDF:RDF xmlns:RDF="http://www.w3.org/1999/02/22-rdf-syntax-ns#" xmlns:em="http://www.mozilla.org/2004/em-rdf#">
  <RDF:Description RDF:about="urn:mozilla:install-manifest" em:id="tool@example.com">
    <em:name>Tool &amp; <![CDATA[<Co>]]><!-- not text --></em:name>
    <em:version>1.2</em:version><em:version>ignored</em:version>
  </RDF:Description>
</RDF:RDF>)";

constexpr const char* kRDF = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
constexpr const char* kEM = "http://www.mozilla.org/2004/em-rdf#";

}  // namespace

TEST(XMLDocument, NamespacedTreeAttributesAndText) {
    auto document = parse(kManifest);
    ASSERT_TRUE(document);
    const XMLElement* root = document->rootElement();
    EXPECT_EQ(std::make_tuple(root->name(), root->localName(), root->URI()), std::make_tuple("RDF:RDF", "RDF", kRDF));
    EXPECT_TRUE(root->attributes().empty()) << "namespace declarations are not attributes";

    const auto descriptions = root->elementsForLocalName("Description", kRDF);
    ASSERT_EQ(descriptions, std::vector<const XMLElement*>{root->elementForName("RDF:Description")});
    const XMLElement* description = descriptions[0];
    ASSERT_TRUE(description->attributeForLocalName("id", kEM));
    EXPECT_EQ(description->attributeForLocalName("id", kEM)->stringValue(), "tool@example.com");
    EXPECT_FALSE(description->attributeForName("about") || description->attributeForLocalName("id", kRDF));

    const XMLElement* name = description->elementForName("em:name");
    ASSERT_TRUE(name && name->childCount() == 3);
    EXPECT_EQ(name->stringValue(), "Tool & <Co>") << "text and CDATA, no comment";
    EXPECT_EQ(name->children()[2]->kind(), XMLNode::Kind::Comment);
    EXPECT_EQ(std::make_tuple(description->elementsForName("em:version").size(), description->elementForName("em:version")->stringValue(),
                              description->elementForName("version")), std::make_tuple(2u, "1.2", nullptr));
    EXPECT_NE(root->stringValue().find("1.2ignored"), std::string::npos);
}

TEST(XMLDocument, CopiesAreDeepAndOutliveTheDocument) {
    auto document = parse("<a x='1'><b>t<c/>u</b><?go now?></a>");
    ASSERT_TRUE(document);
    XMLElement copy = *document->rootElement();
    document.reset();
    ASSERT_EQ(copy.childCount(), 2u);
    EXPECT_EQ(copy.attributeForName("x")->stringValue(), "1");
    EXPECT_EQ(copy.elementForName("b")->stringValue(), "tu");
    EXPECT_EQ(copy.children()[1]->name(), "go") << "processing instruction";
    XMLElement assigned = *copy.elementForName("b");
    assigned = copy;
    EXPECT_NE(assigned.elementForName("b"), copy.elementForName("b"));
    EXPECT_EQ(assigned.elementForName("b")->elementForName("c")->name(), "c");
}

TEST(XMLDocument, RefusesBadInputAndLoadsNothing) {
    std::string deep;
    for (int i = 0; i < 300; ++i) deep = "<a>" + deep + "</a>";
    for (std::string_view bad : {std::string_view(""), std::string_view("plain"), std::string_view("<a>"),
                                 std::string_view("<a></b>"), std::string_view("<a/><b/>"), std::string_view(deep)})
        EXPECT_FALSE(parse(bad)) << bad.substr(0, 20);

    // Declared entities stay references: no file is read, nothing expands.
    auto document = parse(R"(<!DOCTYPE a [<!ENTITY f SYSTEM "file:///etc/hostname"><!ENTITY e "x&e2;"><!ENTITY e2 "y">]>)"
                          R"(<a v="&#65;&lt;">&f;&e;&#x42;</a>)");
    ASSERT_TRUE(document);
    EXPECT_EQ(std::make_tuple(document->rootElement()->stringValue(), document->rootElement()->attributeForName("v")->stringValue()),
              std::make_tuple("B", "A<"));

    const char16_t text[] = u"\xFEFF<r>\u00E9</r>";
    auto utf16 = parse(std::string_view(reinterpret_cast<const char*>(text), sizeof text - 2));
    ASSERT_TRUE(utf16);
    EXPECT_EQ(utf16->rootElement()->stringValue(), "\xC3\xA9");
}

TEST(XMLNodeKQFoundation, DateValueIsLocalTimeAndWholeTextAndChildrenStringValues) {
    ScopedTimeZone zone("Europe/Berlin");
    auto document = parse("<d><ok>2015-06-01T10:00:00</ok><winter>2015-01-01T00:00:00</winter>"
                          "<z>2015-06-01T10:00:00Z</z><f>2015-06-01T10:00:00.5</f><day>2015-06-01</day>"
                          "<bad>2015-02-30T10:00:00</bad><empty/></d>");
    ASSERT_TRUE(document);
    const XMLElement* d = document->rootElement();
    using std::chrono::duration;
    EXPECT_EQ(d->elementForName("ok")->dateValue(), kq::Date(duration<double>(1433145600.0)));  // 08:00Z
    EXPECT_EQ(d->elementForName("winter")->dateValue(), kq::Date(duration<double>(1420066800.0)));
    for (const char* name : {"z", "f", "day", "bad", "empty"})
        EXPECT_FALSE(d->elementForName(name)->dateValue()) << name;

    document = parse("<r><none/><some>a<b>c</b><!--d--><e/></some></r>");
    ASSERT_TRUE(document);
    const XMLElement* r = document->rootElement();
    EXPECT_EQ(r->elementForName("none")->childrenStringValues(), std::nullopt);
    EXPECT_EQ(r->elementForName("some")->childrenStringValues(),
              (std::vector<std::string>{"a", "c", "d", ""}));
    EXPECT_EQ(r->elementForName("some")->children()[0]->childrenStringValues(), std::nullopt) << "text node";
}
