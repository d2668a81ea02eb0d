// QELSystem: root of a snapshot, a "System" element with one "Controller" for each adapter and then
// a "ProgressCollection".
//
// A snapshot is made in one of two ways, by the operations that every snapshot class has:
//
//   build(SimpleXmlParser&)     reads the element at which the parser stands, with all below it,
//                               and leaves the parser at its end. A further start tag of the same
//                               name inside it adds attributes. What is missing reads as 0, "" or
//                               false. Throws the parser's
//                               SimpleXmlException; the children that were complete stay.
//   build(<library object>*)    copies a live object and all below it. The copy owns everything it
//                               holds; the source may go.
//
//   QELSystem stored(kStorLibGeneric);
//   SimpleXmlParser parser(text.data(), text.size());
//   stored.build(parser);
//
// Ownership  A snapshot object is owned by its parent through the list of children.
// Threads    No locking inside; a tree belongs to one thread.
#ifndef SNAPSHOT_QELSYSTEM_H
#define SNAPSHOT_QELSYSTEM_H

#include "storlib/System.h"
#include "xml/XmlAttributeList.h"

class SimpleXmlParser;

class QELSystem : public System {
public:
    explicit QELSystem(EnumStorLibType type);

    bool isInstanceOf(char const* name) const override;
    void writeTo(Writer* writer) const override;  // no attributes

    // A snapshot never asks a controller: nothing is built, and there are 0 controllers to ask.
    void buildChildren(StorLib* library, Ret& result) override;
    int getControllerCount(StorLib* library, Ret& result) override;

    void build(SimpleXmlParser& parser);
    // Adapters only: tasks are handed to the snapshot apart, and would stand in it twice.
    void build(System* source);  // null copies nothing

private:
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELSYSTEM_H
