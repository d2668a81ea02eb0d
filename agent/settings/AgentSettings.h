// AgentSettings: everything that raidwatch.toml and conf.d/*.toml can say, with its defaults.
//
// Plain values; SettingsReader fills them. Times in seconds.
#ifndef AGENT_SETTINGS_AGENTSETTINGS_H
#define AGENT_SETTINGS_AGENTSETTINGS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// What one sink is told of. What is empty does not restrict.
struct SinkFilter {
    int leastSeverity = 3;             // EnumEventType: 1 errors only, 2 and warnings, 3 and notes
    std::vector<std::string> objects;  // name patterns with * and ?: "md*", "drive 1:*"
    std::vector<int> codes;
};

struct SinkSettings {
    std::string name;   // of its table: [sink.NAME]
    std::string type;   // journal, syslog, mail, exec, webhook, alertmanager, nats, file
    std::string where;  // "/etc/raidwatch/raidwatch.toml:12", for messages
    SinkFilter filter;
    std::int64_t timeout = 30;    // of one try
    std::int64_t firstRetry = 5;  // then twice as long each time, with jitter
    std::int64_t longestRetry = 900;
    std::int64_t giveUpAfter = 7 * 86400;  // age of a record at which it is given up; 0: never

    // The keys of its type, as text; lists one per element. Secrets are read from files by the
    // reader and stand here under their key without "_file".
    std::map<std::string, std::string> texts;
    std::map<std::string, std::vector<std::string>> lists;
    std::map<std::string, std::map<std::string, std::string>> tables;  // [sink.NAME.headers]
    std::map<std::string, std::int64_t> numbers;  // times in seconds, truth values 0 or 1

    const std::string& text(const std::string& key) const;  // "" when not set
    std::int64_t number(const std::string& key, std::int64_t otherwise) const;
};

struct AgentSettings {
    // [monitor]
    std::string source = "linux";
    std::string language;  // of the message texts; "" as installed

    // [paths]
    std::string stateFolder = "/var/lib/raidwatch";
    std::string runFolder = "/run/raidwatch";
    std::string engineFolder;  // "" beside the engine's library

    // [access]
    std::string controlGroup = "raidwatch";  // who may use the control socket

    // [spool]
    std::int64_t keep = 90 * 86400;

    // [incidents]
    std::int64_t flapWindow = 3600;  // so long a value must hold still
    int flapChanges = 4;             // changes within the window that make it flapping
    std::vector<std::int64_t> reminders = {86400, 2 * 86400, 4 * 86400,
                                           7 * 86400};  // then the last
    std::int64_t staleAfter = 300;  // a poll older than this says nothing about now

    // [http]
    std::vector<std::string> httpListen = {"unix", "127.0.0.1:8627"};  // see WebAddress
    std::string httpTokenHash;           // of what must be shown on a port; "" for nothing
    std::vector<std::string> httpHosts;  // more names of this machine

    std::map<std::string, SinkSettings> sinks;  // by name
};

#endif  // AGENT_SETTINGS_AGENTSETTINGS_H
