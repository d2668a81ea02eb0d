// QELSafteConfig: the snapshot's copy of what a SAF-TE enclosure holds, a "SafteConfig" element.
#ifndef SNAPSHOT_QELSAFTECONFIG_H
#define SNAPSHOT_QELSAFTECONFIG_H

#include "storlib/RaidObject.h"
#include "xml/XmlAttributeList.h"

class SafteConfig;
class SimpleXmlParser;

class QELSafteConfig : public RaidObject {
public:
    QELSafteConfig() = default;
    QELSafteConfig(const QELSafteConfig& other);
    QELSafteConfig& operator=(const QELSafteConfig&) = delete;

    bool isInstanceOf(char const* name) const override;  // "QELSafteConfig" only
    char const* typeName() const override;               // "SafteConfig"
    char const* serializedName() const override;         // "SafteConfig"
    void writeTo(Writer* writer) const override;         // nothing of the base, no address

    void build(SimpleXmlParser& parser);  // see QELSystem::build
    void build(SafteConfig* source);      // null copies nothing, here and below
    void build(QELSafteConfig* source);

    unsigned short fanCount = 0;
    unsigned short powerSupplyCount = 0;
    unsigned short slotCount = 0;

private:
    XmlAttributeList_C attributes{0, 1};  // while an element is read
};

#endif  // SNAPSHOT_QELSAFTECONFIG_H
