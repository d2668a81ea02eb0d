#include "agent/sinks/UrlParts.h"

#include <gtest/gtest.h>

namespace {

TEST(UrlParts, OfAddresses) {
    struct Row {
        const char* url;
        const char* place;
        bool loopback;
    };
    for (const Row& row : {Row{"https://a.example/p?q", "https://a.example", false},
                           Row{"HTTP://u:p@host:81/x", "http://host:81", false},
                           Row{"smtp://localhost:25", "smtp://localhost:25", true},
                           Row{"smtps://127.0.0.1", "smtps://127.0.0.1", true},
                           Row{"http://127.example.com/x", "http://127.example.com", false},
                           Row{"http://[::1]:9093", "http://[::1]:9093", true}}) {
        const UrlParts parts(row.url);
        EXPECT_TRUE(parts.ok) << row.url;
        EXPECT_EQ(row.place, parts.place());
        EXPECT_EQ(row.loopback, parts.loopback()) << row.url;
    }
    EXPECT_EQ("u", UrlParts("http://u:p@host").user);
    EXPECT_EQ("p", UrlParts("http://u:p@host").password);
}

TEST(UrlParts, OfWhatIsNoAddress) {
    for (const char* url : {"", "host", "http://", "http://a b/", "http://a/\r\nX: y", "http://a/ ",
                            "http://a:port/"}) {
        EXPECT_FALSE(UrlParts(url).ok) << url;
        EXPECT_EQ("", UrlParts(url).place()) << url;
    }
}

}  // namespace
