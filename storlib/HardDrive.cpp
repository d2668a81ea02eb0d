#include "storlib/HardDrive.h"

#include "storlib/Attributes.h"

namespace {

template <class Self, class Visitor>
void visit(Self& self, Visitor& v) {
    v.wide("size", self.size);
    v.flag("pfaError", self.pfaError);
    v.flag("pfaSupported", self.pfaSupported);
    v.flag("OSPartition", self.OSPartition);
    v.flag("taskInProgress", self.taskInProgress);
}

}  // namespace

HardDrive::HardDrive(Adapter* ownAdapter, Channel* ownChannel)
    : PhysicalDevice(ownAdapter, ownChannel) {}

bool HardDrive::isInstanceOf(char const* name) const {
    return isNamed(name, "HardDrive") || PhysicalDevice::isInstanceOf(name);
}

char const* HardDrive::typeName() const { return "HardDrive"; }

char const* HardDrive::serializedName() const { return "HardDrive"; }

void HardDrive::writeTo(Writer* writer) const {
    PhysicalDevice::writeTo(writer);
    AttributeWriter v{writer};
    visit(*this, v);
}

void HardDrive::readFrom(Reader* reader) {
    PhysicalDevice::readFrom(reader);
    AttributeReader v{reader};
    visit(*this, v);
}

void HardDrive::build(SimpleXmlParser&) {}
