// WebSite: what a WebServer shows. All calls come on the server's thread, one at a time.
#ifndef AGENT_WEB_WEBSITE_H
#define AGENT_WEB_WEBSITE_H

#include <cstdint>
#include <string>

#include "agent/web/WebAnswer.h"
#include "agent/web/WebRequest.h"

class WebSite {
public:
    virtual ~WebSite() = default;

    virtual WebAnswer answer(const WebRequest& request) = 0;

    // Server-sent events: what is recorded after `after`, which is moved to the last of it; a part
    // of it when that is long, "" when there is nothing.
    virtual std::string recordedAfter(std::int64_t& after) = 0;
    // One event that says how it stands now; the same text for as long as nothing has changed.
    virtual std::string standing() = 0;

    // Nobody has come for a while: what can be made again may go.
    virtual void rest() = 0;
};

#endif  // AGENT_WEB_WEBSITE_H
