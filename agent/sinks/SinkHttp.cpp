#include "agent/sinks/SinkHttp.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "agent/SafeText.h"
#include "agent/settings/SecretFile.h"
#include "agent/sinks/BadSinkSetting.h"
#include "agent/sinks/UrlParts.h"

HttpClient::Access httpAccess(const SinkSettings& settings) {
    for (const char* key : {"ca_file", "cert_file", "key_file"}) checkReadable(settings, key);
    HttpClient::Access access;
    access.caFile = settings.text("ca_file");
    access.certFile = settings.text("cert_file");
    access.keyFile = settings.text("key_file");
    access.unixSocket = settings.text("unix_socket");
    if (!access.keyFile.empty() && access.certFile.empty()) {
        throw BadSinkSetting(settings, "key_file without cert_file; name both");
    }
    const std::string wrong =
        access.keyFile.empty() ? std::string() : wrongSecretFile(access.keyFile);
    if (!wrong.empty()) {
        throw BadSinkSetting(settings, "key_file " + safeText(access.keyFile) + " " + wrong);
    }
    return access;
}

std::string httpUrl(const SinkSettings& settings, const std::string& key, const std::string& url) {
    const UrlParts parts(url);
    if (!parts.ok || (parts.scheme != "http" && parts.scheme != "https")) {
        throw BadSinkSetting(settings, key + (url.empty() ? " is missing" : " is no address") +
                                           "; write it as https://host/path");
    }
    const bool readable = parts.scheme == "http" && settings.text("unix_socket").empty();
    if (!settings.text("token").empty() && readable && !parts.loopback()) {
        throw BadSinkSetting(settings,
                             "the token could be read on its way; begin " + key + " with https://");
    }
    return url;
}

void addToken(const SinkSettings& settings, const std::string& token,
              HttpClient::Request& request) {
    if (token.empty()) return;
    if (token.find_first_of("\r\n") != std::string::npos) {
        throw BadSinkSetting(settings, "the file of the token has more than one line");
    }
    request.headers.push_back("Authorization: Bearer " + token);
    request.secrets.push_back(token);
}

bool isHeaderName(const std::string& name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    });
}

void checkReadable(const SinkSettings& settings, const std::string& key) {
    const std::string& file = settings.text(key);
    if (file.empty() || access(file.c_str(), R_OK) == 0) return;
    throw BadSinkSetting(
        settings, "cannot read " + key + " " + safeText(file) + " (" + std::strerror(errno) + ")");
}
