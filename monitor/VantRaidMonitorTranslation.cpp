// Translation of the controllers' own events: bad blocks found on a drive, and bad blocks repaired.
#include "monitor/VantRaidMonitor.h"

#include "events/QELEventCollection.h"
#include "monitor/EventRows.h"
#include "storlib/Channel.h"
#include "storlib/HardDrive.h"
#include "storlib/LDPathUtils.h"
#include "storlib/VantAdapter.h"
#include "storlib/VantLib.h"

namespace {

constexpr int kPathSize = 48;

struct TranslationRow {
    int additionalSenseCode;
    EventRow const* row;
};

// Everything else in a controller's log is ignored here; tasks are compareProgress()'s.
constexpr TranslationRow kTranslations[] = {
    {0x80, &rows::kBadBlockRepaired},
    {0x81, &rows::kBadBlockFound},
    {0x88, &rows::kBadBlockFound},
};

EventRow const* translationOf(const VantEvent& controllerEvent) {
    for (const TranslationRow& entry : kTranslations) {
        if (entry.additionalSenseCode == controllerEvent.additionalSenseCode) return entry.row;
    }
    return nullptr;
}

// Addresses of this file carry -1 for the chunk, which reaches the host in the event's location.
Addr withoutChunk(Addr address) {
    address.chunkID = -1;
    return address;
}

}  // namespace

bool VantRaidMonitor::printPath(const Addr& address, std::string& text) {
    _LDTree path;
    if (vantLib == nullptr || vantLib->getPath(address, path).status != Ret::kOk) return false;
    char buffer[kPathSize];
    LDPathUtils::sPrintPath(path, buffer, kPathSize);
    text = buffer;
    return true;
}

void VantRaidMonitor::checkTranslateEvents(QELEventCollection& events, VantAdapter* adapter,
                                           std::vector<VantEvent> controllerEvents) {
    if (adapter == nullptr) {
        logError("ERROR: VantRaidMonitor::CheckAdapter,Adapter is NULL");
        return;
    }
    logTrace("Entering checkTranslateEvents(Adapter=%d)\n", adapter->addr.controllerID);
    for (const VantEvent& controllerEvent : controllerEvents) {
        const EventRow* row = translationOf(controllerEvent);
        if (row == nullptr) continue;
        std::string adapterPath;  // only asked whether there is one: drive records name it whole
        if (!printPath(withoutChunk(Addr::ofController(adapter->addr.controllerID)), adapterPath)) {
            logError("ERROR: getPath(Adapter) is unsuccessfull\n");
            continue;
        }
        translateEvent(events, adapter, controllerEvent, *row);
    }
}

void VantRaidMonitor::translateEvent(QELEventCollection& events, VantAdapter* adapter,
                                     const VantEvent& controllerEvent, const EventRow& row) {
    std::vector<RaidObject*> drives;
    adapter->getChildren(drives, "HardDrive", true, true);
    for (RaidObject* object : drives) {
        auto* drive = static_cast<HardDrive*>(object);
        if (drive == nullptr) {
            logError("ERROR: VantRaidMonitor::checkTranslateEvents::vantHardDrive is NULL\n");
            continue;
        }
        const Channel* channel = drive->getChannel();
        if (channel == nullptr) {
            logError(
                "ERROR: VantRaidMonitor::checkTranslateEvents::vantHardDrive->getChannel() is "
                "NULL");
            continue;
        }
        const Addr address = withoutChunk(Addr::ofDevice(
            adapter->addr.controllerID, channel->addr.channelID, drive->addr.deviceID));
        std::string path;
        if (!printPath(address, path)) {
            logError("ERROR: getPath(HardDrive) is unsuccessfull\n");
            continue;
        }
        if (path != controllerEvent.ldPath) continue;
        // Without the adapter's serial number: the phrases name the controller.
        QELEvent event = makeEvent(row, {getEventID(adapter), getEventID(drive)});
        event.objectType = QELEvent::kPhysicalDrive;
        event.location = address;
        events.addEvent(event);
    }
}
