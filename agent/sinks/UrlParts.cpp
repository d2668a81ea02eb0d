#include "agent/sinks/UrlParts.h"

#include <arpa/inet.h>

#include <memory>

#include "agent/sinks/CurlLibrary.h"

namespace {

struct UrlCleaner {
    void operator()(CURLU* url) const { CurlLibrary::get().urlCleanup(url); }
};

std::string part(CURLU* url, CURLUPart which) {
    const CurlLibrary& library = CurlLibrary::get();
    char* text = nullptr;
    if (library.urlGet(url, which, &text, 0) != CURLUE_OK || text == nullptr) return std::string();
    const std::string kept = text;
    library.release(text);
    return kept;
}

}  // namespace

UrlParts::UrlParts(const std::string& url) {
    const CurlLibrary& library = CurlLibrary::get();
    const std::unique_ptr<CURLU, UrlCleaner> parsed(library.urlNew());
    if (!parsed) return;
    // libcurl takes a blank at the end and a control character in the path; we do not.
    for (const char c : url) {
        if (static_cast<unsigned char>(c) <= ' ' || c == '\x7f') return;
    }
    if (library.urlSet(parsed.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME) !=
        CURLUE_OK) {
        return;
    }
    scheme = part(parsed.get(), CURLUPART_SCHEME);
    user = part(parsed.get(), CURLUPART_USER);
    password = part(parsed.get(), CURLUPART_PASSWORD);
    host = part(parsed.get(), CURLUPART_HOST);
    port = part(parsed.get(), CURLUPART_PORT);
    ok = !host.empty();
}

std::string UrlParts::place() const {
    if (!ok) return std::string();
    return scheme + "://" + host + (port.empty() ? "" : ":" + port);
}

bool UrlParts::loopback() const {
    // Not every name that begins so is an address: 127.example.com is anybody's.
    in_addr v4{};
    return host == "localhost" || host == "[::1]" ||
           (host.compare(0, 4, "127.") == 0 && inet_pton(AF_INET, host.c_str(), &v4) == 1);
}
