// IncidentCards: what is wrong, since when, who knows of it, and what to do; below, what ended
// within the last day, folded away.
//
// Pure functions; any thread.
#ifndef AGENT_PAGE_INCIDENTCARDS_H
#define AGENT_PAGE_INCIDENTCARDS_H

#include <string_view>

#include "agent/page/Html.h"
#include "agent/page/PageModel.h"

// Of every object, or of the one with that key alone.
void addIncidentCards(Html& html, const PageModel& model, std::string_view only = {});

#endif  // AGENT_PAGE_INCIDENTCARDS_H
