#include "storlib/SASPhy.h"

#include "storlib/Attributes.h"

namespace {

template <class Self, class Visitor>
void visit(Self& self, Visitor& v) {
    v.text("SASaddress", self.SASaddress);
    v.integer("initiatorProtocols", self.initiatorProtocols);
    v.integer("targetProtocols", self.targetProtocols);
    v.integer("attachedPhyID", self.attachedPhyID);
    v.text("attachedSASaddress", self.attachedSASaddress);
    v.integer("attachedInitiatorProtocols", self.attachedInitiatorProtocols);
    v.integer("attachedTargetProtocols", self.attachedTargetProtocols);
    v.integer("attachedDeviceType", self.attachedDeviceType);
    v.integer("negPhyLinkRate", self.negPhyLinkRate);
    v.integer("progMinPhyLinkRate", self.progMinPhyLinkRate);
    v.integer("progMaxPhyLinkRate", self.progMaxPhyLinkRate);
    v.integer("hwMinPhyLinkRate", self.hwMinPhyLinkRate);
    v.integer("hwMaxPhyLinkRate", self.hwMaxPhyLinkRate);
    v.integer("phyChangeCount", self.phyChangeCount);
    v.flag("virtualPhy", self.virtualPhy);
    v.integer("pathTimeout", self.pathTimeout);
    v.integer("routingType", self.routingType);
}

}  // namespace

bool SASPhy::isInstanceOf(char const* name) const {
    return isNamed(name, "SASPhy") || RaidObject::isInstanceOf(name);
}

char const* SASPhy::typeName() const { return "SASPhy"; }

char const* SASPhy::serializedName() const { return "SASPhy"; }

void SASPhy::writeTo(Writer* writer) const {
    RaidObject::writeTo(writer);
    AttributeWriter v{writer};
    visit(*this, v);
}

void SASPhy::readFrom(Reader* reader) {
    RaidObject::readFrom(reader);
    AttributeReader v{reader};
    visit(*this, v);
}
