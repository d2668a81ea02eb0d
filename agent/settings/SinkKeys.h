// SinkKeys: every key that a table [sink.NAME] may have, by type of sink.
//
//   for (const SinkKey* key : sinkKeysOf("mail")) ...     // those of every sink, then mail's own
//
// Any thread.
#ifndef AGENT_SETTINGS_SINKKEYS_H
#define AGENT_SETTINGS_SINKKEYS_H

#include <string>
#include <vector>

#include "agent/settings/SettingKey.h"
#include "agent/settings/SettingValue.h"

using SinkKey = SettingKey;

// Rows of one type stand together; those of every sink come first.
const std::vector<SinkKey>& sinkKeys();
std::vector<const SinkKey*> sinkKeysOf(const std::string& type);

// The default of a key that has one; kOther for one that has none.
SettingValue defaultValue(const SinkKey& key);

// The types that a sink can have, in the order of the reference, and what each does.
struct SinkType {
    const char* type;
    const char* purpose;
    bool human;            // it reaches a person by itself
    const char* oneOf[2];  // at least one of these keys must be set; null for no such rule
};
const std::vector<SinkType>& sinkTypeList();
const SinkType* findSinkType(const std::string& type);  // null when there is none

#endif  // AGENT_SETTINGS_SINKKEYS_H
