// Fuzzes the listing of a controller's own events.
// Parsed code: events/VantEventCollection.cpp events/VantEvent.cpp xml/SimpleXmlParser.cpp

#include <algorithm>

#include "events/VantEventCollection.h"
#include "fuzz/support/Fuzz.h"
#include "xml/SimpleXmlException.h"

namespace {

void examine(VantEventCollection& log, const std::string& listing) {
    const int count = log.getNumberOfEvents();
    fuzz::must(count <= std::count(listing.begin(), listing.end(), '<'), "an event is a tag");
    const std::size_t sorted = log.getInformationEvents().size() + log.getFatalEvents().size() +
                               log.getWarningEvents().size();
    fuzz::must(sorted <= static_cast<std::size_t>(count), "an event has one severity");
    fuzz::must(log.getProgressEvents().empty(), "no event is progress");
    if (count == 0) return;
    const VantEvent event = log.getEvent(count - 1);
    fuzz::must(VantEventCollection::compareEvents(event, event) == 0, "an event equals itself");
    log.mergeEvents(log);
    fuzz::must(log.getNumberOfEvents() == 2 * count, "a merge appends");
    fuzz::must(log.deleteEvent(event) == 1, "what is there can be deleted");
    fuzz::must(log.getNumberOfEvents() == 2 * count - 1, "one is deleted");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string listing = fuzz::textOf(data, size);
    try {
        VantEventCollection log(listing.c_str());
        examine(log, listing);
    } catch (const SimpleXmlException& e) {
        fuzz::must(e.offset < size, "a complaint names a place in the listing");
    }
    return 0;
}
