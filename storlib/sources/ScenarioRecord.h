// ScenarioRecord: the records of a controller's event log that a scenario can name by a word, as
// data. docs/formats/scenario.md and its schema walk these rows.
#ifndef STORLIB_SOURCES_SCENARIORECORD_H
#define STORLIB_SOURCES_SCENARIORECORD_H

#include <string>
#include <vector>

struct ScenarioRecord {
    char const* name;
    int category;      // 1: tells of a task
    int code;          // what happened
    int qual;          // 7 informational, 6 error
    char const* kind;  // of the object that it is about

    static const std::vector<ScenarioRecord>& all();
    static const ScenarioRecord* named(const std::string& name);  // null when unknown
};

#endif  // STORLIB_SOURCES_SCENARIORECORD_H
