#include "xml/XmlAttributeList.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "util/Number.h"

namespace {

using Array = ByRefArray_TC<SimpleXmlAttribute_S>;

// Counts are 32 bits; more bytes than that are refused by the array itself, which only sees them
// where unsigned long is wider. Elsewhere the largest size stands for "too many".
unsigned long bytesOf(unsigned long elements) {
    const std::uint64_t bytes =
        std::uint64_t{static_cast<std::uint32_t>(elements)} * Array::kEntrySize;
    return bytes > UINT32_MAX ? UINT32_MAX : static_cast<unsigned long>(bytes);
}

unsigned long long toU64(char const* value) {
    const double number = std::strtod(value, nullptr);
    if (!(number > 0)) return 0;  // NaN as well
    if (number >= 18446744073709551616.0) return UINT64_MAX;
    return static_cast<unsigned long long>(number);
}

}  // namespace

XmlAttributeList_C::XmlAttributeList_C(unsigned long initialElements, unsigned long growByElements)
    : Array(bytesOf(initialElements), bytesOf(growByElements)) {}

void XmlAttributeList_C::setInitElements(unsigned long elements, unsigned long growByElements) {
    SetGrowBy(bytesOf(growByElements));
    Reserve(bytesOf(elements));
}

void XmlAttributeList_C::setInitElements(unsigned long elements) {
    Reserve(bytesOf(elements));
    SetGrowBy(kEntrySize);
}

bool XmlAttributeList_C::Exists(char const* name) const { return find(name) != nullptr; }

char const* XmlAttributeList_C::GetName(unsigned long index) const {
    const SimpleXmlAttribute_S* entry = GetAt(index);
    return entry != nullptr ? entry->name : nullptr;
}

char const* XmlAttributeList_C::GetValue(char const* name) const {
    char const* value = find(name);
    return value != nullptr ? value : "";
}

long XmlAttributeList_C::GetLong(char const* name) const { return strtol32(GetValue(name), 10); }

unsigned long XmlAttributeList_C::GetULong(char const* name) const {
    return strtoul32(GetValue(name), 10);
}

long long XmlAttributeList_C::GetI64(unsigned long index) const { return GetLong(index); }

long long XmlAttributeList_C::GetI64(char const* name) const { return GetLong(name); }

unsigned long long XmlAttributeList_C::GetU64(unsigned long index) const {
    return toU64(GetValue(index));
}

unsigned long long XmlAttributeList_C::GetU64(char const* name) const {
    return toU64(GetValue(name));
}

bool XmlAttributeList_C::GetBool(char const* name) const {
    char const* value = GetValue(name);
    return *value == 't' || *value == 'T' || *value == '1';
}

char const* XmlAttributeList_C::find(char const* name) const {
    if (name == nullptr) return nullptr;
    for (std::uint32_t i = 0; i < GetCount(); ++i) {
        const SimpleXmlAttribute_S* entry = GetAt(i);
        if (std::strcmp(entry->name, name) == 0) return entry->value;
    }
    return nullptr;
}
