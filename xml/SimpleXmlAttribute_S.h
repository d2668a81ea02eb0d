// SimpleXmlAttribute_S: one attribute as a pair of borrowed, NUL-terminated texts.
#ifndef XML_SIMPLEXMLATTRIBUTE_S_H
#define XML_SIMPLEXMLATTRIBUTE_S_H

struct SimpleXmlAttribute_S {
    char const* name = nullptr;
    char const* value = nullptr;
};

#endif  // XML_SIMPLEXMLATTRIBUTE_S_H
