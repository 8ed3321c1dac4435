#pragma once
// NSMutableAttributedString(KQFoundation): styling helpers and tag unfolding,
// as members of kq::MutableAttributedString. None of them throws.
//
// void setFontSize(double pointSize);
//   Every run with a font gets that font converted to the size by the shared
//   font manager; every run without one gets the system font of that size.
//   Other attributes stay as they are.
// void setAttribute(std::string_view name, AttributeValue value);
// void removeAttribute(std::string_view name);
//   Adds / removes the attribute over the whole string.
// void setColor(const Color& color);
//   setAttribute(NSForegroundColorAttributeName, color).
// void replaceString(std::string_view text, const AttributedString& attributedText);
//   Replaces the first literal occurrence of `text` with the attributed text
//   (which keeps its own attributes); nothing happens when it does not occur.
// Range unfoldTag(std::string_view tag);
//   Finds "<tag>", then the first "</tag>" after it (or takes the end of the
//   text when there is none), deletes the closing tag and then the opening
//   one, and returns the range the enclosed text now occupies. Without an
//   opening tag the text is unchanged and the result is {Range::NotFound, 0}.
//   Tags match literally and do not nest.
// void unfoldTagsWithAttributes(const std::vector<std::pair<std::string, Attributes>>& tags);
//   For each tag in order, unfolds it until it no longer occurs and adds its
//   attributes over every range that returns.
// void unfoldTagsWithAttributed(const std::vector<std::pair<std::string, Attributes>>& tags);
//   Another name for unfoldTagsWithAttributes.
#include "KQFoundation/Graphics/AttributedString.h"
