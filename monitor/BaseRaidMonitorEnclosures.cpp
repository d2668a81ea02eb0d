// Enclosures: their fans, power supplies and temperature. SAF-TE and SES-2 enclosures are walked by
// the same code; what differs between them stands in SafteKind and SesKind.
#include "monitor/BaseRaidMonitor.h"

#include <algorithm>
#include <string>
#include <vector>

#include "events/QELEventCollection.h"
#include "monitor/EventRows.h"
#include "storlib/Adapter.h"
#include "storlib/Channel.h"
#include "storlib/Enclosure.h"
#include "storlib/SES2EnclosureDevice.h"
#include "storlib/SESElement.h"
#include "storlib/SafteStatus.h"

// What can be said about one kind of unit, and where its event carries the unit's number.
struct UnitRows {
    EventRow const* operational;
    EventRow const* failed;
    EventRow const* installed;
    EventRow const* removed;
    QELEvent::ObjectType objectType;
    int QELEvent::*number;
};

// One thing to say about an enclosure.
struct EnclosureFinding {
    EventRow const* row;
    UnitRows const* units;  // the kind of the unit; null: the enclosure as a whole
    int unit;               // counted from 0
};

namespace {

using Findings = std::vector<EnclosureFinding>;

// State of a fan or power supply.
constexpr int kWorks = 1;
constexpr int kFailed = 2;
constexpr int kMissing = 3;  // also whatever is asked for beyond the last unit

struct StateRow {
    int raw;
    int state;
};

struct ChangeRow {
    int oldState;
    int newState;
    EventRow const* UnitRows::*row;
};

// clang-format off

// What is not listed works.
constexpr StateRow kSafteFanStates[] = {{1, kFailed}, {2, kMissing}};
// The bytes as a whole: 0x11, failed and switched off, counts as working. Intended: a supply that
// an administrator has switched off is no alarm.
constexpr StateRow kSafteSupplyStates[] = {{0x10, kFailed}, {0x20, kMissing}};
constexpr StateRow kSesStates[] = {
    {kSesCritical, kFailed}, {kSesUnrecoverable, kFailed}, {kSesNotInstalled, kMissing}};

constexpr UnitRows kFans{&rows::kFanOperational, &rows::kFanFailed, &rows::kFanInstalled,
                         &rows::kFanRemoved, QELEvent::kFan, &QELEvent::value2};
constexpr UnitRows kSupplies{&rows::kPowerOperational, &rows::kPowerFailed, &rows::kPowerInstalled,
                             &rows::kPowerRemoved, QELEvent::kPowerSupply, &QELEvent::value3};

// Equal states say nothing.
constexpr ChangeRow kChanges[] = {
    {kFailed,  kWorks,   &UnitRows::operational},
    {kWorks,   kFailed,  &UnitRows::failed},
    {kMissing, kWorks,   &UnitRows::installed},
    {kWorks,   kMissing, &UnitRows::removed},
    {kMissing, kFailed,  &UnitRows::failed},
    {kFailed,  kMissing, &UnitRows::removed},
};

// clang-format on

template <std::size_t N>
int stateOf(const StateRow (&table)[N], int raw) {
    for (const StateRow& row : table) {
        if (row.raw == raw) return row.state;
    }
    return kWorks;
}

unsigned int channelNumber(const PhysicalDevice& enclosure) {
    const Channel* channel = enclosure.getChannel();
    return channel == nullptr ? Addr::kNotSet : channel->addr.channelID;
}

struct SafteKind {
    using Device = Enclosure;
    static constexpr char kType[] = "Enclosure";
    static constexpr char kNewIsNull[] =
        "ERROR: BaseRaidMonitor::compareSafte newEnclosure is NULL while comparing!!!\n";
    static constexpr char kOldIsNull[] =
        "ERROR: BaseRaidMonitor::compareSafte oldEnclosure is NULL while checking for removed "
        "SAFTE Enclosure's!!!\n";
    static constexpr char kCheckedIsNull[] =
        "ERROR: BaseRaidMonitor::checkSafte enclosure is NULL!!!\n";
    static constexpr char kCheckedIsInvalid[] =
        "ERROR: BaseRaidMonitor::checkSafte enclosure SafteData is invalid!!!\n";

    BaseRaidMonitor& monitor;
    Adapter& adapter;  // the new one

    bool isValid(Device* enclosure) const { return monitor.isSafteDataValid(enclosure); }
    bool areComparable(Device* newOne, Device* oldOne) const {
        return isValid(newOne) && isValid(oldOne);
    }
    int fans(Device* enclosure) const { return monitor.getFanCount(enclosure); }
    int supplies(Device* enclosure) const { return monitor.getPowerSupplyCount(enclosure); }
    // A unit that either side knows is looked at: one that is gone from the count is missed.
    int fans(Device* newOne, Device* oldOne) const { return std::max(fans(newOne), fans(oldOne)); }
    int supplies(Device* newOne, Device* oldOne) const {
        return std::max(supplies(newOne), supplies(oldOne));
    }
    int fanState(Device* enclosure, int fan) const { return monitor.getFanStatus(enclosure, fan); }
    int supplyState(Device* enclosure, int supply) const {
        return monitor.getPowerSupplyStatus(enclosure, supply);
    }
};

struct SesKind {
    using Device = SES2EnclosureDevice;
    static constexpr char kType[] = "SES2EnclosureDevice";
    static constexpr char kNewIsNull[] =
        "ERROR: BaseRaidMonitor::compareSafte newSES2Enclosure is NULL while comparing!!!\n";
    static constexpr char kOldIsNull[] =
        "ERROR: BaseRaidMonitor::compareSafte oldSES2Enclosure is NULL while checking for removed "
        "SES2 Enclosure's!!!\n";
    // The backspace in the place of the line end, and the double "E", are what log readers match.
    static constexpr char kCheckedIsNull[] =
        "ERROR: BaseRaidMonitor::checkSafte ses2Eenclosure is NULL!!!\b";
    static constexpr char kCheckedIsInvalid[] =
        "ERROR: BaseRaidMonitor::checkSafte ses2Eenclosure SESData is invalid!!!\n";

    BaseRaidMonitor& monitor;
    Adapter& adapter;  // the new one

    // The Zor family never marks its data as valid; it is believed all the same.
    bool isValid(Device* enclosure) const {
        return enclosure->isSESDataValid() || adapter.isInstanceOf("ZorAdapter");
    }
    bool areComparable(Device* newOne, Device* oldOne) const {
        return isValid(newOne) && isValid(oldOne);
    }
    int fans(Device* enclosure) const { return enclosure->getFanCount(); }
    int supplies(Device* enclosure) const { return enclosure->getPowerSupplyCount(); }
    // The new count alone. Intended: SES-2 lists an empty place as "not installed", so a count
    // that shrinks tells of another enclosure layout and not of a unit that was pulled.
    int fans(Device* newOne, Device*) const { return fans(newOne); }
    int supplies(Device* newOne, Device*) const { return supplies(newOne); }
    int fanState(Device* enclosure, int fan) const {
        return monitor.getFanStatus(enclosure->getFanStatus(static_cast<unsigned short>(fan)));
    }
    int supplyState(Device* enclosure, int supply) const {
        return monitor.getPowerSupplyStatus(
            enclosure->getPowerSupplyStatus(static_cast<unsigned short>(supply)));
    }
};

// --- deciding ---

void addChange(Findings& found, const UnitRows& units, int unit, int oldState, int newState) {
    for (const ChangeRow& change : kChanges) {
        if (change.oldState == oldState && change.newState == newState) {
            found.push_back({units.*change.row, &units, unit});
        }
    }
}

void addFault(Findings& found, const UnitRows& units, int unit, int state) {
    if (state == kFailed) found.push_back({units.failed, &units, unit});
    if (state == kMissing) found.push_back({units.removed, &units, unit});
}

void addWhole(Findings& found, const EventRow& row) { found.push_back({&row, nullptr, 0}); }

template <class Kind>
Findings findChanges(const Kind& kind, typename Kind::Device* newOne,
                     typename Kind::Device* oldOne) {
    Findings found;
    if (!kind.areComparable(newOne, oldOne)) return found;
    for (int fan = 0; fan < kind.fans(newOne, oldOne); ++fan) {
        addChange(found, kFans, fan, kind.fanState(oldOne, fan), kind.fanState(newOne, fan));
    }
    for (int supply = 0; supply < kind.supplies(newOne, oldOne); ++supply) {
        addChange(found, kSupplies, supply, kind.supplyState(oldOne, supply),
                  kind.supplyState(newOne, supply));
    }
    const bool wasOut = oldOne->isTempOutOfRange();
    const bool isOut = newOne->isTempOutOfRange();
    if (wasOut && !isOut) addWhole(found, rows::kTempNormal);
    if (!wasOut && isOut) addWhole(found, rows::kTempOutOfRange);
    return found;
}

template <class Kind>
Findings findFaults(const Kind& kind, typename Kind::Device* enclosure) {
    Findings found;
    for (int fan = 0; fan < kind.fans(enclosure); ++fan) {
        addFault(found, kFans, fan, kind.fanState(enclosure, fan));
    }
    for (int supply = 0; supply < kind.supplies(enclosure); ++supply) {
        addFault(found, kSupplies, supply, kind.supplyState(enclosure, supply));
    }
    if (enclosure->isTempOutOfRange()) addWhole(found, rows::kTempOutOfRange);
    return found;
}

// --- walking ---

template <class Kind>
typename Kind::Device* asDevice(RaidObject* object) {
    if (object == nullptr || !object->isInstanceOf(Kind::kType)) return nullptr;
    return static_cast<typename Kind::Device*>(object);
}

// The enclosures of the kind below `adapter`, null for each one that is none.
template <class Kind>
std::vector<typename Kind::Device*> enclosuresBelow(const Adapter& adapter) {
    std::vector<RaidObject*> objects;
    adapter.getChildren(objects, Kind::kType, true, true);
    std::vector<typename Kind::Device*> enclosures;
    enclosures.reserve(objects.size());
    for (RaidObject* object : objects) enclosures.push_back(asDevice<Kind>(object));
    return enclosures;
}

// The enclosure of `where` at the same channel and device; an object of another kind there counts
// as none.
template <class Kind>
typename Kind::Device* counterpart(const PhysicalDevice& enclosure, const Adapter& where,
                                   unsigned int controllerID) {
    return asDevice<Kind>(where.getObject(controllerID, Addr::kNotSet, Addr::kNotSet,
                                          channelNumber(enclosure), enclosure.addr.deviceID));
}

// `raise(enclosure, findings)` tells; `check(enclosure)` looks at one that has just appeared.
template <class Kind, class Raise, class Check>
void compareKind(const Kind& kind, const Adapter& oldAdapter, const Raise& raise,
                 const Check& check) {
    // Both look-ups take the new controller's number: an enclosure of a controller that was given
    // another number is found anew, and not lost.
    const unsigned int controllerID = kind.adapter.addr.controllerID;
    for (auto* newOne : enclosuresBelow<Kind>(kind.adapter)) {
        if (newOne == nullptr) {
            kind.monitor.logError("%s", Kind::kNewIsNull);
            continue;
        }
        auto* oldOne = counterpart<Kind>(*newOne, oldAdapter, controllerID);
        if (oldOne != nullptr) {
            raise(newOne, findChanges(kind, newOne, oldOne));
            continue;
        }
        raise(newOne, Findings{{&rows::kEnclosureFound, nullptr, 0}});
        check(newOne);  // whether or not its data is valid
    }
    for (auto* oldOne : enclosuresBelow<Kind>(oldAdapter)) {
        if (oldOne == nullptr) {
            kind.monitor.logError("%s", Kind::kOldIsNull);
            continue;
        }
        if (counterpart<Kind>(*oldOne, kind.adapter, controllerID) == nullptr) {
            raise(oldOne, Findings{{&rows::kEnclosureLost, nullptr, 0}});
        }
    }
}

template <class Kind, class Check>
void checkKind(const Kind& kind, const Check& check) {
    for (auto* enclosure : enclosuresBelow<Kind>(kind.adapter)) {
        if (enclosure == nullptr) {
            kind.monitor.logError("%s", Kind::kCheckedIsNull);
        } else if (!kind.isValid(enclosure)) {
            kind.monitor.logError("%s", Kind::kCheckedIsInvalid);
        } else {
            check(enclosure);
        }
    }
}

}  // namespace

// --- the queries: a stored enclosure answers from its own copy, through the same operations ---

bool BaseRaidMonitor::isSafteDataValid(Enclosure* enclosure) {
    return enclosure != nullptr && enclosure->isSafteDataValid();
}

unsigned short BaseRaidMonitor::getFanCount(Enclosure* enclosure) {
    return enclosure == nullptr ? static_cast<unsigned short>(0) : enclosure->getFanCount();
}

unsigned short BaseRaidMonitor::getPowerSupplyCount(Enclosure* enclosure) {
    return enclosure == nullptr ? static_cast<unsigned short>(0) : enclosure->getPowerSupplyCount();
}

int BaseRaidMonitor::getFanStatus(Enclosure* enclosure, int index) {
    if (index < 0 || index >= SafteStatus::kUnits || index >= getFanCount(enclosure)) {
        return kMissing;
    }
    return stateOf(kSafteFanStates, enclosure->getFanStatus(static_cast<unsigned short>(index)));
}

int BaseRaidMonitor::getPowerSupplyStatus(Enclosure* enclosure, int index) {
    if (index < 0 || index >= SafteStatus::kUnits || index >= getPowerSupplyCount(enclosure)) {
        return kMissing;
    }
    return stateOf(kSafteSupplyStates,
                   enclosure->getPowerSupplyStatus(static_cast<unsigned short>(index)));
}

int BaseRaidMonitor::getFanStatus(EnumSESStatusCodes status) { return stateOf(kSesStates, status); }

int BaseRaidMonitor::getPowerSupplyStatus(EnumSESStatusCodes status) {
    return stateOf(kSesStates, status);
}

SESElement* BaseRaidMonitor::getSESElement(const std::vector<RaidObject*>& list,
                                           SESElement* element) {
    if (element == nullptr) return nullptr;
    for (RaidObject* object : list) {
        if (object == nullptr || !object->isInstanceOf("SESElement")) continue;
        auto* candidate = static_cast<SESElement*>(object);
        if (candidate->getType() == element->getType() &&
            candidate->getDescriptor() == element->getDescriptor()) {
            return candidate;
        }
    }
    return nullptr;
}

// --- the checks ---

void BaseRaidMonitor::compareSafte(QELEventCollection& events, Adapter* newAdapterIN,
                                   Adapter* oldAdapterIN) {
    if (newAdapterIN == nullptr || oldAdapterIN == nullptr) {
        logError("ERROR: BaseRaidMonitor::compareSafte adapter is NULL!!!\n");
        return;
    }
    const auto raise = [&](PhysicalDevice* enclosure, const Findings& found) {
        raiseEnclosureEvents(events, newAdapterIN, enclosure, found);
    };
    const auto check = [&](auto* enclosure) { checkSafte(events, newAdapterIN, enclosure); };
    logTrace("   Entering compareSafte(&ecIN, ADPT: %d)\n", newAdapterIN->addr.controllerID);
    logTrace("       Checking for SAFTE Enclosures...\n");
    compareKind(SafteKind{*this, *newAdapterIN}, *oldAdapterIN, raise, check);
    logTrace("       Checking for SES2 Enclosures...\n");
    compareKind(SesKind{*this, *newAdapterIN}, *oldAdapterIN, raise, check);
}

void BaseRaidMonitor::checkSafte(QELEventCollection& events, Adapter* adapterIN) {
    if (adapterIN == nullptr) {
        logError("ERROR: BaseRaidMonitor::checkSafte adapterIN is NULL!!!\n");
        return;
    }
    logTrace("   Entering checkSafte(&ecIN, ADPT: %d)\n", adapterIN->addr.controllerID);
    const auto check = [&](auto* enclosure) { checkSafte(events, adapterIN, enclosure); };
    checkKind(SafteKind{*this, *adapterIN}, check);
    checkKind(SesKind{*this, *adapterIN}, check);
}

void BaseRaidMonitor::checkSafte(QELEventCollection& events, Adapter* adapterIN,
                                 Enclosure* enclosure) {
    if (adapterIN == nullptr || enclosure == nullptr) return;
    logTrace("       Entering checkSafte with Enclosure(&ecIN, CH: %d, PD: %d)\n",
             channelNumber(*enclosure), enclosure->addr.deviceID);
    raiseEnclosureEvents(events, adapterIN, enclosure,
                         findFaults(SafteKind{*this, *adapterIN}, enclosure));
}

void BaseRaidMonitor::checkSafte(QELEventCollection& events, Adapter* adapterIN,
                                 SES2EnclosureDevice* enclosure) {
    if (adapterIN == nullptr || enclosure == nullptr) return;
    logTrace("       Entering checkSafte with SES2Enclosure(&ecIN, CH: %d, PD: %d)\n",
             channelNumber(*enclosure), enclosure->addr.deviceID);
    raiseEnclosureEvents(events, adapterIN, enclosure,
                         findFaults(SesKind{*this, *adapterIN}, enclosure));
}

void BaseRaidMonitor::raiseEnclosureEvents(QELEventCollection& events, Adapter* adapter,
                                           PhysicalDevice* enclosure,
                                           const std::vector<EnclosureFinding>& found) {
    for (const EnclosureFinding& finding : found) {
        std::vector<std::string> args{getEventID(enclosure->getChannel())};
        if (finding.units != nullptr) {
            args.insert(args.begin(), NLSParser::itoa(finding.unit + 1, 10));
        }
        QELEvent event = makeEvent(*finding.row, args);
        event.location.controllerID = adapter->addr.controllerID;
        event.location.channelID = channelNumber(*enclosure);
        event.location.deviceID = enclosure->addr.deviceID;
        if (finding.units == nullptr) {
            event.objectType = QELEvent::kEnclosure;
            event.extra2 = enclosure->model;
        } else {
            event.objectType = finding.units->objectType;
            event.*(finding.units->number) = finding.unit;
            event.detail = enclosure->fruNumber;
        }
        event.setAdapterSerial(adapter);
        events.addEvent(event);
    }
}
