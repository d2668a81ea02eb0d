// The SAS drive map: one informational event per drive on a SAS channel, for a record of the
// wiring. Nothing in the library asks for it; hosts do, when isTimeToReportSASDriveMap() says so.
#include "monitor/BaseRaidMonitor.h"

#include "events/QELEventCollection.h"
#include "monitor/EventRows.h"
#include "storlib/Adapter.h"
#include "storlib/Channel.h"
#include "storlib/HardDrive.h"

namespace {

std::string decimal(unsigned int number) { return NLSParser::itoa(static_cast<int>(number), 10); }

std::vector<RaidObject*> drivesOnSasChannels(const Adapter& adapter) {
    std::vector<RaidObject*> channels;
    adapter.getChildren(channels, "Channel", true, true);
    std::vector<RaidObject*> drives;
    for (const RaidObject* object : channels) {
        const auto* channel = static_cast<const Channel*>(object);
        if (channel == nullptr || channel->getChannelType() != kChannelSas) continue;
        channel->getChildren(drives, "HardDrive", true, true);
    }
    return drives;
}

}  // namespace

void BaseRaidMonitor::logSASDriveMap(QELEventCollection& events, Adapter* adapter) {
    if (adapter == nullptr) return;
    logTrace("       Entering logSASDriveMap(&ecIN, %d)\n", adapter->addr.controllerID);
    for (RaidObject* object : drivesOnSasChannels(*adapter)) {
        if (object == nullptr) {
            logError("ERROR: BaseRaidMonitor::logSASDriveMap HardDrive is NULL!!!\n");
            continue;
        }
        auto* drive = static_cast<HardDrive*>(object);
        const Channel* channel = drive->getChannel();
        QELEvent event =
            makeEvent(rows::kSasDriveMap,
                      {decimal(adapter->addr.controllerID + 1),
                       decimal(channel == nullptr ? Addr::kNotSet : channel->addr.channelID + 1),
                       decimal(drive->addr.deviceID), getEventID(drive), getReplacementID(drive)});
        // The adapter, although the event names a drive: the map is a report of the controller, and
        // collectors group it by that.
        event.objectType = QELEvent::kAdapter;
        event.location.controllerID = adapter->addr.controllerID;
        event.location.channelID = channel == nullptr ? Addr::kNotSet : channel->addr.channelID;
        event.location.deviceID = drive->addr.deviceID;
        event.detail = drive->fruNumber;
        event.setAdapterSerial(adapter);
        events.addEvent(event);
    }
}
