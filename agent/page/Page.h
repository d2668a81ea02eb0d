// Page: the web page as text: HTML documents made of a PageInput, and the files that they refer to.
// Whatever the page shows it shows without a script; the script only keeps it fresh.
//
//   const Page page;
//   const std::string html = page.overview(input);               // GET /
//   const std::string one = page.object(input, "array:0:127");   // GET /object?key=array%3A0%3A127
//   for (const Asset& asset : Page::assets()) ...                // GET /style.css, ...
//
// It changes nothing: there is no form in it and no link that acts. Every text of hardware, hosts
// and people is made safe and escaped. The documents are UTF-8, "text/html; charset=utf-8", and
// live under
//
//   default-src 'none'; style-src 'self'; script-src 'self'; connect-src 'self';
//   img-src 'self' data:
//
// without an inline style or script. Links lead to "/", to objectPath() and dataPath(), and to the
// assets only.
//
// The script listens to the server-sent events of kStream. A message of the type "state" (after
// each completed poll, and whenever something that is shown has changed; its data is not looked at)
// lets it fetch the document again and exchange the parts that differ. When the stream is silent or
// broken, or the last completed poll gets too old, it turns the page grey by itself.
//
// Size: bounded, whatever the machine holds (some 10,000 drives give less than a megabyte).
//
// Threads  Any, once constructed. Errors: the constructor as EventReference.
#ifndef AGENT_PAGE_PAGE_H
#define AGENT_PAGE_PAGE_H

#include <string>
#include <string_view>
#include <vector>

#include "agent/EventReference.h"
#include "agent/page/PageInput.h"

// A file that the page refers to, built into the program.
struct Asset {
    const char* path;  // "/style.css"
    const char* contentType;
    std::string_view bytes;
};

class Page {
public:
    static constexpr const char* kStream = "/api/v1/stream";

    Page() : reference("") {}

    // Everything on one screen.
    std::string overview(const PageInput& input) const;
    // All about an array, a drive, an enclosure or a controller; "" when there is no such object.
    std::string object(const PageInput& input, std::string_view key) const;
    // For whatever cannot be shown: "404 Not found", "There is no such page."; both raw.
    std::string message(std::string_view title, std::string_view sentence) const;

    // Where object() is to be served: "/object?key=...", percent-encoded.
    static std::string objectPath(std::string_view key);
    // What programs get of it: "/api/v1/drives/...", the same; `kind` is "drives", "arrays", ...
    static std::string dataPath(const char* kind, std::string_view key);

    // "/style.css", "/page.js", "/icon.svg"
    static const std::vector<Asset>& assets();

private:
    EventReference reference;
};

#endif  // AGENT_PAGE_PAGE_H
