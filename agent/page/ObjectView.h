// ObjectView: all about one array, drive, enclosure or controller: its properties, what it belongs
// to, its incidents, charts of what the spool knows of it, its events.
//
// Pure function; any thread.
#ifndef AGENT_PAGE_OBJECTVIEW_H
#define AGENT_PAGE_OBJECTVIEW_H

#include <string>
#include <string_view>

#include "agent/page/Html.h"
#include "agent/page/PageModel.h"

// For a heading: "md0", "drive 1:0:3"; "" when there is no such object.
std::string objectTitle(const PageModel& model, std::string_view key);
// The sections of its page.
void addObjectView(Html& html, const PageModel& model, std::string_view key);

#endif  // AGENT_PAGE_OBJECTVIEW_H
