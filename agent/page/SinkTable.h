// SinkTable: who is told: each sink with its state, what waits for it, and its last error.
//
// Pure functions; any thread.
#ifndef AGENT_PAGE_SINKTABLE_H
#define AGENT_PAGE_SINKTABLE_H

#include "agent/page/Html.h"
#include "agent/page/PageModel.h"

void addSinkTable(Html& html, const PageModel& model);

#endif  // AGENT_PAGE_SINKTABLE_H
