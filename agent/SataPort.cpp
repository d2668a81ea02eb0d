#include "agent/SataPort.h"

#include <vector>

#include "storlib/Adapter.h"
#include "storlib/Channel.h"
#include "storlib/SATAChannel.h"

namespace {

constexpr int kNotSet = 0x7fffffff;

}  // namespace

std::string sataPortName(const HardDrive& drive) {
    const Channel* const own = drive.getChannel();
    if (own == nullptr || own->getChannelType() != kChannelSata || drive.getAdapter() == nullptr) {
        return "";
    }
    std::vector<RaidObject*> channels;
    drive.getAdapter()->getChildren(channels, "SATAChannel", true, true);
    unsigned int before = 0;
    for (const RaidObject* each : channels) {
        const auto* const channel = dynamic_cast<const SATAChannel*>(each);
        if (channel == nullptr) continue;
        if (channel->addr.channelID == own->addr.channelID) break;
        before += static_cast<unsigned int>(channel->getPortCount());
    }
    const unsigned int port =
        drive.sataPort == kNotSet ? drive.addr.deviceID : static_cast<unsigned int>(drive.sataPort);
    return "port " + std::to_string(before + port);
}
