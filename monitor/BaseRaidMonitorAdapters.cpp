// What is wrong with a controller, and what changed about it.
#include "monitor/BaseRaidMonitor.h"

#include <functional>

#include "events/QELEventCollection.h"
#include "monitor/EventRows.h"
#include "storlib/Adapter.h"
#include "storlib/LogicalDrive.h"

namespace {

using Arguments = std::vector<std::string>;
using EventMaker = std::function<QELEvent(const EventRow&, const Arguments&)>;

// Results of compareAdapter(), as the poll cycle knows them.
constexpr int kNewAdapter = 10;
constexpr int kReplacedAdapter = 11;
constexpr int kSameAdapter = 12;
constexpr int kSameAdapterNotNormal = 13;

constexpr int kVersionsDoNotMatch = 1;

constexpr EnumBatteryStatus kStatusesWithBattery[] = {kBatteryCharging, kBatteryNormal,
                                                      kBatteryNew,      kBatteryOptimal,
                                                      kBatteryLow,      kBatteryDischarging};

bool isNormal(int batteryStatus) {
    return batteryStatus == kBatteryNormal || batteryStatus == kBatteryOptimal;
}

// --- deciding ---

const EventRow& stateRow(int status) {
    return status == kAdapterFailed ? rows::kControllerStateFailed : rows::kControllerState;
}

bool changedToNormal(int newStatus, int oldStatus) {
    return isNormal(newStatus) && !isNormal(oldStatus);
}

// Of a battery by itself; null when there is nothing to say.
const EventPair* batteryFault(int status) {
    if (status == kBatteryNew) return &rows::kNewBattery;
    if (status == kBatteryLow) return &rows::kBatteryLow;
    return nullptr;
}

const EventPair* batteryChange(int newStatus, int oldStatus) {
    if (newStatus == oldStatus) return nullptr;
    if (const EventPair* fault = batteryFault(newStatus)) return fault;
    return changedToNormal(newStatus, oldStatus) ? &rows::kBatteryNormalAgain : nullptr;
}

const EventPair* batteryTemperatureChange(bool isHot, bool wasHot) {
    if (isHot == wasHot) return nullptr;
    return isHot ? &rows::kBatteryOvertemp : &rows::kBatteryTempNormal;
}

// --- raising ---

// The events of one call about one adapter. They share one list of arguments, made when the first
// of them is raised: most polls raise none.
class AdapterReport {
public:
    AdapterReport(BaseRaidMonitor& owner, EventMaker eventMaker, QELEventCollection& collection,
                  Adapter& subject)
        : monitor(owner), make(std::move(eventMaker)), events(collection), adapter(subject) {}

    void raise(const EventRow& row) {
        QELEvent event = make(row, arguments());
        event.objectType = QELEvent::kAdapter;
        event.location.controllerID = adapter.addr.controllerID;
        event.setAdapterSerial(&adapter);
        events.addEvent(event);
    }

    void raise(const EventPair* pair) {  // null: nothing
        if (pair == nullptr) return;
        raise(pair->specific);
        raise(pair->stateChange);
    }

    // For the events that follow in the same call.
    void addArgument(const char* text) { arguments().emplace_back(text == nullptr ? "" : text); }

private:
    Arguments& arguments() {
        if (args.empty()) args.push_back(monitor.getEventID(&adapter));
        return args;
    }

    BaseRaidMonitor& monitor;
    EventMaker make;
    QELEventCollection& events;
    Adapter& adapter;
    Arguments args;
};

}  // namespace

bool BaseRaidMonitor::isBatteryCacheInstalled(Adapter* adapter) {
    if (adapter == nullptr) return false;
    for (const EnumBatteryStatus status : kStatusesWithBattery) {
        if (adapter->batStatus == status) return true;
    }
    return false;
}

bool BaseRaidMonitor::batteryStatusChangedToNormal(int newStatus, int oldStatus) {
    return changedToNormal(newStatus, oldStatus);
}

bool BaseRaidMonitor::checkBadStripes(Adapter* adapter) {
    if (adapter == nullptr) return false;
    std::vector<RaidObject*> logicalDrives;
    adapter->getChildren(logicalDrives, "LogicalDrive", true, true);
    for (RaidObject* object : logicalDrives) {
        if (object == nullptr || !object->isInstanceOf("LogicalDrive")) continue;
        if (static_cast<LogicalDrive*>(object)->badBlockCount > 0) return true;
    }
    return false;
}

bool BaseRaidMonitor::isAdapterOverTemparature(Adapter* adapter) {
    if (adapter == nullptr || adapter->getFeature(kFeatureTemperature) == 0) return false;
    return adapter->temperature >= adapter->temperatureLimit;  // at the limit is too hot
}

int BaseRaidMonitor::compareAdapter(QELEventCollection& ecIN, Adapter* newAdapterIN,
                                    Adapter* oldAdapterIN) {
    if (newAdapterIN == nullptr) {
        logError("ERROR: BaseRaidMonitor::compareAdapter newAdapterIN is NULL!!!\n");
        return kSameAdapterNotNormal;
    }
    if (oldAdapterIN == nullptr) {
        logTrace("   Entering compareAdapter(&ecIN, ADPT: %s vs NULL)\n", newAdapterIN->deviceName);
    } else {
        logTrace("   Entering compareAdapter(&ecIN, ADPT: %s vs %s)\n", newAdapterIN->deviceName,
                 oldAdapterIN->deviceName);
    }
    AdapterReport report(
        *this, [this](const EventRow& row, const Arguments& args) { return makeEvent(row, args); },
        ecIN, *newAdapterIN);
    if (oldAdapterIN == nullptr) {
        report.raise(rows::kControllerAdded);
        return kNewAdapter;
    }

    const int newStatus = newAdapterIN->getAdapterStatus();
    const int oldStatus = oldAdapterIN->getAdapterStatus();
    if (newStatus == kAdapterNormal && oldStatus != kAdapterNormal) {
        report.raise(rows::kControllerReplaced);
        return kReplacedAdapter;
    }
    if (newStatus != oldStatus) report.raise(stateRow(newStatus));
    // Only a controller that fails out of normal state is reported failed; what else there is to
    // see of it then is not worth hearing. One that was in trouble already is still examined.
    if (newStatus == kAdapterFailed && oldStatus == kAdapterNormal) {
        report.raise(rows::kControllerFailed);
        return kSameAdapterNotNormal;
    }

    if (isBatteryCacheInstalled(newAdapterIN)) {
        report.raise(batteryChange(newAdapterIN->batStatus, oldAdapterIN->batStatus));
        report.raise(
            batteryTemperatureChange(newAdapterIN->batTempWarning, oldAdapterIN->batTempWarning));
    }

    // The timer is asked first, so a poll that finds no bad stripes uses up the interval as well.
    if (isTimeToReportBadStripe() && checkBadStripes(newAdapterIN)) {
        report.raise(rows::kBadStripes);
    }
    compareRelativeChanges(newAdapterIN, oldAdapterIN);
    return newStatus == kAdapterNormal ? kSameAdapter : kSameAdapterNotNormal;
}

void BaseRaidMonitor::checkAdapter(QELEventCollection& ecIN, Adapter* adapterIN) {
    if (adapterIN == nullptr) {
        logError("ERROR: BaseRaidMonitor::checkAdapter adapterIN is NULL!!!\n");
        return;
    }
    logTrace("   Entering checkAdapter(&ecIN, ADPT: %d)\n",
             static_cast<int>(adapterIN->addr.controllerID));
    AdapterReport report(
        *this, [this](const EventRow& row, const Arguments& args) { return makeEvent(row, args); },
        ecIN, *adapterIN);

    // The first look at a controller always tells its state, a normal one too.
    const int status = adapterIN->getAdapterStatus();
    report.raise(stateRow(status));
    if (status == kAdapterFailed) {
        report.raise(rows::kControllerFailed);
        return;
    }

    if (isBatteryCacheInstalled(adapterIN)) {
        report.raise(batteryFault(adapterIN->batStatus));
        if (adapterIN->batTempWarning) report.raise(&rows::kBatteryOvertemp);
    }
    if (adapterIN->versionMatchStatus == kVersionsDoNotMatch) {
        // The versions stay in the list: the texts of the next events may name them too.
        report.addArgument(adapterIN->getBiosVersion());
        report.addArgument(adapterIN->getFirmwareVersion());
        report.addArgument(adapterIN->getDeviceDriverVersion());
        report.raise(rows::kVersionMismatch);
    }
    if (isAdapterOverTemparature(adapterIN)) report.raise(rows::kControllerOvertemp);
    if (checkBadStripes(adapterIN)) report.raise(rows::kBadStripes);  // no timer at a first look
}
