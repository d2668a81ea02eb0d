// MessageId: the MESSAGE_ID under which a record stands in the journal, and its explanation in the
// journal's message catalogue.
//
// An event's id is made of its code and identifier, a notice's of its word, as a name-based UUID
// (version 5 of RFC 4122: SHA-1 of a fixed name space and the name), written as 32 hexadecimal
// digits. So an id never changes, and needs no list:
//
//   eventMessageId(401, "EVENT_TORVEX_PD_STATE_FAILED")   name "event:401:EVENT_TORVEX_..."
//   noticeMessageId(Notice::Kind::kOpened)                name "notice:opened"
//
// Pure functions; any thread.
#ifndef AGENT_SINKS_MESSAGEID_H
#define AGENT_SINKS_MESSAGEID_H

#include <string>

#include "agent/spool/Record.h"

std::string eventMessageId(int code, const std::string& eventId);
std::string noticeMessageId(Notice::Kind kind);
std::string messageId(const Record& record);

// The version 5 UUID of `name` in the name space, both as 32 hexadecimal digits.
std::string nameUuid(const std::string& nameSpace, const std::string& name);

#endif  // AGENT_SINKS_MESSAGEID_H
