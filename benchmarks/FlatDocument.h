// FlatDocument: a document as a plain list, with numbers as numbers: what a program that formats by
// itself, or that builds a document with a library, would start from.
#ifndef BENCHMARKS_FLATDOCUMENT_H
#define BENCHMARKS_FLATDOCUMENT_H

#include <vector>

#include <pugixml.hpp>

struct FlatElement {
    struct Attribute {
        char const* name;
        char const* text;  // null: a number
        long long number;
    };
    int blanks;
    char const* name;
    bool closes;  // an end tag
    bool empty;
    std::vector<Attribute> attributes;
};

// Texts point into the document.
std::vector<FlatElement> flatten(const pugi::xml_document& document);

#endif  // BENCHMARKS_FLATDOCUMENT_H
