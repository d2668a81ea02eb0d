// Silence: for some time nobody is told about an object, because somebody works on it. Incidents
// are kept all the same. Times in seconds since 1970-01-01 UTC.
#ifndef AGENT_INCIDENTS_SILENCE_H
#define AGENT_INCIDENTS_SILENCE_H

#include <cstdint>
#include <string>

struct Silence {
    std::int64_t id = 0;
    std::string object;  // object key, or "" for everything
    std::string objectName;
    std::int64_t from = 0;
    std::int64_t until = 0;  // never without end
    std::string reason;
    std::string by;

    bool covers(const std::string& key, std::int64_t now) const {
        return from <= now && now < until && (object.empty() || object == key);
    }
};

#endif  // AGENT_INCIDENTS_SILENCE_H
