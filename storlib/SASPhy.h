// SASPhy: one end of a SAS link, of a controller, a drive or an enclosure slot. Its number is
// addr.phyID. Addresses are texts as the source delivers them and are compared exactly.
#ifndef STORLIB_SASPHY_H
#define STORLIB_SASPHY_H

#include "storlib/RaidObject.h"

class SASPhy : public RaidObject {
public:
    bool isInstanceOf(char const* name) const override;
    char const* typeName() const override;
    char const* serializedName() const override;  // "SASPhy"
    void writeTo(Writer* writer) const override;
    void readFrom(Reader* reader) override;

    char SASaddress[32] = {};
    unsigned int initiatorProtocols = 0;
    unsigned int targetProtocols = 0;
    unsigned int attachedPhyID = 0;
    char attachedSASaddress[32] = {};
    unsigned int attachedInitiatorProtocols = 0;
    unsigned int attachedTargetProtocols = 0;
    int attachedDeviceType = 0;  // 0: nothing attached
    int negPhyLinkRate = 0;      // link rates as SAS codes (SPL): 8 is 1.5, 9 is 3, 10 is 6 Gbit/s
    int progMinPhyLinkRate = 0;
    int progMaxPhyLinkRate = 0;
    int hwMinPhyLinkRate = 0;
    int hwMaxPhyLinkRate = 0;
    unsigned int phyChangeCount = 0;
    bool virtualPhy = false;
    unsigned int pathTimeout = 0;
    int routingType = 0;
};

#endif  // STORLIB_SASPHY_H
