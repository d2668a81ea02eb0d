#include "benchmarks/FlatDocument.h"

#include <cstring>

namespace {

void appendTo(const pugi::xml_node& node, int blanks, std::vector<FlatElement>& list) {
    FlatElement element{blanks, node.name(), false, !node.first_child(), {}};
    for (const pugi::xml_attribute& attribute : node.attributes()) {
        char const* value = attribute.value();
        const bool isNumber =
            *value != 0 && std::strspn(value, "-0123456789") == std::strlen(value);
        element.attributes.push_back(
            {attribute.name(), isNumber ? nullptr : value, isNumber ? attribute.as_llong() : 0});
    }
    list.push_back(element);
    if (element.empty) return;
    for (const pugi::xml_node& child : node.children()) appendTo(child, blanks + 4, list);
    list.push_back({blanks, node.name(), true, false, {}});
}

}  // namespace

std::vector<FlatElement> flatten(const pugi::xml_document& document) {
    std::vector<FlatElement> list;
    appendTo(document.first_child(), 0, list);
    return list;
}
