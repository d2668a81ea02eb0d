// PublishAnswer: what the server says of a message that it was sent to keep.
//
//   publishAnswer("{\"stream\":\"RAIDWATCH\",\"seq\":7}")      // kStored, position 7
//   publishAnswer("{\"error\":{\"err_code\":10071}}")          // kLater, position 10071
//
// Pure; any thread. Errors: none; whatever makes no sense is kLater, so that the message is sent
// again.
#ifndef AGENT_NATS_PUBLISHANSWER_H
#define AGENT_NATS_PUBLISHANSWER_H

#include <string>

#include "agent/fleet/FleetLink.h"

// Of the server's error codes.
constexpr int kNatsTooLarge = 10054;
constexpr int kNatsWrongLast = 10071;

FleetLink::Answer publishAnswer(const std::string& body);

#endif  // AGENT_NATS_PUBLISHANSWER_H
