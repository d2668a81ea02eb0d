#include "agent/sinks/CurlLibrary.h"

#include <stdexcept>

#include "agent/LateLibrary.h"

CurlLibrary::CurlLibrary() {
    const LateLibrary library("libcurl.so.4", "libcurl4");
    library.find("curl_global_init", globalInit);
    library.find("curl_easy_init", easyInit);
    library.find("curl_easy_cleanup", easyCleanup);
    library.find("curl_easy_setopt", easySetopt);
    library.find("curl_easy_getinfo", easyGetinfo);
    library.find("curl_easy_perform", easyPerform);
    library.find("curl_easy_strerror", easyStrerror);
    library.find("curl_easy_escape", easyEscape);
    library.find("curl_slist_append", slistAppend);
    library.find("curl_slist_free_all", slistFreeAll);
    library.find("curl_free", release);
    library.find("curl_url", urlNew);
    library.find("curl_url_cleanup", urlCleanup);
    library.find("curl_url_set", urlSet);
    library.find("curl_url_get", urlGet);
    const CURLcode result = globalInit(CURL_GLOBAL_DEFAULT);
    if (result != CURLE_OK) throw std::runtime_error(easyStrerror(result));
}

const CurlLibrary& CurlLibrary::get() {
    static const CurlLibrary library;
    return library;
}
