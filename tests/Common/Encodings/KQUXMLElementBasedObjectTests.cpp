#include <gtest/gtest.h>

#include "KQFoundation/KQUXMLElementBasedObject.h"
#include "KQFoundation/NSXMLNode+KQFoundation.h"

namespace {

/// Refuses elements without an "id".
struct Item : KQUXMLElementBasedObject {
    using KQUXMLElementBasedObject::KQUXMLElementBasedObject;
    static std::unique_ptr<Item> create(const kq::XMLElement* element) {
        if (!element || !element->attributeForName("id")) return nullptr;
        return std::make_unique<Item>(*element);
    }
    std::string id() const { return XMLElement().attributeForName("id")->stringValue(); }
};

/// Takes every element, through its constructor.
struct Plain : KQUXMLElementBasedObject {
    using KQUXMLElementBasedObject::KQUXMLElementBasedObject;
};

}  // namespace

TEST(KQUXMLElementBasedObject, KeepsACopyOfItsElement) {
    EXPECT_FALSE(KQUXMLElementBasedObject::create(nullptr));
    auto document = kq::XMLDocument::create("<item id='7'><name>n</name></item>");
    auto object = KQUXMLElementBasedObject::create(document->rootElement());
    document.reset();
    ASSERT_TRUE(object);
    EXPECT_EQ(object->XMLElement().elementForName("name")->stringValue(), "n");
}

TEST(KQUXMLElementBasedObject, MakesInstancesOfTheReceivingClass) {
    auto document = kq::XMLDocument::create("<list><item id='a'/><item/><item id='b'/></list>");
    auto elements = document->rootElement()->elementsForName("item");
    elements.insert(elements.begin() + 1, nullptr);

    auto items = KQUXMLElementBasedObject::XMLElementBasedObjectsWithXMLElements<Item>(elements);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0]->id(), "a");
    EXPECT_EQ(items[1]->id(), "b");
    EXPECT_EQ(KQUXMLElementBasedObject::XMLElementBasedObjectsWithXMLElements<Plain>(elements).size(), 3u);
    EXPECT_EQ(KQUXMLElementBasedObject::XMLElementBasedObjectsWithXMLElements(elements).size(), 3u);
    EXPECT_TRUE(KQUXMLElementBasedObject::XMLElementBasedObjectsWithXMLElements<Item>({}).empty());
}
