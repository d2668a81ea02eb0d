// ElementReader: how a snapshot class reads its element, as tables of what is in it.
//
// Every class has the same loop and the same conversion step; a class brings a table of its
// attributes, in the order in which they are converted, and one of its children.
//
//   constexpr AttributeRow<QELChannel> kAttributes[] = {
//       {"channelType", asLong<&Channel::channelType>},
//       {"channelID", asID<&Addr::channelID>},
//   };
//   constexpr ChildRow<QELChannel> kChildren[] = {
//       {"HardDrive", readHardDrive},
//   };
//   constexpr IdentityAttribute kChannelID = {"channelID", &Addr::channelID};
//
//   void QELChannel::build(SimpleXmlParser& parser) {
//       const CollectedAttributes guard(attributes);
//       readAndStore(*this, parser, "Channel", attributes, kChannelID, kAttributes, kChildren);
//   }
//
// Rules      A missing attribute reads as 0, "" or false; unknown attributes and elements are
//            passed over; of two attributes with one name the first counts. An element that never
//            ends takes the rest of the input.
// Texts      Fixed fields are cut at their size and always end with NUL.
// Errors     SimpleXmlException of the parser passes through; nothing is leaked.
#ifndef SNAPSHOT_ELEMENTREADER_H
#define SNAPSHOT_ELEMENTREADER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "storlib/Addr.h"
#include "storlib/Attributes.h"
#include "storlib/RaidObject.h"
#include "storlib/Writer.h"
#include "xml/SimpleXmlParser.h"
#include "xml/XmlAttributeList.h"

// One attribute: its name and what to do with the entry at `place`. A place beyond the list means
// that the attribute is absent; the getters of the list then answer 0, "" or false.
template <class Object>
struct AttributeRow {
    using Store = void (*)(Object& object, const XmlAttributeList_C& list, std::uint32_t place);

    constexpr AttributeRow(char const* newName, Store newStore)
        : name(newName), length(std::char_traits<char>::length(newName)), store(newStore) {}

    char const* name;
    std::size_t length;
    Store store;
};

// One kind of child: its element and what makes it, reads it and adds it. The parser stands on the
// child's start tag.
template <class Object>
struct ChildRow {
    char const* element;
    void (*read)(Object& parent, SimpleXmlParser& parser);
};

// The attribute that completes an object's address. It is stored as soon as it is seen, because
// children that come later inherit it.
struct IdentityAttribute {
    char const* name = nullptr;  // null: the element has none
    unsigned int Addr::*identifier = nullptr;
};

// Empties the list at the end of the scope: its pointers lead into the parser's buffer, which the
// object outlives.
class CollectedAttributes {
public:
    explicit CollectedAttributes(XmlAttributeList_C& attributes) : list(attributes) {}
    ~CollectedAttributes() { list.RemoveAll(); }
    CollectedAttributes(const CollectedAttributes&) = delete;
    CollectedAttributes& operator=(const CollectedAttributes&) = delete;

private:
    XmlAttributeList_C& list;
};

// Conversions, named after the getter of the list.

template <auto Member, class Object>
void asLong(Object& object, const XmlAttributeList_C& list, std::uint32_t place) {
    auto& field = object.*Member;
    field = static_cast<std::remove_reference_t<decltype(field)>>(list.GetLong(place));
}

template <auto Member, class Object>
void asULong(Object& object, const XmlAttributeList_C& list, std::uint32_t place) {
    auto& field = object.*Member;
    field = static_cast<std::remove_reference_t<decltype(field)>>(list.GetULong(place));
}

template <auto Member, class Object>
void asBool(Object& object, const XmlAttributeList_C& list, std::uint32_t place) {
    object.*Member = list.GetBool(place);
}

template <auto Member, class Object>
void asString(Object& object, const XmlAttributeList_C& list, std::uint32_t place) {
    object.*Member = list.GetValue(place);
}

template <auto Member, class Object>
void asText(Object& object, const XmlAttributeList_C& list, std::uint32_t place) {
    setText(object.*Member, list.GetValue(place));
}

// A number of the address.
template <unsigned int Addr::*Identifier, class Object>
void asID(Object& object, const XmlAttributeList_C& list, std::uint32_t place) {
    object.addr.*Identifier = static_cast<std::uint32_t>(list.GetULong(place));
}

// The same for kinds that do not inherit it: absent leaves it as it is.
template <unsigned int Addr::*Identifier, class Object>
void asIDIfPresent(Object& object, const XmlAttributeList_C& list, std::uint32_t place) {
    if (place < list.GetCount()) asID<Identifier>(object, list, place);
}

// Names are short and mostly differ at the first character, or else are the same: less work than a
// call.
inline bool isSameName(char const* a, char const* b) {
    while (*a == *b && *a != 0) {
        ++a;
        ++b;
    }
    return *a == *b;
}

// A child that is of no interest to the element at hand is read by nobody.
template <class Object>
void readChild(Object& object, SimpleXmlParser& parser, const ChildRow<Object>* rows,
               std::size_t rowCount) {
    for (std::size_t i = 0; i < rowCount; ++i) {
        if (!isSameName(parser.elementName, rows[i].element)) continue;
        rows[i].read(object, parser);
        return;
    }
}

// Which entry of the list belongs to which row. Attributes mostly come in the order of the table,
// so the row behind the last one is tried first.
template <class Object, std::size_t N>
class AttributePlaces {
public:
    static constexpr std::uint32_t kAbsent = UINT32_MAX;

    explicit AttributePlaces(const AttributeRow<Object> (&table)[N]) : rows(table) {
        for (std::uint32_t& place : places) place = kAbsent;
    }

    // The attribute at which the parser stands is the entry at `place`.
    void note(const SimpleXmlParser& parser, std::uint32_t place) {
        char const* name = parser.attributeName;
        // Up to the value all bytes are the parser's; without one only the name is.
        const std::size_t readable = parser.attributeValue != nullptr
                                         ? static_cast<std::size_t>(parser.attributeValue - name)
                                         : std::strlen(name) + 1;
        for (std::size_t tried = 0; tried < N; ++tried) {
            const std::size_t row = expected + tried < N ? expected + tried : expected + tried - N;
            if (!isRow(rows[row], name, readable)) continue;
            if (places[row] == kAbsent) places[row] = place;
            expected = row + 1 < N ? row + 1 : 0;
            return;
        }
    }
    std::uint32_t operator[](std::size_t row) const { return places[row]; }

private:
    static std::uint64_t wordAt(char const* text) {
        std::uint64_t word = 0;
        std::memcpy(&word, text, sizeof word);
        return word;
    }

    // The name with its NUL, eight bytes at a time.
    static bool isRow(const AttributeRow<Object>& row, char const* name, std::size_t readable) {
        const std::size_t size = row.length + 1;
        if (*row.name != *name || readable < size) return false;
        if (size < sizeof(std::uint64_t)) return isSameName(row.name, name);
        const std::size_t last = size - sizeof(std::uint64_t);
        for (std::size_t at = 0; at < last; at += sizeof(std::uint64_t)) {
            if (wordAt(row.name + at) != wordAt(name + at)) return false;
        }
        return wordAt(row.name + last) == wordAt(name + last);
    }

    const AttributeRow<Object> (&rows)[N];
    std::uint32_t places[N];
    std::size_t expected = 0;
};

// For elements whose attributes nobody stores.
struct NoPlaces {
    void note(const SimpleXmlParser&, std::uint32_t) {}
};

// Reads from the parser's present token up to the end of `element` and collects its attributes.
// Only a start tag makes a child: a stray end tag makes none.
template <class Object, class Places>
void readElement(Object& object, SimpleXmlParser& parser, char const* element,
                 XmlAttributeList_C& attributes, const IdentityAttribute& identity,
                 const ChildRow<Object>* children, std::size_t childCount, Places& places) {
    char const* ownName = nullptr;  // once compared, the same place in the buffer is the same name
    do {
        char const* name = parser.elementName;
        if (name == nullptr) continue;
        if (name == ownName || isSameName(name, element)) {
            ownName = name;
            if ((parser.flags & SimpleXmlParser::kElementEnd) != 0) return;
            char const* attribute = parser.attributeName;
            if (attribute == nullptr) continue;
            places.note(parser, attributes.GetCount());
            attributes.Append(attribute, parser.attributeValue);
            if (identity.name != nullptr && isSameName(attribute, identity.name)) {
                object.addr.*identity.identifier =
                    static_cast<std::uint32_t>(attributes.GetULong(identity.name));
            }
        } else if ((parser.flags & SimpleXmlParser::kElementStart) != 0) {
            readChild(object, parser, children, childCount);
        }
    } while (parser.parseNext());
}

template <class Object, std::size_t N>
void readElement(Object& object, SimpleXmlParser& parser, char const* element,
                 XmlAttributeList_C& attributes, const IdentityAttribute& identity,
                 const ChildRow<Object> (&children)[N]) {
    NoPlaces places;
    readElement(object, parser, element, attributes, identity, children, N, places);
}

// Reads the element and converts what was collected, in the order of the table.
template <class Object, std::size_t Rows>
void readAndStore(Object& object, SimpleXmlParser& parser, char const* element,
                  XmlAttributeList_C& attributes, const IdentityAttribute& identity,
                  const AttributeRow<Object> (&rows)[Rows], const ChildRow<Object>* children,
                  std::size_t childCount) {
    AttributePlaces<Object, Rows> places(rows);
    readElement(object, parser, element, attributes, identity, children, childCount, places);
    for (std::size_t row = 0; row < Rows; ++row) {
        rows[row].store(object, attributes, places[row]);
    }
}

template <class Object, std::size_t Rows, std::size_t Children>
void readAndStore(Object& object, SimpleXmlParser& parser, char const* element,
                  XmlAttributeList_C& attributes, const IdentityAttribute& identity,
                  const AttributeRow<Object> (&rows)[Rows],
                  const ChildRow<Object> (&children)[Children]) {
    readAndStore(object, parser, element, attributes, identity, rows, children, Children);
}

template <class Object, std::size_t Rows>
void readAndStore(Object& object, SimpleXmlParser& parser, char const* element,
                  XmlAttributeList_C& attributes, const IdentityAttribute& identity,
                  const AttributeRow<Object> (&rows)[Rows]) {
    readAndStore<Object>(object, parser, element, attributes, identity, rows, nullptr, 0);
}

// Hands a finished child to its parent.
template <class Child>
void adopt(RaidObject& parent, std::unique_ptr<Child> child) {
    parent.addChild(child.get());
    (void)child.release();  // the parent's now
}

// Makes a child, lets it read itself from the parser and hands it over. When its element is
// malformed, what was read of it goes and the parent keeps the children before it.
template <class Child, class... Arguments>
void readInto(RaidObject& parent, SimpleXmlParser& parser, Arguments... arguments) {
    auto child = std::make_unique<Child>(arguments...);
    child->build(parser);
    adopt(parent, std::move(child));
}

// The same from an object of the storage library.
template <class Child, class Source, class... Arguments>
void copyInto(RaidObject& parent, Source* source, Arguments... arguments) {
    auto child = std::make_unique<Child>(arguments...);
    child->build(source);
    adopt(parent, std::move(child));
}

// Writes a text as 7-bit ASCII. The writer clears bit 7 in place, so it gets a copy.
inline void writeASCII(Writer* writer, char const* name, std::string text) {
    writer->writeASCIIString(name, text.data());
}

// Lets `visit` see each child that is there, in order. The number is taken first, so that a visit
// may add children to the same object.
template <class Visit>
void forEachChild(const RaidObject& object, Visit visit) {
    const unsigned long count = object.getChildCount();
    for (unsigned long i = 0; i < count; ++i) {
        RaidObject* child = object.getChild(i);
        if (child != nullptr) visit(child);
    }
}

#endif  // SNAPSHOT_ELEMENTREADER_H
