#include "snapshot/QELLogicalDrive.h"

#include "snapshot/ElementReader.h"

namespace {

// clang-format off
constexpr AttributeRow<QELLogicalDrive> kAttributes[] = {
    {"state",             asLong<&LogicalDrive::state>},
    {"raidLevel",         asLong<&LogicalDrive::raidLevel>},
    {"blockedAccess",     asBool<&LogicalDrive::blockedAccess>},
    {"writeCacheMode",    asLong<&LogicalDrive::writeCacheMode>},
    {"OSPartition",       asBool<&LogicalDrive::OSPartition>},
    {"badBlockCount",     asLong<&LogicalDrive::badBlockCount>},
    {"snapshotType",      asLong<&LogicalDrive::snapshotType>},
    {"snapshotPartnerID", asLong<&LogicalDrive::snapshotPartnerID>},
    {"LDPath",            asString<&QELLogicalDrive::LDPath>},
    {"secondaryLogicals", asString<&LogicalDrive::secondaryLogicals>},
    {"createDay",         asLong<&LogicalDrive::createDay>},
    {"createMonth",       asLong<&LogicalDrive::createMonth>},
    {"createYear",        asLong<&LogicalDrive::createYear>},
    {"createHour",        asLong<&LogicalDrive::createHour>},
    {"createMinute",      asLong<&LogicalDrive::createMinute>},
    {"createSecond",      asLong<&LogicalDrive::createSecond>},
    {"createMilliSec",    asLong<&LogicalDrive::createMilliSec>},
    {"uniqueID",          asULong<&LogicalDrive::uniqueID>},
    {"logicalName",       asString<&LogicalDrive::logicalName>},
    {"bTaskInProgress",   asBool<&LogicalDrive::bTaskInProgress>},
    {"logicalDriveID",    asID<&Addr::logicalDriveID>},
};
// clang-format on

}  // namespace

QELLogicalDrive::QELLogicalDrive(Adapter* owner) : LogicalDrive(owner) {}

bool QELLogicalDrive::isInstanceOf(char const* name) const {
    return isNamed(name, "QELLogicalDrive") || LogicalDrive::isInstanceOf(name);
}

void QELLogicalDrive::writeTo(Writer* writer) const {
    LogicalDrive::writeTo(writer);
    writeASCII(writer, "logicalName", logicalName);
    writeASCII(writer, "LDPath", LDPath);
    writeASCII(writer, "secondaryLogicals", secondaryLogicals);
    writer->writeInt("createDay", createDay);
    writer->writeInt("createMonth", createMonth);
    writer->writeInt("createYear", createYear);
    writer->writeInt("createHour", createHour);
    writer->writeInt("createMinute", createMinute);
    writer->writeInt("createSecond", createSecond);
    writer->writeInt("createMilliSec", createMilliSec);
    writer->writeBool("bTaskInProgress", bTaskInProgress);
}

void QELLogicalDrive::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "LogicalDrive", attributes,
                 {"logicalDriveID", &Addr::logicalDriveID}, kAttributes);
}

void QELLogicalDrive::build(LogicalDrive* source) {
    if (source == nullptr) return;
    addr = source->addr;
    state = source->getState();
    raidLevel = source->getRaidLevel();
    blockedAccess = source->getBlockedAccess();
    writeCacheMode = source->writeCacheMode;
    OSPartition = source->OSPartition;
    badBlockCount = source->badBlockCount;
    snapshotType = source->snapshotType;
    snapshotPartnerID = source->snapshotPartnerID;
    secondaryLogicals = source->secondaryLogicals;
    createDay = source->createDay;
    createMonth = source->createMonth;
    createYear = source->createYear;
    createHour = source->createHour;
    createMinute = source->createMinute;
    createSecond = source->createSecond;
    createMilliSec = source->createMilliSec;
    uniqueID = source->uniqueID;
    logicalName = source->logicalName;
    bTaskInProgress = source->bTaskInProgress;
}
