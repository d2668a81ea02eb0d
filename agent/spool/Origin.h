// Origin: how an event came to us.
#ifndef AGENT_SPOOL_ORIGIN_H
#define AGENT_SPOOL_ORIGIN_H

enum class Origin {
    kLive,     // happened while we watched
    kAtStart,  // found by comparing with the stored snapshot
    kTest,     // `raidwatch test`
    kDrill,    // `raidwatch drill`
};

// "live", "at-start", "test", "drill"
constexpr const char* originWord(Origin origin) {
    switch (origin) {
        case Origin::kAtStart:
            return "at-start";
        case Origin::kTest:
            return "test";
        case Origin::kDrill:
            return "drill";
        case Origin::kLive:
            break;
    }
    return "live";
}

#endif  // AGENT_SPOOL_ORIGIN_H
