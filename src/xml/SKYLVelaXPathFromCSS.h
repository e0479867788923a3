#pragma once

#include <string>
#include <string_view>

#include "platform/Visibility.h"

namespace SKYLARK_API skylark {

// Translates a small subset of CSS selectors into XPath relative to the
// current node: element names, "*", ids, classes, attribute presence, and
// the descendant, child (>), adjacent (+) and general sibling (~)
// combinators, with "," alternatives. "div" gives ".//div", "div > p"
// ".//div/p", "div p" ".//div/descendant::p", "a, b" ".//a | .//b".
//
// The id of a selector is looked up in the whole selector text over the
// length of the current token: right for the first token, and possibly
// another token's text for later ones. This is how the translation has
// always behaved, and queries written against it depend on it.
std::string SKYLVelaXPathFromCSS(std::string_view css);

}  // namespace skylark
