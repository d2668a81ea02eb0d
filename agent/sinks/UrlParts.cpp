#include "agent/sinks/UrlParts.h"

#include <curl/curl.h>

#include <memory>

namespace {

struct UrlCleaner {
    void operator()(CURLU* url) const { curl_url_cleanup(url); }
};

std::string part(CURLU* url, CURLUPart which) {
    char* text = nullptr;
    if (curl_url_get(url, which, &text, 0) != CURLUE_OK || text == nullptr) return std::string();
    const std::string kept = text;
    curl_free(text);
    return kept;
}

}  // namespace

UrlParts::UrlParts(const std::string& url) {
    const std::unique_ptr<CURLU, UrlCleaner> parsed(curl_url());
    if (!parsed) return;
    // libcurl takes a blank at the end and a control character in the path; we do not.
    for (const char c : url) {
        if (static_cast<unsigned char>(c) <= ' ' || c == '\x7f') return;
    }
    if (curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME) !=
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
    return host == "localhost" || host == "[::1]" || host.compare(0, 4, "127.") == 0;
}
