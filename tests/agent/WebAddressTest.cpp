#include "agent/web/WebAddress.h"

#include <gtest/gtest.h>

namespace {

struct GoodCase {
    const char* written;
    const char* text;
    bool isUnix;
    bool isLocal;
};

constexpr GoodCase kGood[] = {
    {"unix", "/run/r/http.sock", true, true},
    {"unix:/tmp/web.sock", "/tmp/web.sock", true, true},
    {"127.0.0.1:8627", "http://127.0.0.1:8627/", false, true},
    {"127.9.9.9:1", "http://127.9.9.9:1/", false, true},
    {"[::1]:8627", "http://[::1]:8627/", false, true},
    {"[0:0::1]:8627", "http://[::1]:8627/", false, true},
    {"0.0.0.0:80", "http://0.0.0.0:80/", false, false},
    {"[::]:80", "http://[::]:80/", false, false},
    {"192.0.2.7:65535", "http://192.0.2.7:65535/", false, false},
    {"[::ffff:127.0.0.1]:80", "http://[::ffff:127.0.0.1]:80/", false, false},
    {"127.0.0.1:0", "http://127.0.0.1:0/", false, true},
};

TEST(WebAddress, TakesSocketsAndAddressesWithPorts) {
    for (const GoodCase& c : kGood) {
        SCOPED_TRACE(c.written);
        WebAddress address;
        EXPECT_EQ("", WebAddress::parse(c.written, "/run/r", address));
        EXPECT_EQ(c.text, address.text());
        EXPECT_EQ(c.isUnix, address.isUnix());
        EXPECT_EQ(c.isLocal, address.isLocal());
        EXPECT_EQ(c.written, address.written);
    }
}

constexpr const char* kBad[] = {
    "",
    "8627",
    ":8627",
    "localhost:8627",
    "127.0.0.1",
    "127.0.0.1:",
    "::1:8627",
    "127.0.0.1:65536",
    "127.0.0.1:-1",
    "127.0.0.1:8x",
    "unix:",
    "unix:web.sock",
    "off",
    "[127.0.0.1]:80",
    "[]:80",
    "1.2.3:80",
    "unixsocket",
    "*:80",
};

TEST(WebAddress, RefusesAnythingElseAndSaysWhatToWrite) {
    for (const char* written : kBad) {
        SCOPED_TRACE(written);
        WebAddress address;
        address.host = "kept";
        const std::string problem = WebAddress::parse(written, "/run/r", address);
        EXPECT_NE(std::string::npos, problem.find("; write \"unix\", \"unix:/PATH\" or an address"))
            << problem;
        EXPECT_EQ("kept", address.host);
    }
}

TEST(WebAddress, GivenAPathThatNoSocketCanHaveThenRefusesIt) {
    WebAddress address;
    const std::string problem =
        WebAddress::parse("unix:/" + std::string(200, 'x'), "/run/r", address);
    EXPECT_NE(std::string::npos, problem.find("is too long; name a shorter one")) << problem;
}

}  // namespace
