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
//       readElement(*this, parser, "Channel", attributes, kChannelID, kChildren);
//       storeAttributes(*this, kAttributes, attributes);
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
    char const* name;
    void (*store)(Object& object, const XmlAttributeList_C& list, std::uint32_t place);
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

// A child that is of no interest to the element at hand is read by nobody.
template <class Object>
void readChild(Object& object, SimpleXmlParser& parser, const ChildRow<Object>* rows,
               std::size_t rowCount) {
    for (std::size_t i = 0; i < rowCount; ++i) {
        if (std::strcmp(parser.elementName, rows[i].element) != 0) continue;
        rows[i].read(object, parser);
        return;
    }
}

// Reads from the parser's present token up to the end of `element` and collects its attributes.
// Only a start tag makes a child: a stray end tag makes none.
template <class Object>
void readElement(Object& object, SimpleXmlParser& parser, char const* element,
                 XmlAttributeList_C& attributes, const IdentityAttribute& identity,
                 const ChildRow<Object>* children, std::size_t childCount) {
    char const* ownName = nullptr;  // once compared, the same place in the buffer is the same name
    do {
        char const* name = parser.elementName;
        if (name == nullptr) continue;
        if (name == ownName || std::strcmp(name, element) == 0) {
            ownName = name;
            if ((parser.flags & SimpleXmlParser::kElementEnd) != 0) return;
            char const* attribute = parser.attributeName;
            if (attribute == nullptr) continue;
            attributes.Append(attribute, parser.attributeValue);
            if (identity.name != nullptr && std::strcmp(attribute, identity.name) == 0) {
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
    readElement(object, parser, element, attributes, identity, children, N);
}

template <class Object>
void readElement(Object& object, SimpleXmlParser& parser, char const* element,
                 XmlAttributeList_C& attributes, const IdentityAttribute& identity = {}) {
    readElement<Object>(object, parser, element, attributes, identity, nullptr, 0);
}

// Converts what was collected, in the order of the table. Attributes mostly come in that order, so
// the row behind the last one is tried first and the whole step is one pass over the list.
template <class Object, std::size_t N>
void storeAttributes(Object& object, const AttributeRow<Object> (&rows)[N],
                     const XmlAttributeList_C& attributes) {
    constexpr std::uint32_t kAbsent = UINT32_MAX;
    std::uint32_t places[N];
    for (std::uint32_t& place : places) place = kAbsent;

    std::size_t expected = 0;
    for (std::uint32_t place = 0; place < attributes.GetCount(); ++place) {
        char const* name = attributes.GetAt(place)->name;
        for (std::size_t tried = 0; tried < N; ++tried) {
            const std::size_t row = expected + tried < N ? expected + tried : expected + tried - N;
            if (*rows[row].name != *name || std::strcmp(rows[row].name, name) != 0) continue;
            if (places[row] == kAbsent) places[row] = place;
            expected = row + 1 < N ? row + 1 : 0;
            break;
        }
    }
    for (std::size_t row = 0; row < N; ++row) rows[row].store(object, attributes, places[row]);
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
