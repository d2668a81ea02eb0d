#include "storlib/sources/ScenarioRecord.h"

const std::vector<ScenarioRecord>& ScenarioRecord::all() {
    // clang-format off
    static const std::vector<ScenarioRecord> rows = {
        {"initializeStarted",    1, 25,   7, "logicalDrive"},
        {"initializeComplete",   1, 26,   7, "logicalDrive"},
        {"initializeFailed",     1, 27,   6, "logicalDrive"},
        {"initializeAborted",    1, 15,   7, "logicalDrive"},
        {"synchronizeStarted",   1, 19,   7, "logicalDrive"},
        {"synchronizeComplete",  1, 20,   7, "logicalDrive"},
        {"synchronizeFailed",    1, 21,   6, "logicalDrive"},
        {"synchronizeAborted",   1, 1,    7, "logicalDrive"},
        {"rebuildStarted",       1, 16,   7, "logicalDrive"},
        {"rebuildComplete",      1, 17,   7, "logicalDrive"},
        {"rebuildFailed",        1, 18,   6, "logicalDrive"},
        {"rebuildAborted",       1, 14,   7, "logicalDrive"},
        {"badBlockFound",        0, 0x81, 6, "drive"},
        {"badBlockRepaired",     0, 0x80, 7, "drive"},
    };
    // clang-format on
    return rows;
}

const ScenarioRecord* ScenarioRecord::named(const std::string& name) {
    for (const ScenarioRecord& row : all()) {
        if (name == row.name) return &row;
    }
    return nullptr;
}
