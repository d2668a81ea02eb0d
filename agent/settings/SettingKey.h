// SettingKey: one key of raidwatch.toml: its type, its limits, and what it is for. The reader, the
// generated reference and the JSON Schema all work on these rows.
//
// Plain constants; any thread.
#ifndef AGENT_SETTINGS_SETTINGKEY_H
#define AGENT_SETTINGS_SETTINGKEY_H

#include <cstdint>
#include <string>

struct SettingKey {
    enum Kind {
        kText,
        kList,        // of texts
        kTable,       // of texts
        kSeconds,     // "30s", "5m", "2h", "7d", or a whole number of seconds
        kFlag,        // true or false
        kNumber,      // a whole number
        kSecretFile,  // written as KEY_file: the path of a file that holds the secret
        kPath,        // an absolute path
        kUrl,         // of one of the schemes in `words`, without a password in it
        kUrlList,
        kSize,         // "10M", or a whole number of bytes
        kSecondsList,  // of kSeconds
        kNumberList,   // of kNumber
    };

    const char* type;  // of the sink, or the name of the table; "" for every sink
    const char* key;
    Kind kind;
    bool required;
    const char* help;       // one sentence without its end
    const char* words;      // "a|b|c": nothing else is allowed; "" anything
    std::int64_t least;     // of seconds, numbers and sizes, and of each element of their lists
    std::int64_t most;      // 0: without limit
    const char* otherwise;  // the default, as it would be written; "" for none

    // As it stands in the file.
    std::string written() const {
        return kind == kSecretFile ? std::string(key) + "_file" : std::string(key);
    }
};

#endif  // AGENT_SETTINGS_SETTINGKEY_H
