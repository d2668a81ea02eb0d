// ScenarioKind: what may stand in a scenario file, as data: for each kind of object its fields
// with their types and words, and the lists of objects that it holds. Validation, the making of
// storage objects, the reference in docs/formats/scenario.md and its schema all walk these rows.
#ifndef STORLIB_SOURCES_SCENARIOKIND_H
#define STORLIB_SOURCES_SCENARIOKIND_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class RaidObject;

// A field's value, as given. Words have become their numbers.
struct ScenarioValue {
    std::int64_t integer = 0;
    bool flag = false;
    std::string text;
    std::vector<int> list;
};

struct ScenarioField {
    // kWwn is a text of 16 hexadecimal digits.
    enum class Type { kInteger, kFlag, kText, kWwn, kWord, kNumberList, kWordList };

    // A word and the number that it stands for; the number itself may be written as well.
    struct Word {
        char const* name;
        int number;
    };

    char const* name;
    Type type;
    char const* purpose;  // for people, with the unit
    std::vector<Word> words;
    void (*apply)(RaidObject& object, const ScenarioValue& value);  // null: the maker reads it
    std::int64_t least = INT32_MIN;  // of a number, also of one written for a word or in a list
    std::int64_t most = INT32_MAX;
    std::size_t longest = 4096;  // bytes of a text, entries of a list
    bool required = false;
};

struct ScenarioKind {
    // Objects of `kind` stand in a list called `list`.
    struct Holds {
        char const* list;
        char const* kind;
    };

    char const* name;  // "controller", "drive", ...
    std::vector<ScenarioField> fields;
    std::vector<Holds> lists;

    const ScenarioField* field(const std::string& fieldName) const;  // null when unknown
    const Holds* list(const std::string& listName) const;            // null when unknown

    static const std::vector<ScenarioKind>& all();
    static const ScenarioKind& named(const std::string& kindName);  // one of all()
};

#endif  // STORLIB_SOURCES_SCENARIOKIND_H
