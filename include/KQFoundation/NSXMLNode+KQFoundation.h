#pragma once
// NSXMLNode(KQFoundation) and NSXMLElement(KQFoundation): reading values out
// of XML nodes, as members of kq::XMLNode and kq::XMLElement (declared in
// their category blocks in Foundation/XMLDocument.h):
//
//   XMLNode::dateValue()             The string value read with the pattern
//                                    yyyy-MM-dd'T'HH:mm:ss (en_US) in the
//                                    current time zone. The whole text must
//                                    match: a zone suffix, fractional seconds
//                                    or an impossible date give nullopt.
//   XMLNode::childrenStringValues()  The string values of the children in
//                                    order; nullopt when there are no children
//                                    (never an empty vector).
//   XMLElement::elementForName(n)    The first child element named n (the
//                                    qualified name), or nullptr.
#include "KQFoundation/Foundation/XMLDocument.h"
