#pragma once
// KQUXMLElementBasedObject: an object read from one XML element. It keeps its
// own copy of the element, so it outlives the document it came from; a
// subclass reads its fields from XMLElement().
//
// Subclasses take the element in their constructor. One that can refuse an
// element also declares
//     static std::unique_ptr<Sub> create(const kq::XMLElement* element);
// returning nullptr to refuse; XMLElementBasedObjectsWithXMLElements<Sub>
// then goes through it instead of the constructor.
#include <concepts>
#include <memory>
#include <type_traits>
#include <vector>

#include "KQFoundation/Export.h"
#include "KQFoundation/Foundation/XMLDocument.h"

class KQ_EXPORT KQUXMLElementBasedObject {
public:
    explicit KQUXMLElementBasedObject(const kq::XMLElement& element);
    virtual ~KQUXMLElementBasedObject();

    /// nullptr for a null element, else an object holding a copy of it.
    static std::unique_ptr<KQUXMLElementBasedObject> create(const kq::XMLElement* element);

    /// The private copy of the element the object was made from.
    const kq::XMLElement& XMLElement() const noexcept { return element_; }

    /// One object of class T per element, in order, leaving out null elements
    /// and those T refuses; empty when none.
    template <class T = KQUXMLElementBasedObject>
    static std::vector<std::unique_ptr<T>> XMLElementBasedObjectsWithXMLElements(
        const std::vector<const kq::XMLElement*>& elements) {
        static_assert(std::is_base_of_v<KQUXMLElementBasedObject, T>);
        std::vector<std::unique_ptr<T>> objects;
        for (const kq::XMLElement* element : elements) {
            std::unique_ptr<T> object;
            if constexpr (requires { { T::create(element) } -> std::same_as<std::unique_ptr<T>>; })
                object = T::create(element);
            else if (element)
                object = std::make_unique<T>(*element);
            if (object) objects.push_back(std::move(object));
        }
        return objects;
    }

private:
    kq::XMLElement element_;
};
