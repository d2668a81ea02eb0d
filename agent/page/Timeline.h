// Timeline: the last 48 hours as a drawing: what was wrong from when to when, events by severity,
// and hatched what nobody watched. Below it the last events as a table, which also says the same
// to who cannot see the drawing.
//
// Pure functions; any thread.
#ifndef AGENT_PAGE_TIMELINE_H
#define AGENT_PAGE_TIMELINE_H

#include "agent/page/Html.h"
#include "agent/page/PageModel.h"

void addTimeline(Html& html, const PageModel& model);

#endif  // AGENT_PAGE_TIMELINE_H
