// QELProgressCollection: the tasks that a snapshot keeps, a "ProgressCollection" element with its
// "Progress" children.
//
// Copying adds: the copy constructor, operator= and build() put a copy of each task of the source
// behind those already held, and none of them clears first. Callers start from an empty collection.
#ifndef SNAPSHOT_QELPROGRESSCOLLECTION_H
#define SNAPSHOT_QELPROGRESSCOLLECTION_H

#include "storlib/RaidObject.h"
#include "xml/XmlAttributeList.h"

class SimpleXmlParser;

class QELProgressCollection : public RaidObject {
public:
    QELProgressCollection() = default;
    QELProgressCollection(const QELProgressCollection& other);
    QELProgressCollection& operator=(const QELProgressCollection& other);

    bool isInstanceOf(char const* name) const override;  // "ProgressCollection" only
    char const* typeName() const override;               // "ProgressCollection"
    char const* serializedName() const override;         // "ProgressCollection"
    void writeTo(Writer* writer) const override;         // no attributes

    void build(SimpleXmlParser& parser);        // see QELSystem::build
    void build(QELProgressCollection* source);  // null adds nothing

private:
    void addCopies(const QELProgressCollection& other);

    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELPROGRESSCOLLECTION_H
