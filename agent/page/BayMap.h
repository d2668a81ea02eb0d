// BayMap: the enclosures as a person stands before them: one drawing each with its bays, fans,
// supplies and temperatures. The drive to pull is marked, and so are those that must stay. Drives
// that sit in no known enclosure are drawn below, by controller.
//
//   addBayMaps(html, model);                    // as many as fit into the page, troubled ones
//   first addBayMap(html, model, enclosure);          // one, on its own page
//
// Pure functions; any thread.
#ifndef AGENT_PAGE_BAYMAP_H
#define AGENT_PAGE_BAYMAP_H

#include "agent/page/Html.h"
#include "agent/page/PageModel.h"

void addBayMaps(Html& html, const PageModel& model);
void addBayMap(Html& html, const PageModel& model, const EnclosureState& enclosure);

#endif  // AGENT_PAGE_BAYMAP_H
