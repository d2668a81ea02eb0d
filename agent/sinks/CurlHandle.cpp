#include "agent/sinks/CurlHandle.h"

#include <algorithm>

#include "agent/SafeText.h"

namespace {

int asksToStop(void* stop, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<std::atomic<bool>*>(stop)->load() ? 1 : 0;
}

}  // namespace

CurlHandle::CurlHandle() : library(CurlLibrary::get()), handle(library.easyInit()) {
    if (handle == nullptr) throw std::runtime_error("no memory for a transfer");
    set(CURLOPT_ERRORBUFFER, error.data());
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    set(CURLOPT_USERAGENT, "raidwatch/" QEL_VERSION);
}

CurlHandle::~CurlHandle() {
    library.easyCleanup(handle);
    for (const List& list : lists) library.slistFreeAll(list.lines);
}

void CurlHandle::setTimeout(std::chrono::milliseconds whole) {
    const auto limit =
        static_cast<long>(std::max<std::chrono::milliseconds::rep>(whole.count(), 1));
    set(CURLOPT_TIMEOUT_MS, limit);
    set(CURLOPT_CONNECTTIMEOUT_MS, std::max(limit / 3, 1L));
}

void CurlHandle::setCancel(const std::atomic<bool>* stop) {
    if (stop == nullptr) return;
    set(CURLOPT_XFERINFODATA, stop);
    set(CURLOPT_XFERINFOFUNCTION, asksToStop);
    set(CURLOPT_NOPROGRESS, 0L);
}

void CurlHandle::setTrust(const std::string& caFile) {
    if (caFile.empty()) return;
    set(CURLOPT_CAINFO, caFile.c_str());
    set(CURLOPT_CAPATH, nullptr);
}

void CurlHandle::addTo(CURLoption option, const std::string& line) {
    for (List& list : lists) {
        if (list.option != option && list.option != CURLOPT_LASTENTRY) continue;
        curl_slist* const longer = library.slistAppend(list.lines, line.c_str());
        if (longer == nullptr) throw std::runtime_error("no memory for a transfer");
        list.option = option;
        list.lines = longer;
        set(option, longer);
        return;
    }
    throw std::logic_error("a transfer has two lists at most");
}

CURLcode CurlHandle::perform() {
    error.front() = '\0';
    return library.easyPerform(handle);
}

long CurlHandle::number(CURLINFO what) const {
    long value = 0;
    return library.easyGetinfo(handle, what, &value) == CURLE_OK ? value : 0;
}

long long CurlHandle::large(CURLINFO what) const {
    curl_off_t value = 0;
    return library.easyGetinfo(handle, what, &value) == CURLE_OK ? value : 0;
}

std::string CurlHandle::failure(CURLcode result) const {
    const std::string said = error.front() == '\0' ? library.easyStrerror(result) : error.data();
    const std::string safe = safeText(said);
    if (result == CURLE_PEER_FAILED_VERIFICATION) {
        return safe + "; name the issuer's certificate with ca_file";
    }
    if (result == CURLE_ABORTED_BY_CALLBACK) return "given up, because the agent stops";
    if (result == CURLE_SSL_CACERT_BADFILE) return safe + "; correct ca_file";
    if (result == CURLE_SSL_CERTPROBLEM) return safe + "; correct cert_file and key_file";
    return safe;
}

void CurlHandle::check(CURLcode result) const {
    if (result != CURLE_OK) throw std::runtime_error(library.easyStrerror(result));
}
