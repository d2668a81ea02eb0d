#include "storlib/Adapter.h"

#include "storlib/Attributes.h"

namespace {

struct LimitRow {
    char const* name;
    Limit limit;
};

constexpr LimitRow kLimitRows[] = {
    {"maxLogicalDrives", kLimitLogicalDrives},
    {"maxArrays", kLimitArrays},
    {"maxSpannedArrays", kLimitSpannedArrays},
    {"maxChannels", kLimitChannels},
    {"maxID", kLimitID},
    {"maxDevicesPerArray", kLimitDevicesPerArray},
    {"maxControllers", kLimitControllers},
};

// What a snapshot keeps of its own (serial, PCI numbers, battery, version match) is not written
// here, or it would stand in the file twice.
template <class Self, class Visitor>
void visit(Self& self, Visitor& v) {
    v.integer("controllerType", self.controllerType);
    v.integer("physicalSlot", self.physicalSlot);
    v.integer("controllerStatus", self.controllerStatus);
    v.text("deviceVendor", self.deviceVendor);
    v.text("deviceName", self.deviceName);
}

}  // namespace

// A limit that nobody set would hide every logical drive above number 0, so the first one starts
// out wide open.
Adapter::Adapter() { setLimit(kLimitLogicalDrives, 0x7ffffffe); }

bool Adapter::isInstanceOf(char const* name) const {
    return isNamed(name, "Adapter") || RaidObject::isInstanceOf(name);
}

char const* Adapter::typeName() const { return "Adapter"; }

char const* Adapter::serializedName() const { return "Controller"; }

void Adapter::writeTo(Writer* writer) const {
    RaidObject::writeTo(writer);
    AttributeWriter v{writer};
    visit(*this, v);
    for (const LimitRow& row : kLimitRows) writer->writeInt(row.name, getLimit(row.limit));
}

void Adapter::readFrom(Reader* reader) {
    RaidObject::readFrom(reader);
    AttributeReader v{reader};
    visit(*this, v);
    for (const LimitRow& row : kLimitRows) {
        int value = 0;
        if (reader->readInt(row.name, value)) setLimit(row.limit, value);
    }
}

void Adapter::build(SimpleXmlParser&) {}

int Adapter::getFeature(FeatureEnum feature) const {
    return feature >= 0 && feature < kFeatures ? features[feature] : 0;
}

int Adapter::getLimit(Limit limit) const {
    return limit >= 1 && limit < kLimits ? limits[limit] : 0;
}

void Adapter::setFeature(FeatureEnum feature, bool present) {
    if (feature >= 0 && feature < kFeatures) features[feature] = present ? 1 : 0;
}

void Adapter::setLimit(Limit limit, int value) {
    if (limit >= 1 && limit < kLimits) limits[limit] = value;
}
