#include "events/VantEventCollection.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "events/EnumEventType.h"
#include "util/Number.h"
#include "xml/SimpleXmlParser.h"

namespace {

constexpr int kProgressSeverity = 4;  // no qualifier means it

struct HexadecimalRow {
    const char* name;
    int VantEvent::*field;
};
constexpr HexadecimalRow kHexadecimals[] = {
    {"Qual", &VantEvent::qual},
    {"Status", &VantEvent::status},
    {"SenseKey", &VantEvent::senseKey},
    {"AdditionalSenseCode", &VantEvent::additionalSenseCode},
};

struct TextRow {
    const char* name;
    std::string VantEvent::*field;
};
constexpr TextRow kTexts[] = {
    {"LDPath", &VantEvent::ldPath},
    {"Description", &VantEvent::description},
};

bool isNamed(const char* name, const char* wanted) {
    return name != nullptr && std::strcmp(name, wanted) == 0;
}

// An attribute without a value counts as one with an empty text; no digits leave a number alone.
void applyAttribute(const SimpleXmlParser& parser, VantEvent& event) {
    const char* const name = parser.attributeName;
    const char* const value = parser.attributeValue != nullptr ? parser.attributeValue : "";
    if (isNamed(name, "Sequence")) event.sequence = static_cast<std::int32_t>(parser.getLONG());
    for (const HexadecimalRow& row : kHexadecimals) {
        auto number = static_cast<std::uint32_t>(event.*row.field);
        if (isNamed(name, row.name) && scanHex32(value, number)) {
            event.*row.field = static_cast<int>(number);
        }
    }
    for (const TextRow& row : kTexts) {
        if (isNamed(name, row.name)) event.*row.field = value;
    }
}

}  // namespace

VantEventCollection::VantEventCollection(const char* buffer) {
    // The parser cuts its text in place.
    std::string text = buffer != nullptr ? buffer : "";
    SimpleXmlParser parser(text.data(), static_cast<unsigned long>(text.size()));
    while (parser.parseNext()) {
        // A start tag comes together with its first attribute: first the event, then its field.
        if ((parser.flags & SimpleXmlParser::kElementStart) != 0 &&
            isNamed(parser.elementName, "Event")) {
            events.emplace_back();
        }
        if (!events.empty()) applyAttribute(parser, events.back());
    }
}

VantEvent VantEventCollection::getEvent(int index) const {
    return events[static_cast<std::size_t>(index)];
}

int VantEventCollection::getNumberOfEvents() const { return static_cast<int>(events.size()); }

std::vector<VantEvent> VantEventCollection::getInformationEvents() const {
    return eventsOf(kEventInformation);
}

std::vector<VantEvent> VantEventCollection::getFatalEvents() const { return eventsOf(kEventError); }

std::vector<VantEvent> VantEventCollection::getWarningEvents() const {
    return eventsOf(kEventWarning);
}

std::vector<VantEvent> VantEventCollection::getProgressEvents() const {
    return eventsOf(kProgressSeverity);
}

void VantEventCollection::addEvent(const VantEvent& event) { events.push_back(event); }

void VantEventCollection::mergeEvents(const std::vector<VantEvent>& others) {
    events.insert(events.end(), others.begin(), others.end());
}

void VantEventCollection::mergeEvents(const VantEventCollection& others) {
    mergeEvents(others.getAllEvents());  // a copy, since `others` may be this one
}

int VantEventCollection::deleteEvent(const VantEvent& event) {
    for (auto it = events.begin(); it != events.end(); ++it) {
        if (compareEvents(*it, event) == 0) {
            events.erase(it);
            return 1;
        }
    }
    return 0;
}

int VantEventCollection::compareEvents(const VantEvent& left, const VantEvent& right) {
    const bool equal = left.qual == right.qual && left.senseKey == right.senseKey &&
                       left.additionalSenseCode == right.additionalSenseCode &&
                       left.sequence == right.sequence && left.ldPath == right.ldPath &&
                       left.description == right.description;
    return equal ? 0 : -1;
}

std::vector<VantEvent> VantEventCollection::eventsOf(int severity) const {
    std::vector<VantEvent> found;
    for (const VantEvent& event : events) {
        if (event.getSeverity() == severity) found.push_back(event);
    }
    return found;
}
