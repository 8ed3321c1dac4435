#include "KQFoundation/KQUXMLElementBasedObject.h"

KQUXMLElementBasedObject::KQUXMLElementBasedObject(const kq::XMLElement& element) : element_(element) {}

KQUXMLElementBasedObject::~KQUXMLElementBasedObject() = default;

std::unique_ptr<KQUXMLElementBasedObject> KQUXMLElementBasedObject::create(const kq::XMLElement* element) {
    if (!element) return nullptr;
    return std::make_unique<KQUXMLElementBasedObject>(*element);
}
