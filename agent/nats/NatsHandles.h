// NatsHandles: what libnats hands out, each with an owner, and what is asked of it everywhere in
// this module.
//
//   natsMsg* message = nullptr;
//   const natsStatus status = natsSubscription_NextMsg(&message, list, 100);
//   const OwnMessage own(message);
//   if (status != NATS_OK) return reasonOf(status);
//
// Threads  As the things themselves. Errors: none.
#ifndef AGENT_NATS_NATSHANDLES_H
#define AGENT_NATS_NATSHANDLES_H

#include <nats/nats.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

constexpr std::chrono::milliseconds kNatsSlice(100);  // between two looks at whether to give up
constexpr std::int64_t kLongestGet = 5000;            // milliseconds, for one small answer

template <typename Thing, void (*destroy)(Thing*)>
struct Destroyer {
    void operator()(Thing* thing) const { destroy(thing); }
};

using Options = std::unique_ptr<natsOptions, Destroyer<natsOptions, natsOptions_Destroy>>;
using OwnMessage = std::unique_ptr<natsMsg, Destroyer<natsMsg, natsMsg_Destroy>>;
using Stream = std::unique_ptr<jsCtx, Destroyer<jsCtx, jsCtx_Destroy>>;
using StreamInfo = std::unique_ptr<jsStreamInfo, Destroyer<jsStreamInfo, jsStreamInfo_Destroy>>;
using ConsumerInfo =
    std::unique_ptr<jsConsumerInfo, Destroyer<jsConsumerInfo, jsConsumerInfo_Destroy>>;
using MetaData = std::unique_ptr<jsMsgMetaData, Destroyer<jsMsgMetaData, jsMsgMetaData_Destroy>>;
using Store = std::unique_ptr<kvStore, Destroyer<kvStore, kvStore_Destroy>>;

// A subscription that the server forgets, too.
struct EndSubscription {
    void operator()(natsSubscription* list) const {
        (void)natsSubscription_Unsubscribe(list);  // on a connection that is gone there is none
        natsSubscription_Destroy(list);
    }
};
using List = std::unique_ptr<natsSubscription, EndSubscription>;

// "(conn.c:2088): No server ..." without the place in the library.
inline std::string plainReason(const std::string& text) {
    const std::size_t end = text.find("): ");
    return text.front() == '(' && end != std::string::npos ? text.substr(end + 3) : text;
}

// What the library says of its last failure on this thread, or what the number means.
inline std::string reasonOf(natsStatus status) {
    natsStatus known = NATS_OK;
    const char* const text = nats_GetLastError(&known);
    if (known == status && text != nullptr && *text != 0) return plainReason(text);
    return natsStatus_GetText(status);
}

inline std::string headerOf(natsMsg* message, const char* name) {
    const char* value = nullptr;
    return natsMsgHeader_Get(message, name, &value) == NATS_OK && value != nullptr ? value : "";
}

inline std::string bodyOf(const natsMsg* message) {
    const char* const data = natsMsg_GetData(message);
    const int length = natsMsg_GetDataLength(message);
    return length <= 0 ? std::string() : std::string(data, static_cast<std::size_t>(length));
}

inline std::string keySubject(const std::string& bucket, const std::string& key) {
    return "$KV." + bucket + "." + key;
}

#endif  // AGENT_NATS_NATSHANDLES_H
