// WebToken: what somebody who comes over the network must show. The configuration holds only a
// salted hash of it, made by `raidwatch config token`.
//
//   const std::string token = WebToken::make();           // 256 random bits
//   settings.httpTokenHash = WebToken::hash(token);       // "$5$..."
//   WebToken guard(settings.httpTokenHash);
//   switch (guard.check(given)) ...
//
// The hash is one of crypt(3). A token that was right is remembered, so that it costs nothing more;
// wrong ones are looked at a few times a second only, and after that nobody new is let in for a
// moment: guessing is slow, and takes the processor from nobody. Comparisons take the same time
// whatever they find.
//
// Threads  One at a time per object. Errors: Failure when libcrypt or random numbers are missing.
#ifndef AGENT_WEB_WEBTOKEN_H
#define AGENT_WEB_WEBTOKEN_H

#include <chrono>
#include <string>

class WebToken {
public:
    enum class Answer { kRight, kWrong, kTooMany };
    static constexpr int kChecksPerSecond = 10;

    explicit WebToken(std::string hashIN) : expected(std::move(hashIN)) {}

    bool isAsked() const { return !expected.empty(); }
    Answer check(const std::string& token);

    static std::string make();
    static std::string hash(const std::string& token);
    // "" or what is wrong with a hash in the configuration.
    static std::string problemOf(const std::string& hash);

private:
    bool mayTry();

    std::string expected;
    std::string known;  // that was right
    double budget = kChecksPerSecond;
    std::chrono::steady_clock::time_point filled;
};

// Of an Authorization header: "Bearer TOKEN", or "Basic ..." with the token as password. "" for
// anything else.
std::string tokenOf(const std::string& authorization);

#endif  // AGENT_WEB_WEBTOKEN_H
