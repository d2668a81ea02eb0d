// Drives that came, went, failed or foretell their failure, and those of a vendor that is not
// supported.
#include "monitor/BaseRaidMonitor.h"

#include <cstring>
#include <functional>

#include "events/QELEventCollection.h"
#include "monitor/EventRows.h"
#include "storlib/Adapter.h"
#include "storlib/Attributes.h"
#include "storlib/Channel.h"
#include "storlib/HardDrive.h"

namespace {

using Arguments = std::vector<std::string>;
using EventMaker = std::function<QELEvent(const EventRow&, const Arguments&)>;

// The whole name with its NUL; a fixed field is long enough to be compared in one piece.
template <std::size_t N, std::size_t Size>
bool holds(const char (&field)[Size], const char (&name)[N]) {
    static_assert(N <= Size, "the field must be able to hold the name");
    return std::memcmp(field, name, N) == 0;
}

bool isSupportedName(const char (&vendor)[32]) {
    return holds(vendor, "KOVA-LMN") || holds(vendor, "KOVA-PQ") || holds(vendor, "KOVA-RST");
}

// Controllers hand out device numbers that end in this byte for places without a drive.
constexpr unsigned int kSpuriousLowByte = 0xff;

// Null for an empty place and for an object of another kind.
HardDrive* asHardDrive(RaidObject* object) {
    if (object == nullptr || !object->isInstanceOf("HardDrive")) return nullptr;
    return static_cast<HardDrive*>(object);
}

// Hands over, in tree order, each hard drive below `object`, and null for each empty place. What
// getChildren() lists, without the list: that costs as much as looking at the drives.
template <class Visit>
void forEachHardDrive(const RaidObject& object, const Visit& visit) {
    for (RaidObject* child : object.getChildren()) {
        HardDrive* drive = asHardDrive(child);
        if (child == nullptr || drive != nullptr) visit(drive);
        if (child != nullptr && child->getChildCount() != 0) forEachHardDrive(*child, visit);
    }
}

unsigned int channelNumber(const HardDrive& drive) {
    const Channel* channel = drive.getChannel();
    return channel == nullptr ? Addr::kNotSet : channel->addr.channelID;
}

// --- deciding ---

enum class StateChange { kNothing, kFailed, kReplaced, kSpareCreated, kSpareDeleted, kReturned };

// Ready, member and rebuilding: drives go back and forth between them all day.
bool isInService(int state) {
    return state == kDriveReady || state == kDriveMember || state == kDriveRebuilding;
}

// The first rule that matches counts.
StateChange stateChange(int newState, int oldState) {
    if (newState == oldState) return StateChange::kNothing;
    if (isInService(newState) && isInService(oldState)) return StateChange::kNothing;
    if (newState == kDriveFailed) return StateChange::kFailed;
    if (oldState == kDriveFailed) return StateChange::kReplaced;
    if (newState == kDriveHotSpare && oldState == kDriveReady) return StateChange::kSpareCreated;
    if (newState == kDriveReady && oldState == kDriveHotSpare) return StateChange::kSpareDeleted;
    if (oldState == kDriveNotPresent) return StateChange::kReturned;
    return StateChange::kNothing;
}

bool disappeared(int newState, int oldState) {
    return newState == kDriveNotPresent && oldState != kDriveNotPresent;
}

bool foretellsFailure(const HardDrive& drive) {
    return drive.getPfaSupported() && drive.getPfaError();
}

// A prediction that is taken back is no news.
bool beganToForetellFailure(const HardDrive& newDrive, const HardDrive& oldDrive) {
    return newDrive.getPfaSupported() && oldDrive.getPfaSupported() && newDrive.getPfaError() &&
           !oldDrive.getPfaError();
}

// Such a drive has just appeared, or has just taken the place of a failed one.
bool isNewInPlace(int newState, int oldState) {
    if (oldState == kDriveNotPresent) return true;
    return oldState == kDriveFailed && (newState == kDriveRebuilding || newState == kDriveHotSpare);
}

// A prediction outdoes a failure here: at a first look hosts sort by what can still be saved.
const EventRow& stateRow(const HardDrive& drive) {
    if (foretellsFailure(drive)) return rows::kDriveStatePfa;
    return drive.state == kDriveFailed ? rows::kDriveStateFailed : rows::kDriveState;
}

// --- raising ---

// What the events of one call have in common.
struct Report {
    BaseRaidMonitor& monitor;
    EventMaker make;
    QELEventCollection& events;
    Adapter& adapter;  // the new one, also for drives that are gone
};

// The events about one drive. They share their arguments, which are made when the first of them
// is raised: most drives of most polls raise none.
class DriveReport {
public:
    DriveReport(const Report& call, HardDrive& subject) : report(call), drive(subject) {}

    void raise(const EventRow& row) {
        QELEvent event = report.make(row, arguments());
        event.objectType = QELEvent::kPhysicalDrive;
        event.location.controllerID = report.adapter.addr.controllerID;
        event.location.channelID = channelNumber(drive);
        event.location.deviceID = drive.addr.deviceID;
        event.detail = drive.fruNumber;
        event.setAdapterSerial(&report.adapter);
        event.extra1 = drive.serialNumber;
        report.events.addEvent(event);
    }

    void raise(const EventPair& pair) {
        raise(pair.specific);
        raise(pair.stateChange);
    }

    // Two tests that need not agree: a part number of the drive chooses the code, whatever the
    // catalogue makes of it, and only a phrase that names a replacement chooses the text.
    const EventPair& choose(const EventPair (&pairs)[2][2]) {
        return pairs[arguments()[1].empty() ? 0 : 1][drive.fruNumber[0] == 0 ? 0 : 1];
    }

private:
    const Arguments& arguments() {
        if (args.empty()) {
            args.push_back(report.monitor.getEventID(&drive));
            args.push_back(report.monitor.getReplacementID(&drive));
        }
        return args;
    }

    const Report& report;
    HardDrive& drive;
    Arguments args;
};

void raiseStateChange(DriveReport& report, int newState, int oldState) {
    switch (stateChange(newState, oldState)) {
        case StateChange::kNothing:
            return;
        case StateChange::kFailed:
            return report.raise(report.choose(rows::kDriveFailed));
        case StateChange::kReplaced:
            return report.raise(rows::kFailedDriveReplaced);
        case StateChange::kSpareCreated:
            return report.raise(rows::kHotSpareCreated);
        case StateChange::kSpareDeleted:
            return report.raise(rows::kHotSpareDeleted);
        case StateChange::kReturned:
            return report.raise(rows::kDriveReturned);
    }
}

// Drives of the old adapter that the new one has no more.
void reportRemoved(const Report& report, Adapter& oldAdapter) {
    BaseRaidMonitor& monitor = report.monitor;
    forEachHardDrive(oldAdapter, [&](HardDrive* oldDrive) {
        if (oldDrive == nullptr) {
            monitor.logError(
                "ERROR: BaseRaidMonitor::comparePhysicalDrives oldPD is NULL while checking for "
                "removed PD's!!!\n");
            return;
        }
        if (!monitor.isValidPhysicalDrive(&oldAdapter, oldDrive)) return;
        const HardDrive* newDrive = asHardDrive(monitor.findPD(oldDrive, &report.adapter));
        if (newDrive == nullptr || disappeared(newDrive->state, oldDrive->state)) {
            DriveReport(report, *oldDrive).raise(rows::kDriveRemoved);
        }
    });
}

// `mayReport` tells whether an unsupported drive is to be reported at all.
void reportChanges(const Report& report, HardDrive& newDrive, const HardDrive& oldDrive,
                   bool mayReport) {
    DriveReport drive(report, newDrive);
    raiseStateChange(drive, newDrive.state, oldDrive.state);
    if (beganToForetellFailure(newDrive, oldDrive)) drive.raise(drive.choose(rows::kDrivePfa));

    if (!mayReport || newDrive.state == kDriveNotPresent) return;
    if (report.monitor.isVendorSupported(&newDrive)) return;
    // Each drive asks the one timer, and the first that hears yes stops it for the others. So hosts
    // get one reminder per interval, not one per drive.
    if (isNewInPlace(newDrive.state, oldDrive.state) ||
        report.monitor.isTimeToReportUnsupportedDrives()) {
        drive.raise(rows::kUnsupportedDrive);
    }
}

}  // namespace

RaidObject* BaseRaidMonitor::findPD(HardDrive* hardDrive, Adapter* adapter) {
    if (adapter == nullptr) logError("ERROR: BaseRaidMonitor::findPD adapter is NULL!!!\n");
    if (hardDrive == nullptr) logError("ERROR: BaseRaidMonitor::findPD hardDrive is NULL!!!\n");
    if (adapter == nullptr || hardDrive == nullptr) return nullptr;
    return adapter->getObject(adapter->addr.controllerID, Addr::kNotSet, Addr::kNotSet,
                              channelNumber(*hardDrive), hardDrive->addr.deviceID);
}

bool BaseRaidMonitor::isValidPhysicalDrive(Adapter* adapter, HardDrive* hardDrive) {
    if (adapter == nullptr || hardDrive == nullptr) {
        logError("ERROR: BaseRaidMonitor::isValidPhysicalDrive object is NULL!!!\n");
        return false;
    }
    if ((hardDrive->addr.deviceID & 0xff) != kSpuriousLowByte) return true;
    logTrace("       Discarding physical drive as spurious (&ecIN, PD: %d) State = %d.\n",
             static_cast<int>(hardDrive->addr.deviceID), hardDrive->state);
    return false;
}

// Takes off one kind of blank after the other and looks again only at the first character, so a
// mixed end can leave a blank behind. Throws std::out_of_range for a text of blanks alone: there is
// no first character to look at. Both intended: vendor names are compared as they always were.
std::string BaseRaidMonitor::trim(std::string& text) {
    text.erase(text.find_last_not_of(' ') + 1);
    std::string result = text;
    result.erase(0, result.find_first_not_of(' '));
    result.erase(result.find_last_not_of('\t') + 1);
    result.erase(0, result.find_first_not_of('\t'));
    const char first = result.at(0);
    return first == ' ' || first == '\t' ? trim(result) : result;
}

bool BaseRaidMonitor::isVendorSupported(RaidObject* object) {
    if (object == nullptr || !object->isInstanceOf("PhysicalDevice")) return false;
    const auto& given = static_cast<PhysicalDevice*>(object)->vendor;
    if (isSupportedName(given)) return true;  // nothing to trim: asked for each drive of each poll
    if (*given == 0) return false;
    std::string text = given;
    char vendor[sizeof given] = {};
    setText(vendor, trim(text).c_str());
    return isSupportedName(vendor);
}

void BaseRaidMonitor::comparePhysicalDrives(QELEventCollection& ecIN, Adapter* newAdapterIN,
                                            Adapter* oldAdapterIN) {
    if (newAdapterIN == nullptr || oldAdapterIN == nullptr) {
        logError("ERROR: BaseRaidMonitor::comparePhysicalDrives adapter is NULL!!!\n");
        return;
    }
    logTrace("   Entering comparePhysicalDrives(&ecIN, ADPT: %d)\n",
             static_cast<int>(newAdapterIN->addr.controllerID));
    const Report report{
        *this, [this](const EventRow& row, const Arguments& args) { return makeEvent(row, args); },
        ecIN, *newAdapterIN};
    reportRemoved(report, *oldAdapterIN);

    forEachHardDrive(*newAdapterIN, [&](HardDrive* newDrive) {
        if (newDrive == nullptr) {
            logError(
                "ERROR: BaseRaidMonitor::comparePhysicalDrives newPD is NULL while comparing!!!\n");
            return;
        }
        if (!isValidPhysicalDrive(newAdapterIN, newDrive)) return;
        const HardDrive* oldDrive = asHardDrive(findPD(newDrive, oldAdapterIN));
        if (oldDrive == nullptr) {
            DriveReport(report, *newDrive).raise(rows::kDriveAdded);
        } else {
            reportChanges(report, *newDrive, *oldDrive, driveCheckFlag);
        }
    });
}

void BaseRaidMonitor::checkPhysicalDrives(QELEventCollection& ecIN, Adapter* adapterIN) {
    if (adapterIN == nullptr) {
        logError("ERROR: BaseRaidMonitor::checkPhysicalDrives adapterIN is NULL!!!\n");
        return;
    }
    logTrace("   Entering checkPhysicalDrives(&ecIN, ADPT: %d)\n",
             static_cast<int>(adapterIN->addr.controllerID));
    forEachHardDrive(*adapterIN, [&](HardDrive* drive) {
        if (drive == nullptr) {
            logError("ERROR: BaseRaidMonitor::checkPhysicalDrives PD is NULL!!!\n");
        } else if (isValidPhysicalDrive(adapterIN, drive)) {
            checkPhysicalDrive(ecIN, adapterIN, drive);
        }
    });
}

void BaseRaidMonitor::checkPhysicalDrive(QELEventCollection& ecIN, Adapter* adapterIN,
                                         HardDrive* hardDrive) {
    if (adapterIN == nullptr || hardDrive == nullptr) return;
    logTrace("       Entering checkPhysicalDrive(&ecIN, PD: %d) State = %d.\n",
             static_cast<int>(hardDrive->addr.deviceID), hardDrive->state);
    const Report report{
        *this, [this](const EventRow& row, const Arguments& args) { return makeEvent(row, args); },
        ecIN, *adapterIN};
    DriveReport drive(report, *hardDrive);
    drive.raise(stateRow(*hardDrive));
    // Only the events that say what is wrong: the state has just been told.
    if (hardDrive->state == kDriveFailed) drive.raise(drive.choose(rows::kDriveFailed).specific);
    if (foretellsFailure(*hardDrive)) drive.raise(drive.choose(rows::kDrivePfa).specific);
    if (driveCheckFlag && hardDrive->state != kDriveNotPresent && !isVendorSupported(hardDrive)) {
        drive.raise(rows::kUnsupportedDrive);  // no timer at a first look
    }
}
