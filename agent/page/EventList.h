// EventList: records of the spool as a table of events, the newest first. Progress, companions and
// notices are left out: they say nothing that the rest of the page does not.
//
// Pure functions; any thread.
#ifndef AGENT_PAGE_EVENTLIST_H
#define AGENT_PAGE_EVENTLIST_H

#include <cstddef>
#include <vector>

#include "agent/page/Html.h"
#include "agent/page/PageModel.h"

// Whether it is shown to people one by one.
bool isTelling(const Record& record);
// "2 errors, 1 warning, 5 others"
std::string eventCounts(const std::vector<Record>& records);

// `withObject`: in a column of its own.
void addEventList(Html& html, const PageModel& model, const std::vector<Record>& records,
                  std::size_t most, bool withObject);

#endif  // AGENT_PAGE_EVENTLIST_H
