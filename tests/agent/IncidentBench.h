// IncidentBench: an incident book with a machine and a clock that tests move.
//
//   Bench bench;
//   (void)bench.onDrive(401, 2);
//   EXPECT_EQ((Words{"opened md0 degraded"}), bench.told());
#ifndef TESTS_AGENT_INCIDENTBENCH_H
#define TESTS_AGENT_INCIDENTBENCH_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "agent/incidents/IncidentBook.h"

namespace incident_bench {

using Kind = Notice::Kind;
using Words = std::vector<std::string>;

inline constexpr std::int64_t kStart = 1763700000;
inline constexpr std::int64_t kMinute = 60;
inline constexpr std::int64_t kHour = 3600;
inline constexpr std::int64_t kDay = 86400;

inline ArrayState array(int number, const std::string& state, int survives) {
    ArrayState one;
    one.adapter = 0;
    one.number = number;
    one.key = "array:0:" + std::to_string(number);
    one.name = "md" + std::to_string(number);
    one.state = state;
    one.survives = survives;
    return one;
}

inline DriveState drive(int device, const std::string& state, const std::string& array = "") {
    DriveState one;
    one.adapter = 1;
    one.device = device;
    one.key = "drive:S" + std::to_string(device);
    one.name = "drive 1:0:" + std::to_string(device);
    one.serial = "S" + std::to_string(device);
    one.state = state;
    one.array = array;
    return one;
}

// A RAID 6 "md0" of drives 0 to 3, drive 4 a spare, drive 5 unused; an enclosure with two fans.
inline MachineState machine() {
    MachineState state;
    state.host = "stor7";
    state.polledAt = kStart;
    state.arrays.push_back(array(0, "normal", 2));
    for (int i = 0; i < 4; ++i) {
        state.drives.push_back(drive(i, "normal", "array:0:0"));
        state.arrays[0].members.push_back({state.drives.back().key, "sd", i, "active"});
    }
    state.drives.push_back(drive(4, "spare"));
    state.arrays[0].members.push_back({"drive:S4", "sd", -1, "spare"});
    state.drives.push_back(drive(5, "unused"));
    EnclosureState enclosure;
    enclosure.key = "enclosure:E1";
    enclosure.name = "enclosure 1:0:9";
    enclosure.adapter = 1;
    enclosure.device = 9;
    enclosure.state = "normal";
    enclosure.elements = {{"fan", "fan 1", "normal", -1},
                          {"fan", "fan 2", "normal", -1},
                          {"temperature", "sensor 1", "normal", 30}};
    state.enclosures.push_back(enclosure);
    return state;
}

inline Silence silence(const std::string& object, std::int64_t from, std::int64_t until) {
    Silence one;
    one.object = object;
    one.from = from;
    one.until = until;
    return one;
}

// A book, a machine and a clock that tests move; collects what people are told.
struct Bench {
    explicit Bench(const AgentSettings& settingsIN = AgentSettings(),
                   const std::vector<Incident>& open = {}, std::int64_t lastId = 0)
        : settings(settingsIN), book(settings, open, lastId) {}

    IncidentBook::Effect event(int code, const std::string& object, const std::string& name,
                               QELEvent::ObjectType type, int severity = kEventError) {
        Record record;
        record.sequence = ++sequence;
        record.origin = origin;
        record.object = object;
        record.objectName = name;
        record.event = QELEvent(code, severity, "event " + std::to_string(code), "");
        record.event.objectType = type;
        record.event.location = at;
        record.event.value2 = unit;
        return keep(book.apply(record, state, silences, now));
    }
    IncidentBook::Effect onArray(int code) {
        return event(code, "array:0:0", "array 0:0", QELEvent::kLogicalDrive);
    }
    IncidentBook::Effect onDrive(int code, int device) {
        at = Addr::ofDevice(1, 0, static_cast<unsigned>(device));
        return event(code, "drive:S" + std::to_string(device),
                     "drive 1:0:" + std::to_string(device), QELEvent::kPhysicalDrive);
    }
    IncidentBook::Effect onFan(int code, int fan) {
        at = Addr::ofDevice(1, 0, 9);
        unit = fan - 1;
        auto effect = event(code, "whatever", "fan", QELEvent::kFan);
        unit = QELEvent::kNotSet;
        return effect;
    }
    IncidentBook::Effect look() {
        state.polledAt = now;
        ++state.polls;
        return keep(book.reconcile(state, silences, now));
    }
    IncidentBook::Effect pass(std::int64_t seconds) {
        now += seconds;
        return keep(book.tick(silences, now));
    }
    // What was told since the last call: "opened md0 degraded".
    Words told() {
        Words words;
        words.swap(kept);
        return words;
    }
    IncidentBook::Effect keep(IncidentBook::Effect effect) {
        for (const Notice& notice : effect.notices) {
            kept.push_back(std::string(noticeWord(notice.kind)) + " " +
                           NoticeText::subjectOf(notice.incident) + " " + notice.incident.value);
            last = notice;
        }
        return effect;
    }
    void setArray(const std::string& word, int survives) {
        ++state.polls;
        state.arrays[0].state = word;
        state.arrays[0].survives = survives;
        state.arrays[0].exposedSince = word == "normal" ? 0 : now;
    }
    const Incident& only() {
        EXPECT_EQ(1u, book.open().size());
        static const Incident kNone;
        return book.open().empty() ? kNone : book.open().front();
    }

    AgentSettings settings;
    IncidentBook book;
    MachineState state = machine();
    std::vector<Silence> silences;
    std::int64_t now = kStart;
    Origin origin = Origin::kLive;
    Addr at;
    int unit = QELEvent::kNotSet;
    Words kept;
    Notice last;
    std::int64_t sequence = 0;
};

}  // namespace incident_bench

#endif  // TESTS_AGENT_INCIDENTBENCH_H
