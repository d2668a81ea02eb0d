// Enclosures of both kinds: single queries, one side, two sides, live and stored.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "snapshot/QELEnclosure.h"
#include "snapshot/QELSES2Enclosure.h"
#include "snapshot/QELSESElement.h"
#include "tests/support/BareMonitor.h"
#include "tests/support/TreeBuilder.h"

namespace {

constexpr unsigned char kSafteFan[] = {0, 0, 1, 2};  // raw bytes of the states 1, 2 and 3
constexpr unsigned char kSafteSupply[] = {0, 0, 0x10, 0x20};
constexpr unsigned int kSes[] = {kSesOk, kSesOk, kSesCritical, kSesNotInstalled};

// Says what a real enclosure does not: that it is something else.
class Impostor : public Enclosure {
public:
    using Enclosure::Enclosure;
    bool isInstanceOf(char const* name) const override {
        return !isNamed(name, "Enclosure") && Enclosure::isInstanceOf(name);
    }
};

class BaseRaidMonitorEnclosures : public testing::Test {
protected:
    BaseRaidMonitorEnclosures() { reset<VantAdapter>(); }

    // Two adapters of number 1 with channel 3 each, without enclosures.
    template <class Kind>
    void reset() {
        now = tree::adapter<Kind>(1, "NEW");
        before = tree::adapter<Kind>(1, "OLD");
        newBus = tree::channel(*now, 3);
        oldBus = tree::channel(*before, 3);
    }

    // SAF-TE enclosures at device 5 of both sides, with all units working.
    void placeSafte(unsigned short fans, unsigned short supplies) {
        reset<VantAdapter>();
        newSafte = describeIt(tree::enclosure(*newBus, 5));
        oldSafte = describeIt(tree::enclosure(*oldBus, 5));
        newStatus = tree::answer(*newSafte, fans, supplies);
        oldStatus = tree::answer(*oldSafte, fans, supplies);
    }

    // SES-2 enclosures at device 5 of both sides, without elements.
    template <class Kind = VantAdapter>
    void placeSes(bool newValid = true, bool oldValid = true) {
        reset<Kind>();
        newSes = describeIt(tree::ses2Enclosure(*newBus, 5, newValid));
        oldSes = describeIt(tree::ses2Enclosure(*oldBus, 5, oldValid));
    }

    template <class Device>
    static Device* describeIt(Device* device) {
        setText(device->model, "BOX-16");
        setText(device->fruNumber, "39R7342");
        return device;
    }

    static void addElement(SES2EnclosureDevice* box, int type, unsigned int status) {
        tree::element(*box, static_cast<unsigned int>(box->getChildCount()), type, "", status);
    }

    std::string compare() {
        monitor.compareSafte(room.events, now.get(), before.get());
        return room.takeSummary();
    }

    std::string check() {
        monitor.checkSafte(room.events, now.get());
        return room.takeSummary();
    }

    // What the debug log says of the call in between.
    template <class Call>
    std::string logOf(std::uint32_t mask, const Call& call) {
        (void)room.takeDebugLog();
        setDebugMask(mask);
        call();
        setDebugMask(0);
        return room.takeDebugLog();
    }

    static std::string channelPhrase() {
        return shown("eventArgControllerChannel",
                     {shown("eventArgController2", {"2", " #NEW", "Unknown"}), "4"});
    }

    QELEvent whole(int code, int severity, const std::string& identifier, const std::string& key) {
        QELEvent event = expectedEvent(code, severity, shown(key, {channelPhrase()}), identifier, 6,
                                       Addr::ofDevice(1, 3, 5), "NEW");
        event.extra2 = "BOX-16";
        return event;
    }

    QELEvent unit(int code, int severity, const std::string& identifier, const std::string& key,
                  int type, int index) {
        QELEvent event =
            expectedEvent(code, severity, shown(key, {std::to_string(index + 1), channelPhrase()}),
                          identifier, type, Addr::ofDevice(1, 3, 5), "NEW");
        event.detail = "39R7342";
        (type == 7 ? event.value2 : event.value3) = index;
        return event;
    }

    BareRoom room;
    BareMonitor monitor;
    std::unique_ptr<Adapter> now;
    std::unique_ptr<Adapter> before;
    Channel* newBus = nullptr;
    Channel* oldBus = nullptr;
    Enclosure* newSafte = nullptr;
    Enclosure* oldSafte = nullptr;
    SafteStatus* newStatus = nullptr;
    SafteStatus* oldStatus = nullptr;
    SES2EnclosureDevice* newSes = nullptr;
    SES2EnclosureDevice* oldSes = nullptr;
};

// --- single queries ---

struct RawCase {
    unsigned char raw;
    int fan;
    int supply;
};

// clang-format off
constexpr RawCase kSafteCases[] = {
    {0x00, 1, 1}, {0x01, 2, 1}, {0x02, 3, 1}, {0x03, 1, 1},
    {0x10, 1, 2}, {0x11, 1, 1}, {0x12, 1, 1}, {0x20, 1, 3}, {0x21, 1, 1},
    {0x80, 1, 1}, {0xff, 1, 1},
};
// clang-format on

TEST_F(BaseRaidMonitorEnclosures, SafteBytesAreStates) {
    placeSafte(1, 1);
    for (const RawCase& c : kSafteCases) {
        SCOPED_TRACE(static_cast<int>(c.raw));
        newStatus->fanStatus[0] = c.raw;
        newStatus->powerSupplyStatus[0] = c.raw;
        EXPECT_EQ(c.fan, monitor.getFanStatus(newSafte, 0));
        EXPECT_EQ(c.supply, monitor.getPowerSupplyStatus(newSafte, 0));
    }
}

TEST_F(BaseRaidMonitorEnclosures, SesCodesAreStatesByOneRule) {
    for (int code = -1; code <= 16; ++code) {
        SCOPED_TRACE(code);
        const int state = code == 2 || code == 4 ? 2 : code == 5 ? 3 : 1;
        EXPECT_EQ(state, monitor.getFanStatus(EnumSESStatusCodes(code)));
        EXPECT_EQ(state, monitor.getPowerSupplyStatus(EnumSESStatusCodes(code)));
    }
}

TEST_F(BaseRaidMonitorEnclosures, GivenNoEnclosureThenNothingIsInstalled) {
    EXPECT_FALSE(monitor.isSafteDataValid(nullptr));
    EXPECT_EQ(0, monitor.getFanCount(nullptr));
    EXPECT_EQ(0, monitor.getPowerSupplyCount(nullptr));
    EXPECT_EQ(3, monitor.getFanStatus(static_cast<Enclosure*>(nullptr), 0));
    EXPECT_EQ(3, monitor.getPowerSupplyStatus(static_cast<Enclosure*>(nullptr), 0));
}

TEST_F(BaseRaidMonitorEnclosures, UnitsBeyondTheCountOrBeyond31AreNotInstalled) {
    placeSafte(40, 40);
    for (unsigned char& raw : newStatus->fanStatus) raw = 1;
    for (unsigned char& raw : newStatus->powerSupplyStatus) raw = 0x10;
    EXPECT_EQ(40, monitor.getFanCount(newSafte));
    EXPECT_EQ(40, monitor.getPowerSupplyCount(newSafte));
    for (int index : {0, 31}) {
        EXPECT_EQ(2, monitor.getFanStatus(newSafte, index));
        EXPECT_EQ(2, monitor.getPowerSupplyStatus(newSafte, index));
    }
    for (int index : {32, 33, 39, 40, 65536, -1}) {
        SCOPED_TRACE(index);
        EXPECT_EQ(3, monitor.getFanStatus(newSafte, index));
        EXPECT_EQ(3, monitor.getPowerSupplyStatus(newSafte, index));
    }
    tree::answer(*newSafte, 2, 1);
    EXPECT_EQ(1, monitor.getFanStatus(newSafte, 1));
    EXPECT_EQ(3, monitor.getFanStatus(newSafte, 2));
    EXPECT_EQ(1, monitor.getPowerSupplyStatus(newSafte, 0));
    EXPECT_EQ(3, monitor.getPowerSupplyStatus(newSafte, 1));
}

TEST_F(BaseRaidMonitorEnclosures, StoredEnclosureAnswersFromItsOwnCopy) {
    placeSafte(2, 1);
    newStatus->fanStatus[1] = 1;
    newStatus->powerSupplyStatus[0] = 0x20;
    QELEnclosure stored(now.get(), newBus);
    stored.build(newSafte);
    newStatus->fanStatus[1] = 0;  // the live one has moved on
    newStatus->powerSupplyStatus[0] = 0;
    EXPECT_TRUE(monitor.isSafteDataValid(&stored));
    EXPECT_EQ(2, monitor.getFanCount(&stored));
    EXPECT_EQ(1, monitor.getPowerSupplyCount(&stored));
    EXPECT_EQ(2, monitor.getFanStatus(&stored, 1));
    EXPECT_EQ(3, monitor.getPowerSupplyStatus(&stored, 0));

    const QELEnclosure silent(nullptr, nullptr);
    EXPECT_FALSE(monitor.isSafteDataValid(const_cast<QELEnclosure*>(&silent)));
    EXPECT_EQ(0, monitor.getFanCount(const_cast<QELEnclosure*>(&silent)));
}

TEST_F(BaseRaidMonitorEnclosures, ElementIsFoundByTypeAndDescriptor) {
    placeSes();
    SESElement* slot1 = tree::element(*newSes, 0, kSesArrayDevice, "SLOT 1");
    SESElement* fan = tree::element(*newSes, 1, kSesCooling, "SLOT 1");
    SESElement* slot2 = tree::element(*newSes, 2, kSesArrayDevice, "SLOT 2");
    SESElement* twin = tree::element(*newSes, 3, kSesArrayDevice, "SLOT 2");
    const std::vector<RaidObject*> list{nullptr, newBus, slot1, fan, slot2, twin};

    SESElement wanted;
    wanted.elementType = kSesArrayDevice;
    wanted.descriptor = "SLOT 2";
    EXPECT_EQ(slot2, monitor.getSESElement(list, &wanted));
    wanted.elementType = kSesCooling;
    EXPECT_EQ(nullptr, monitor.getSESElement(list, &wanted));
    wanted.descriptor = "SLOT 1";
    EXPECT_EQ(fan, monitor.getSESElement(list, &wanted));
    wanted.descriptor = "slot 1";
    EXPECT_EQ(nullptr, monitor.getSESElement(list, &wanted));
    EXPECT_EQ(nullptr, monitor.getSESElement({}, fan));
    EXPECT_EQ(nullptr, monitor.getSESElement(list, nullptr));
}

// --- what the events look like ---

TEST_F(BaseRaidMonitorEnclosures, EveryEventOfASafteEnclosureIsComplete) {
    placeSafte(6, 6);
    const int changes[][2] = {{2, 1}, {1, 2}, {3, 1}, {1, 3}, {3, 2}, {2, 3}};
    for (int i = 0; i < 6; ++i) {
        oldStatus->fanStatus[i] = kSafteFan[changes[i][0]];
        newStatus->fanStatus[i] = kSafteFan[changes[i][1]];
        oldStatus->powerSupplyStatus[i] = kSafteSupply[changes[i][0]];
        newStatus->powerSupplyStatus[i] = kSafteSupply[changes[i][1]];
    }
    newStatus->tempFlags1 = 1;
    monitor.compareSafte(room.events, now.get(), before.get());

    const std::vector<QELEvent> expected{
        unit(503, 3, "EVENT_TORVEX_ENC_FAN_REPLACED", "agentEventInfFanOperational", 7, 0),
        unit(504, 1, "EVENT_TORVEX_ENC_FAN_FAILURE", "agentEventErrFanFail", 7, 1),
        unit(505, 3, "EVENT_TORVEX_ENC_FAN_INSTALLED", "agentEventInfFanInstalled", 7, 2),
        unit(506, 1, "EVENT_TORVEX_ENC_FAN_REMOVED", "agentEventWrnFanRemoved", 7, 3),
        unit(504, 1, "EVENT_TORVEX_ENC_FAN_FAILURE", "agentEventErrFanFail", 7, 4),
        unit(506, 1, "EVENT_TORVEX_ENC_FAN_REMOVED", "agentEventWrnFanRemoved", 7, 5),
        unit(509, 3, "EVENT_TORVEX_ENC_PS_REPLACED", "agentEventInfPowerOperational", 8, 0),
        unit(510, 1, "EVENT_TORVEX_ENC_PS_FAILURE", "agentEventErrPowerFail", 8, 1),
        unit(511, 3, "EVENT_TORVEX_ENC_PS_INSTALLED", "agentEventInfPowerInstalled", 8, 2),
        unit(512, 1, "EVENT_TORVEX_ENC_PS_REMOVED", "agentEventWrnPowerRemoved", 8, 3),
        unit(510, 1, "EVENT_TORVEX_ENC_PS_FAILURE", "agentEventErrPowerFail", 8, 4),
        unit(512, 1, "EVENT_TORVEX_ENC_PS_REMOVED", "agentEventWrnPowerRemoved", 8, 5),
        whole(508, 1, "EVENT_TORVEX_ENC_TEMP_FAILURE", "agentEventErrTempFail"),
    };
    EXPECT_EQ(describeAll(expected), describeAll(room.take()));
}

TEST_F(BaseRaidMonitorEnclosures, EveryEventOfASes2EnclosureIsComplete) {
    placeSes();
    const int changes[][2] = {{2, 1}, {1, 2}, {3, 1}, {1, 3}, {3, 2}, {2, 3}};
    for (int type : {kSesPowerSupply, kSesCooling}) {
        for (const int(&change)[2] : changes) {
            addElement(oldSes, type, kSes[change[0]]);
            addElement(newSes, type, kSes[change[1]]);
        }
    }
    addElement(oldSes, kSesTemperature, kSesNonCritical);
    addElement(newSes, kSesTemperature, kSesOk);
    monitor.compareSafte(room.events, now.get(), before.get());

    const std::vector<QELEvent> expected{
        unit(503, 3, "EVENT_TORVEX_ENC_FAN_REPLACED", "agentEventInfFanOperational", 7, 0),
        unit(504, 1, "EVENT_TORVEX_ENC_FAN_FAILURE", "agentEventErrFanFail", 7, 1),
        unit(505, 3, "EVENT_TORVEX_ENC_FAN_INSTALLED", "agentEventInfFanInstalled", 7, 2),
        unit(506, 1, "EVENT_TORVEX_ENC_FAN_REMOVED", "agentEventWrnFanRemoved", 7, 3),
        unit(504, 1, "EVENT_TORVEX_ENC_FAN_FAILURE", "agentEventErrFanFail", 7, 4),
        unit(506, 1, "EVENT_TORVEX_ENC_FAN_REMOVED", "agentEventWrnFanRemoved", 7, 5),
        unit(509, 3, "EVENT_TORVEX_ENC_PS_REPLACED", "agentEventInfPowerOperational", 8, 0),
        unit(510, 1, "EVENT_TORVEX_ENC_PS_FAILURE", "agentEventErrPowerFail", 8, 1),
        unit(511, 3, "EVENT_TORVEX_ENC_PS_INSTALLED", "agentEventInfPowerInstalled", 8, 2),
        unit(512, 1, "EVENT_TORVEX_ENC_PS_REMOVED", "agentEventWrnPowerRemoved", 8, 3),
        unit(510, 1, "EVENT_TORVEX_ENC_PS_FAILURE", "agentEventErrPowerFail", 8, 4),
        unit(512, 1, "EVENT_TORVEX_ENC_PS_REMOVED", "agentEventWrnPowerRemoved", 8, 5),
        whole(507, 3, "EVENT_TORVEX_ENC_TEMP_NORMAL", "agentEventInfTempNormal"),
    };
    EXPECT_EQ(describeAll(expected), describeAll(room.take()));
}

TEST_F(BaseRaidMonitorEnclosures, FoundAndLostEnclosuresAreComplete) {
    describeIt(tree::enclosure(*newBus, 5));
    monitor.compareSafte(room.events, now.get(), before.get());
    EXPECT_EQ(describeAll({whole(501, 3, "EVENT_TORVEX_ENC_OK", "agentEventInfEnclOk")}),
              describeAll(room.take()));

    reset<VantAdapter>();
    describeIt(tree::ses2Enclosure(*oldBus, 5));
    monitor.compareSafte(room.events, now.get(), before.get());
    // The phrase names the old enclosure's channel, and with it the old adapter; place and serial
    // number are the new adapter's.
    QELEvent lost = whole(502, 1, "EVENT_TORVEX_ENC_FAILURE", "agentEventErrEnclFail");
    lost.text = shown("agentEventErrEnclFail",
                      {shown("eventArgControllerChannel",
                             {shown("eventArgController2", {"2", " #OLD", "Unknown"}), "4"})});
    EXPECT_EQ(describeAll({lost}), describeAll(room.take()));
}

// --- all changes of one unit ---

// Codes minus those of "operational", by [old][new]; 0: nothing.
constexpr int kNothing = -1;
constexpr int kChange[4][4] = {
    {},
    {0, kNothing, 1, 3},
    {0, 0, kNothing, 3},
    {0, 2, 1, kNothing},
};

std::string codeOf(int operational, int oldState, int newState) {
    const int change = kChange[oldState][newState];
    if (change == kNothing) return "";
    const int code = operational + change;
    return std::to_string(code) + (change == 0 || change == 2 ? "/3" : "/1");
}

TEST_F(BaseRaidMonitorEnclosures, SafteChangesFollowTheTable) {
    for (int oldState = 1; oldState <= 3; ++oldState) {
        for (int newState = 1; newState <= 3; ++newState) {
            SCOPED_TRACE(std::to_string(oldState) + " to " + std::to_string(newState));
            placeSafte(1, 0);
            oldStatus->fanStatus[0] = kSafteFan[oldState];
            newStatus->fanStatus[0] = kSafteFan[newState];
            EXPECT_EQ(codeOf(503, oldState, newState), compare());
            placeSafte(0, 1);
            oldStatus->powerSupplyStatus[0] = kSafteSupply[oldState];
            newStatus->powerSupplyStatus[0] = kSafteSupply[newState];
            EXPECT_EQ(codeOf(509, oldState, newState), compare());
        }
    }
}

TEST_F(BaseRaidMonitorEnclosures, SesChangesFollowTheTable) {
    for (int oldState = 1; oldState <= 3; ++oldState) {
        for (int newState = 1; newState <= 3; ++newState) {
            SCOPED_TRACE(std::to_string(oldState) + " to " + std::to_string(newState));
            placeSes();
            addElement(oldSes, kSesCooling, kSes[oldState]);
            addElement(newSes, kSesCooling, kSes[newState]);
            EXPECT_EQ(codeOf(503, oldState, newState), compare());
            placeSes();
            addElement(oldSes, kSesPowerSupply, kSes[oldState]);
            addElement(newSes, kSesPowerSupply, kSes[newState]);
            EXPECT_EQ(codeOf(509, oldState, newState), compare());
        }
    }
}

TEST_F(BaseRaidMonitorEnclosures, TemperatureIsReportedWhenItChanges) {
    const char* const expected[2][2] = {{"", "508/1"}, {"507/3", ""}};
    for (int wasOut = 0; wasOut <= 1; ++wasOut) {
        for (int isOut = 0; isOut <= 1; ++isOut) {
            SCOPED_TRACE(std::to_string(wasOut) + " to " + std::to_string(isOut));
            placeSafte(0, 0);
            oldStatus->tempFlags1 = static_cast<unsigned char>(wasOut);
            newStatus->tempFlags2 = static_cast<unsigned char>(isOut);
            EXPECT_EQ(expected[wasOut][isOut], compare());
            placeSes();
            addElement(oldSes, kSesTemperature, wasOut != 0 ? kSesCritical : kSesOk);
            addElement(newSes, kSesTemperature, isOut != 0 ? kSesCritical : kSesOk);
            EXPECT_EQ(expected[wasOut][isOut], compare());
        }
    }
}

// --- counts that grow and shrink ---

TEST_F(BaseRaidMonitorEnclosures, GivenASafteCountThatShrinksThenTheUnitIsRemoved) {
    placeSafte(2, 2);
    newStatus = tree::answer(*newSafte, 1, 1);
    monitor.compareSafte(room.events, now.get(), before.get());
    EXPECT_EQ(describeAll(
                  {unit(506, 1, "EVENT_TORVEX_ENC_FAN_REMOVED", "agentEventWrnFanRemoved", 7, 1),
                   unit(512, 1, "EVENT_TORVEX_ENC_PS_REMOVED", "agentEventWrnPowerRemoved", 8, 1)}),
              describeAll(room.take()));
}

TEST_F(BaseRaidMonitorEnclosures, GivenASafteCountThatGrowsThenTheUnitIsInstalledOrFailed) {
    placeSafte(1, 1);
    newStatus = tree::answer(*newSafte, 3, 2);
    newStatus->fanStatus[2] = 1;
    EXPECT_EQ("505/3 504/1 511/3", compare());
}

TEST_F(BaseRaidMonitorEnclosures, GivenSafteUnitsBeyond31ThenTheyAreNeverReported) {
    placeSafte(32, 32);
    newStatus = tree::answer(*newSafte, 40, 40);
    EXPECT_EQ("", compare());
    EXPECT_EQ("", compare());
}

TEST_F(BaseRaidMonitorEnclosures, GivenASesCountThatShrinksThenNothingIsSaid) {
    placeSes();
    for (int type : {kSesCooling, kSesCooling, kSesPowerSupply, kSesPowerSupply}) {
        addElement(oldSes, type, kSesOk);
    }
    addElement(newSes, kSesCooling, kSesOk);
    EXPECT_EQ("", compare());
}

TEST_F(BaseRaidMonitorEnclosures, GivenASesCountThatGrowsThenTheUnitIsInstalled) {
    placeSes();
    addElement(oldSes, kSesCooling, kSesOk);
    for (int i = 0; i < 2; ++i) addElement(newSes, kSesCooling, kSesOk);
    addElement(newSes, kSesPowerSupply, kSesUnrecoverable);
    monitor.compareSafte(room.events, now.get(), before.get());
    EXPECT_EQ(
        describeAll(
            {unit(505, 3, "EVENT_TORVEX_ENC_FAN_INSTALLED", "agentEventInfFanInstalled", 7, 1),
             unit(510, 1, "EVENT_TORVEX_ENC_PS_FAILURE", "agentEventErrPowerFail", 8, 0)}),
        describeAll(room.take()));
}

TEST_F(BaseRaidMonitorEnclosures, GivenMoreThan32SesFansThenAllAreCompared) {
    placeSes();
    for (int i = 0; i < 40; ++i) {
        addElement(oldSes, kSesCooling, kSesOk);
        addElement(newSes, kSesCooling, i == 39 ? kSesCritical : kSesOk);
    }
    monitor.compareSafte(room.events, now.get(), before.get());
    EXPECT_EQ(
        describeAll({unit(504, 1, "EVENT_TORVEX_ENC_FAN_FAILURE", "agentEventErrFanFail", 7, 39)}),
        describeAll(room.take()));
}

// --- validity ---

TEST_F(BaseRaidMonitorEnclosures, GivenOneSafteSideIsNotValidThenNothingIsCompared) {
    for (bool silentIsNew : {true, false}) {
        placeSafte(1, 1);
        (silentIsNew ? oldStatus : newStatus)->fanStatus[0] = 1;
        (silentIsNew ? newSafte : oldSafte)->setSafteData(nullptr, nullptr);
        EXPECT_EQ("", logOf(kDebugError, [&] { EXPECT_EQ("", compare()); }));
    }
}

TEST_F(BaseRaidMonitorEnclosures, GivenOneSesSideIsNotValidThenNothingIsCompared) {
    for (const auto& [newValid, oldValid] : {std::pair(false, true), std::pair(true, false)}) {
        placeSes(newValid, oldValid);
        addElement(oldSes, kSesCooling, kSesOk);
        addElement(newSes, kSesCooling, kSesCritical);
        EXPECT_EQ("", logOf(kDebugError, [&] { EXPECT_EQ("", compare()); }));
    }
}

TEST_F(BaseRaidMonitorEnclosures, GivenAZorAdapterThenSesDataIsBelievedAllTheSame) {
    placeSes<ZorAdapter>(false, false);
    addElement(oldSes, kSesCooling, kSesOk);
    addElement(newSes, kSesCooling, kSesCritical);
    EXPECT_EQ("504/1", compare());
    EXPECT_EQ("504/1", check());
}

TEST_F(BaseRaidMonitorEnclosures, GivenOnlyTheOldAdapterIsAZorThenItIsNotBelieved) {
    placeSes(true, false);
    std::unique_ptr<Adapter> vant = std::move(now);
    Channel* vantBus = newBus;
    SES2EnclosureDevice* vantSes = newSes;
    placeSes<ZorAdapter>(true, false);
    addElement(oldSes, kSesCooling, kSesOk);
    now = std::move(vant);
    newBus = vantBus;
    addElement(vantSes, kSesCooling, kSesCritical);
    EXPECT_EQ("", compare());
}

// --- pairing ---

TEST_F(BaseRaidMonitorEnclosures, GivenANewEnclosureWithAFailedFanThenFoundIsFollowedByItsFault) {
    Enclosure* box = tree::enclosure(*newBus, 5);
    tree::answer(*box, 2, 0)->fanStatus[1] = 1;
    EXPECT_EQ("501/3 504/1", compare());
    reset<VantAdapter>();
    addElement(tree::ses2Enclosure(*newBus, 5), kSesCooling, kSesCritical);
    EXPECT_EQ("501/3 504/1", compare());
}

TEST_F(BaseRaidMonitorEnclosures,
       GivenANewSes2EnclosureWithoutValidDataThenItIsLookedAtAllTheSame) {
    addElement(tree::ses2Enclosure(*newBus, 5, false), kSesCooling, kSesCritical);
    EXPECT_EQ("501/3 504/1", compare());
}

TEST_F(BaseRaidMonitorEnclosures, EachKindReportsItsNewOnesBeforeItsLostOnes) {
    tree::enclosure(*newBus, 5);
    tree::enclosure(*oldBus, 6);
    tree::ses2Enclosure(*newBus, 7);
    tree::ses2Enclosure(*oldBus, 8);
    EXPECT_EQ("501/3 502/1 501/3 502/1", compare());
}

TEST_F(BaseRaidMonitorEnclosures, GivenAnotherKindAtTheAddressThenItIsNoCounterpart) {
    tree::enclosure(*newBus, 5);
    tree::drive(*oldBus, 5);
    EXPECT_EQ("501/3", compare());
    reset<VantAdapter>();
    tree::drive(*newBus, 5);
    tree::enclosure(*oldBus, 5);
    EXPECT_EQ("502/1", compare());
    reset<VantAdapter>();
    tree::enclosure(*newBus, 5);
    tree::ses2Enclosure(*oldBus, 5);
    EXPECT_EQ("501/3 502/1", compare());
}

TEST_F(BaseRaidMonitorEnclosures, GivenAnotherChannelOrDeviceThenItIsAnotherEnclosure) {
    tree::enclosure(*newBus, 5);
    tree::enclosure(*tree::channel(*before, 4), 5);
    EXPECT_EQ("501/3 502/1", compare());
}

// Both look-ups go by the new number, which the old tree does not know.
TEST_F(BaseRaidMonitorEnclosures, GivenAControllerWithAnotherNumberThenFoundAndNotLost) {
    now = tree::adapter(0, "NEW");
    tree::enclosure(*tree::channel(*now, 3), 5);
    tree::enclosure(*oldBus, 5);
    EXPECT_EQ("501/3", compare());
}

TEST_F(BaseRaidMonitorEnclosures, GivenAnEnclosureWithoutChannelThenItsPlaceHasNone) {
    auto* box = new Enclosure(now.get(), nullptr);
    box->addr.deviceID = 9;
    now->addChild(box);
    auto* same = new Enclosure(before.get(), nullptr);
    same->addr.deviceID = 9;
    before->addChild(same);
    EXPECT_EQ("", compare());
    same->addr.deviceID = 10;
    monitor.compareSafte(room.events, now.get(), before.get());
    const std::vector<QELEvent> events = room.take();
    ASSERT_EQ("501/3 502/1", summary(events));
    EXPECT_TRUE(events[0].location.IsEqual(Addr::ofDevice(1, Addr::kNotSet, 9)));
    EXPECT_EQ(shown("agentEventInfEnclOk", {""}), events[0].text);
}

TEST_F(BaseRaidMonitorEnclosures, Ses2EnclosureIsNoSafteEnclosure) {
    placeSes(false, false);
    EXPECT_EQ("ERROR: BaseRaidMonitor::checkSafte ses2Eenclosure SESData is invalid!!!\n",
              logOf(kDebugError, [&] { EXPECT_EQ("", check()); }));
}

// --- live against stored ---

TEST_F(BaseRaidMonitorEnclosures, GivenAStoredSafteEnclosureThenItsOwnCopyIsCompared) {
    placeSafte(2, 1);
    oldStatus->fanStatus[1] = 1;
    oldStatus->tempFlags1 = 1;
    auto* stored = new QELEnclosure(before.get(), oldBus);
    stored->build(oldSafte);
    oldBus->deleteAllChildren();
    oldBus->addChild(stored);
    newStatus->powerSupplyStatus[0] = 0x10;
    EXPECT_EQ("503/3 510/1 507/3", compare());
}

TEST_F(BaseRaidMonitorEnclosures, GivenAStoredSafteEnclosureWithoutAnswerThenNothingIsCompared) {
    placeSafte(1, 0);
    oldBus->deleteAllChildren();
    auto* stored = new QELEnclosure(before.get(), oldBus);
    stored->addr.deviceID = 5;
    oldBus->addChild(stored);
    EXPECT_EQ("", compare());
}

TEST_F(BaseRaidMonitorEnclosures, GivenAStoredSes2EnclosureThenItsElementsAreCompared) {
    placeSes();
    addElement(oldSes, kSesCooling, kSesOk);
    addElement(oldSes, kSesPowerSupply, kSesCritical);
    addElement(oldSes, kSesTemperature, kSesCritical);
    auto* stored = new QELSES2Enclosure(before.get(), oldBus);
    stored->build(oldSes);
    oldBus->deleteAllChildren();
    oldBus->addChild(stored);
    addElement(newSes, kSesCooling, kSesCritical);
    addElement(newSes, kSesPowerSupply, kSesOk);
    addElement(newSes, kSesTemperature, kSesOk);
    EXPECT_EQ("504/1 509/3 507/3", compare());
}

// --- one side ---

TEST_F(BaseRaidMonitorEnclosures, CheckReportsEveryFaultOfASafteEnclosure) {
    placeSafte(3, 3);
    for (int state = 1; state <= 3; ++state) {
        newStatus->fanStatus[state - 1] = kSafteFan[state];
        newStatus->powerSupplyStatus[state - 1] = kSafteSupply[state];
    }
    newStatus->tempFlags1 = 1;
    monitor.checkSafte(room.events, now.get());
    const std::vector<QELEvent> expected{
        unit(504, 1, "EVENT_TORVEX_ENC_FAN_FAILURE", "agentEventErrFanFail", 7, 1),
        unit(506, 1, "EVENT_TORVEX_ENC_FAN_REMOVED", "agentEventWrnFanRemoved", 7, 2),
        unit(510, 1, "EVENT_TORVEX_ENC_PS_FAILURE", "agentEventErrPowerFail", 8, 1),
        unit(512, 1, "EVENT_TORVEX_ENC_PS_REMOVED", "agentEventWrnPowerRemoved", 8, 2),
        whole(508, 1, "EVENT_TORVEX_ENC_TEMP_FAILURE", "agentEventErrTempFail"),
    };
    EXPECT_EQ(describeAll(expected), describeAll(room.take()));
    monitor.checkSafte(room.events, now.get(), newSafte);
    EXPECT_EQ(describeAll(expected), describeAll(room.take()));
}

TEST_F(BaseRaidMonitorEnclosures, CheckReportsEveryFaultOfASes2Enclosure) {
    placeSes();
    for (int type : {kSesCooling, kSesPowerSupply}) {
        for (int state = 1; state <= 3; ++state) addElement(newSes, type, kSes[state]);
    }
    addElement(newSes, kSesTemperature, kSesUnrecoverable);
    EXPECT_EQ("504/1 506/1 510/1 512/1 508/1", check());
    monitor.checkSafte(room.events, now.get(), newSes);
    EXPECT_EQ("504/1 506/1 510/1 512/1 508/1", room.takeSummary());
}

TEST_F(BaseRaidMonitorEnclosures, GivenMoreThan32SafteFansThenThoseBeyondCountAsRemoved) {
    placeSafte(34, 0);
    EXPECT_EQ("506/1 506/1", check());
}

TEST_F(BaseRaidMonitorEnclosures, GivenOneBadEnclosureThenTheOthersAreStillChecked) {
    tree::enclosure(*newBus, 4);  // silent
    tree::hole(*newBus);
    tree::answer(*tree::enclosure(*newBus, 5), 1, 0)->fanStatus[0] = 1;
    addElement(tree::ses2Enclosure(*newBus, 6), kSesCooling, kSesCritical);
    EXPECT_EQ("504/1 504/1", check());
}

// --- the debug log ---

TEST_F(BaseRaidMonitorEnclosures, GivenNoAdapterThenOneLineAndNoEvent) {
    for (int side = 0; side < 3; ++side) {
        EXPECT_EQ("ERROR: BaseRaidMonitor::compareSafte adapter is NULL!!!\n",
                  logOf(kDebugError | kDebugTrace, [&] {
                      monitor.compareSafte(room.events, side == 0 ? now.get() : nullptr,
                                           side == 1 ? before.get() : nullptr);
                  }));
    }
    EXPECT_EQ("ERROR: BaseRaidMonitor::checkSafte adapterIN is NULL!!!\n",
              logOf(kDebugError | kDebugTrace, [&] { monitor.checkSafte(room.events, nullptr); }));
    placeSafte(1, 0);
    newStatus->fanStatus[0] = 1;
    monitor.checkSafte(room.events, nullptr, newSafte);
    monitor.checkSafte(room.events, now.get(), static_cast<Enclosure*>(nullptr));
    monitor.checkSafte(room.events, now.get(), static_cast<SES2EnclosureDevice*>(nullptr));
    EXPECT_EQ("", room.takeSummary());
}

TEST_F(BaseRaidMonitorEnclosures, ComparisonTracesItsSteps) {
    tree::enclosure(*newBus, 5);
    tree::ses2Enclosure(*newBus, 6);
    EXPECT_EQ(
        "   Entering compareSafte(&ecIN, ADPT: 1)\n"
        "       Checking for SAFTE Enclosures...\n"
        "       Entering checkSafte with Enclosure(&ecIN, CH: 3, PD: 5)\n"
        "       Checking for SES2 Enclosures...\n"
        "       Entering checkSafte with SES2Enclosure(&ecIN, CH: 3, PD: 6)\n",
        logOf(kDebugTrace, [&] { (void)compare(); }));
}

TEST_F(BaseRaidMonitorEnclosures, CheckTracesItsSteps) {
    placeSafte(0, 0);
    tree::ses2Enclosure(*newBus, 6);
    auto* lone = new SES2EnclosureDevice(now.get(), nullptr);
    lone->sesDataValid = true;
    lone->addr.deviceID = 7;
    now->addChild(lone);
    EXPECT_EQ(
        "   Entering checkSafte(&ecIN, ADPT: 1)\n"
        "       Entering checkSafte with Enclosure(&ecIN, CH: 3, PD: 5)\n"
        "       Entering checkSafte with SES2Enclosure(&ecIN, CH: 3, PD: 6)\n"
        "       Entering checkSafte with SES2Enclosure(&ecIN, CH: 2147483647, PD: 7)\n",
        logOf(kDebugTrace, [&] { (void)check(); }));
}

TEST_F(BaseRaidMonitorEnclosures, HolesAreReportedForBothKindsAndBothSides) {
    tree::hole(*newBus);
    tree::hole(*oldBus);
    EXPECT_EQ(
        "ERROR: BaseRaidMonitor::compareSafte newEnclosure is NULL while comparing!!!\n"
        "ERROR: BaseRaidMonitor::compareSafte oldEnclosure is NULL while checking for removed "
        "SAFTE Enclosure's!!!\n"
        "ERROR: BaseRaidMonitor::compareSafte newSES2Enclosure is NULL while comparing!!!\n"
        "ERROR: BaseRaidMonitor::compareSafte oldSES2Enclosure is NULL while checking for removed "
        "SES2 Enclosure's!!!\n",
        logOf(kDebugError, [&] { EXPECT_EQ("", compare()); }));
}

// Log readers know the line by its backspace.
TEST_F(BaseRaidMonitorEnclosures, MissingSes2EnclosureEndsItsLineWithABackspace) {
    tree::hole(*newBus);
    EXPECT_EQ(
        "ERROR: BaseRaidMonitor::checkSafte enclosure is NULL!!!\n"
        "ERROR: BaseRaidMonitor::checkSafte ses2Eenclosure is NULL!!!\x08",
        logOf(kDebugError, [&] { EXPECT_EQ("", check()); }));
}

TEST_F(BaseRaidMonitorEnclosures, SilentEnclosuresAreReportedByTheCheckOnly) {
    tree::enclosure(*newBus, 5);
    tree::ses2Enclosure(*newBus, 6, false);
    EXPECT_EQ(
        "ERROR: BaseRaidMonitor::checkSafte enclosure SafteData is invalid!!!\n"
        "ERROR: BaseRaidMonitor::checkSafte ses2Eenclosure SESData is invalid!!!\n",
        logOf(kDebugError, [&] { EXPECT_EQ("", check()); }));
}

TEST_F(BaseRaidMonitorEnclosures, GivenAListedObjectThatDeniesItsKindThenItIsPassedOver) {
    auto* impostor = new Impostor(now.get(), newBus);
    impostor->addr.deviceID = 5;
    newBus->addChild(impostor);
    tree::enclosure(*oldBus, 5);
    EXPECT_EQ("502/1", compare());
}

}  // namespace
