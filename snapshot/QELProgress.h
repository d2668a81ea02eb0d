// QELProgress: a background task as the snapshot keeps it, a "Progress" element.
//
// The object's address is that of the drive at work. Identifiers that were not set when the task
// was written are absent from the element and read back as 0; itemID and phyID are not read. A
// search of the whole snapshot for a drive that is gone may therefore end at its task: ask for the
// kind.
#ifndef SNAPSHOT_QELPROGRESS_H
#define SNAPSHOT_QELPROGRESS_H

#include <string>

#include "storlib/RaidObject.h"
#include "xml/XmlAttributeList.h"

class Progress;
class SimpleXmlParser;

class QELProgress : public RaidObject {
public:
    QELProgress() = default;
    QELProgress(const QELProgress& other);
    QELProgress& operator=(const QELProgress& other);

    bool isInstanceOf(char const* name) const override;  // "Progress" only, not the class name
    char const* typeName() const override;               // "Progress"
    char const* serializedName() const override;         // "Progress"
    void writeTo(Writer* writer) const override;         // nothing of the base

    void build(SimpleXmlParser& parser);  // see QELSystem::build
    void build(QELProgress* source);      // null copies nothing, here and below
    // Type, state, percent and address; the other fields are the caller's to fill.
    void build(const Progress* source);

    unsigned int taskID = 0;
    unsigned int taskType = 0;   // EnumTaskType
    unsigned int taskState = 0;  // EnumTaskStatus
    unsigned int percentageComplete = 0;
    std::string adapterSerial;
    unsigned int LDUniqueID = 0;

private:
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELPROGRESS_H
