// Fuzzes scenario files: a file is refused with one line, or plays to its end.
// Parsed code: storlib/sources/Scenario storlib/sources/JsonNode.cpp

#include "storlib/sources/Scenario.h"

#include "events/VantEventCollection.h"
#include "fuzz/support/Fuzz.h"
#include "storlib/ProgressCollection.h"
#include "storlib/RefSystem.h"
#include "storlib/System.h"
#include "storlib/sources/ControllerEventLog.h"

namespace {

void readAll(const Scenario& scenario) {
    const RefSystem system(new System);
    scenario.fill(*system.get());
    std::vector<RaidObject*> drives;
    system.get()->getChildren(drives, "LogicalDrive", true, true);
    for (const RaidObject* drive : drives) {
        ProgressCollection tasks;
        scenario.tasksAt(drive->addr, tasks);
        (void)scenario.failsTasks(drive->addr.controllerID);
        (void)scenario.failsEvents(drive->addr.controllerID);
    }
}

void play(Scenario& scenario) {
    ControllerEventLog log;
    readAll(scenario);
    for (std::size_t step = 0; step < scenario.steps().size(); ++step) {
        std::string error;
        fuzz::must(scenario.apply(step, error), "a file that was taken plays: " + error);
        std::string listing;
        for (const auto& [place, record] : scenario.takeRecords()) {
            log.append(place, record);
            log.list(place, 0, listing);
        }
        // Our own listing is no malformed one: an exception ends the process.
        (void)VantEventCollection(listing.c_str()).getNumberOfEvents();
        if (step < 8 || step + 1 == scenario.steps().size()) readAll(scenario);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::textOf(data, size);
    std::string error;
    const std::unique_ptr<Scenario> scenario = Scenario::parse(text, "fuzz.json", error);
    if (!scenario) {
        fuzz::must(error.compare(0, 9, "fuzz.json") == 0, "a complaint names the file: " + error);
        fuzz::must(error.find('\n') == std::string::npos, "a complaint is one line: " + error);
        return 0;
    }
    fuzz::must(error.empty(), "no complaint about what is taken");
    play(*scenario);
    return 0;
}
