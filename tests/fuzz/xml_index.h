// The element index of a document, held against its text.
#pragma once

#include <string>
#include <vector>

#include "t1_sdk/xmldocument/xml_document.h"

/// The elements of a document in the order of their start tags, with the positions that the index gives them;
/// the links are left out, since where an element is kept in the index is the document's own business.
std::vector<ElemPos> elements_in_order(const XmlDocument& document);

/// Requires that every element of the index stands where the text has its tags, inside its parent and behind
/// its elder sibling. A name is not looked at.
void check_index(const XmlDocument& document);

/// Requires that a fresh parse of the text gives the same elements at the same positions.
void check_against_fresh_parse(const XmlDocument& document);
