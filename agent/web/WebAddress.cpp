#include "agent/web/WebAddress.h"

#include <arpa/inet.h>
#include <sys/un.h>

#include <algorithm>
#include <cstdlib>

#include "agent/SafeText.h"

namespace {

constexpr char kUnix[] = "unix";
constexpr char kHow[] =
    "write \"unix\", \"unix:/PATH\" or an address with a port, as \"127.0.0.1:8627\" or "
    "\"[::1]:8627\"";
constexpr long kHighestPort = 65535;

bool isPort(const std::string& text, std::uint16_t& port) {
    if (text.empty() || text.size() > 5 ||
        !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        return false;
    }
    const long number = std::strtol(text.c_str(), nullptr, 10);
    if (number > kHighestPort) return false;
    port = static_cast<std::uint16_t>(number);
    return true;
}

}  // namespace

bool WebAddress::isLocal() const {
    if (isUnix()) return true;
    if (isV6) return host == "::1";
    return host.compare(0, 4, "127.") == 0;
}

std::string WebAddress::text() const {
    if (isUnix()) return socket;
    return "http://" + (isV6 ? "[" + host + "]" : host) + ":" + std::to_string(port) + "/";
}

std::string WebAddress::parse(const std::string& written, const std::string& runFolder,
                              WebAddress& result) {
    const std::string shown = "\"" + safeText(written) + "\"";
    WebAddress address;
    address.written = written;
    if (written.compare(0, 4, kUnix) == 0 && (written.size() == 4 || written[4] == ':')) {
        address.socket = written.size() == 4 ? runFolder + "/http.sock" : written.substr(5);
        if (address.socket.empty() || address.socket.front() != '/') {
            return shown + " is no path that begins with /; " + kHow;
        }
        if (address.socket.size() >= sizeof(sockaddr_un::sun_path)) {
            return "the name of the socket " + safeText(address.socket) + " is too long; name a " +
                   "shorter one";
        }
        result = address;
        return "";
    }
    const std::size_t colon = written.rfind(':');
    if (colon == std::string::npos || !isPort(written.substr(colon + 1), address.port)) {
        return shown + " is no address with a port; " + kHow;
    }
    address.host = written.substr(0, colon);
    in6_addr v6{};
    in_addr v4{};
    if (address.host.size() > 2 && address.host.front() == '[' && address.host.back() == ']') {
        address.host = address.host.substr(1, address.host.size() - 2);
        address.isV6 = true;
        char canonical[INET6_ADDRSTRLEN] = "";
        if (inet_pton(AF_INET6, address.host.c_str(), &v6) != 1) {
            return shown + " is no address of IPv6; " + kHow;
        }
        address.host = inet_ntop(AF_INET6, &v6, canonical, sizeof canonical);
    } else if (inet_pton(AF_INET, address.host.c_str(), &v4) != 1) {
        return shown + " has no numeric address; " + kHow;
    }
    result = address;
    return "";
}
