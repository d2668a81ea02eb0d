// EventReference: what every event means: the rows that the engine can raise, the catalogue's text
// for each, and an explanation for people.
//
//   const EventReference reference(catalogueFile);
//   for (const EventReference::Entry* entry : reference.find("401")) ... entry->action
//
// One entry per distinct row. Explanations are built into the program (catalogue/meanings.json).
// Threads  Any, once constructed. Errors: Failure when the built-in explanations cannot be read.
#ifndef AGENT_EVENTREFERENCE_H
#define AGENT_EVENTREFERENCE_H

#include <string>
#include <vector>

class EventReference {
public:
    struct Entry {
        std::string key;      // of the catalogue text; "" for the one text that is fixed
        int code = 0;         // QELEvent::eventCode
        int severity = 0;     // QELEvent::severity
        std::string eventId;  // QELEvent::eventId
        std::string text;     // with its placeholders
        std::string when;     // it is raised
        std::string meaning;
        std::string cause;  // the likely one
        std::string risk;   // of waiting
        std::string action;
    };

    // Texts come from this catalogue file; "" gives entries without texts.
    explicit EventReference(const std::string& catalogue);

    const std::vector<Entry>& all() const { return entries; }  // by code
    // Entries with that code, identifier or catalogue key; capitals do not matter.
    std::vector<const Entry*> find(const std::string& wanted) const;

    std::string markdown() const;                 // the whole reference, docs/events.md
    static std::string json(const Entry& entry);  // one object, one line, no line end

private:
    std::vector<Entry> entries;
};

#endif  // AGENT_EVENTREFERENCE_H
