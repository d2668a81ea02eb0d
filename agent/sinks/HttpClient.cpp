#include "agent/sinks/HttpClient.h"

#include <algorithm>
#include <exception>

#include "agent/SafeText.h"
#include "agent/sinks/CurlHandle.h"
#include "agent/sinks/UrlParts.h"

namespace {

constexpr std::size_t kKeptBytes = 4096;    // of an answer; the rest is read and dropped
constexpr std::size_t kShownColumns = 160;  // of its first line

std::size_t keepBytes(char* bytes, std::size_t one, std::size_t count, void* into) {
    auto& kept = *static_cast<std::string*>(into);
    const std::size_t size = one * count;
    kept.append(bytes, std::min(size, kKeptBytes - kept.size()));
    return size;
}

std::string masked(std::string text, const std::vector<std::string>& secrets) {
    for (const std::string& secret : secrets) {
        if (secret.empty()) continue;
        for (std::size_t at = text.find(secret); at != std::string::npos;
             at = text.find(secret, at + 3)) {
            text.replace(at, secret.size(), "***");
        }
    }
    return text;
}

std::string firstLine(const std::string& body) {
    const std::size_t begin = body.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) return std::string();
    const std::size_t end = body.find_first_of("\r\n", begin);
    return body.substr(begin, end == std::string::npos ? end : end - begin);
}

void setMethod(CurlHandle& transfer, const HttpClient::Request& request) {
    if (request.method == "GET") {
        transfer.set(CURLOPT_HTTPGET, 1L);
        return;
    }
    transfer.set(CURLOPT_POST, 1L);
    transfer.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    transfer.set(CURLOPT_POSTFIELDS, request.body.c_str());
    transfer.set(CURLOPT_CUSTOMREQUEST, request.method.c_str());
}

void setAccess(CurlHandle& transfer, const HttpClient::Access& access) {
    transfer.setTrust(access.caFile);
    if (!access.certFile.empty()) transfer.set(CURLOPT_SSLCERT, access.certFile.c_str());
    const std::string& key = access.keyFile.empty() ? access.certFile : access.keyFile;
    if (!key.empty()) transfer.set(CURLOPT_SSLKEY, key.c_str());
    if (!access.unixSocket.empty()) {
        transfer.set(CURLOPT_UNIX_SOCKET_PATH, access.unixSocket.c_str());
    }
}

void prepare(CurlHandle& transfer, const std::string& url, std::chrono::milliseconds timeout,
             const HttpClient::Access& access) {
    transfer.set(CURLOPT_URL, url.c_str());
    transfer.set(CURLOPT_PROTOCOLS_STR, "http,https");
    transfer.set(CURLOPT_FOLLOWLOCATION, 0L);
    transfer.setTimeout(timeout);
    setAccess(transfer, access);
}

HttpClient::Reply sendOnce(const HttpClient::Request& request, const HttpClient::Access& access) {
    std::string body;
    CurlHandle transfer;
    prepare(transfer, request.url, request.timeout, access);
    transfer.setCancel(request.cancel);
    setMethod(transfer, request);
    transfer.addTo(CURLOPT_HTTPHEADER, "Expect:");  // do not wait for leave to send
    for (const std::string& header : request.headers) transfer.addTo(CURLOPT_HTTPHEADER, header);
    transfer.set(CURLOPT_WRITEFUNCTION, keepBytes);
    transfer.set(CURLOPT_WRITEDATA, &body);

    HttpClient::Reply reply;
    const CURLcode result = transfer.perform();
    if (result != CURLE_OK) {
        reply.line = masked(transfer.failure(result), request.secrets);
        return reply;
    }
    reply.status = transfer.number(CURLINFO_RESPONSE_CODE);
    reply.retryAfter = transfer.large(CURLINFO_RETRY_AFTER);
    reply.line = cutText(safeText(masked(firstLine(body), request.secrets)), kShownColumns);
    return reply;
}

Answer::Kind kindOf(long status) {
    if (status >= 200 && status < 300) return Answer::Kind::kDelivered;
    if (status < 400 || status >= 500) return Answer::Kind::kRetry;
    constexpr long kWorthAnotherTry[] = {401, 403, 404, 407, 408, 425, 429};
    const bool again = std::find(std::begin(kWorthAnotherTry), std::end(kWorthAnotherTry),
                                 status) != std::end(kWorthAnotherTry);
    return again ? Answer::Kind::kRetry : Answer::Kind::kRefused;
}

// What to do about an answer that will come again at every try.
const char* cure(long status) {
    if (status >= 300 && status < 400) return "; redirects are not followed, correct url";
    if (status == 401 || status == 403 || status == 407) return "; check the token and its rights";
    if (status == 404) return "; check url";
    return "";
}

}  // namespace

HttpClient::Reply HttpClient::send(const Request& request) const {
    try {
        return sendOnce(request, access);
    } catch (const std::exception& e) {
        Reply reply;
        reply.line = masked(safeText(e.what()), request.secrets);
        return reply;
    }
}

std::string HttpClient::reach(const std::string& url, std::chrono::milliseconds timeout) const {
    const std::string place = UrlParts(url).place() + ": ";
    try {
        CurlHandle transfer;
        prepare(transfer, url, timeout, access);
        transfer.set(CURLOPT_CONNECT_ONLY, 1L);
        const CURLcode result = transfer.perform();
        return result == CURLE_OK ? std::string() : place + transfer.failure(result);
    } catch (const std::exception& e) {
        return place + safeText(e.what());
    }
}

Answer HttpClient::verdict(const std::string& url, const Reply& reply) {
    Answer answer;
    answer.kind = kindOf(reply.status);
    answer.text = UrlParts(url).place() + ": ";
    if (reply.status == 0) {
        answer.text += reply.line;
        return answer;
    }
    answer.text += "HTTP " + std::to_string(reply.status);
    if (!reply.line.empty()) answer.text += " " + reply.line;
    if (reply.retryAfter > 0) {
        answer.text += "; asks to wait " + std::to_string(reply.retryAfter) + " s";
    }
    answer.text += cure(reply.status);
    return answer;
}
