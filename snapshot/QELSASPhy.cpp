#include "snapshot/QELSASPhy.h"

#include "snapshot/ElementReader.h"

namespace {

// clang-format off
constexpr AttributeRow<QELSASPhy> kAttributes[] = {
    // A phy hangs below drives, elements and controllers alike; its file tells where it belongs.
    {"controllerID",                asIDIfPresent<&Addr::controllerID>},
    {"channelID",                   asIDIfPresent<&Addr::channelID>},
    {"deviceID",                    asIDIfPresent<&Addr::deviceID>},
    {"itemID",                      asIDIfPresent<&Addr::itemID>},
    {"phyID",                       asID<&Addr::phyID>},
    {"SASaddress",                  asText<&SASPhy::SASaddress>},
    {"initiatorProtocols",          asULong<&SASPhy::initiatorProtocols>},
    {"targetProtocols",             asULong<&SASPhy::targetProtocols>},
    {"attachedPhyID",               asULong<&SASPhy::attachedPhyID>},
    {"attachedSASaddress",          asText<&SASPhy::attachedSASaddress>},
    {"attachedInitiatorProtocols",  asULong<&SASPhy::attachedInitiatorProtocols>},
    {"attachedTargetProtocols",     asULong<&SASPhy::attachedTargetProtocols>},
    {"attachedDeviceType",          asLong<&SASPhy::attachedDeviceType>},
    {"negPhyLinkRate",              asLong<&SASPhy::negPhyLinkRate>},
    {"progMinPhyLinkRate",          asLong<&SASPhy::progMinPhyLinkRate>},
    {"progMaxPhyLinkRate",          asLong<&SASPhy::progMaxPhyLinkRate>},
    {"hwMinPhyLinkRate",            asLong<&SASPhy::hwMinPhyLinkRate>},
    {"hwMaxPhyLinkRate",            asLong<&SASPhy::hwMaxPhyLinkRate>},
    {"phyChangeCount",              asULong<&SASPhy::phyChangeCount>},
    {"virtualPhy",                  asBool<&SASPhy::virtualPhy>},
    {"pathTimeout",                 asULong<&SASPhy::pathTimeout>},
    {"routingType",                 asLong<&SASPhy::routingType>},
};
// clang-format on

}  // namespace

bool QELSASPhy::isInstanceOf(char const* name) const {
    return isNamed(name, "QELSASPhy") || SASPhy::isInstanceOf(name);
}

void QELSASPhy::build(SimpleXmlParser& parser) {
    const CollectedAttributes guard(attributes);
    readAndStore(*this, parser, "SASPhy", attributes, {}, kAttributes);
}

void QELSASPhy::build(SASPhy* source) {
    if (source == nullptr) return;
    addr = source->addr;
    setText(SASaddress, source->SASaddress);
    initiatorProtocols = source->initiatorProtocols;
    targetProtocols = source->targetProtocols;
    attachedPhyID = source->attachedPhyID;
    setText(attachedSASaddress, source->attachedSASaddress);
    attachedInitiatorProtocols = source->attachedInitiatorProtocols;
    attachedTargetProtocols = source->attachedTargetProtocols;
    attachedDeviceType = source->attachedDeviceType;
    negPhyLinkRate = source->negPhyLinkRate;
    progMinPhyLinkRate = source->progMinPhyLinkRate;
    progMaxPhyLinkRate = source->progMaxPhyLinkRate;
    hwMinPhyLinkRate = source->hwMinPhyLinkRate;
    hwMaxPhyLinkRate = source->hwMaxPhyLinkRate;
    phyChangeCount = source->phyChangeCount;
    virtualPhy = source->virtualPhy;
    pathTimeout = source->pathTimeout;
    routingType = source->routingType;
}
