// CurlLibrary: the functions of libcurl, which is loaded when the first sink for the network is
// made. Types and constants come from its own header, included here.
//
//   const CurlLibrary& library = CurlLibrary::get();
//   CURL* const transfer = library.easyInit();
//
// setopt and getinfo take anything at all; CurlHandle calls them with checked types.
//
// Threads  Any; loaded and initialised once. Errors: LateLibrary::Missing, at each get() until it
//          is there; std::runtime_error when it cannot initialise itself.
#ifndef AGENT_SINKS_CURLLIBRARY_H
#define AGENT_SINKS_CURLLIBRARY_H

#include <curl/curl.h>

struct CurlLibrary {
    static const CurlLibrary& get();

    decltype(&curl_global_init) globalInit = nullptr;
    decltype(&curl_easy_init) easyInit = nullptr;
    decltype(&curl_easy_cleanup) easyCleanup = nullptr;
    decltype(&curl_easy_setopt) easySetopt = nullptr;
    decltype(&curl_easy_getinfo) easyGetinfo = nullptr;
    decltype(&curl_easy_perform) easyPerform = nullptr;
    decltype(&curl_easy_strerror) easyStrerror = nullptr;
    decltype(&curl_easy_escape) easyEscape = nullptr;

    decltype(&curl_slist_append) slistAppend = nullptr;
    decltype(&curl_slist_free_all) slistFreeAll = nullptr;
    decltype(&curl_free) release = nullptr;

    decltype(&curl_url) urlNew = nullptr;
    decltype(&curl_url_cleanup) urlCleanup = nullptr;
    decltype(&curl_url_set) urlSet = nullptr;
    decltype(&curl_url_get) urlGet = nullptr;

private:
    CurlLibrary();
};

#endif  // AGENT_SINKS_CURLLIBRARY_H
