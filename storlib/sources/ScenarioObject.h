// ScenarioObject: one simulated object as a scenario file describes it: its fields as given, and
// the lists of objects that it holds.
//
// Plain data; a tree of them belongs to a ScenarioModel. Threads: one at a time.
#ifndef STORLIB_SOURCES_SCENARIOOBJECT_H
#define STORLIB_SOURCES_SCENARIOOBJECT_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "storlib/sources/ScenarioKind.h"

struct ScenarioObject {
    using List = std::vector<std::unique_ptr<ScenarioObject>>;

    // A copy of its own; it is a new object, so without a serial.
    std::unique_ptr<ScenarioObject> clone() const;

    // The given value, or `fallback` when the field is absent.
    std::int64_t number(const std::string& field, std::int64_t fallback) const;
    bool flag(const std::string& field, bool fallback) const;
    const std::vector<int>& numbers(const std::string& field) const;  // empty when absent
    const List& list(const std::string& name) const;                  // empty when absent

    const ScenarioKind* kind = nullptr;  // null: the machine as a whole
    std::string id;                      // "" when nobody names it
    int line = 0;
    std::string where;        // "$.controllers[0]", for messages
    unsigned int serial = 0;  // given by the model; never the same for two objects
    std::map<std::string, ScenarioValue> fields;
    std::map<std::string, List> lists;
};

#endif  // STORLIB_SOURCES_SCENARIOOBJECT_H
