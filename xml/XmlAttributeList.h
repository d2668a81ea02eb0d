// XmlAttributeList_C: the attributes of one element, in reading order, with typed getters.
//
// Ownership  The list keeps the pointers that Append() was given, never the texts: they stay the
//            caller's and must outlive the list's use.
// Lookups    Names compare exactly; of several entries with one name the first one counts.
// Absent     An index or a name that is not in the list reads as "", 0 or false.
// Widths     Numbers are 32 bits on every host and stop at the limits of their type.
// Threads    No locking inside.
// Errors     Only Append() and setInitElements() can fail: DynamicBufferException, kOutOfMemory.
//
//   XmlAttributeList_C attributes(0, 1);
//   attributes.Append(parser.attributeName, parser.attributeValue);
//   const long state = attributes.GetLong("state");
#ifndef XML_XMLATTRIBUTELIST_H
#define XML_XMLATTRIBUTELIST_H

#include "util/Number.h"
#include "xml/ByRefArray_TC.h"
#include "xml/SimpleXmlAttribute_S.h"

class XmlAttributeList_C : public ByRefArray_TC<SimpleXmlAttribute_S> {
public:
    // Sizes in entries.
    XmlAttributeList_C(unsigned long initialElements, unsigned long growByElements);

    void setInitElements(unsigned long elements, unsigned long growByElements);
    // Reserves by the growth step of before, then sets the step to one entry.
    void setInitElements(unsigned long elements);

    // A null name adds nothing; a null value is kept as "".
    void Append(char const* name, char const* value) {
        if (name == nullptr) return;
        (void)Insert(GetCount(), {name, value != nullptr ? value : ""});  // false: 2^28 attributes
    }

    bool Exists(char const* name) const;
    char const* GetName(unsigned long index) const;  // null when out of range
    char const* GetValue(unsigned long index) const {
        const SimpleXmlAttribute_S* entry = GetAt(index);
        return entry != nullptr ? entry->value : "";
    }
    char const* GetValue(char const* name) const;

    // Decimal, -2147483648 to 2147483647.
    long GetLong(unsigned long index) const { return strtol32(GetValue(index), 10); }
    long GetLong(char const* name) const;
    // Decimal, 0 to 4294967295.
    unsigned long GetULong(unsigned long index) const { return strtoul32(GetValue(index), 10); }
    unsigned long GetULong(char const* name) const;

    // As GetLong(): values beyond 32 bits stop at its limits.
    long long GetI64(unsigned long index) const;
    long long GetI64(char const* name) const;

    // By way of a double: above 2^53 the low bits are rounded away. Negative is 0; what is too
    // large is the largest value.
    unsigned long long GetU64(unsigned long index) const;
    unsigned long long GetU64(char const* name) const;

    // True when the value begins with "t", "T" or "1".
    bool GetBool(unsigned long index) const {
        char const* value = GetValue(index);
        return *value == 't' || *value == 'T' || *value == '1';
    }
    bool GetBool(char const* name) const;

private:
    char const* find(char const* name) const;  // the value, or null
};

#endif  // XML_XMLATTRIBUTELIST_H
