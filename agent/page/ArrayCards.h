// ArrayCards: the arrays, worst first: what each has lost, since when, what is being done about it,
// and its members as chips. Arrays in trouble get a card, the others too while they are few.
//
// Pure functions; any thread.
#ifndef AGENT_PAGE_ARRAYCARDS_H
#define AGENT_PAGE_ARRAYCARDS_H

#include "agent/page/Html.h"
#include "agent/page/PageModel.h"

void addArrayCards(Html& html, const PageModel& model);

// One of them, for its own page: without its name, with all its members.
void addArrayFacts(Html& html, const PageModel& model, const ArrayState& array);

// What is left of its redundancy, as words and as marks: "survives 1 more drive failure".
void addRedundancy(Html& html, const ArrayState& array);
// Bar, percentage, speed, time left; nothing without a task.
void addTask(Html& html, const TaskState& task);

#endif  // AGENT_PAGE_ARRAYCARDS_H
