#include "agent/page/PageInput.h"

#include <algorithm>

RecordFilter PageInput::recent(std::int64_t now) {
    RecordFilter filter;
    filter.since = (now - kTimeline) * 1000;
    filter.limit = kMostRecords;
    filter.newest = true;
    return filter;
}

RecordFilter PageInput::historyOf(std::string_view key) {
    RecordFilter filter;
    filter.object = key;
    filter.notices = false;
    filter.limit = kMostHistory;
    filter.newest = true;
    return filter;
}

std::int64_t PageInput::pollAge() const {
    return state.polledAt == 0 ? -1 : std::max<std::int64_t>(0, now - state.polledAt);
}

bool PageInput::isStale() const {
    if (state.polledAt == 0) return true;
    return now - state.polledAt > staleAfter || state.polledAt - now > staleAfter;
}
