#include "agent/sinks/MessageId.h"

#include <gtest/gtest.h>

#include "tests/agent/SinkFixture.h"

namespace {

constexpr char kDns[] = "6ba7b8109dad11d180b400c04fd430c8";  // the name space of RFC 4122

TEST(MessageId, AreNameBasedUuidsOfVersionFive) {
    struct {
        std::string name;
        const char* uuid;
    } cases[] = {
        {"www.example.com", "2ed6657de927568b95e12665a8aea6a2"},
        // Around the sizes at which one more block of the hash is needed; 16 bytes come before.
        {std::string(39, 'a'), "5824f981428259d49716acb6d741350e"},
        {std::string(40, 'a'), "39f39c20db475131887962f8f67f9014"},
        {std::string(47, 'a'), "660c273c8a005941b6f48d0afed88966"},
        {std::string(48, 'a'), "7280cc42274a5c4a91fcae23f853eeb7"},
        {std::string(54, 'a'), "6ad8c76991db5c2c9b2d9cf1d3071022"},
        {std::string(55, 'a'), "ab36061e998359b3a171f60bda1e5897"},
        {std::string(56, 'a'), "3fa6c3cd527c5c97b3b325a1c8b0e0ba"},
        {std::string(63, 'a'), "11a49e016620532395d5c4828b787233"},
        {std::string(64, 'a'), "efd9d9de780b5e83a3e730a408967cf8"},
        {std::string(100, 'a'), "56596f37716c57a9a7352561f8608390"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.uuid, nameUuid(kDns, c.name)) << c.name;
}

TEST(MessageId, NeverChange) {
    EXPECT_EQ("f2c1f00bf92654a6b6287d60840faa02",
              eventMessageId(401, "EVENT_TORVEX_PD_STATE_FAILED"));
    EXPECT_EQ("ba2306aa9dfd57148d0445623b67792f", noticeMessageId(Notice::Kind::kOpened));
    EXPECT_EQ(eventMessageId(401, "EVENT_TORVEX_PD_STATE_FAILED"), messageId(driveEvent()));
    EXPECT_EQ(noticeMessageId(Notice::Kind::kWorse), messageId(arrayNotice(Notice::Kind::kWorse)));
}

}  // namespace
