#include "snapshot/QELProgress.h"

#include "snapshot/ElementReader.h"
#include "storlib/Progress.h"

namespace {

void asChunkID(QELProgress& task, const XmlAttributeList_C& list, std::uint32_t place) {
    task.addr.chunkID = static_cast<std::uint32_t>(list.GetULong(place));
}

// clang-format off
constexpr AttributeRow<QELProgress> kAttributes[] = {
    {"taskID",             asULong<&QELProgress::taskID>},
    {"taskType",           asULong<&QELProgress::taskType>},
    {"taskState",          asULong<&QELProgress::taskState>},
    {"percentageComplete", asULong<&QELProgress::percentageComplete>},
    {"adapterSerial",      asString<&QELProgress::adapterSerial>},
    {"LDUniqueID",         asULong<&QELProgress::LDUniqueID>},
    {"chunkID",            asChunkID},
    {"deviceID",           asID<&Addr::deviceID>},
    {"channelID",          asID<&Addr::channelID>},
    {"logicalDriveID",     asID<&Addr::logicalDriveID>},
    {"arrayID",            asID<&Addr::arrayID>},
    {"controllerID",       asID<&Addr::controllerID>},
};
// clang-format on

}  // namespace

QELProgress::QELProgress(const QELProgress& other) : RaidObject() { *this = other; }

QELProgress& QELProgress::operator=(const QELProgress& other) {
    addr = other.addr;
    taskID = other.taskID;
    taskType = other.taskType;
    taskState = other.taskState;
    percentageComplete = other.percentageComplete;
    adapterSerial = other.adapterSerial;
    LDUniqueID = other.LDUniqueID;
    return *this;
}

bool QELProgress::isInstanceOf(char const* name) const { return isNamed(name, "Progress"); }

char const* QELProgress::typeName() const { return "Progress"; }

char const* QELProgress::serializedName() const { return "Progress"; }

void QELProgress::writeTo(Writer* writer) const {
    writer->writeULong("taskID", taskID);
    writer->writeULong("taskType", taskType);
    writer->writeULong("taskState", taskState);
    writer->writeULong("percentageComplete", percentageComplete);
    writer->writeAddr(addr);
    writeASCII(writer, "adapterSerial", adapterSerial);
    writer->writeULong("LDUniqueID", LDUniqueID);
}

void QELProgress::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "Progress", attributes, {}, kAttributes);
}

void QELProgress::build(QELProgress* source) {
    if (source != nullptr) *this = *source;
}

void QELProgress::build(const Progress* source) {
    if (source == nullptr) return;
    taskType = static_cast<unsigned int>(source->getType());
    taskState = static_cast<unsigned int>(source->getStatus());
    percentageComplete = static_cast<unsigned int>(source->getPercent());
    static_cast<Addr&>(addr) = source->getDeviceAddr();
}
