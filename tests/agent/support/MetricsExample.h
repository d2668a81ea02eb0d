// What the tests of the metrics share: machines, made by hand and by playing the shipped scenarios.
#ifndef TESTS_AGENT_SUPPORT_METRICSEXAMPLE_H
#define TESTS_AGENT_SUPPORT_METRICSEXAMPLE_H

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "agent/metrics/MetricsInput.h"
#include "agent/state/StateBuilder.h"
#include "storlib/VantLib.h"
#include "storlib/sources/SteppedSource.h"

namespace metrics {

constexpr std::int64_t kNow = 1795238420;  // 2026-11-21

inline DriveState driveCalled(const std::string& key, int device = 0) {
    DriveState drive;
    drive.key = key;
    drive.name = "drive 1:0:" + std::to_string(device);
    drive.adapter = 1;
    drive.device = device;
    drive.state = "normal";
    return drive;
}

// One array of two drives, one of which has failed, with all that can be told of them.
inline MetricsInput example() {
    MetricsInput in;
    in.version = "0.1.0";
    in.now = kNow;
    in.staleAfter = 300;
    in.machine.polledAt = kNow - 4;
    in.machine.polls = 17;
    in.pollSeconds = 0.25;

    ArrayState array;
    array.key = "array:0:127";
    array.name = "md127";
    array.label = "projects";
    array.level = "RAID 1";
    array.sizeMB = 1000;
    array.state = "rebuilding";
    array.devices = 2;
    array.working = 1;
    array.survives = 0;
    array.fullSurvives = 1;
    array.exposedSince = kNow - 600;
    array.badStripes = 3;
    array.members = {{"drive:S1", "sda", 0, "active"}, {"drive:S2", "sdb", 1, "rebuilding"}};
    array.task.kind = "rebuild";
    array.task.percent = 41.5;
    array.task.startedAt = kNow - 500;
    array.task.secondsLeft = 700;
    in.machine.arrays.push_back(array);

    ControllerState controller;
    controller.key = "controller:SN0042";
    controller.number = 1;
    controller.name = "RX-800";
    controller.vendor = "Acme";
    controller.serial = "SN0042";
    controller.pci = "3-0-0";
    controller.driver = "1.2";
    controller.firmware = "7.3";
    controller.state = "normal";
    controller.battery = "low";
    controller.temperature = 48;
    in.machine.controllers.push_back(controller);

    DriveState drive = driveCalled("drive:S1", 3);
    drive.osName = "sda";
    drive.vendor = "KOVA-PQ";
    drive.model = "K500";
    drive.serial = "S1";
    drive.wwn = "5001122300000200";
    drive.partNumber = "39R7340";
    drive.firmware = "F2";
    drive.sizeMB = 2000;
    drive.array = "array:0:127";
    drive.enclosure = "enclosure:E1";
    drive.slotName = "SLOT 03";
    drive.temperature = 34;
    in.machine.drives.push_back(drive);
    drive = driveCalled("drive:S2", 4);
    drive.state = "failed";
    drive.predicted = true;
    in.machine.drives.push_back(drive);

    EnclosureState enclosure;
    enclosure.key = "enclosure:E1";
    enclosure.name = "enclosure 1:0:9";
    enclosure.adapter = 1;
    enclosure.vendor = "Acme";
    enclosure.model = "EX-14";
    enclosure.serial = "E1";
    enclosure.partNumber = "90P1234";
    enclosure.state = "degraded";
    enclosure.slots = 14;
    enclosure.elements = {{"fan", "fan 1", "failed", 0},
                          {"supply", "supply 1", "missing", -1},
                          {"temperature", "temperature 1", "too hot", 61}};
    in.machine.enclosures.push_back(enclosure);

    Incident incident;
    incident.severity = 1;
    in.openIncidents.push_back(incident);
    incident.ackAt = kNow;
    in.openIncidents.push_back(incident);
    incident.severity = 2;
    in.openIncidents.push_back(incident);
    in.events = {{1, 401, 2}, {2, 418, 5}};
    in.badBlocks = {{"drive:S2", 5}, {"drive:gone", 9}};
    SinkStatus sink;
    sink.sink = "ops";
    sink.ok = false;
    sink.waiting = 12;
    sink.tries = 3;
    sink.lastDelivered = (kNow - 60) * 1000 + 500;
    sink.everDelivered = 40;
    sink.everFailed = 7;
    sink.everDead = 1;
    in.sinks.push_back(sink);
    in.spoolBytes = 45056;
    in.firstSequence = 3;
    in.lastSequence = 52;
    in.unspooled = 2;
    in.problems["spool"] = "disk full";
    return in;
}

// Names, without ".json".
inline std::vector<std::string> shippedScenarios() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(std::string(QEL_SOURCE_DIR) +
                                                                 "/storlib/sources/scenarios")) {
        if (entry.path().extension() == ".json") names.push_back(entry.path().stem().string());
    }
    return names;
}

// The machine of a shipped scenario at its beginning and after each step.
inline std::vector<MachineState> play(const std::string& scenario) {
    std::string error;
    const std::unique_ptr<VantLib> lib =
        VantLib::open("scenario:" + std::string(QEL_SOURCE_DIR) + "/storlib/sources/scenarios/" +
                          scenario + ".json",
                      error);
    if (!lib) throw std::runtime_error(error);
    auto& source = dynamic_cast<SteppedSource&>(lib->getSource());
    source.setAutomatic(false);
    StateBuilder builder;
    std::vector<MachineState> states;
    do {
        if (lib->getSystemConfig().status != Ret::kOk) continue;  // it cannot be read at this step
        states.push_back(builder.build(*lib, kNow));
    } while (source.advance());
    return states;
}

}  // namespace metrics

#endif  // TESTS_AGENT_SUPPORT_METRICSEXAMPLE_H
