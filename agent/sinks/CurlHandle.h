// CurlHandle: one transfer of libcurl, cleaned up at the end of the scope, with what every transfer
// of ours has in common: no signals, TLS that is always verified, errors as one safe line.
//
//   CurlHandle transfer;
//   transfer.set(CURLOPT_URL, url.c_str());
//   const CURLcode result = transfer.perform();
//   if (result != CURLE_OK) return transfer.failure(result);
//
// Threads  Any number of objects; one thread per object. libcurl is initialised once.
// Errors   LateLibrary::Missing from the constructor where there is no libcurl;
//          std::runtime_error from the constructor and set(): an option that is not taken is never
//          passed over, because it may be the one that keeps us safe.
#ifndef AGENT_SINKS_CURLHANDLE_H
#define AGENT_SINKS_CURLHANDLE_H

#include <array>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "agent/sinks/CurlLibrary.h"

class CurlHandle {
public:
    CurlHandle();
    ~CurlHandle();
    CurlHandle(const CurlHandle&) = delete;
    CurlHandle& operator=(const CurlHandle&) = delete;

    // libcurl reads a long, a curl_off_t or a pointer, and takes whatever it is given for that.
    template <typename Value>
    void set(CURLoption option, Value value) {
        static_assert(std::is_same_v<Value, long> || std::is_same_v<Value, curl_off_t> ||
                      std::is_pointer_v<Value> || std::is_null_pointer_v<Value>);
        check(library.easySetopt(handle, option, value));
    }
    void setTimeout(std::chrono::milliseconds whole);  // connecting gets at most a third of it
    // Ends the transfer within about a second once `stop` is true; null for never. Borrowed.
    void setCancel(const std::atomic<bool>* stop);
    // Trusts the certificates of this file and no others; "" means those of the system.
    void setTrust(const std::string& caFile);
    // One line that is sent as it is; of a list that lives as long as the handle.
    void addTo(CURLoption option, const std::string& line);

    CURLcode perform();
    long number(CURLINFO what) const;      // 0 when not known
    long long large(CURLINFO what) const;  // likewise
    // What went wrong and, where there is one, the cure; safe for people.
    std::string failure(CURLcode result) const;

private:
    struct List {
        CURLoption option = CURLOPT_LASTENTRY;
        curl_slist* lines = nullptr;
    };

    void check(CURLcode result) const;

    const CurlLibrary& library;
    CURL* handle;
    std::array<List, 2> lists;
    std::array<char, CURL_ERROR_SIZE> error{};
};

#endif  // AGENT_SINKS_CURLHANDLE_H
