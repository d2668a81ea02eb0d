// PageRoutes: the page for people: "/", "/object?key=...", and the files that it refers to, each
// filled with what the daemon knows at that moment.
//
//   PageRoutes pages(knowledge);
//   WebAnswer answer;
//   if (pages.answers(request, answer)) return answer;
//
// Threads  One at a time. Ownership: the knowledge is borrowed. Errors: pages that say so.
#ifndef AGENT_WEB_PAGEROUTES_H
#define AGENT_WEB_PAGEROUTES_H

#include <memory>
#include <string>

#include "agent/page/Page.h"
#include "agent/page/PageInput.h"
#include "agent/web/WebAnswer.h"
#include "agent/web/WebKnowledge.h"
#include "agent/web/WebRequest.h"

class PageRoutes {
public:
    explicit PageRoutes(WebKnowledge& knowledgeIN) : knowledge(knowledgeIN) {}

    // False when it is no path of the page.
    bool answers(const WebRequest& request, WebAnswer& answer);
    // That there is no such thing, for a browser as a page.
    WebAnswer nothingThere(const WebRequest& request);
    void forget() { drawn.reset(); }  // it comes again when it is needed

private:
    WebAnswer overview();
    WebAnswer object(const WebRequest& request);
    WebAnswer message(int status, const std::string& sentence);
    PageInput input();
    const Page& page();

    WebKnowledge& knowledge;
    std::unique_ptr<Page> drawn;
};

#endif  // AGENT_WEB_PAGEROUTES_H
