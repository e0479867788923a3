#include "xml/DocumentLimits.h"

#include <cstring>
#include <unordered_map>

#include <libxml/entities.h>
#include <libxml/tree.h>

namespace skylark {
namespace {

bool isNameStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
         static_cast<unsigned char>(c) >= 0x80;
}

// Position just past terminator, searching from i; npos when it never ends.
size_t skipPast(std::string_view data, size_t i, std::string_view terminator) {
  const size_t found = data.find(terminator, i);
  return found == std::string_view::npos ? found : found + terminator.size();
}

// Counts the attributes of the start tag opening at i (data[i] == '<') and
// returns the position after its '>'. An attribute is counted at each '='
// outside a quoted value.
size_t scanStartTag(std::string_view data, size_t i, size_t& attributes) {
  attributes = 0;
  for (++i; i < data.size(); ++i) {
    const char c = data[i];
    if (c == '"' || c == '\'') {
      // Values (URLs, mostly) are the bulk of a tag: skip to the closing
      // quote at once.
      i = data.find(c, i + 1);
      if (i == std::string_view::npos) return i;
    } else if (c == '=') {
      ++attributes;
    } else if (c == '>') {
      return i + 1;
    }
  }
  return std::string_view::npos;
}

struct ExpansionCounter {
  size_t limit;
  size_t total = 0;
  std::unordered_map<const xmlEntity*, size_t> sizes;

  // Expanded size of an entity's replacement, memoised; an entity met again
  // while being measured (a loop) counts as empty.
  size_t entitySize(const xmlEntity* entity) {
    if (!entity) return 0;
    if (const auto found = sizes.find(entity); found != sizes.end()) return found->second;
    sizes[entity] = 0;
    size_t size = 0;
    if (entity->children) {
      size = listSize(entity->children);
    } else if (entity->content) {
      size = std::strlen(reinterpret_cast<const char*>(entity->content));
    }
    sizes[entity] = size;
    return size;
  }

  // Size of the text a node list expands to, saturating above limit.
  size_t listSize(const xmlNode* node) {
    size_t size = 0;
    for (; node && size <= limit; node = node->next) {
      if (node->type == XML_ENTITY_REF_NODE) {
        const auto* entity = reinterpret_cast<const xmlEntity*>(node->children);
        size += entity ? entitySize(entity) : 0;
      } else if (node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE) {
        size += node->content ? std::strlen(reinterpret_cast<const char*>(node->content)) : 0;
      } else if (node->type == XML_ELEMENT_NODE) {
        size += listSize(node->children);
      }
    }
    return size;
  }
};

}  // namespace

bool startTagsWithinAttributeLimit(std::string_view data, size_t maxAttributes) {
  size_t i = 0;
  while ((i = data.find('<', i)) != std::string_view::npos) {
    const std::string_view rest = data.substr(i);
    if (rest.starts_with("<!--")) {
      i = skipPast(data, i + 4, "-->");
    } else if (rest.starts_with("<![CDATA[")) {
      i = skipPast(data, i + 9, "]]>");
    } else if (rest.starts_with("<?")) {
      i = skipPast(data, i + 2, "?>");
    } else if (rest.size() > 1 && isNameStart(rest[1])) {
      size_t attributes = 0;
      i = scanStartTag(data, i, attributes);
      if (attributes > maxAttributes) return false;
    } else {
      ++i;
    }
    if (i == std::string_view::npos) return true;
  }
  return true;
}

size_t entityExpansionBytes(XMLDocPtr document, size_t limit) {
  if (!document || !document->intSubset) return 0;  // no entities declared
  ExpansionCounter counter{limit, 0, {}};
  // An iterative walk: documents may nest deeper than the stack allows.
  const xmlNode* node = xmlDocGetRootElement(document);
  while (node && counter.total <= limit) {
    if (node->type == XML_ENTITY_REF_NODE) {
      counter.total += counter.entitySize(reinterpret_cast<const xmlEntity*>(node->children));
    } else if (node->type == XML_ELEMENT_NODE) {
      for (const xmlAttr* attribute = node->properties; attribute; attribute = attribute->next) {
        for (const xmlNode* part = attribute->children; part; part = part->next) {
          if (part->type == XML_ENTITY_REF_NODE) {
            counter.total += counter.entitySize(reinterpret_cast<const xmlEntity*>(part->children));
          }
        }
      }
      if (node->children) {
        node = node->children;
        continue;
      }
    }
    while (node && !node->next) {
      node = node->parent;
      if (node && node->type == XML_DOCUMENT_NODE) node = nullptr;
    }
    if (node) node = node->next;
  }
  return counter.total;
}

}  // namespace skylark
