#include "storlib/sources/ScenarioObject.h"

std::unique_ptr<ScenarioObject> ScenarioObject::clone() const {
    auto copy = std::make_unique<ScenarioObject>();
    copy->kind = kind;
    copy->id = id;
    copy->line = line;
    copy->where = where;
    copy->fields = fields;
    for (const auto& [name, objects] : lists) {
        List& target = copy->lists[name];
        for (const auto& object : objects) target.push_back(object->clone());
    }
    return copy;
}

std::int64_t ScenarioObject::number(const std::string& field, std::int64_t fallback) const {
    const auto given = fields.find(field);
    return given == fields.end() ? fallback : given->second.integer;
}

bool ScenarioObject::flag(const std::string& field, bool fallback) const {
    const auto given = fields.find(field);
    return given == fields.end() ? fallback : given->second.flag;
}

const std::vector<int>& ScenarioObject::numbers(const std::string& field) const {
    static const std::vector<int> none;
    const auto given = fields.find(field);
    return given == fields.end() ? none : given->second.list;
}

const ScenarioObject::List& ScenarioObject::list(const std::string& name) const {
    static const List none;
    const auto given = lists.find(name);
    return given == lists.end() ? none : given->second;
}
