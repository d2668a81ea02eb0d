#include "storlib/LogicalDrive.h"

#include "storlib/Adapter.h"
#include "storlib/Attributes.h"

namespace {

// Name, creation time and running task are the snapshot's to write.
template <class Self, class Visitor>
void visit(Self& self, Visitor& v) {
    v.integer("state", self.state);
    v.integer("raidLevel", self.raidLevel);
    v.flag("blockedAccess", self.blockedAccess);
    v.integer("writeCacheMode", self.writeCacheMode);
    v.flag("OSPartition", self.OSPartition);
    v.integer("badBlockCount", self.badBlockCount);
    v.integer("snapshotType", self.snapshotType);
    v.integer("snapshotPartnerID", self.snapshotPartnerID);
}

}  // namespace

LogicalDrive::LogicalDrive(Adapter* owner) : adapter(owner) {
    if (owner != nullptr) addr.controllerID = owner->addr.controllerID;
}

bool LogicalDrive::isInstanceOf(char const* name) const {
    return isNamed(name, "LogicalDrive") || RaidObject::isInstanceOf(name);
}

char const* LogicalDrive::typeName() const { return "LogicalDrive"; }

char const* LogicalDrive::serializedName() const { return "LogicalDrive"; }

void LogicalDrive::writeTo(Writer* writer) const {
    RaidObject::writeTo(writer);
    AttributeWriter v{writer};
    visit(*this, v);
    writer->writeUInt("uniqueID", uniqueID);
}

void LogicalDrive::readFrom(Reader* reader) {
    RaidObject::readFrom(reader);
    AttributeReader v{reader};
    visit(*this, v);
    (void)reader->readUInt("uniqueID", uniqueID);
}
