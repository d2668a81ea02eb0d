// VantEventCollection: a list of controller events, and the reader of a controller's listing.
//
// A value: copying copies the events. Besides reading listings it is a small toolkit for hosts:
// filters by severity, merge, delete.
//
// Threads  As any value.
// Errors   A malformed listing throws SimpleXmlException; see there for what the reader accepts.
//
//   VantEventCollection log(buffer);  // <Event Sequence="5" Qual="7" ... LDPath="..."/>...
//   for (const VantEvent& event : log.getAllEvents()) ...
//
// Listing: one element "Event" per event, with the attributes Sequence (decimal, hexadecimal after
// "0x"), Qual, Status, SenseKey, AdditionalSenseCode (all hexadecimal without prefix), LDPath and
// Description. Others are ignored. An attribute that comes twice has its last value, and one in a
// later element of another name still belongs to the last event.
#ifndef EVENTS_VANTEVENTCOLLECTION_H
#define EVENTS_VANTEVENTCOLLECTION_H

#include <vector>

#include "events/VantEvent.h"

class VantEventCollection {
public:
    VantEventCollection() = default;

    // Reads a listing; null or "" has no events. The buffer is copied and not altered.
    explicit VantEventCollection(const char* buffer);

    std::vector<VantEvent> getAllEvents() const { return events; }
    VantEvent getEvent(int index) const;  // from 0; the caller keeps within the list
    int getNumberOfEvents() const;

    // Copies, in list order.
    std::vector<VantEvent> getInformationEvents() const;
    std::vector<VantEvent> getFatalEvents() const;
    std::vector<VantEvent> getWarningEvents() const;
    // Always empty, because no qualifier means progress; viewers ask all four alike.
    std::vector<VantEvent> getProgressEvents() const;

    void addEvent(const VantEvent& event);

    // Append copies of all, in order, duplicates included.
    void mergeEvents(const std::vector<VantEvent>& others);
    void mergeEvents(const VantEventCollection& others);

    // Removes the first event that equals `event` by compareEvents(): 1, or 0 when there is none.
    int deleteEvent(const VantEvent& event);

    // 0 when all but status and time are equal, otherwise -1. A controller that repeats an event
    // may give it another status.
    static int compareEvents(const VantEvent& left, const VantEvent& right);

private:
    std::vector<VantEvent> eventsOf(int severity) const;

    std::vector<VantEvent> events;
};

#endif  // EVENTS_VANTEVENTCOLLECTION_H
