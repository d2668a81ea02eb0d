// A machine for tests of the page: the shelf of tests/browser/shelf.json, played to one of its
// steps, with the records and incidents that a daemon would have of it by then.
//
//   const PageInput input = shelf::rebuilding();
#ifndef TESTS_AGENT_PAGEFIXTURE_H
#define TESTS_AGENT_PAGEFIXTURE_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

#include "agent/page/PageInput.h"
#include "agent/state/StateBuilder.h"
#include "storlib/VantLib.h"
#include "storlib/sources/SteppedSource.h"

namespace shelf {

constexpr std::int64_t kNow = 1763700000;  // 2025-11-21 04:40:00 UTC
constexpr std::int64_t kHour = 3600;
constexpr int kAllSteps = 9;

// What the real state builder makes of a scenario after that many steps, an hour each, the last
// one at `kNow` - 4.
inline MachineState play(const std::string& file, int steps) {
    std::string error;
    const std::unique_ptr<VantLib> lib = VantLib::open("scenario:" + file, error);
    auto* const source = lib ? dynamic_cast<SteppedSource*>(&lib->getSource()) : nullptr;
    if (source == nullptr) throw std::runtime_error(file + ": " + error);
    source->setAutomatic(false);
    StateBuilder builder;
    MachineState state;
    for (int step = 0; step <= steps; ++step) {
        if (step > 0 && !source->advance()) throw std::runtime_error("no more steps in " + file);
        (void)lib->getSystemConfig();
        state = builder.build(*lib, kNow - 4 - (steps - step) * kHour);
    }
    state.host = "stor7";
    state.source = "scenario:shelf.json";
    return state;
}

inline MachineState play(int steps) {
    return play(std::string(QEL_SOURCE_DIR) + "/tests/browser/shelf.json", steps);
}

inline Record event(std::int64_t at, int code, int severity, std::string object, std::string name,
                    std::string text) {
    Record record;
    record.at = at * 1000;
    record.object = std::move(object);
    record.objectName = std::move(name);
    record.event = QELEvent(code, severity, std::move(text), "EVENT");
    record.event.timeStamp = at;
    return record;
}

inline Incident incident(std::int64_t id, std::string object, std::string name,
                         std::string condition, std::string value, int severity, int code) {
    Incident one;
    one.id = id;
    one.object = std::move(object);
    one.objectName = std::move(name);
    one.condition = std::move(condition);
    one.value = std::move(value);
    one.severity = severity;
    one.code = code;
    return one;
}

inline SinkStatus sink(const std::string& name, std::int64_t lastDelivered) {
    SinkStatus one;
    one.sink = name;
    one.lastDelivered = lastDelivered * 1000;
    return one;
}

inline PageInput wellMachine() {
    PageInput input;
    input.state = play(0);
    input.now = kNow;
    input.version = "0.1.0";
    input.sinks = {sink("journal", kNow - 50 * kHour)};
    return input;
}

// A drive has failed, its array is being rebuilt, a fan has failed, mail does not get through.
inline PageInput rebuilding() {
    PageInput input = wellMachine();
    input.state = play(kAllSteps);

    Incident array =
        incident(3, "array:0:0", "array 0:0", "redundancy", "rebuilding", kEventWarning, 304);
    array.openedAt = array.exposedSince = kNow - 5 * kHour;
    array.updatedAt = kNow - 4 * kHour;
    array.text = "Rebuild started: controller 1, logical drive 1 (\"projects\").";
    array.survives = 1;
    Incident fan =
        incident(4, "enclosure:EN0024", "enclosure 0:0:64", "fan 2", "failed", kEventError, 504);
    fan.openedAt = fan.updatedAt = kNow - kHour;
    fan.text = "Fan 2 failed: controller 1, enclosure device, channel 1, id 65.";
    Incident predicted =
        incident(1, "drive:R8K717Q47", "drive 0:0:17", "drive", "predicted", kEventWarning, 402);
    predicted.openedAt = kNow - 26 * kHour;
    predicted.ackBy = "ina";
    predicted.ackComment = "a new one is ordered";
    predicted.ackAt = kNow - 20 * kHour;
    Incident block =
        incident(2, "drive:KL-2", "drive 1:0:1", "medium", "normal", kEventInformation, 422);
    block.open = false;
    block.openedAt = kNow - 22 * kHour;
    block.resolvedAt = kNow - 21 * kHour;
    input.incidents = {predicted, block, array, fan};

    const std::string bay7 = "drive:R8K707Q65";
    input.records = {
        event(kNow - 26 * kHour, 402, kEventWarning, predicted.object, "drive 0:0:17",
              "Drive predicts its failure: controller 1, channel 1, slot 17."),
        event(kNow - 22 * kHour, 418, kEventWarning, block.object, "drive 1:0:1",
              "Bad block found: controller 2, port 1."),
        event(kNow - 21 * kHour, 422, kEventInformation, block.object, "drive 1:0:1",
              "Bad block repaired: controller 2, port 1."),
        event(kNow - 5 * kHour, 401, kEventError, bay7, "drive 0:0:7",
              "Failed drive: controller 1, channel 1, slot 7."),
        event(kNow - 5 * kHour, 499, kEventInformation, bay7, "drive 0:0:7", "companion"),
        event(kNow - 5 * kHour, 301, kEventWarning, "array:0:0", "array 0:0",
              "Logical drive is critical: controller 1, logical drive 1 (\"projects\")."),
        event(kNow - 4 * kHour, 304, kEventTask, "array:0:0", "array 0:0",
              "Rebuild started: controller 1, logical drive 1 (\"projects\")."),
        event(kNow - 3 * kHour, 372, kEventProgress, "array:0:0", "array 0:0",
              "Rebuild 12% complete: controller 1, logical drive 1 (\"projects\")."),
        event(kNow - 2 * kHour, 372, kEventProgress, "array:0:0", "array 0:0",
              "Rebuild 26% complete: controller 1, logical drive 1 (\"projects\")."),
        event(kNow - kHour, 504, kEventError, fan.object, fan.objectName, fan.text),
    };
    input.gaps = {{kNow - 40 * kHour, kNow - 33 * kHour, true, false}};
    SinkStatus mail = sink("mail", kNow - 6 * kHour);
    mail.ok = false;
    mail.tries = 4;
    mail.waiting = 3;
    mail.lastAnswer = "could not connect to mail.example.net:587: connection refused";
    input.sinks = {sink("journal", kNow - kHour), mail};
    return input;
}

}  // namespace shelf

#endif  // TESTS_AGENT_PAGEFIXTURE_H
