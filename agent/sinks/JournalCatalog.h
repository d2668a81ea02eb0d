// JournalCatalog: the message catalogue that `journalctl -x` explains our lines with, made of the
// engine's rows and their explanations. packaging/journal/raidwatch.catalog is what it gives.
//
//   std::cout << journalCatalog(EventReference(""));
//
// One entry per MESSAGE_ID (see MessageId); events that share one are explained one after the
// other. Pure function; any thread.
#ifndef AGENT_SINKS_JOURNALCATALOG_H
#define AGENT_SINKS_JOURNALCATALOG_H

#include <string>

#include "agent/EventReference.h"

std::string journalCatalog(const EventReference& reference);

#endif  // AGENT_SINKS_JOURNALCATALOG_H
